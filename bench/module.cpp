// The module as a host loads it, compared with libbson alone.

#include <dlfcn.h>
#include <sys/mman.h>
#include <unistd.h>

#include <fstream>
#include <vector>

#include "bench/modem.h"
#include "plugin/plugin.h"

using bench::require;
using orvix::BSONObject;

// This program cannot link the document model, which needs libbson, so it has the two functions that the type of a
// handle needs; nobody calls them.
int orvix::BSONObject::type() const {
  return 0;
}

std::string orvix::BSONObject::toStream(const void* /*withKeys*/, bool /*recursive*/) const {
  return {};
}

namespace {

constexpr char kBson[] = "libbson-1.0.so.0";

// What the module registers.
OrvixCreateDevice newDevice = nullptr;
OrvixDestroyDevice deleteDevice = nullptr;

orvix::Status outcome;  // of the last creation

// The function of that name in a library or in what it needs.
template <typename Function>
Function* functionOf(void* library, const char* name) {
  return reinterpret_cast<Function*>(dlsym(library, name));
}

void unload(void* library, const char* file) {
  dlclose(library);
  require(dlopen(file, RTLD_NOW | RTLD_NOLOAD) == nullptr, "the library stays in memory");
}

void* loadModule() {
  void* const module = dlopen(ORVIX_MODULE, RTLD_NOW | RTLD_LOCAL);
  functionOf<decltype(PluginInit)>(module, "PluginInit")();
  return module;
}

// A file without a name, for a device on that line.
std::string configurationFile(const std::string& connectionString) {
  std::string path = "/proc/self/fd/" + std::to_string(memfd_create("configuration", 0));
  std::ofstream(path) << R"({"id":"GSMModem","name":"GSMMODEMConfiguration","config":{"mode":"com","comstr":")"
                      << connectionString << R"(","ip":{"address":"10.0.0.5","port":5000}}})";
  return path;
}

orvix::IDevice* createDevice(void* module, const std::string& path) {
  bson_t* const document = functionOf<decltype(bson_new)>(module, "bson_new")();
  const auto append = functionOf<decltype(bson_append_utf8)>(module, "bson_append_utf8");
  append(document, "cfgfile", 7, path.c_str(), static_cast<int>(path.size()));
  const BSONObject args({document, functionOf<decltype(bson_destroy)>(module, "bson_destroy")}, false);
  orvix::IDevice* const device = newDevice(args, &outcome, nullptr);
  require(outcome.isOk(), "no device");
  return device;
}

// libbson alone, and one file read.
void readFileRaw(const std::string& path) {
  void* const bson = dlopen(kBson, RTLD_NOW | RTLD_LOCAL);
  bson_error_t error;
  bson_json_reader_t* const reader = functionOf<decltype(bson_json_reader_new_from_file)>(
      bson, "bson_json_reader_new_from_file")(path.c_str(), &error);
  bson_t* const document = functionOf<decltype(bson_new)>(bson, "bson_new")();
  const auto read = functionOf<decltype(bson_json_reader_read)>(bson, "bson_json_reader_read");
  require(read(reader, document, &error) == 1, "not read");
  functionOf<decltype(bson_destroy)>(bson, "bson_destroy")(document);
  functionOf<decltype(bson_json_reader_destroy)>(bson, "bson_json_reader_destroy")(reader);
  unload(bson, kBson);
}

double residentKb() {
  std::ifstream rollup("/proc/self/smaps_rollup");
  std::string word;
  while (rollup >> word && word != "Rss:") {
  }
  double kb = 0;
  rollup >> kb;
  return kb;
}

// Resident growth for each started device but the first.
void startDevices(benchmark::State& state) {
  bench::Modem modem(7);
  void* const module = loadModule();
  std::vector<double> resident;
  residentKb();  // takes memory itself the first time
  for (const world::PtyPair& line : modem.lines) {
    orvix::IDevice* const device = createDevice(module, configurationFile(line.connectionString()));
    require(device->Start().isOk() && device->GetStatus() == orvix::DeviceStatus::kReady, "not ready");
    resident.push_back(residentKb());
  }
  for ([[maybe_unused]] auto step : state) {
    state.counters["kbEach"] = (resident.back() - resident.front()) / static_cast<double>(resident.size() - 1);
  }
}

}  // namespace

int RegisterDevice(const char* /*typeName*/, OrvixCreateDevice create, OrvixDestroyDevice destroy) {
  newDevice = create;
  deleteDevice = destroy;
  return 0;
}

extern "C" int __wrap_nanosleep(const timespec* request, timespec* remaining);

// The module's sleeps, which no option of the linker reaches.
extern "C" [[gnu::visibility("default")]] int nanosleep(const timespec* request, timespec* remaining) {
  return __wrap_nanosleep(request, remaining);
}

void bench::addAll() {
  static const std::string file = configurationFile("/dev/null:9600,n,8,1");
  addRow(
      "load, create, destroy, unload", {2.0},
      [] {
        void* const module = loadModule();
        deleteDevice(createDevice(module, file));
        unload(module, ORVIX_MODULE);
      },
      [] { readFileRaw(file); });
  benchmark::RegisterBenchmark("memory of a further device", startDevices)->Iterations(1);
}

#include "bench/gatewayService.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace fs = std::filesystem;

namespace {

using bench::require;

std::string contentOf(const fs::path& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

fs::path procOf(pid_t process) {
  return "/proc/" + std::to_string(process);
}

bool isConnected(int descriptor, const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  require(path.size() < sizeof address.sun_path, "the folder's path is too long for a socket");
  path.copy(address.sun_path, path.size());
  return connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

void ask(int descriptor, const std::string& request, const std::string& body = "") {
  const std::string bytes = request + " HTTP/1.1\r\nHost: localhost\r\nContent-Type: application/json\r\n" +
                            "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
  require(write(descriptor, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()), "not written");
}

bool isWhole(const std::string& bytes) {
  constexpr char kLength[] = "Content-Length: ";
  const std::size_t end = bytes.find("\r\n\r\n");
  if (end == std::string::npos) {
    return false;
  }
  const std::size_t length = bytes.find(kLength);
  require(length < end, "an answer without a length");
  return bytes.size() >= end + 4 + std::stoul(bytes.substr(length + sizeof kLength - 1));
}

std::string answerOn(int descriptor) {
  std::string bytes;
  while (!isWhole(bytes)) {
    char part[16384];
    const ssize_t count = read(descriptor, part, sizeof part);
    require(count > 0, "the service closed the connection");
    bytes.append(part, static_cast<std::size_t>(count));
  }
  return bytes;
}

// Nothing but the modem's pace holds messages back.
std::vector<std::string> configure(const fs::path& folder, const bench::Setting& setting) {
  const fs::path modem = folder / "modem.json";
  const fs::path gateway = folder / "gateway.json";
  const std::string mqtt = setting.brokerPort == 0 ? ""
                                                   : R"(, "mqtt": {"id": "bench", "broker": "mqtt://127.0.0.1:)" +
                                                         std::to_string(setting.brokerPort) + "\"}";
  fs::create_directory(folder);
  std::ofstream(modem) << R"({"id": "GSMModem", "name": "GSMMODEMConfiguration", "config": {"mode": "com", "comstr": ")"
                       << setting.line << R"(:115200,n,8,1", "ip": {"address": "127.0.0.1", "port": 1}}})";
  std::ofstream(gateway) << R"({"plugin": ")" << ORVIX_MODULE << R"(", "modems": [{"name": "main", "perDay": 0,)"
                         << R"("reportSeconds": )" << setting.reportSeconds << R"(, "config": )" << modem
                         << R"(}], "storage": {"folder": )" << folder / "store"
                         << R"(}, "sending": {"perRecipient": {"count": 0, "seconds": 3600}},)"
                         << R"("http": {"listen": "", "socket": )" << folder / "sock"
                         << "}" << mqtt << "}";
  std::vector<std::string> command = {ORVIX_GATEWAY, "--config", gateway, "run"};
  if (setting.isDiskSlow) {
    command.insert(command.begin(), {"env", std::string("LD_PRELOAD=") + ORVIX_SLOW_SYNC});
  }
  return command;
}

pid_t start(const std::vector<std::string>& command, const fs::path& output) {
  const pid_t id = fork();
  if (id == 0) {
    const int file = open(output.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    dup2(file, STDOUT_FILENO);
    dup2(file, STDERR_FILENO);
    std::vector<char*> words;
    for (const std::string& word : command) {
      words.push_back(const_cast<char*>(word.c_str()));
    }
    words.push_back(nullptr);
    execvp(words[0], words.data());
    _exit(127);
  }
  return id;
}

}  // namespace

double bench::nowMs() {
  return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

void bench::require(bool condition, const std::string& what) {
  if (!condition) {
    throw std::runtime_error(what);
  }
}

void bench::waitUntil(const std::function<bool()>& condition, const std::string& what, int everyMs) {
  constexpr double kBoundMs = 120000;
  for (const double end = nowMs() + kBoundMs; !condition();) {
    require(nowMs() < end, "waited in vain: " + what);
    poll(nullptr, 0, everyMs);
  }
}

std::string bench::nextId() {
  static int last = 0;
  return "message-" + std::to_string(++last);
}

double bench::procField(pid_t process, const std::string& file, const std::string& key) {
  const std::string text = "\n" + contentOf(procOf(process) / file);
  const std::size_t place = text.find("\n" + key + ":");
  require(place != std::string::npos, "no " + key + " in " + file);
  return std::stod(text.substr(place + key.size() + 2));
}

double bench::cpuMs(pid_t process) {
  double ns = 0;
  for (const auto& thread : fs::directory_iterator(procOf(process) / "task")) {
    ns += std::stod(contentOf(thread.path() / "schedstat"));
  }
  return ns / 1e6;
}

double bench::wakeUps(pid_t process) {
  double count = 0;
  for (const auto& thread : fs::directory_iterator(procOf(process) / "task")) {
    count += procField(process, "task" / thread.path().filename() / "status", "voluntary_ctxt_switches");
  }
  return count;
}

bench::Process::Process(const std::vector<std::string>& command, const fs::path& output) : id(start(command, output)) {
}

bench::Process::~Process() {
  kill(id, SIGTERM);
  waitpid(id, nullptr, 0);
}

bench::Client::Client(const std::string& socketPath)
    : descriptor(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)), isOpen(isConnected(descriptor, socketPath)) {
}

bench::Client::~Client() {
  close(descriptor);
}

std::string bench::Client::get(const std::string& target) const {
  ask(descriptor, "GET " + target);
  return answerOn(descriptor);
}

void bench::Client::post(const std::string& id) const {
  ask(descriptor, "POST /v1/messages",
      R"({"to": ")" + std::string(kNumber) + R"(", "text": ")" + kText + R"(", "id": ")" + id + "\"}");
}

void bench::Client::awaitAcceptance() const {
  const std::string bytes = answerOn(descriptor);
  require(bytes.rfind("HTTP/1.1 202 ", 0) == 0, "not accepted: " + bytes);
}

bench::Service::Service(const fs::path& serviceFolder, const Setting& setting)
    : folder(serviceFolder), process(configure(folder, setting), folder / "output") {
  waitUntil([this] { return Client(socketPath()).isOpen && worker() != 0; }, "the service");
}

pid_t bench::Service::worker() const {
  const std::string children = contentOf(procOf(process.id) / "task" / std::to_string(process.id) / "children");
  return children.empty() ? 0 : std::stoi(children);
}

double bench::Service::bytesWritten() const {
  return procField(process.id, "io", "write_bytes");
}

int bench::Service::syncsOf(const std::function<void()>& work) const {
  const fs::path trace = folder / "syncs";
  {
    const Process strace(
        {"strace", "-f", "-qq", "-e", "trace=fsync,fdatasync", "-o", trace, "-p", std::to_string(process.id)},
        folder / "output");
    waitUntil([this] { return procField(process.id, "status", "TracerPid") != 0; }, "strace");
    work();
  }
  const std::string calls = contentOf(trace);
  return static_cast<int>(std::count(calls.begin(), calls.end(), '\n'));
}

// The boundary by position: hosts call devices, and devices call hosts, through raw places in tables of virtual
// functions. A reordered declaration compiles everywhere and fails here.

#include <gtest/gtest.h>

#include <cstddef>

#include "document/document.h"
#include "tests/world/host.h"
#include "tests/world/loadedModule.h"
#include "tests/world/scriptedModem.h"

using orvix::BSONObject;
using orvix::Status;
using world::fromJson;

namespace {

// The function at a place of an object's table. A member function takes its object as the first argument.
template <typename Result, typename... Arguments>
Result call(void* object, std::size_t slot, Arguments... arguments) {
  void** const table = *static_cast<void***>(object);
  return reinterpret_cast<Result (*)(void*, Arguments...)>(table[slot])(object, arguments...);
}

// Host objects that are nothing but their table.
struct RawObject {
  const void* table;
};

std::string heard;

void onEvent(void*, void*, const std::string& name, const BSONObject&) {
  heard += "event " + name + "; ";
}

void onDataReport(void*, void*, void* report) {
  std::time_t time = 0;
  heard += call<bool>(report, 0, &time) && time != 0 ? "report; " : "no report; ";
}

void onReserved(void*) {
  heard += "reserved; ";
}

void onStatusChanged(void*, void*, std::uint32_t status) {
  heard += "status " + std::to_string(status) + "; ";
}

bool isTraceEnabled(void*) {
  heard += "traced? ";
  return true;
}

void* traceContext(void* self) {
  heard += "context ";
  return self;
}

int traceLine(void*, int, unsigned, const void*, unsigned) {
  return 0;
}

XplTraceCallback traceCallback(void*) {
  heard += "callback; ";
  return traceLine;
}

template <typename Function>
const void* entry(Function* function) {
  return reinterpret_cast<const void*>(function);
}

class SlotTest : public testing::Test {
 protected:
  SlotTest() : modem(world::healthyModem()) {
    const std::string file = folder.write("modem.json", world::configurationText(modem.line.connectionString()));
    Status status;
    // cppcheck-suppress danglingLifetime; the status is written to, and not kept
    device = module.create(fromJson(R"({"cfgfile":")" + file + R"("})"), &status,
                           reinterpret_cast<orvix::ITraceProvider*>(&tracer));
    EXPECT_EQ(status.toString(), "OK");
    heard.clear();
  }

  world::TemporaryFolder folder;
  world::LoadedModule module;
  world::ScriptedModem modem;
  const void* sinkTable[4] = {entry(onEvent), entry(onDataReport), entry(onReserved), entry(onStatusChanged)};
  const void* tracerTable[3] = {entry(isTraceEnabled), entry(traceContext), entry(traceCallback)};
  RawObject sink{sinkTable};
  RawObject tracer{tracerTable};
  void* device = nullptr;
};

TEST_F(SlotTest, DeviceAnswersAtItsPlacesAndCallsTheHostAtTheirs) {
  EXPECT_EQ(call<std::uint32_t>(device, 0), 4096U);
  EXPECT_EQ(call<std::string>(device, 1), "GSMModem");
  const std::string name = "north";
  call<void, const std::string&>(device, 3, name);
  EXPECT_EQ(call<std::string>(device, 2), "north");
  EXPECT_EQ(call<std::uint32_t>(device, 4), 0U);
  EXPECT_TRUE((call<bool, void*>(device, 10, &sink)));

  EXPECT_EQ(call<Status>(device, 5).toString(), "OK");
  EXPECT_EQ(heard, "traced? context callback; traced? context callback; status 4; ");
  EXPECT_EQ(call<std::uint32_t>(device, 4), 4U);

  heard.clear();
  void* report = nullptr;
  EXPECT_EQ((call<Status, void**>(device, 7, &report).toString()), "OK");
  EXPECT_EQ(heard, "report; ");
  orvix::BSONValue value(true);
  const std::string path = "GSMModem.report.signalQuality.dBm";
  EXPECT_TRUE((call<bool, const std::string&, orvix::BSONValue*>(report, 1, path, &value)));
  EXPECT_EQ(value.getInt32(), -73);
  BSONObject document;
  EXPECT_TRUE((call<bool, BSONObject*>(report, 2, &document)));
  EXPECT_EQ(document.count(), 1U);
  document = BSONObject();
  call<void>(report, 4);  // the deleting destructor

  const std::string version = "version";
  EXPECT_EQ((call<Status, const std::string&, BSONObject*>(device, 8, version, &document).toString()), "OK");
  EXPECT_EQ(document.getString("version", ""), std::string("0.00.1"));
  EXPECT_EQ((call<Status, const std::string&, const BSONObject&>(device, 9, version, document).toString()),
            "Invalid argument: Unknown Property: version");

  heard.clear();
  const std::string code = "sendSMS";
  const BSONObject message = fromJson(R"({"phone":"0123456789","text":"hi"})");
  EXPECT_EQ((call<Status, const std::string&, const BSONObject*, BSONObject*>(device, 11, code, &message, nullptr)
                 .toString()),
            "OK");
  EXPECT_EQ(heard, "event SMS; ");
  EXPECT_EQ(call<Status>(device, 12).toString(), "Not implemented: ");

  heard.clear();
  EXPECT_EQ(call<Status>(device, 6).toString(), "OK");
  EXPECT_EQ(heard, "status 0; ");
  document = BSONObject();
  call<void>(device, 14);  // the deleting destructor
}

TEST_F(SlotTest, DocumentsAnswerAtTheirPlaces) {
  call<void>(device, 14);
  BSONObject object = fromJson(R"({"a":1})");
  orvix::BSONArray array = fromJson(R"({"list":[2]})").getArray("list", true);
  EXPECT_EQ(call<int>(&object, 0), 3);
  EXPECT_EQ(call<int>(&array, 0), 4);
  EXPECT_EQ((call<std::string, const void*, bool>(&object, 1, &object, true)), "{ \"a\": 1 }");
  EXPECT_EQ((call<std::string, const void*, bool>(&array, 1, &array, true)), "[ 2 ]");
  orvix::BSONValue* const value = new orvix::BSONValue(object.get("a"));
  call<void>(value, 1);
  orvix::BSONPair* const pair = new orvix::BSONPair(object.begin());
  call<void>(pair, 1);
  call<void>(new BSONObject(object), 3);
  call<void>(new orvix::BSONArray(array), 3);
}

}  // namespace

// The built module, loaded as a host loads it. This program is the host.

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <thread>

#include "document/document.h"
#include "tests/world/host.h"
#include "tests/world/loadedModule.h"
#include "tests/world/scriptedModem.h"

using orvix::BSONObject;
using orvix::DeviceStatus;
using orvix::IDevice;
using orvix::Status;
using world::fromJson;
using Lines = std::vector<std::string>;

namespace {

class PluginTest : public testing::Test {
 protected:
  IDevice* create(const BSONObject& args, Status* status) { return module.create(args, status, nullptr); }

  BSONObject argsFor(const std::string& configuration) {
    return fromJson(R"({"cfgfile":")" + folder.write("modem.json", configuration) + R"("})");
  }

  world::TemporaryFolder folder;
  world::LoadedModule module;
};

TEST_F(PluginTest, RegistersItsOneTypeWithTheExportedPair) {
  EXPECT_EQ(module.typeName, "GSMModem");
  EXPECT_EQ(module.create, module.symbol<OrvixCreateDevice>("CreateGsmDevice"));
  EXPECT_EQ(module.destroy, module.symbol<OrvixDestroyDevice>("DestroyGsmDevice"));
  EXPECT_STREQ(*module.symbol<const char**>("PluginDisplayName"), "GSMModem");
  module.destroy(nullptr);
}

TEST_F(PluginTest, EmptyArgumentsAreRefusedWithTheCallersStatusInTheText) {
  const auto refusal = [](const std::string& status) {
    return "Invalid argument: GsmDevice::CreateGsmDevice():SetConfig(boArgs={  }): " + status +
           "Invalid BSON arguments. Config is empty!\n";
  };
  Status status;
  EXPECT_EQ(create(BSONObject(), &status), nullptr);
  EXPECT_EQ(status.toString(), refusal("OK"));
  status = Status::forbidden("before");
  EXPECT_EQ(create(fromJson("{}"), &status), nullptr);
  EXPECT_EQ(status.toString(), refusal("Forbidden: before"));
}

TEST_F(PluginTest, DeviceTakesItsNameFromTheDisplayName) {
  const char** const displayName = module.symbol<const char**>("PluginDisplayName");
  const char* const usual = *displayName;
  *displayName = "Other";
  Status status = Status::failed("before");
  IDevice* const device = create(argsFor(world::configurationText("/dev/null:9600,n,8,1")), &status);
  *displayName = usual;
  ASSERT_NE(device, nullptr);
  EXPECT_EQ(status.toString(), "OK");
  EXPECT_EQ(device->GetName(), "Other");
  EXPECT_EQ(device->GetTypeName(), "GSMModem");
  module.destroy(device);
}

TEST(PluginBesideOthers, BindsToItsOwnExports) {
  void* const other = dlopen(ORVIX_OTHER_PLUGIN, RTLD_NOW | RTLD_GLOBAL);
  ASSERT_NE(other, nullptr) << dlerror();
  {
    const world::TemporaryFolder folder;
    const world::LoadedModule module;
    EXPECT_EQ(module.create, module.symbol<OrvixCreateDevice>("CreateGsmDevice"));
    EXPECT_EQ(module.destroy, module.symbol<OrvixDestroyDevice>("DestroyGsmDevice"));
    const std::string file = folder.write("modem.json", world::configurationText("/dev/null:9600,n,8,1"));
    Status status;
    IDevice* const device = module.create(fromJson(R"({"cfgfile":")" + file + R"("})"), &status, nullptr);
    ASSERT_NE(device, nullptr);
    EXPECT_EQ(device->GetName(), "GSMModem");
    module.destroy(device);
  }
  dlclose(other);
}

// What a host's global object may still do when it ends, which is after the objects of the module it has loaded.
void useOnce(const world::LoadedModule& module, const world::TemporaryFolder& folder) {
  const world::ScriptedModem modem(world::healthyModem());
  world::RecordingSink sink;
  const BSONObject configuration = fromJson(world::configurationText(modem.line.connectionString()));
  const std::string file = folder.write("modem.json", configuration.toJSON());
  Status status;
  IDevice* const device = module.create(fromJson(R"({"cfgfile":")" + file + R"("})"), &status, nullptr);
  device->SetEventSink(&sink);
  std::string results = device->SetProperty("config.current", configuration).toString();
  for (int i = 0; i < 2; ++i) {
    orvix::IDeviceDataReport* report = nullptr;
    results += ", " + device->GetDataReport(&report).toString();
    delete report;
  }
  module.destroy(device);
  std::fprintf(stderr, "%s, %zu calls\n", results.c_str(), sink.calls.size());
}

struct LateUser {
  const world::LoadedModule* module = nullptr;
  const world::TemporaryFolder* folder = nullptr;
  // In a thread, because the one that ends has no clock any more.
  ~LateUser() {
    if (module != nullptr) {
      std::thread([this] { useOnce(*module, *folder); }).join();
      std::filesystem::remove_all(folder->path());
    }
  }
};

LateUser lateUser;

TEST_F(PluginTest, ServesUntilTheProcessHasEnded) {
  EXPECT_EXIT(
      {
        lateUser.module = &module;
        lateUser.folder = &folder;
        std::thread([&] { useOnce(module, folder); }).join();
        std::exit(0);
      },
      testing::ExitedWithCode(0), "^OK, OK, OK, 2 calls\nOK, OK, OK, 3 calls\n$");
}

TEST_F(PluginTest, LoadFailureIsTheCallersStatus) {
  Status status;
  EXPECT_EQ(create(fromJson(R"({"cfgfile":"/nowhere/a.json"})"), &status), nullptr);
  EXPECT_EQ(status.toString(), "Failed: Failed to open /nowhere/a.json: No such file or directory");
  EXPECT_EQ(create(fromJson(R"({"cfgfile":7})"), &status), nullptr);
  EXPECT_EQ(status.toString(), "Failed: Failed to open : No such file or directory");
}

TEST_F(PluginTest, LibraryReportsReachTheHostsLogByPattern) {
  Status status;
  IDevice* const device = create(argsFor(world::configurationText("/dev/nowhere:9600,n,8,1")), &status);
  ASSERT_NE(device, nullptr);
  {
    const world::LogCapture quiet(0);
    EXPECT_EQ(device->Start().toString(), "Failed: XPLOpen dcb:: /dev/nowhere:9600,n,8,1");
    EXPECT_TRUE(quiet.lines.empty());
    google::SetVLOGLevel("logging", 1);
    device->Start();
    EXPECT_EQ(quiet.lines, (Lines{"logging:35] /dev/nowhere: open: No such file or directory"}));
    google::SetVLOGLevel("logging", 0);
  }
  module.destroy(device);
}

}  // namespace

// Any bytes as a configuration file: loading, handing out, saving and loading again.

#include "device/gsmDevice.h"
#include "document/document.h"
#include "fuzz/fuzz.h"
#include "tests/world/host.h"

namespace {

// Saving waits for the disk.
constexpr std::size_t kSaveOneSizeIn = 32;

orvix::BSONObject current(orvix::gsm::GsmDevice* device) {
  orvix::BSONObject document;
  fuzz::require(device->GetProperty("config.current", &document).isOk(), "there is always a configuration");
  fuzz::require(device->checkConfig(document).isOk(), "it passes the check");
  return document;
}

void saveAndReload(orvix::gsm::GsmDevice* device, const orvix::BSONObject& args) {
  const orvix::BSONObject before = current(device);
  device->SetProperty("config.current", before);  // Refused or not, the file is good for the next start.
  fuzz::require(device->LoadConfig(args).isOk(), "the file can be loaded again");
  fuzz::require(current(device).getString("config.comstr", "") == before.getString("config.comstr", std::string()),
                "and says the same");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const world::TemporaryFolder folder;
  const std::string text(reinterpret_cast<const char*>(data), size);
  orvix::BSONBuilder args;
  args.appendString("cfgfile", folder.write("modem.json", text));

  orvix::gsm::GsmDevice device;
  const bool isLoaded = device.LoadConfig(args.getObject(false)).isOk();
  const orvix::BSONObject document = current(&device);
  if (isLoaded && size % kSaveOneSizeIn == 0) {
    saveAndReload(&device, args.getObject(false));
  }
  orvix::BSONBuilder fromText;  // As control codes get their documents: up to the first NUL, and unchecked.
  if (fromText.fromJSON(text.c_str()).isOk()) {
    device.applyConfig(fromText.getObject(false));
    fromText.getObject(false).toJSON();
    current(&device);
  }
  return 0;
}

// Any bytes as what a modem sends, in any order of the device's operations, in virtual time.
//
// A run is a sequence of operations, one byte each; the modem takes its replies, a length byte and the bytes, from the
// same sequence at the end of every wait.

#include <algorithm>
#include <cctype>
#include <functional>
#include <stdexcept>

#include "device/atReply.h"
#include "device/gsmDevice.h"
#include "document/document.h"
#include "fuzz/fuzz.h"
#include "tests/world/host.h"
#include "tests/world/ptyPair.h"
#include "tests/world/virtualClock.h"

namespace {

class Modem : public world::ClockListener {
 public:
  explicit Modem(fuzz::Input* source) : input(source) { world::VirtualClock::instance().listener = this; }
  ~Modem() {
    world::VirtualClock::instance().listener = nullptr;
    world::VirtualClock::instance().sleepsMs.clear();
  }

  static world::PtyPair& line() {
    static world::PtyPair pty;
    return pty;
  }
  void beforeSleep(std::int64_t /*nowMs*/) override { line().receive(); }
  void afterSleep(std::int64_t /*nowMs*/) override { line().send(input->piece()); }

 private:
  fuzz::Input* input;
};

void parse(const std::string& reply) {
  const std::string error = orvix::gsm::errorText(reply).value_or("");
  fuzz::require(std::all_of(error.begin(), error.end(), [](unsigned char c) { return std::isprint(c) != 0; }),
                "an error text is printable");
  orvix::gsm::GsmDataReport::signalPercent(orvix::gsm::numberOf(orvix::gsm::findCsq(reply).value_or(reply)));
  if (const auto stat = orvix::gsm::findCregStat(reply); stat && *stat <= reply.size()) {
    orvix::gsm::GsmDataReport::registrationWord(orvix::gsm::numberOf(reply.substr(*stat, 1)));
  }
}

void sendMessage(orvix::gsm::GsmDevice* device, fuzz::Input* input) {
  orvix::BSONBuilder message;
  message.appendString("phone", input->piece());
  message.appendString("text", input->piece());
  const orvix::BSONObject params = message.getObject(false);
  device->IoControl("sendSMS", &params, nullptr);
}

void operate(orvix::gsm::GsmDevice* device, fuzz::Input* input) {
  std::string value;
  orvix::IDeviceDataReport* report = nullptr;
  const std::function<void()> operations[] = {
      [&] { device->Start(); },
      [&] { device->Stop(); },
      [&] { device->probeModem(); },
      [&] { device->getSignalQuality(&value); },
      [&] { device->getNetworkRegistrationStatus(&value); },
      [&] { sendMessage(device, input); },
      [&] { device->sendSms(); },
      [&] { device->GetDataReport(&report); },
  };
  operations[input->byte() % std::size(operations)]();
  delete report;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const orvix::BSONObject configuration =
      world::fromJson(world::configurationText(Modem::line().connectionString()));
  static world::RecordingSink sink;
  static const world::TemporaryFolder folder;
  static const std::string file = folder.write("modem.json", configuration.toJSON());

  fuzz::Input input(data, size);
  Modem modem(&input);
  orvix::gsm::GsmDevice device;
  device.SetEventSink(&sink);
  orvix::BSONBuilder args;
  args.appendString("cfgfile", file);
  fuzz::require(device.LoadConfig(args.getObject(false)).isOk(), "the device is configured");
  fuzz::require(device.openConnection().isOk(), "the modem is reached");
  try {
    parse(std::string(reinterpret_cast<const char*>(data), size));
  } catch (const std::out_of_range&) {
  }
  while (input.size() > 0) {
    try {
      operate(&device, &input);
    } catch (const std::out_of_range&) {  // What a cut off registration answer is documented to give.
    }
  }
  sink.calls.clear();
  return 0;
}

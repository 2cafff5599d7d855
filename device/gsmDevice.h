// orvix::gsm::GsmDevice: one GSM modem behind a serial line, driven with AT commands (3GPP TS 27.005, 27.007).
//
// Threads: `commandLock` serialises modem commands with each other and with closing the connection. The state is a word
// that any thread reads and writes whole. All else is for the host to serialise, see docs/host-guide.md.
//
// Each group of operations below names the file that it is written in.
//
// There is no thread and no asynchronous work inside. A command takes as long as its fixed waits: a data report some
// 3 s, a text message 8 s and more.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>

#include "device/deviceState.h"
#include "device/gsmDataReport.h"
#include "plugin/device.h"

namespace orvix::gsm {

class GsmDevice : public IDevice {
 public:
  // In state kCreated, named by PluginDisplayName.
  GsmDevice();
  GsmDevice(const GsmDevice&) = delete;
  GsmDevice& operator=(const GsmDevice&) = delete;

  // Closes the connection.
  ~GsmDevice() override;

  // What every device answers: see plugin/device.h. GetDataReport: report.cpp. Properties: properties.cpp. IoControl:
  // controlCodes.cpp. The others: lifeCycle.cpp.
  std::uint32_t GetInterfaceVersion() override;
  std::string GetTypeName() override;
  std::string GetName() override;
  void SetName(const std::string& newName) override;
  DeviceStatus GetStatus() override;
  Status Start() override;
  Status Stop() override;
  Status GetDataReport(IDeviceDataReport** ppReport) override;
  Status GetProperty(const std::string& property, BSONObject* pProperty) override;
  Status SetProperty(const std::string& property, const BSONObject& value) override;
  bool SetEventSink(IDeviceEventSink* sink) override;
  Status IoControl(const std::string& code, const BSONObject* pInParam, BSONObject* pOutParam) override;

  // Life cycle: lifeCycle.cpp. A change of the host-visible status is logged and told to the sink; any other is not.
  void OnStateChanged(DeviceState newState);
  // False when there is no sink.
  bool OnEvent(const std::string& event, const BSONObject& document);
  // Out of service: closes the connection of an active device.
  Status terminate();
  // Borrowed; may be null. Asked at every open.
  void setTraceProvider(ITraceProvider* provider) { traceProvider = provider; }

  // Configuration: configuration.cpp. {"id", "name", "config": {"mode", "comstr", "ip": {"address", "port"}}}. The
  // first violation in a fixed order is the result.
  Status checkConfig(const BSONObject& doc);
  Status createDefaultConfig(BSONObject* out);
  // Checks, then replaces the configuration in memory.
  Status applyConfig(const BSONObject& doc);
  // Reads the JSON file named by "cfgfile"; a file that fails the check leaves the default in memory. Tells nobody.
  Status LoadConfig(const BSONObject& args);
  // Checks, then saves to the configuration file; the configuration in memory stays as it is. A document that JSON
  // cannot carry is a failed save, and the file stays as it was.
  Status SetConfig(const BSONObject& doc);
  // The default as long as the device is in kCreated or kReset.
  Status getConfig(BSONObject* out);
  // The list-of-values document.
  Status getLov(BSONObject* out);
  // Whether the dotted path exists with that BSON type code.
  static bool hasKeyOfType(const BSONObject& document, const std::string& key, int typeCode);

  // Connection: connection.cpp. Opening an open connection succeeds at once. Opening takes no lock.
  Status openConnection();
  Status closeConnection();
  std::string getComstr() const;
  // "/dev/tcp/ADDRESS/PORT" and what "config.comstr" holds from its first ':' on; std::out_of_range without one.
  std::string composeComstr() const;
  Status initConnection(const std::string& dcbConnectionString);

  // One exchange: exchange.cpp. For callers that hold `commandLock`: opens a closed connection, discards stale input,
  // writes `command` without its last byte, waits `waitMs` (100 at least) and reads. Without the expected text in the
  // reply it waits and reads once more. An empty `expectedReply` takes any reply. `reply`, may be null, receives the
  // text up to its first NUL byte.
  Status sendAtCommand(const std::string& command, const std::string& expectedReply, int waitMs, std::string* reply);

  // Commands: commands.cpp. Each but the first takes `commandLock`.
  // Checks "phone" and "text" and stores the document as the next message.
  Status setSmsParams(const BSONObject& params);
  Status sendSms();
  // The number as text; `value` may be null and is untouched on failure. std::out_of_range when the registration is
  // asked for and its answer breaks off before it.
  Status getSignalQuality(std::string* value);
  Status getNetworkRegistrationStatus(std::string* value);
  Status probeModem();

  // Change detection: report.cpp. Whether a report differs from the last one of this process, all devices together, in
  // a value other than time and dBm; it is then the last one.
  bool reportChanged(IDeviceDataReport* report);

 private:
  Status startConnection();
  Status loadDefaultConfig(const Status& reason);
  Status connectAndReport(DeviceState onFailure, IDeviceDataReport** ppReport);
  Status makeReport(DeviceState target, IDeviceDataReport** ppReport);
  Status acceptMessage(const BSONObject* pInParam);

  std::string name;
  std::atomic<DeviceState> state{DeviceState::kCreated};
  IDeviceEventSink* eventSink = nullptr;
  BSONObject smsParams;
  BSONObject config;
  std::int32_t modemConnectionDescriptor = 0;  // XPL handle; 0 while closed
  std::mutex commandLock;
  std::string cfgfile;
  ITraceProvider* traceProvider = nullptr;
};

}  // namespace orvix::gsm

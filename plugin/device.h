// The boundary between a host and its devices: what the host calls, and the two host objects that a device calls.
//
// Threads: a host may call a device from several threads; the modem commands of one device are serialised inside. What
// is left for the host to serialise stands in the host guide, docs/host-guide.md here and under
// /usr/share/doc/orvix-gsm: in short, what changes a device, and over all devices creating, opening and closing, data
// reports, and saves into one folder. Sink and trace callbacks run on the calling thread; the trace callback runs under
// the device's lock and must not call the device.
//
// Classes are called through their tables of virtual functions by position, so the order of declaration is binding on
// both sides. Every document is a shared handle; reports belong to whoever asked for them. Release all documents and
// reports that a plug-in handed out before unloading it.
#pragma once

#include <cstdint>
#include <ctime>
#include <string>

#include "common/status.h"
#include "document/object.h"
#include "document/value.h"
#include "serial/xpl.h"

namespace orvix {

// What a host sees of a device's state. kInitializing is never reported.
enum class DeviceStatus : std::uint32_t { kNoData = 0, kInitializing = 1, kNotAvailable = 2, kError = 3, kReady = 4 };

// A report, immutable. Out-pointers may be null, which gives false.
class IDeviceDataReport {
 public:
  // When the measurement was taken.
  virtual bool GetTimestamp(std::time_t* time) = 0;
  // The element at a dotted path; `value` is a view into the report. False, `value` unchanged, when there is none.
  virtual bool GetValue(const std::string& path, BSONValue* value) = 0;
  // A copy of the report document.
  virtual bool GetDocument(BSONObject* document) = 0;
  virtual ~IDeviceDataReport() = default;
};

class IDevice;

// What a device tells its host. Borrowed by the device; a device needs one before its first data report.
// Called before the call that caused it returns; the device never deletes it.
class IDeviceEventSink {
 public:
  // A message went through its dialogue or failed in it: name "SMS", and the answer document of "sendSMS".
  virtual void OnEvent(IDevice* device, const std::string& name, const BSONObject& document) = 0;
  // A report that differs from the last one; borrowed for the call.
  virtual void OnDataReport(IDevice* device, IDeviceDataReport* report) = 0;
  // Not called by this plug-in.
  virtual void Reserved() = 0;
  // Only when what GetStatus gives has changed.
  virtual void OnStatusChanged(IDevice* device, DeviceStatus status) = 0;

 protected:
  ~IDeviceEventSink() = default;
};

// Asked at every attempt to open the line, twice in a Start: whether to trace it, and only then for the pair to trace
// with. Without both of the pair nothing is traced (see serial/xpl.h).
class ITraceProvider {
 public:
  virtual bool IsTraceEnabled() = 0;
  virtual void* GetTraceContext() = 0;
  virtual XplTraceCallback GetTraceCallback() = 0;

 protected:
  ~ITraceProvider() = default;
};

// What the modem does to a device: everything that waits waits for fixed times, named below; closing a line that no
// longer drains may take the system 30 s more. Failures are statuses, but for std::out_of_range from Start and
// GetDataReport: line settings without a colon, or a registration answer that breaks off. The state stays as it was
// then.
class IDevice {
 public:
  // The interface version that the device was built against, 0x1000.
  virtual std::uint32_t GetInterfaceVersion() = 0;
  virtual std::string GetTypeName() = 0;
  // The instance's own name; at first what PluginDisplayName points to.
  virtual std::string GetName() = 0;
  virtual void SetName(const std::string& name) = 0;
  // At any time and at once.
  virtual DeviceStatus GetStatus() = 0;
  // Opens the line and probes the modem: 1.5 s, 3 s at worst. OK says that the line is open; whether the modem
  // answered, GetStatus tells. A device that is ready stays as it is, and its line is not looked at.
  virtual Status Start() = 0;
  // Closes the line, in every state. Always OK. Waits for a command that runs, up to 16 s.
  virtual Status Stop() = 0;
  // Measures signal and registration: 3 s, 6 s at worst. Opens the line where it is closed. On success the caller owns
  // `*ppReport` and deletes it.
  virtual Status GetDataReport(IDeviceDataReport** ppReport) = 0;
  // "version", "Msg", "config.types", "config.current"; kInvalidArgument for any other name, kInvalidPointer for null.
  virtual Status GetProperty(const std::string& name, BSONObject* pProperty) = 0;
  // "Msg" stores a message and sends nothing. "config.current" goes to the file; it counts when the device is made
  // anew.
  virtual Status SetProperty(const std::string& name, const BSONObject& value) = 0;
  // `sink` is borrowed and may be null. Always true.
  virtual bool SetEventSink(IDeviceEventSink* sink) = 0;
  // "sendSMS" (8 s, 16 s at worst) and "TerminateDevice". A device that is not ready refuses every code. The status of
  // "sendSMS" tells how the dialogue ended, not what became of the message. Either document may be null where the
  // control code allows it; the answer is shared with `pOutParam`.
  virtual Status IoControl(const std::string& code, const BSONObject* pInParam, BSONObject* pOutParam) = 0;
  // kNotImplemented, unless a device has one.
  virtual Status OptionalOperation();
  virtual ~IDevice() = default;
};

}  // namespace orvix

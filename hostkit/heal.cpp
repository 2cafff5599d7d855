#include "hostkit/heal.h"

#include <ctime>
#include <string>

#include "hostkit/connectionString.h"
#include "hostkit/lineWatch.h"
#include "hostkit/resultLine.h"
#include "serial/xpl.h"

namespace orvix::hostkit {
namespace {

constexpr unsigned kBufferSize = 128;
// An Escape can be lost in what a modem is just doing: three rounds of 2 s.
constexpr int kRounds = 3;
constexpr int kEscapeWaitMs = 500;
constexpr int kAnswerWaitMs = 1500;
constexpr int kStepMs = 50;

// The line as the device opens it, through this program's own serial library.
class OpenLine {
 public:
  OpenLine(const std::string& connection, LineTrace* trace) {
    // The library's table of ports has no lock of its own, and another thread may heal another device.
    const std::lock_guard<std::mutex> guard(portTable());
    XplDcb dcb;
    if (XPLBuildDCB(connection.c_str(), &dcb, nullptr) != 0) {
      handle = XPLOpen(&dcb, kBufferSize, kBufferSize, trace != nullptr ? trace->GetTraceContext() : nullptr,
                       trace != nullptr ? trace->GetTraceCallback() : nullptr);
    }
  }
  ~OpenLine() {
    const std::lock_guard<std::mutex> guard(portTable());
    XPLClose(handle);
  }
  OpenLine(const OpenLine&) = delete;
  OpenLine& operator=(const OpenLine&) = delete;

  bool isOpen() const { return handle != 0; }

  // Writes and listens for up to `waitMs`; true as soon as a final result came.
  bool ask(const std::string& bytes, int waitMs) {
    // A line that takes nothing shows as one that answers nothing.
    XPLWrite(handle, bytes.data(), static_cast<int>(bytes.size()));
    std::string received;
    for (int waitedMs = 0; waitedMs < waitMs && !holdsFinalResult(received); waitedMs += kStepMs) {
      const timespec step{0, kStepMs * 1000000L};
      nanosleep(&step, nullptr);
      char block[kBufferSize];
      const int count = XPLRead(handle, block, sizeof block);
      // A negative count is a short read: that many bytes, and no more by now.
      received.append(block, static_cast<std::size_t>(count < 0 ? -count : count));
    }
    return holdsFinalResult(received);
  }

 private:
  static std::mutex& portTable() {
    static std::mutex lock;
    return lock;
  }

  int handle = 0;
};

Status leavePrompt(const std::string& connection, LineTrace* trace) {
  OpenLine line(connection, trace);
  if (!line.isOpen()) {
    return Status::failed("healing: the line does not open");
  }
  for (int round = 0; round < kRounds; ++round) {
    // Some modems answer the Escape itself, others do not; whether it was heard, only a command tells.
    line.ask("\x1b", kEscapeWaitMs);
    if (line.ask("AT\r", kAnswerWaitMs)) {
      return {};
    }
  }
  return Status::failed("healing: the modem does not answer, not even after an Escape");
}

}  // namespace

Status heal(ModemDevice* device) {
  Status status;
  device->exclusively([device, &status] {
    // Before the stop: a line that nobody has open drops DTR, at which some modems reset.
    const LineWatch keptOpen(pathOf(device->line()));
    device->stop();
    status = leavePrompt(device->line(), device->trace());
    if (status.isOk()) {
      status = device->start();
    }
  });
  return status;
}

}  // namespace orvix::hostkit

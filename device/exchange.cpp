// One exchange with the modem: write, wait, read, judge.

#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <optional>

#include "common/text.h"
#include "device/atReply.h"
#include "device/gsmDevice.h"
#include "serial/xpl.h"

namespace orvix::gsm {
namespace {

constexpr int kShortestWaitMs = 100;
constexpr std::size_t kReplyRoom = 128;  // beside an echo of the command and the expected text

// A signal ends nanosleep(2) early: the rest is slept as well, for the modem needs its time.
void sleepFor(int milliseconds) {
  timespec remaining{milliseconds / 1000, (milliseconds % 1000) * 1000000L};
  while (nanosleep(&remaining, &remaining) == -1 && errno == EINTR) {
  }
}

// Zero-filled and never filled to its last byte, so that it always holds a NUL-terminated text.
class ReplyBuffer {
 public:
  explicit ReplyBuffer(std::size_t size) : bytes(size, '\0') {}

  // Appends what has arrived and returns how many bytes that was.
  int readMore(int handle) {
    // A short read is no failure: it says, as a negative count, that no more has arrived by now.
    const auto room = static_cast<int>(bytes.size() - 1 - count);
    const int received = std::abs(XPLRead(handle, &bytes[count], room));
    count += static_cast<std::size_t>(received);
    return received;
  }

  std::string text() const { return bytes.substr(0, bytes.find('\0')); }

 private:
  std::string bytes;
  std::size_t count = 0;
};

Status writeCommand(int handle, const std::string& command) {
  // What came unasked, or too late for the last command, must not be taken for this one's answer.
  XPLPurgeInput(handle);
  // The modem wants a carriage return alone: the line feed that ends every command is never sent.
  const int written = XPLWrite(handle, command.data(), static_cast<int>(command.size() - 1));
  if (written < 1) {
    // Hosts rely on it: both numbers are the count that was written.
    const std::string count = intToText(written, 10);
    return Status::failed(("Wrote: " + count + " should write: " + count).c_str());
  }
  return {};
}

Status judge(const std::string& text, const std::string& expectedReply) {
  if (text.find(expectedReply) != std::string::npos) {
    return {};
  }
  const std::optional<std::string> error = errorText(text);
  return Status::failed(error ? error->c_str() : "received reply did not match expected reply");
}

}  // namespace

Status GsmDevice::sendAtCommand(const std::string& command, const std::string& expectedReply, int waitMs,
                                std::string* reply) {
  if (command.empty()) {
    return Status::failed("message empty!");
  }
  if (modemConnectionDescriptor == 0) {
    if (Status opened = openConnection(); !opened.isOk()) {
      return opened;
    }
  }
  if (Status written = writeCommand(modemConnectionDescriptor, command); !written.isOk()) {
    return written;
  }
  const int pauseMs = waitMs > kShortestWaitMs ? waitMs : kShortestWaitMs;
  ReplyBuffer buffer(command.size() + expectedReply.size() + kReplyRoom);
  sleepFor(pauseMs);
  const int received = buffer.readMore(modemConnectionDescriptor);
  std::string text = buffer.text();
  // Bytes that begin with a NUL are no text, and count as none where one is expected.
  if (received == 0 || (text.empty() && !expectedReply.empty())) {
    return Status::failed("received NO reply!");
  }
  // Once more and not again: the waits are what a host knows of the time that a call takes.
  if (text.find(expectedReply) == std::string::npos) {
    sleepFor(pauseMs);
    buffer.readMore(modemConnectionDescriptor);
    text = buffer.text();
  }
  // Also of a reply that does not match: callers read errors and values out of it.
  if (reply != nullptr) {
    *reply = text;
  }
  return judge(text, expectedReply);
}

}  // namespace orvix::gsm

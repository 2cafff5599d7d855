// The log on standard error, with a modem's bytes in it escaped. Any thread.
#pragma once

#include <glog/logging.h>

namespace orvix::host {

// While it lives, takes the place of glog's own output, which would hand control characters to the terminal. To be made
// after logging is set up and destroyed before it is torn down.
// One at a time: it changes glog's flags, which are the process's.
class EscapedLog final : public google::LogSink {
 public:
  EscapedLog();
  ~EscapedLog() override;
  EscapedLog(const EscapedLog&) = delete;
  EscapedLog& operator=(const EscapedLog&) = delete;

  // Called by glog on whatever thread logs, one line at a time.
  void send(google::LogSeverity severity, const char* fullName, const char* baseName, int line,
            const google::LogMessageTime& time, const char* message, std::size_t length) override;
};

}  // namespace orvix::host

#include "host/escapedLog.h"

#include <iostream>

#include "common/printable.h"
#include "logging/logging.h"

namespace orvix::host {

EscapedLog::EscapedLog() {
  FLAGS_logtostderr = false;
  // Above the highest severity, so that glog itself writes nothing to standard error.
  FLAGS_stderrthreshold = google::NUM_SEVERITIES;
  google::base::SetLogger(google::GLOG_INFO, new NullLogger);  // otherwise glog would write a file
  google::AddLogSink(this);
}

EscapedLog::~EscapedLog() {
  google::RemoveLogSink(this);
  FLAGS_logtostderr = true;
}

void EscapedLog::send(google::LogSeverity severity, const char* /*fullName*/, const char* baseName, int line,
                      const google::LogMessageTime& time, const char* message, std::size_t length) {
  std::cerr << shown(ToString(severity, baseName, line, time, message, length)) + "\n" << std::flush;
}

}  // namespace orvix::host

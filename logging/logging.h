// glog for programs that own their process, and the bridge that brings xdbg's reports into it.
//
// Threads: set-up and tear-down count without a lock; call them from the thread that owns the process's start and end.
// Installing the bridge writes xdbg's process-wide settings. The bridge itself runs on any thread that reports.
#pragma once

#include <glog/logging.h>

#include <string>

namespace orvix {

// Sets glog up when called for the first time (or again after the last tear-down); further calls only count.
// `configure` true sets glog's flags: with `logDir` log files there and a copy on standard error, without it standard
// error alone, in colour; prefix, least severity, verbosity and vmodule patterns as given. Of the files only the info
// log remains, which receives every severity. `configure` false touches no flag and writes no log file at all.
// `programName` is borrowed until tear-down.
void setUpLogging(bool configure, const char* programName, bool logPrefix, int minLogLevel, int verbosity,
                  const std::string& vmodule, const std::string& logDir);

// Undoes one set-up; the last one shuts glog down. Without a set-up it does nothing.
void tearDownLogging();

// Points xdbg's hook at the host's log and routes information, warning and error to it alone: errors become verbose
// lines of level 1, warnings of level 2, information of level 5, under the tag "app/common/logging".
void installDebugBridge();

// Discards what it is given. glog owns and deletes an installed logger, so each severity gets one of its own.
class NullLogger : public google::base::Logger {
 public:
  void Write(bool force_flush, time_t timestamp, const char* message, size_t message_len) override;
  void Flush() override;
  google::uint32 LogSize() override;
};

}  // namespace orvix

#include "logging/logging.h"

#include "debug/xdbg.h"
#include "logging/verboseLog.h"

namespace orvix {
namespace {

// The tag and the line numbers that hosts see and filter by ("logging:35]"): they stay, wherever the code moves.
constexpr char kFileTag[] = "app/common/logging";
constexpr int kBridgeLine = 35;
constexpr int kSetUpLine = 110;
constexpr int kTearDownLine = 122;

int setUpCount = 0;  // set-ups without their tear-down

int verbosityOf(int level) {
  switch (level) {
    case kXDbgError:
      return 1;
    case kXDbgWarning:
      return 2;
    default:
      return 5;
  }
}

// Handles every report, also one that no verbosity shows: nothing of the libraries goes anywhere else.
int bridgeHook(int level, int /*route*/, const char* text, unsigned /*bufferSize*/) {
  logVerbose(kFileTag, kBridgeLine, verbosityOf(level), text);
  return 0;
}

void setFlags(bool logPrefix, int minLogLevel, int verbosity, const std::string& vmodule, const std::string& logDir) {
  // A text that begins with a zero byte is empty to glog, too.
  if (!logDir.empty() && logDir.front() != '\0') {
    FLAGS_log_dir = logDir;
    FLAGS_alsologtostderr = true;
  } else {
    FLAGS_logtostderr = true;
  }
  FLAGS_colorlogtostderr = true;
  FLAGS_log_prefix = logPrefix;
  FLAGS_minloglevel = minLogLevel;
  FLAGS_v = verbosity;
  FLAGS_vmodule = vmodule;
}

// glog deletes the logger when another takes its place, so that it cannot be shared or static.
void discard(google::LogSeverity severity) {
  google::base::SetLogger(severity, new NullLogger);
}

}  // namespace

void NullLogger::Write(bool /*force_flush*/, time_t /*timestamp*/, const char* /*message*/, size_t /*message_len*/) {
}

void NullLogger::Flush() {
}

google::uint32 NullLogger::LogSize() {
  return 0;
}

void setUpLogging(bool configure, const char* programName, bool logPrefix, int minLogLevel, int verbosity,
                  const std::string& vmodule, const std::string& logDir) {
  if (++setUpCount != 1) {
    return;
  }
  if (configure) {
    setFlags(logPrefix, minLogLevel, verbosity, vmodule, logDir);
  }
  google::InitGoogleLogging(programName);
  // A crash shows its stack on standard error.
  google::InstallFailureSignalHandler();
  discard(google::GLOG_FATAL);
  discard(google::GLOG_ERROR);
  discard(google::GLOG_WARNING);
  if (!configure) {
    discard(google::GLOG_INFO);
  }
  installDebugBridge();
  logVerbose(kFileTag, kSetUpLine, 3, "SetUp logging");
}

void tearDownLogging() {
  if (setUpCount > 0 && --setUpCount == 0) {
    logVerbose(kFileTag, kTearDownLine, 3, "TearDown logging");
    google::ShutdownGoogleLogging();
  }
}

void installDebugBridge() {
  XDbgSetReportHook(bridgeHook);
  XDbgSetOutputs(kXDbgToStream, nullptr);
}

}  // namespace orvix

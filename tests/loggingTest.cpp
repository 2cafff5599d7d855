// Setting glog up and down, and the bridge from debug reports into it.

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <string>
#include <tuple>
#include <vector>

#include "debug/xdbg.h"
#include "logging/logging.h"
#include "logging/verboseLog.h"
#include "tests/world/host.h"

using world::LogCapture;
using Lines = std::vector<std::string>;

namespace {

// Every flag that set-up may write.
auto flags() {
  return std::tie(FLAGS_logtostderr, FLAGS_alsologtostderr, FLAGS_colorlogtostderr, FLAGS_log_prefix, FLAGS_minloglevel,
                  FLAGS_v, FLAGS_vmodule, FLAGS_log_dir);
}

using FlagValues = std::tuple<bool, bool, bool, bool, int, int, std::string, std::string>;

class LoggingTest : public testing::Test {
 protected:
  void TearDown() override {
    for (int i = 0; i < 3; ++i) {
      orvix::tearDownLogging();
    }
    flags() = saved;
    XDbgSetReportHook(nullptr);
    XDbgSetOutputs(0, nullptr);
  }

  static void setUp(bool configure) { orvix::setUpLogging(configure, "loggingTest", true, 0, FLAGS_v, "", ""); }

  // Severities whose log file is discarded.
  static std::string discarded() {
    std::string names;
    for (google::LogSeverity severity = 0; severity < google::NUM_SEVERITIES; ++severity) {
      if (dynamic_cast<orvix::NullLogger*>(google::base::GetLogger(severity)) != nullptr) {
        names += std::string(google::GetLogSeverityName(severity)) + " ";
      }
    }
    return names;
  }

  FlagValues saved = flags();
};

}  // namespace

TEST_F(LoggingTest, SetUpsAreCountedAndTheLastTearDownShutsDown) {
  for (int round = 0; round < 2; ++round) {
    const LogCapture log(3);
    setUp(false);
    setUp(false);
    orvix::tearDownLogging();
    EXPECT_TRUE(google::IsGoogleLoggingInitialized());
    EXPECT_EQ(log.lines, Lines{"logging:110] SetUp logging"});
    orvix::tearDownLogging();
    EXPECT_FALSE(google::IsGoogleLoggingInitialized());
    EXPECT_EQ(log.lines, (Lines{"logging:110] SetUp logging", "logging:122] TearDown logging"}));
    orvix::tearDownLogging();  // once too often
  }
}

TEST_F(LoggingTest, ConfigureDecidesAboutFlagsAndLoggers) {
  const FlagValues before{false, false, false, true, 0, 0, "", "untouched"};
  const FlagValues toStderr{true, false, true, false, 1, 4, "a=1", "untouched"};
  const FlagValues toFolder{false, true, true, false, 1, 4, "a=1", "dir"};
  const std::tuple<bool, std::string, FlagValues> rows[] = {
      {false, "dir", before}, {true, "dir", toFolder}, {true, "", toStderr}, {true, std::string(1, '\0'), toStderr}};
  for (const auto& [configure, logDir, expected] : rows) {
    SCOPED_TRACE(testing::PrintToString(logDir) + (configure ? " configured" : ""));
    flags() = before;
    std::signal(SIGTERM, SIG_DFL);
    // Least severity 1 keeps the lines of this test out of "dir".
    orvix::setUpLogging(configure, "loggingTest", false, 1, 4, "a=1", logDir);
    EXPECT_EQ(FlagValues(flags()), expected);
    EXPECT_EQ(discarded(), configure ? "WARNING ERROR FATAL " : "INFO WARNING ERROR FATAL ");
    EXPECT_NE(std::signal(SIGTERM, SIG_DFL), SIG_DFL) << "the failure handler is installed";
    orvix::tearDownLogging();
  }
}

TEST_F(LoggingTest, OnlyTheInfoFileRemainsAndReceivesEverything) {
  const world::TemporaryFolder folder;
  EXPECT_EXIT(
      {
        orvix::setUpLogging(true, "loggingTest", true, 0, 3, "", folder.path());
        LOG(WARNING) << "a warning";
        LOG(ERROR) << "an error";
        orvix::tearDownLogging();
        std::exit(0);
      },
      testing::ExitedWithCode(0), "logging:110\\] SetUp logging.*a warning.*an error.*logging:122\\] TearDown logging");
  const Lines names = folder.names();  // the file and the link to it
  EXPECT_TRUE(names.size() == 2 && names[0].find("INFO") != std::string::npos) << testing::PrintToString(names);
  const std::string content = world::readText(folder.file(names.at(0)));
  for (const char* const text : {"logging:110] SetUp logging", "a warning", "an error", "logging:122] TearDown"}) {
    EXPECT_NE(content.find(text), std::string::npos) << text << " in " << content;
  }
}

TEST_F(LoggingTest, BridgeTurnsLevelsIntoVerbosity) {
  XDbgSetOutputs(kXDbgToFile, stderr);
  orvix::installDebugBridge();
  for (unsigned level = 0; level < 3; ++level) {
    EXPECT_EQ(XDbgSetRoute(level, -1), kXDbgToStream);
    EXPECT_EQ(XDbgSetStream(level, kXDbgStreamQuery), nullptr);
  }
  EXPECT_EQ(XDbgSetRoute(kXDbgAssertion, -1), kXDbgToPrompt) << "assertions are left as they are";
  const Lines all = {"logging:35] error", "logging:35] warning", "logging:35] information"};
  const std::tuple<int, std::ptrdiff_t> rows[] = {{0, 0}, {1, 1}, {2, 2}, {4, 2}, {5, 3}};
  for (const auto& [verbosity, count] : rows) {
    const LogCapture log(verbosity);
    XDbgError("%s", "error");
    XDbgWarning("%s", "warning");
    XDbgInfo("%s", "information");
    EXPECT_EQ(log.lines, Lines(all.begin(), all.begin() + count)) << verbosity;
  }
}

TEST_F(LoggingTest, BridgeHandlesEveryReport) {
  orvix::installDebugBridge();
  const XDbgReportHook hook = XDbgSetReportHook(nullptr);
  const LogCapture log(5);
  EXPECT_EQ(hook(kXDbgAssertion, kXDbgToPrompt, "assertion", 10), 0);
  EXPECT_EQ(hook(kXDbgError, kXDbgToStream, nullptr, 0), 0);
  EXPECT_EQ(log.lines, (Lines{"logging:35] assertion", "logging:35] "}));
}

// FLAGS_vmodule with the tags of the rooms. A program of its own: glog reads the patterns once in a process, at the
// first line that asks.

#include <gtest/gtest.h>

#include "debug/xdbg.h"
#include "logging/logging.h"
#include "logging/verboseLog.h"

namespace {

TEST(LoggingPatternsTest, PatternsChooseTheTagByItsBaseName) {
  EXPECT_EXIT(
      {
        orvix::setUpLogging(true, "loggingTest", true, 0, 0, "logging=3,some*=2", "");
        XDbgInfo("of level five");
        XDbgWarning("of level two");
        orvix::logVerbose("a/b/something", 710, 2, "through");
        orvix::logVerbose("a/b/something", 711, 3, "hidden");
        orvix::logVerbose("some/other", 712, 1, "hidden");
        orvix::tearDownLogging();
        std::exit(0);
      },
      testing::ExitedWithCode(0),
      "\\] SetUp logging\nI[^\n]* logging:35\\] of level two\nI[^\n]* something:710\\] through\n"
      "I[^\n]* logging:122\\] TearDown logging\n$");
}

}  // namespace

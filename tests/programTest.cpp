// What every program does at its start and end, seen from a child process where it changes the process.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

#include <csignal>

#include "program/complaint.h"
#include "program/standardStreams.h"
#include "program/stopSignals.h"

namespace program = orvix::program;

namespace {

bool isReadable(int descriptor) {
  pollfd event{descriptor, POLLIN, 0};
  return poll(&event, 1, 0) == 1;
}

}  // namespace

TEST(ProgramTest, ClosedStandardStreamsAreOpenedAndNothingElse) {
  EXPECT_EXIT(
      {
        close(STDIN_FILENO);
        close(STDERR_FILENO);
        program::openStandardStreams();
        char byte = 0;
        const bool isOpen = read(STDIN_FILENO, &byte, 1) == 0 && write(STDERR_FILENO, "x", 1) == 1;
        _exit(isOpen && open("/dev/null", O_RDONLY) > STDERR_FILENO ? 0 : 1);
      },
      testing::ExitedWithCode(0), "");
}

TEST(ProgramTest, SignalsAreAWishToStopAndTheFirstIsTold) {
  EXPECT_EXIT(
      {
        program::catchStopSignals();
        const bool isQuiet = !program::isStopWished() && !isReadable(program::stopDescriptor());
        raise(SIGTERM);
        raise(SIGINT);
        const bool isWished = program::isStopWished() && program::stopSignal() == SIGTERM;
        const bool isAwake = isReadable(program::stopDescriptor()) && !program::sleepUnlessStopped(600);
        _exit(isQuiet && isWished && isAwake ? 0 : 1);
      },
      testing::ExitedWithCode(0), "");
}

TEST(ProgramTest, AComplaintIsOneLineWithoutControls) {
  testing::internal::CaptureStderr();
  program::complain("gsm-x", "\x1b[2J \xe2\x80\xae \x9b");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "gsm-x: \\x1b[2J \\xe2\\x80\\xae \\x9b\n");
}

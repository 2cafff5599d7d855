// The serial library on a pseudo-terminal: control blocks, opening, traffic, modem lines, tracing.

#include <fcntl.h>
#include <sys/ioctl.h>

#include <cerrno>
#include <cstring>
#include <optional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "tests/world/serialPort.h"

using world::Fault;
using world::recordTrace;
using world::reports;

namespace {

using SerialTest = world::SerialPort;

constexpr char kNull[] = "/dev/null:9600,e,7,2";
const XplDcb kTemplate{{}, 77, 19200, 'e', 7, 2, {1, 2, 3, 4, 5}, 79};

std::string settingsOf(const XplDcb& dcb) {
  char text[64];
  std::snprintf(text, sizeof text, "%d,%c,%d,%d", dcb.baud, dcb.parity, dcb.dataBits, dcb.stopBits);
  return text;
}

// What is reported for a string that ends after its path, or after the baud rate.
std::string missing(const std::string& path) {
  const std::string start = "2 " + path + ": invalid ";
  return start + "parity: \xFF\n" + start + "databits: -1\n" + start + "stopbits: -1\n";
}

}  // namespace

TEST_F(SerialTest, FreshBlockHoldsStringAndSettings) {
  XplDcb dcb;
  std::memset(&dcb, 0x55, sizeof dcb);
  EXPECT_EQ(XPLBuildDCB("/dev/ttyO2:9600,n,8,1", &dcb, nullptr), 1);
  const XplDcb expected{"/dev/ttyO2:9600,n,8,1", -1, 9600, 'n', 8, 1, {-1, -1, -1, -1, -1}, 0};
  EXPECT_EQ(std::memcmp(&dcb, &expected, sizeof dcb), 0);
  EXPECT_EQ(XPLBuildDCB(nullptr, &dcb, nullptr) + XPLBuildDCB("/x:9600,n,8,1", nullptr, nullptr), 0);
  EXPECT_EQ(XPLOpen(nullptr, 128, 128, nullptr, nullptr), 0);
  EXPECT_EQ(reports, "");
}

TEST_F(SerialTest, RejectedSettingsAreReportedAndATemplateStandsIn) {
  // String, reports, settings when a template's stand in.
  const std::tuple<const char*, std::string, const char*> rows[] = {
      {"/x:0,n,8,1", "2 /x: invalid baudrate: 0\n", "19200,n,8,1"},
      {"/x:460800,o,5,1", "2 /x: invalid baudrate: 460800\n", "19200,o,5,1"},
      {"/x:9600,m,8,1", "2 /x: invalid parity: m\n", "9600,e,8,1"},
      {"/x:9600,n,4,1", "2 /x: invalid databits: 4\n", "9600,n,7,1"},
      {"/x:9600,n,9,0", "2 /x: invalid databits: 9\n2 /x: invalid stopbits: 0\n", "9600,n,7,2"},
      {"/x:9600,n,8,3", "2 /x: invalid stopbits: 3\n", "9600,n,8,2"},
      {"/x:9600,n,4294967304,1", "2 /x: invalid databits: 2147483647\n", "9600,n,7,1"},
      {"/x:9600", missing("/x"), "9600,e,7,2"},
      {"/x:9600, n,8,1", missing("/x"), "9600,e,7,2"},
      {"a:b:9600,n,8,1", "2 a: invalid baudrate: -1\n" + missing("a"), "19200,e,7,2"},
      {"/x", "2 invalid comstr: /x\n2 : invalid baudrate: -1\n" + missing(""), "19200,e,7,2"},
      {" /x:9600,n,8,1", "2 invalid comstr: \n2 : invalid baudrate: -1\n" + missing(""), "19200,e,7,2"}};
  for (const auto& [text, expected, withTemplate] : rows) {
    SCOPED_TRACE(text);
    XplDcb dcb;
    reports.clear();
    EXPECT_TRUE(XPLBuildDCB(text, &dcb, nullptr) == 0 && XPLBuildDCB(text, &dcb, &kTemplate) == 1);
    EXPECT_EQ(reports, expected + expected);
    EXPECT_EQ(settingsOf(dcb), withTemplate);
    EXPECT_EQ(dcb.reserved1 + dcb.reserved2[4] + dcb.reserved3, 77 + 5 + 79);
  }
}

TEST_F(SerialTest, TemplateBytesShowThroughAndStringsMustFit) {
  XplDcb templ = block("/dev/ttyS1:19200,e,7,2");
  XplDcb dcb;
  EXPECT_EQ(XPLBuildDCB("/dev/\ttyO2\v576", &dcb, &templ), 1);
  EXPECT_STREQ(dcb.connectionString, "/dev/ttyO2:57600,e,7,2");
  for (const std::size_t length : {127U, 128U, 200U, 2000U}) {
    const std::string text = std::string(length - 11, 'x') + ":9600,n,8,1";
    const std::string refusal = ("2 invalid comstr: " + text).substr(0, 2 + kXDbgMessageSize - 1) + "\n";
    reports.clear();
    EXPECT_EQ(XPLBuildDCB(text.c_str(), &dcb, &kTemplate), length == 127 ? 1 : 0) << length;
    EXPECT_EQ(reports, length == 127 ? "" : refusal);
  }
  reports.clear();
  std::memset(templ.connectionString, ':', sizeof templ.connectionString);
  EXPECT_EQ(XPLBuildDCB("short", &dcb, &templ), 0) << "the template's bytes leave no terminating zero";
  EXPECT_EQ(openBare(templ), 0);
  EXPECT_EQ(reports,
            "2 invalid comstr: short" + std::string(123, ':') + "\n2 invalid comstr: " + std::string(128, ':') + "\n");
}

TEST_F(SerialTest, OpenWritesExactlyTheLineSettingsOfTheBlock) {
  // clang-format off
  const std::pair<const char*, speed_t> bauds[] = {
      {"50", B50}, {"75", B75}, {"110", B110}, {"134", B134}, {"150", B150}, {"200", B200}, {"300", B300},
      {"600", B600}, {"1200", B1200}, {"1800", B1800}, {"2400", B2400}, {"4800", B4800}, {"9600", B9600},
      {"19200", B19200}, {"38400", B38400}, {"57600", B57600}, {"115200", B115200}, {"230400", B230400}};
  const std::tuple<const char*, tcflag_t, tcflag_t> rows[] = {
      {",n,8,1", CS8, IGNPAR}, {",N,7,2", CS7 | CSTOPB, IGNPAR}, {",e,6,1", CS6 | PARENB, INPCK},
      {",E,5,1", CS5 | PARENB, INPCK}, {",o,8,1", CS8 | PARENB | PARODD, INPCK},
      {",O,7,1", CS7 | PARENB | PARODD, INPCK}};
  // clang-format on
  for (std::size_t i = 0; i < std::size(bauds); ++i) {
    const auto& [baud, speed] = bauds[i];
    const auto& [rest, control, input] = rows[i % std::size(rows)];
    const std::string settings = std::string(baud) + rest;
    const XplDcb dcb = block(line.path() + ":" + settings);
    EXPECT_EQ(settingsOf(dcb), settings);
    ASSERT_EQ(openBare(dcb), 1) << settings;
    termios expected{};
    expected.c_iflag = input;
    expected.c_cflag = CREAD | CLOCAL | control;
    cfsetispeed(&expected, speed);
    cfsetospeed(&expected, speed);
    EXPECT_EQ(world::describe(calls.lastLineSettings), world::describe(expected)) << settings;
    XPLClose(1);
  }
  EXPECT_EQ(calls.lastOpenFlags, O_RDWR | O_NOCTTY | O_NONBLOCK);
}

TEST_F(SerialTest, CloseRestoresTheLineUnlocksAndLeavesNothingOpen) {
  const int descriptors = world::openDescriptors();
  const XplDcb dcb = block(line.connectionString());
  termios before{};
  tcgetattr(line.masterFd(), &before);
  EXPECT_TRUE(openBare(dcb) == 1 && openBare(dcb) == 0);
  EXPECT_EQ(reports, "0 using no trace settings\n" + report("lock", EWOULDBLOCK));
  EXPECT_NE(world::describe(calls.lastLineSettings), world::describe(before));
  calls.setAttrCount = 0;
  const Fault unlock("flock", 1, EIO);
  EXPECT_TRUE(XPLClose(1) == 1 && unlock.hasFired());
  EXPECT_EQ(calls.setAttrCount, 1);
  EXPECT_EQ(world::describe(calls.lastLineSettings), world::describe(before));
  EXPECT_EQ(world::openDescriptors(), descriptors);
}

TEST_F(SerialTest, FaultsAtOpenLeaveNothingBehind) {
  // clang-format off
  const std::tuple<const char*, int, const char*> rows[] = {
      {"open", 1, "open"}, {"flock", 1, "lock"}, {"tcgetattr", 1, "get attribs"}, {"tcsetattr", 1, "put attribs"},
      {"malloc", 1, nullptr}, {"malloc", 2, nullptr}};
  // clang-format on
  const int descriptors = world::openDescriptors();
  const XplDcb dcb = block(line.connectionString());
  for (const auto& [function, n, what] : rows) {
    SCOPED_TRACE(std::string(function) + " " + std::to_string(n));
    reports.clear();
    calls.setAttrCount = 0;
    {
      const Fault fault(function, n, EIO);
      EXPECT_TRUE(openBare(dcb) == 0 && fault.hasFired());
    }
    EXPECT_EQ(reports, what != nullptr ? report(what, EIO) : "");
    EXPECT_EQ(world::openDescriptors(), descriptors);
    EXPECT_EQ(calls.setAttrCount, std::strcmp(function, "tcsetattr") == 0 ? 2 : 0) << "refused, then put back";
    EXPECT_EQ(openBare(dcb), 1) << "slot and lock are free again";
    XPLClose(1);
  }
  XplDcb wrong = dcb;
  wrong.parity = 0x100 | 'x';
  wrong.dataBits = 9;
  reports.clear();
  EXPECT_EQ(openBare(wrong), 0);
  EXPECT_EQ(reports, "2 " + line.path() + ": invalid parity: x\n") << "the first rejected setting ends it";
  EXPECT_EQ(world::openDescriptors(), descriptors);
}

TEST_F(SerialTest, SlotsRunOutSilentlyAndOneStaysReservedWithoutARecord) {
  const XplDcb dcb = block(kNull);
  const auto slotIsLost = [&dcb] {
    std::optional<Fault> fault(std::in_place, "calloc", 1, ENOMEM);
    const bool refused = openBare(dcb) == 0 && fault->hasFired();
    fault.reset();
    return refused && XPLClose(1) == 1 && XPLPurgeInput(1) == 0 && reports.empty() && openBare(dcb) == 2;
  };
  EXPECT_EXIT(_exit(slotIsLost() ? 0 : 1), testing::ExitedWithCode(0), "");  // lost to the child alone
  for (int handle = 1; handle <= 7; ++handle) {
    EXPECT_EQ(openBare(dcb), handle);
  }
  reports.clear();
  EXPECT_EQ(openBare(dcb), 0);
  EXPECT_EQ(reports, "");
  EXPECT_TRUE(XPLClose(5) + XPLClose(3) == 2 && openBare(dcb) == 3);
}

TEST_F(SerialTest, UnknownHandlesAnswerZeroSilently) {
  const int closed = openTraced(kNull);
  XPLClose(closed);
  reports.clear();
  for (const int handle : {-1, 0, 8, closed}) {
    char byte = 0;
    unsigned status = 0;
    clock.sleepsMs.clear();
    EXPECT_EQ(XPLRead(handle, &byte, 1) | XPLWrite(handle, &byte, 1) | XPLPurgeInput(handle), 0);
    EXPECT_EQ(XPLSetModemLines(handle, kXplRaiseDtr) | XPLGetModemStatus(handle, &status), 0);
    EXPECT_TRUE(XPLPurgeInputAfter(handle, 250) == 0 && XPLClose(handle) == 1);
    EXPECT_EQ(clock.sleepsMs, std::vector<std::int64_t>{250});
  }
  EXPECT_EQ(reports, "");
}

TEST_F(SerialTest, ReadsComeFromTheRingAndSayHowMuchWasThere) {
  const int handle = openTraced(line.connectionString(), 10);
  char buffer[32] = {};
  EXPECT_EQ(XPLRead(handle, buffer, 10), 0);
  line.send("abc");
  EXPECT_EQ(XPLRead(handle, buffer, 0), 0);
  EXPECT_EQ(XPLRead(handle, buffer, 10), -3);
  line.send("0123456789");
  calls.readCount = 0;
  EXPECT_TRUE(XPLRead(handle, buffer + 3, 4) == 4 && XPLRead(handle, buffer + 7, 5) == 5 &&
              XPLRead(handle, buffer + 12, 1) == 1 && calls.readCount == 1);
  EXPECT_STREQ(buffer, "abc0123456789");
  line.send("more than ten");
  EXPECT_EQ(XPLRead(handle, buffer, 30), -13) << "refilled while data arrives";
  EXPECT_EQ(traced, "1 0 abc;1 0 0123456789;1 0 more than ;1 0 ten;");
  line.send("z");
  const Fault fault("read", 1, EIO);
  EXPECT_EQ(XPLRead(handle, buffer, 1), 0) << "an error is no data";
  EXPECT_EQ(XPLRead(handle, buffer, 1), 1);
  EXPECT_EQ(reports, "0 using specific trace settings\n");
}

TEST_F(SerialTest, WriteIsOneCallAndAShortOneIsNegative) {
  const int handle = openTraced(line.connectionString());
  EXPECT_EQ(XPLWrite(handle, "ATZ\r", 4), 4);
  {
    const Fault fault("write", 1, 0, 3);
    EXPECT_EQ(XPLWrite(handle, "hello", 5), -2);
  }
  const Fault fault("write", 1, EAGAIN);
  EXPECT_EQ(XPLWrite(handle, "lost", 4) + XPLWrite(handle, "none", 0), 0);
  EXPECT_EQ(line.receive(), "ATZ\rhe");
  EXPECT_EQ(traced, "2 0 ATZ\r;2 0 he;");
}

TEST_F(SerialTest, PurgeDiscardsRingAndQueueAfterTheSleep) {
  struct LateByte : world::ClockListener {
    explicit LateByte(world::PtyPair* pair) : line(pair) {}
    void beforeSleep(std::int64_t /*nowMs*/) override {}
    void afterSleep(std::int64_t /*nowMs*/) override { line->send("x"); }
    world::PtyPair* line;
  } late(&line);
  const int handle = openTraced(line.connectionString());
  char byte = 0;
  line.send("abc");
  EXPECT_EQ(XPLRead(handle, &byte, 1), 1);
  clock.listener = &late;
  EXPECT_EQ(XPLPurgeInputAfter(handle, 1500), 1);
  clock.listener = nullptr;
  EXPECT_EQ(clock.sleepsMs, std::vector<std::int64_t>{1500});
  EXPECT_EQ(XPLRead(handle, &byte, 1), 0) << "what came during the sleep is gone as well";
}

TEST_F(SerialTest, ModemStatusComparesTheRawWordWithTheNewStatus) {
  // Raw word, status after a raw word of 0, status after the same raw word.
  const std::tuple<int, unsigned, unsigned> rows[] = {
      {TIOCM_CTS, 0x011, 0x013}, {TIOCM_DSR, 0x022, 0x422}, {TIOCM_RNG, 0x044, 0x04C}, {TIOCM_CAR, 0x088, 0x08C},
      {TIOCM_DTR, 0x500, 0x500}, {TIOCM_RTS, 0xA00, 0xA00}, {TIOCM_LE, 0, 0},          {0x1E6, 0xFFF, 0xBF1}};
  unsigned status = 1;
  for (const auto& [raw, first, second] : rows) {
    calls.modemLines = 0;
    const int handle = openTraced(line.connectionString());
    calls.modemLines = raw;
    for (const unsigned expected : {first, second}) {
      EXPECT_EQ(XPLGetModemStatus(handle, &status), 1);
      EXPECT_EQ(status, expected) << raw;
    }
    XPLClose(handle);
  }
  EXPECT_EQ(traced, "3 0 ff0f;3 0 f10b;");
  const int handle = openTraced(line.connectionString());
  EXPECT_EQ(primed, "3 0 f003;") << "an open shows no changes";
  EXPECT_TRUE(XPLGetModemStatus(handle, &status) == 1 && status == 0xBF1) << "an open primes the cache";
  EXPECT_EQ(XPLGetModemStatus(handle, nullptr), 0);
}

TEST_F(SerialTest, RequestsDriveDtrAndRtsAndADropWins) {
  constexpr int kBoth = TIOCM_DTR | TIOCM_RTS;
  // clang-format off
  const std::tuple<int, unsigned, int> rows[] = {
      {0, 0x1, TIOCM_DTR}, {TIOCM_CTS, 0x2, TIOCM_CTS | TIOCM_RTS}, {kBoth, 0x4, TIOCM_RTS}, {kBoth, 0x8, TIOCM_DTR},
      {TIOCM_CAR, 0xFF, TIOCM_CAR}};
  // clang-format on
  const int handle = openTraced(line.connectionString());
  for (const auto& [before, request, after] : rows) {
    calls.modemLines = before;
    EXPECT_TRUE(XPLSetModemLines(handle, request) == 1 && calls.modemLines == after) << request;
  }
  EXPECT_EQ(traced, "4 0 0001;4 0 1002;4 0 0002;4 0 0001;4 0 8000;");
}

TEST_F(SerialTest, RefusedModemLinesAreReportedAndARefusedSetIsCached) {
  const int handle = openTraced(line.connectionString());
  reports.clear();
  calls.modemLines = TIOCM_DSR;
  calls.refuseSetLines = true;
  EXPECT_EQ(XPLSetModemLines(handle, kXplRaiseDtr), 0);
  EXPECT_EQ(std::exchange(reports, ""), report("put state flags", EIO));
  EXPECT_EQ(std::exchange(traced, ""), "4 0 2001;");
  calls.modemLines = 0;
  unsigned status = 1;
  EXPECT_TRUE(XPLGetModemStatus(handle, &status) == 1 && status == 0x400) << "compared with the word that was refused";
  calls.modemLines = -1;  // a pseudo-terminal has no modem lines
  traced.clear();
  const std::string refusal = report("get state flags", ENOTTY);
  EXPECT_TRUE(XPLGetModemStatus(handle, &status) == 0 && status == 0);
  EXPECT_EQ(XPLSetModemLines(handle, kXplRaiseDtr), 0);
  XPLClose(handle);
  EXPECT_EQ(openTraced(line.connectionString()), handle) << "an open does without modem lines";
  EXPECT_EQ(reports, refusal + refusal + "0 using specific trace settings\n" + refusal);
  EXPECT_EQ(traced + primed, "");
}

TEST_F(SerialTest, NullDeviceNeedsNoLineAndKeepsItsModemLinesInMemory) {
  calls.modemLines = 0x1E6;  // never asked
  openTraced(line.connectionString());
  for (const char* const untouched : {"flock", "tcgetattr", "tcsetattr"}) {
    const Fault fault(untouched, 1, EIO);
    const int handle = openTraced(kNull);
    char byte = 0;
    unsigned status = 0;
    EXPECT_TRUE(XPLWrite(handle, "gone", 4) == 4 && XPLRead(handle, &byte, 1) == 0);
    EXPECT_TRUE(XPLSetModemLines(handle, 0x1 | 0x2) == 1 && XPLSetModemLines(handle, 0x1 | 0x4) == 1);
    EXPECT_TRUE(XPLGetModemStatus(handle, &status) == 1 && status == 0xA00);
    EXPECT_EQ(primed + traced, "3 1 0000;2 1 gone;4 1 0003;4 1 0002;3 1 000a;");
    XPLClose(handle);
    EXPECT_FALSE(fault.hasFired()) << untouched;
  }
}

TEST_F(SerialTest, TracePairIsChosenAtOpenAndKept) {
  std::string global, later;
  // clang-format off
  const std::tuple<void*, XplTraceCallback, void*, XplTraceCallback, const char*> rows[] = {
      {&traced, recordTrace, &global, recordTrace, "specific"}, {&traced, nullptr, &global, recordTrace, "global"},
      {nullptr, recordTrace, &global, recordTrace, "global"}, {nullptr, recordTrace, &global, nullptr, "no"},
      {&traced, nullptr, nullptr, recordTrace, "no"}};
  // clang-format on
  const XplDcb dcb = block(kNull);
  for (const auto& [context, callback, otherContext, otherCallback, chosen] : rows) {
    XPLSetTraceCallback(otherContext, otherCallback);
    reports.clear();
    const int handle = XPLOpen(&dcb, 8, 8, context, callback);
    EXPECT_EQ(reports, std::string("0 using ") + chosen + " trace settings\n");
    XPLSetTraceCallback(&later, recordTrace);
    XPLWrite(handle, "x", 1);
    EXPECT_EQ(std::exchange(traced, ""), chosen[0] == 's' ? "3 0 0000;2 0 x;" : "");
    EXPECT_EQ(std::exchange(global, "") + later, chosen[0] == 'g' ? "3 0 0000;2 0 x;" : "") << "fixed at open";
    XPLClose(handle);
  }
}

TEST_F(SerialTest, ChangingTheGlobalTraceWarnsOnlyWhenOneWasSet) {
  const std::string overwritten = "1 WARNING: Global trace settings are overwritten\n";
  const std::string removed = "1 WARNING: Global trace settings are removed\n";
  // clang-format off
  const std::tuple<void*, XplTraceCallback, std::string> rows[] = {
      {&traced, recordTrace, ""}, {&primed, recordTrace, overwritten}, {&primed, nullptr, removed},
      // Half a pair counts as none.
      {nullptr, recordTrace, ""}, {&traced, recordTrace, ""}, {nullptr, recordTrace, removed}};
  // clang-format on
  for (const auto& [context, callback, expected] : rows) {
    EXPECT_EQ(XPLSetTraceCallback(context, callback), 1);
    EXPECT_EQ(std::exchange(reports, ""), expected);
  }
  const std::string deprecated = "1 DEPRICATED: Use XPLSetTraceCallback() instead\n";
  EXPECT_EQ(XPLSetTrace(&traced, 1), 0);
  XPLSetTraceEx(&traced, 1, 2);
  EXPECT_EQ(reports, deprecated + deprecated);
  EXPECT_EQ(XPLGetVersion(), 1225);
}

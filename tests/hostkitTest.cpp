// What a host asks without a device: fit texts, classes of errors, lines, configurations, kinds of statuses,
// recordings.
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <termios.h>

#include <cerrno>
#include <string>
#include <tuple>
#include <vector>

#include "document/builder.h"
#include "hostkit/configCheck.h"
#include "hostkit/connectionString.h"
#include "hostkit/error.h"
#include "hostkit/errorClass.h"
#include "hostkit/lineTrouble.h"
#include "hostkit/lineWatch.h"
#include "hostkit/messageFit.h"
#include "hostkit/modemErrors.h"
#include "hostkit/recorder.h"
#include "hostkit/recording.h"
#include "hostkit/statusText.h"
#include "tests/world/host.h"
#include "tests/world/ptyPair.h"
#include "tests/world/systemCalls.h"

namespace orvix::hostkit {
namespace {

using Lines = std::vector<std::string>;

TEST(MessageFit, Numbers) {
  for (const char* const fit : {"110", "+49123456789", "12345678901234567890"}) {
    EXPECT_TRUE(numberFit(fit).isFit()) << fit;
  }
  for (const char* const unfit :
       {"", "+", "12", "+12", "123456789012345678901", "+49 123", "++49123", "12a", "*100#"}) {
    EXPECT_FALSE(numberFit(unfit).isFit()) << unfit;
  }
}

TEST(MessageFit, Texts) {
  const std::tuple<std::string, int, bool, bool> rows[] = {
      {"", 0, false, false},
      {"a line\nand another", 18, true, true},
      {std::string(160, 'a'), 160, true, true},
      {std::string(161, 'a'), 161, false, false},
      {std::string(80, '~'), 160, true, false},
      {std::string(80, '~') + "a", 161, false, false},
      {"a@b$c_d", 7, true, false},
      {"`", 0, false, false},
      {"tab\t", 3, false, false},
      {"cr\r", 2, false, false},
      {"end\x1a", 3, false, false},
      {"nul" + std::string(1, '\0'), 3, false, false},
      {"\xc3\xbc", 0, false, false},
      {"+CMGS: 9", 8, false, false},
      {"one\n+CMS ERROR: 1", 17, false, false},
      {"\n+CME ERROR:", 12, false, false},
      {"see +CMGS: 9", 12, true, true},
  };
  for (const auto& [text, septets, isFitInIra, isFitInGsm] : rows) {
    EXPECT_EQ(textFit(text, Charset::kIra).septets, septets) << text;
    EXPECT_EQ(textFit(text, Charset::kIra).isFit(), isFitInIra) << text;
    EXPECT_EQ(textFit(text, Charset::kGsm).isFit(), isFitInGsm) << text;
  }
  EXPECT_EQ(textFit("\xc3\xbc\x1b", Charset::kIra).problem,
            "the text holds \"\xc3\xbc\", which does not arrive as written");
}

TEST(ErrorClass, FollowsFromTheCode) {
  const std::tuple<ErrorKind, std::vector<int>, ErrorClass> rows[] = {
      {ErrorKind::kCms, {1, 8, 95, 97, 99, 111, 304, 305}, ErrorClass::kMessage},
      {ErrorKind::kCms, {38, 41, 42, 331}, ErrorClass::kNetwork},
      {ErrorKind::kCme, {30, 32}, ErrorClass::kNetwork},
      {ErrorKind::kCms, {310, 313, 315, 318, 330}, ErrorClass::kModem},
      {ErrorKind::kCme, {5, 7, 10, 18}, ErrorClass::kModem},
      {ErrorKind::kCms, {21, 22, 27, 29, 302, 314}, ErrorClass::kChance},
      {ErrorKind::kCms, {0, 94, 100, 300, 303, 306, 309, 319, 332, 500, 512, 9999}, ErrorClass::kDoubt},
      {ErrorKind::kCme, {1, 4, 8, 9, 19, 29, 33, 304}, ErrorClass::kDoubt},
  };
  for (const auto& [kind, codes, errorClass] : rows) {
    const ErrorClass before = errorClass == ErrorClass::kDoubt ? ErrorClass::kChance : errorClass;
    for (const int code : codes) {
      EXPECT_EQ(classOf(kind, code, false), errorClass) << code;
      EXPECT_EQ(classOf(kind, code, true), before) << code;
    }
  }
  EXPECT_EQ(classOf(ErrorKind::kWord, std::nullopt, false), ErrorClass::kDoubt);
  EXPECT_EQ(classOf(ErrorKind::kWord, std::nullopt, true), ErrorClass::kChance);
  const ClassOverrides own{{500, ErrorClass::kNetwork}, {38, ErrorClass::kDoubt}};
  EXPECT_EQ(classOf(ErrorKind::kCms, 500, false, own), ErrorClass::kNetwork);
  EXPECT_EQ(classOf(ErrorKind::kCms, 38, true, own), ErrorClass::kChance);
  EXPECT_EQ(classOf(ErrorKind::kCme, 38, false, own), ErrorClass::kDoubt);
  EXPECT_EQ(classOf(ErrorKind::kCme, 30, false, {{30, ErrorClass::kDoubt}}), ErrorClass::kNetwork);
}

TEST(ModemErrors, NumbersHaveMeanings) {
  EXPECT_EQ(explained("Failed: ERROR: 11"), "Failed: ERROR: 11 (the SIM card wants its PIN)");
  EXPECT_EQ(explained("Failed: ERROR: 10"), "Failed: ERROR: 10 (call barred, or no SIM card)");
  EXPECT_EQ(explained("Failed: ERROR: SIM busy"), "Failed: ERROR: SIM busy");
  EXPECT_EQ(errorText(ErrorKind::kCms, 777), "+CMS ERROR: 777");
}

TEST(ConnectionString, OfEveryMode) {
  const auto lineOf = [](const LineChoice& choice) { return connectionString(configurationOf(choice)); };
  EXPECT_EQ(lineOf(serialLine("/dev/ttyUSB0")), "/dev/ttyUSB0:115200,n,8,1");
  EXPECT_EQ(lineOf(serialLine("/dev/ttyUSB0:9600,e,7,2")), "/dev/ttyUSB0:9600,e,7,2");
  EXPECT_EQ(lineOf(tcpLine("10.0.0.1:2233")), "/dev/tcp/10.0.0.1/2233:115200,n,8,1");
  EXPECT_EQ(lineOf(tcpLine("host:1:9600,n,8,1")), "/dev/tcp/host/1:9600,n,8,1");
  for (const char* const wrong : {"", ":1", "host", "host:", "host:0", "host:65536", "host:1x", "\xff:1"}) {
    EXPECT_THROW(tcpLine(wrong), Error) << wrong;
  }
}

TEST(ConfigCheck, NamesTheKeyThatCannotWork) {
  const auto keyOf = [](const std::string& mode, const std::string& comstr, int port) {
    return configProblem(configurationOf({mode, comstr, "10.0.0.1", port})).key;
  };
  EXPECT_EQ(keyOf("com", "/dev/ttyUSB0:9600,n,8,1", 99999), "");
  EXPECT_EQ(keyOf("ip", ":9600,n,8,1", 65535), "");
  EXPECT_EQ(keyOf("COM", "/dev/ttyUSB0:9600,n,8,1", 1), "config.mode");
  EXPECT_EQ(keyOf("com", "/dev/ttyUSB0", 1), "config.comstr");
  EXPECT_EQ(keyOf("com", "/dev/ttyUSB0:12345,n,8,1", 1), "config.comstr");
  EXPECT_EQ(keyOf("com", "/dev/" + std::string(130, 'x') + ":9600,n,8,1", 1), "config.comstr");
  EXPECT_EQ(keyOf("ip", "9600,n,8,1", 1), "config.comstr");
  EXPECT_EQ(keyOf("ip", ":9600,n,8,1", 99999), "config.ip.port");
}

TEST(StatusText, KindsAndKeys) {
  const std::tuple<Status, StatusKind, const char*> rows[] = {
      {Status(), StatusKind::kOk, ""},
      {Status::failed("unknown mode", "COM"), StatusKind::kUnknownMode, ""},
      {Status::failed(kNoSettingsText), StatusKind::kNoSettings, ""},
      {Status::failed("XPLOpen dcb:", "x"), StatusKind::kLineNotOpened, ""},
      {Status::failed("ERROR: 500"), StatusKind::kModemError, ""},
      {Status::failed("Parameter config.ip.port missing."), StatusKind::kBadInput, "config.ip.port"},
      {Status::failed("Parameter ID invalid."), StatusKind::kBadInput, "id"},
      {Status::invalidArgument("Unknown Property", "x"), StatusKind::kBadInput, ""},
      {Status::unexpected("Wrote: 0"), StatusKind::kOther, ""},
  };
  for (const auto& [status, kind, key] : rows) {
    EXPECT_EQ(kindOf(status), kind) << status.toString();
    EXPECT_EQ(parameterIn(status), key) << status.toString();
  }
}

TEST(Recorder, WritesTheFormatForItsOwnerAndKeepsWhatIsThere) {
  const world::TemporaryFolder folder;
  const std::string file = folder.file("r.jsonl");
  {
    Recorder recorder(file, "/dev/\xff:9600,n,8,1");
    recorder.onTraffic({monotonicUs(), kXplTraceReceived, "\r\nOK\\\x01"});
  }
  const std::string text = world::readText(file);
  EXPECT_EQ(text.substr(0, text.find('\n')), R"({"format":"orvix-gsm-recording","version":1,"line":"/dev/)"
                                             "\xef\xbf\xbd"
                                             R"(:9600,n,8,1"})");
  EXPECT_NE(text.find(R"("kind":"received","hex":"0d0a4f4b5c01","text":"\\r\\nOK\\\\\\x01"})"), std::string::npos)
      << text;
  struct stat found {};
  ASSERT_EQ(stat(file.c_str(), &found), 0);
  EXPECT_EQ(found.st_mode & 0777, 0600U);
  EXPECT_THROW(Recorder(file, ""), Error);
  EXPECT_EQ(world::readText(file), text);
  EXPECT_FALSE(Recorder(file, "", Recorder::kReplace).hasFailed());
  EXPECT_EQ(recordingOf(std::vector<TrafficPiece>{{5, kXplTraceSent, "A"}, {7, kXplTraceLinesRead, {0, 3}}}, ""),
            recordingHeader("") + R"({"us":0,"kind":"sent","hex":"41","text":"A"})"
                                  "\n"
                                  R"({"us":2,"kind":"linesRead","hex":"0003","text":"DTR RTS"})"
                                  "\n");
}

TEST(LineTrouble, TellsCauseAndRemedy) {
  const world::TemporaryFolder folder;
  const world::PtyPair line;
  const std::pair<std::string, std::string> rows[] = {
      {line.connectionString(), ""},
      {folder.file("none") + ":9600,n,8,1", "none: No such file or directory; is the modem plugged in?"},
      {"/dev/tcp/127.0.0.1/9:9600,n,8,1", "link one with tcp-line"},
      {folder.write("file", "") + ":9600,n,8,1", "is not a serial line"},
      {folder.write("usb-0:2:1.0", "") + ":9600,n,8,1", "usb-0:2:1.0 holds a colon"},
  };
  for (const auto& [connection, text] : rows) {
    const std::string trouble = lineTrouble(connection);
    EXPECT_NE(trouble.find(text), std::string::npos) << trouble;
    EXPECT_EQ(trouble.empty(), text.empty()) << trouble;
  }
  {
    const world::Fault denied("open", 1, EACCES);
    chmod(folder.file("file").c_str(), 0600);
    EXPECT_NE(lineTrouble(rows[3].first).find("its mode 600 lets no group in; a udev rule"), std::string::npos);
  }
  const LineWatch holder(line.path());
  flock(holder.descriptor(), LOCK_EX);
  EXPECT_NE(lineTrouble(line.connectionString()).find("is held by "), std::string::npos);
  EXPECT_NE(openerAdvice("process 7 (ModemManager)").find("ID_MM_DEVICE_IGNORE"), std::string::npos);
}

TEST(LineTrouble, ASpeedThatWasNotTaken) {
  const world::PtyPair line;
  const LineWatch watch(line.path());
  termios settings{};
  tcgetattr(watch.descriptor(), &settings);
  cfsetspeed(&settings, B9600);
  tcsetattr(watch.descriptor(), TCSANOW, &settings);
  EXPECT_EQ(speedTrouble(line.path() + ":9600,n,8,1"), "");
  EXPECT_NE(speedTrouble(line.path() + ":115200,n,8,1").find("does not run at 115200 baud"), std::string::npos);
}

TEST(LineWatch, HearsAndNoticesAHangUpWithoutASound) {
  world::PtyPair line;
  LineWatch watch(line.path());
  TrafficLog log;
  LineTrace trace;
  trace.add(&log);
  ASSERT_TRUE(watch.isOpen());
  EXPECT_EQ(watch.listen(0), "");
  line.send("\r\n+CMGS: 1");
  listenOn(&watch, &trace, 60000, [&log] { return !log.pieces.empty(); });
  ASSERT_EQ(log.pieces.size(), 1U);
  EXPECT_EQ(log.pieces[0].bytes, "\r\n+CMGS: 1");
  line.hangUp();
  listenOn(&watch, &trace, 60000, [] { return false; });
  EXPECT_TRUE(watch.isHungUp());
  EXPECT_FALSE(LineWatch("/dev/none").isOpen());
}

}  // namespace
}  // namespace orvix::hostkit

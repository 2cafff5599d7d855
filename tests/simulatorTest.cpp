// The development modem: its dialogue and PDU mode in virtual time, its line and loop for real.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <termios.h>

#include <algorithm>
#include <filesystem>
#include <optional>
#include <thread>
#include <tuple>
#include <utility>

#include "common/printable.h"
#include "simulator/messageLog.h"
#include "simulator/modem.h"
#include "simulator/ptyLine.h"
#include "simulator/runLoop.h"
#include "tests/world/host.h"

namespace orvix::simulator {
namespace {

namespace fs = std::filesystem;

const std::string kOk = "\r\nOK\r\n";
const std::string kError = "\r\nERROR\r\n";
const std::string kPrompt = "\r\n> ";
constexpr std::int64_t kForever = std::int64_t{1} << 60;

const ModemOptions kQuiet = [] {
  ModemOptions options;
  options.echo = false;
  return options;
}();

std::string talk(Modem& modem, std::string_view bytes) {
  modem.receive(bytes, 0);
  return modem.takeOutput(kForever);
}

TEST(Modem, AnswersCommandLines) {
  // clang-format off
  const std::pair<const char*, std::string> rows[] = {
      {"AT\r", kOk}, {"AT\x1b\r", kOk}, {"ATE1\rATE0\rAT\r", kOk + "ATE0\r" + kOk + kOk},
      {"at+cSq\r", "\r\n+CSQ: 17,99\r\n" + kOk}, {"\n\r\nAT+CMGF=?\r", "\r\n+CMGF: (0,1)\r\n" + kOk},
      {"AT+CGMI\r", "\r\nOrvix\r\n" + kOk}, {"AT+CMGF=1\rAT+CMGF?\r", kOk + "\r\n+CMGF: 1\r\n" + kOk},
      {"AT+CREG=2\rAT+CREG?\r", kOk + "\r\n+CREG: 2,1,\"01A5\",\"3F21\"\r\n" + kOk},
      {"AT+CREG=2\rATZ\rAT+CREG?\r", kOk + kOk + "\r\n+CREG: 0,1\r\n" + kOk},
      {"AT+CMEE=1\rAT+CREG=3\r", kOk + "\r\n+CME ERROR: 50\r\n"},
      {"AT+CMEE=2\rAT+CREG=22\r", kOk + "\r\n+CME ERROR: incorrect parameters\r\n"},
      // Refused.
      {"AT+CREG=3\r", kError}, {"AT+CREG=\r", kError}, {"AT+CMGF\r", kError}, {"AT+CSQ?\r", kError},
      {"AT+NONSENSE\r", kError}, {"AT+CMGS=\"1\"\r", "\r\n+CMS ERROR: 304\r\n"},
      {"AT+CMGF=1\rAT+CMGS=1\r", kOk + kError}, {"AT+CMGF=1\rAT+CMGS=\"\"\r", kOk + kError},
      {"AT+CMGF=1\rAT+CMGS=\"1\"x\r", kOk + kError},
      // Ignored.
      {"hello\r", ""}, {"A\r", ""}, {"\r\r\n\x1a\r", ""}, {"AT", ""}};
  // clang-format on
  for (const auto& [sent, answer] : rows) {
    Modem modem(kQuiet);
    EXPECT_EQ(talk(modem, sent), answer) << escaped(sent);
  }
}

TEST(Modem, EchoesLinesAndBodiesByteByByte) {
  Modem modem;
  const std::string sent = "noise\rAT+CMGF=1\r\nAT+CMGS=\"+49\"\rHi\x1a\r\n\r";
  std::string heard;
  for (const char& byte : sent) {
    heard += talk(modem, {&byte, 1});
  }
  EXPECT_EQ(heard, "noise\rAT+CMGF=1\r" + kOk + "AT+CMGS=\"+49\"\r" + kPrompt + "Hi\r\n+CMGS: 1\r\n" + kOk);
}

TEST(Modem, TakesMessagesAndIgnoresWhatFollowsThem) {
  Modem modem(kQuiet);
  std::string reported;
  modem.onMessage([&](const Message& message) { reported += message.destination + "=" + message.text + ";"; });
  talk(modem, "AT+CMGF=1\r");
  EXPECT_EQ(talk(modem, "AT+CMGS=\"+4917\",145\r"), kPrompt);
  EXPECT_EQ(talk(modem, "AT\r\n2 x\x1a\r\n\r"), "\r\n+CMGS: 1\r\n" + kOk);
  EXPECT_EQ(talk(modem, "AT+CMGS=\"2\"\rdropped\x1b\r\n\r"), kPrompt + kOk);
  for (int i = 2; i < 256; ++i) {
    talk(modem, "AT+CMGS=\"3\"\rx\x1a");
  }
  EXPECT_EQ(talk(modem, "AT+CMGS=\"3\"\r\x1a"), kPrompt + "\r\n+CMGS: 0\r\n" + kOk);
  EXPECT_EQ(modem.messages().size(), 256u);
  EXPECT_EQ(reported.substr(0, 20), "+4917=AT\r\n2 x;3=x;3=");
}

TEST(Modem, SendsTextAsTheNetworkCarriesIt) {
  const std::tuple<std::string, std::string, std::string> rows[] = {
      {"IRA", "@$_ a\n{[~]}^|\\ ", "@$_ a\n{[~]}^|\\ "}, {"IRA", "\u00e4`\t", "C$??"}, {"GSM", "@$[_a", "¡¤Ä§a"}};
  for (const auto& [set, sent, text] : rows) {
    Modem modem(kQuiet);
    talk(modem, "AT+CMGF=1\rAT+CSCS=\"" + set + "\"\rAT+CMGS=\"1\"\r" + sent + "\x1a");
    ASSERT_EQ(modem.messages().size(), 1u) << sent;
    EXPECT_EQ(modem.messages().front().text, text);
  }
}

TEST(Modem, SendsNothingWithoutANetwork) {
  ModemOptions options = kQuiet;
  for (const auto& [registration, answer] : {std::pair(5, "\r\n+CMGS: 1\r\n" + kOk), {2, "\r\n+CMS ERROR: 331\r\n"}}) {
    options.registration = registration;
    Modem modem(options);
    talk(modem, "AT+CMGF=1\r");
    EXPECT_EQ(talk(modem, "AT+CMGS=\"1\"\rhi\x1a"), kPrompt + answer);
    EXPECT_EQ(modem.messages().front().reference.has_value(), registration == 5);
  }
}

TEST(Modem, BoundsLinesBodiesAndOutput) {
  Modem modem(kQuiet);
  EXPECT_EQ(talk(modem, "AT" + std::string(kMaxLineLength - 1, '+') + std::string(100000, 'x') + "\r"), kError);
  talk(modem, "AT+CMGF=1\r");
  const std::string longest(kMaxTextSeptets, 'b');
  EXPECT_EQ(talk(modem, "AT+CMGS=\"1\"\r" + longest + "\x1a"), kPrompt + "\r\n+CMGS: 1\r\n" + kOk);
  for (const std::string& tooLong : {longest + "b", longest.substr(1) + "[", std::string(100000, 'b')}) {
    EXPECT_EQ(talk(modem, "AT+CMGS=\"1\"\r" + tooLong + "\x1a"), kPrompt + "\r\n+CMS ERROR: 305\r\n");
  }
  for (std::size_t i = 0; i < kMaxMessages; ++i) {
    talk(modem, "AT+CMGS=\"2\"\rnew\x1a");
  }
  EXPECT_EQ(modem.messages().size(), kMaxMessages);
  EXPECT_EQ(modem.messages().front().text, "new");
  for (std::size_t i = 0; i < kMaxPendingOutput; ++i) {
    modem.receive("AT\r", 0);
  }
  EXPECT_LE(modem.takeOutput(0).size(), kMaxPendingOutput);
  EXPECT_EQ(talk(modem, "AT\r"), kOk);
}

TEST(PduMode, TakesSubmittedMessages) {
  // Name, octets, PDU; the number, empty when it is refused, and the text.
  const std::tuple<const char*, int, const char*, std::string, const char*> rows[] = {
      {"surrogates", 12, "0001000181F1000804D83DDE00", "1", "\U0001F600"},
      {"half a pair", 10, "0001000181F1000802D83D", "1", "\uFFFD"},
      {"8 bit", 10, "0001000181F1000402E941", "1", "\u00e9A"},
      {"long validity", 18, "0019000181F10004AAAAAAAAAAAAAA03414243", "1", "ABC"},
      {"header", 15, "0041000181F100000805000301020190", "1", "H"},
      {"surplus", 11, "0001000181F1000402E94100", "", ""},
      {"other length", 22, "049194001011000A9194711032540000FF0BE8329BFD06DDDF723619", "", ""},
      {"compressed", 10, "0001000181F1002002E941", "", ""},
      {"no digits", 10, "0001000181F100FF02E94", "", ""},
      {"cut short", 9, "0001000181F1000402E9", "", ""},
      {"not to be sent", 10, "0002000181F1000402E941", "", ""},
  };
  for (const auto& [name, octets, pdu, number, text] : rows) {
    Modem modem;
    modem.receive("ATE0\rAT+CMGS=" + std::to_string(octets) + "\r", 0);
    modem.takeOutput(0);
    modem.receive(pdu + std::string(1, '\x1a'), 0);
    const bool isTaken = !number.empty();
    EXPECT_EQ(modem.takeOutput(0), isTaken ? "\r\n+CMGS: 1\r\n" + kOk : "\r\n+CMS ERROR: 304\r\n") << name;
    ASSERT_EQ(modem.messages().size(), isTaken ? 1u : 0u) << name;
    if (isTaken) {
      EXPECT_EQ(modem.messages()[0].destination, number) << name;
      EXPECT_EQ(modem.messages()[0].text, text) << name;
    }
  }
}

TEST(MessageLine, HoldsAnyText) {
  const std::string line = messageLine({"1", std::string("\"\u00e9\n\0", 5), MessageMode::kText, std::nullopt}, 0);
  EXPECT_EQ(line.substr(0, line.find(",\"at\"")),
            R"({"number":"1","text":"\"é\n\u0000","mode":"text","reference":null)");
}

// A modem on a line in a thread of its own, and a place for the link.
class LineTest : public testing::Test {
 protected:
  static std::string converse(const std::string& path, const std::string& sent, std::size_t expectedSize) {
    const Descriptor client(::open(path.c_str(), O_RDWR | O_NOCTTY));
    termios settings{};
    ::tcgetattr(client.get(), &settings);
    ::cfmakeraw(&settings);
    EXPECT_EQ(::tcsetattr(client.get(), TCSANOW, &settings), 0);
    EXPECT_EQ(::write(client.get(), sent.data(), sent.size()), static_cast<ssize_t>(sent.size()));
    std::string heard;
    ssize_t count = 1;
    pollfd event{client.get(), POLLIN, 0};
    while (count > 0 && heard.size() < expectedSize && ::poll(&event, 1, 60000) == 1) {
      char buffer[256];
      count = ::read(client.get(), buffer, sizeof buffer);
      heard.append(buffer, static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    }
    return heard;
  }

  const world::TemporaryFolder folder;
  const std::string link = folder.file("modem");
};

TEST_F(LineTest, ServesClientsThatComeAndGo) {
  Modem modem;
  PtyLine line(link);
  const StopEvent stop;
  std::thread loop([&] { run(modem, line, stop); });
  const std::string answer = "AT+CSQ\r\r\n+CSQ: 17,99\r\n" + kOk;
  for (int client = 0; client < 20; ++client) {
    EXPECT_EQ(converse(link, "AT+CSQ\r", answer.size()), answer) << client;
  }

  // A client that takes the line for its controlling terminal hangs it up when it ends; the next one is served still.
  const pid_t child = ::fork();
  if (child == 0) {
    _exit(::setsid() > 0 && ::ioctl(::open(link.c_str(), O_RDWR), TIOCSCTTY, 0) == 0 ? 0 : 1);
  }
  int status = -1;
  EXPECT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(converse(link, "AT+CSQ\r", answer.size()), answer);

  // One that leaves at the prompt leaves a modem that takes everything for text.
  const std::string prompt = "AT+CMGF=1\r" + kOk + "AT+CMGS=\"1\"\r" + kPrompt;
  EXPECT_EQ(converse(link, "AT+CMGF=1\rAT+CMGS=\"1\"\r", prompt.size()), prompt);
  EXPECT_EQ(converse(link, "AT\r", 3), "AT\r");
  EXPECT_EQ(converse(link, "\x1b", kOk.size()), kOk);
  stop.request();
  loop.join();
  EXPECT_EQ(modem.messages().size(), 0u);
}

TEST_F(LineTest, IsRawAndLosesOutputThatNobodyReads) {
  PtyLine line;
  const Descriptor client(::open(line.slavePath().c_str(), O_RDWR | O_NOCTTY));
  termios settings{};
  ASSERT_EQ(::tcgetattr(client.get(), &settings), 0);
  EXPECT_EQ((settings.c_lflag & (ECHO | ICANON | ISIG)) | (settings.c_oflag & OPOST), 0u);
  for (int i = 0; i < 1000; ++i) {
    line.send(std::string(1000, 'x'));
  }
  EXPECT_EQ(line.receive(), "");
}

TEST_F(LineTest, LooksAfterItsLink) {
  for (const char* leftBehind : {"/dev/pts/ptmx", "nowhere"}) {
    fs::create_symlink(leftBehind, link);
    {
      const PtyLine line(link);
      EXPECT_EQ(fs::read_symlink(link), line.slavePath()) << leftBehind;
    }
    EXPECT_FALSE(fs::is_symlink(link)) << leftBehind;
  }

  const std::string file = folder.write("file", "precious");
  EXPECT_THROW(PtyLine{file}, std::system_error);
  fs::create_symlink(file, link);
  EXPECT_THROW(PtyLine{link}, std::system_error);
  EXPECT_EQ(fs::file_size(file), 8u);
  fs::remove(link);
  {
    std::optional<PtyLine> first(link);
    EXPECT_THROW(PtyLine{link}, std::system_error) << "a running one keeps its link";
    EXPECT_EQ(fs::read_symlink(link), first->slavePath());
    fs::remove(link);
    const PtyLine successor(link);
    first.reset();
    EXPECT_EQ(fs::read_symlink(link), successor.slavePath());
  }
  EXPECT_FALSE(fs::is_symlink(link));
  EXPECT_THROW(PtyLine(folder.file("missing/modem")), std::system_error);
}

}  // namespace
}  // namespace orvix::simulator

// What the development modem can do wrong, its recordings and its line on the network.

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/resource.h>

#include <chrono>
#include <sstream>
#include <thread>
#include <tuple>
#include <utility>

#include "common/printable.h"
#include "simulator/json.h"
#include "simulator/modem.h"
#include "simulator/replay.h"
#include "simulator/runLoop.h"
#include "simulator/scenario.h"
#include "simulator/tcpLine.h"

namespace orvix::simulator {
namespace {

const std::string kOk = "\r\nOK\r\n";
const std::string kSignal = "\r\n+CSQ: 17,99\r\n\r\nOK\r\n";

// All output of the next ten seconds as "<ms>:<bytes>|", printable, with "gone" and "back" for the line.
std::string timeline(Dce& dce) {
  std::string text;
  while (const std::optional<std::int64_t> dueMs = dce.nextDueMs()) {
    if (*dueMs > 10000) {
      break;
    }
    const bool wasOnLine = dce.isOnLine();
    const std::string bytes = dce.takeOutput(*dueMs);
    text += bytes.empty() ? "" : std::to_string(*dueMs) + ":" + escaped(bytes) + "|";
    if (dce.isOnLine() != wasOnLine) {
      text += std::to_string(*dueMs) + (wasOnLine ? ":gone|" : ":back|");
    }
    if (dce.isOver()) {
      break;
    }
  }
  return text;
}

std::string withFault(const std::string& fault) {
  return "{\"echo\": false, \"faults\": [{" + fault + "}]}";
}

TEST(Scenario, DisturbsReplies) {
  const std::string csq = R"("command": "AT+CSQ", )";
  const std::string cmgs = R"("command": "at+cmgs=*", )";
  const std::string body = R"("body": "h*", )";
  const std::string signal = "0:" + escaped(kSignal) + "|";
  const std::string report = "AT+CSQ\r";
  const std::string send = "AT+CMGS=\"1\"\rhi\x1a";
  const std::tuple<std::string, std::string, std::string> rows[] = {
      {csq + R"("silence": true)", report, ""},
      {csq + R"("silence": true, "garbage": "ff41")", report, "0:\\xffA|"},
      {csq + R"("from": 2, "count": 1, "silence": true)", report + report, signal},
      {csq + R"("from": 3, "silence": true)", report + report, "0:" + escaped(kSignal + kSignal) + "|"},
      {R"("command": "AT+C*", "silence": true)", "at+csq\rAT\r", "0:\\r\\nOK\\r\\n|"},
      {R"("command": "AT+C", "silence": true)", report, signal},
      {csq + R"("delayMs": 250)", report, "250:" + escaped(kSignal) + "|"},
      {csq + R"("garbage": "00fF", "nulsBefore": 1)", report, "0:\\x00\\x00\\xff" + escaped(kSignal) + "|"},
      {R"("command": "AT", "nulsInside": 2)", "AT\r", "0:\\r\\nO\\x00\\x00K\\r\\n|"},
      {R"("command": "AT", "pieces": {"size": 4, "everyMs": 30})", "AT\r", "0:\\r\\nOK|30:\\r\\n|"},
      {csq + R"("unsolicited": {"before": ["A"], "between": ["B"], "after": ["C", "D"]})", report,
       "0:\\r\\nA\\r\\n\\r\\n+CSQ: 17,99\\r\\n\\r\\nB\\r\\n\\r\\nOK\\r\\n\\r\\nC\\r\\n\\r\\nD\\r\\n|"},
      {csq + R"("cmeError": 14)", report, "0:\\r\\n+CME ERROR: 14\\r\\n|"},
      {R"("command": "ATE1", "cmsError": 500)", "ATE1\rAT", "0:\\r\\n+CMS ERROR: 500\\r\\n|"},
      {csq + R"("echo": true)", report + "AT\r", "0:" + escaped(kSignal) + "AT\\r\\r\\nOK\\r\\n|"},
      {csq + R"("delayMs": 5, "hangUpMs": 700)", report + "AT\r", "5:gone|705:back|"},
      {cmgs + R"("noPrompt": true)", send, ""},
      {cmgs + R"("silence": true)", send, "0:\\r\\n+CMGS: 1\\r\\n\\r\\nOK\\r\\n|"},
      {body + R"("cmsError": 38)", send, "0:\\r\\n> \\r\\n+CMS ERROR: 38\\r\\n|"},
      {body + R"("lostLine": "last")", send, "0:\\r\\n> \\r\\n+CMGS: 1\\r\\n|"},
      {body + R"("lostLine": "first")", send, "0:\\r\\n> \\r\\nOK\\r\\n|"},
      {body + R"("answer": "+CMS ERROR: SIM busy")", send, "0:\\r\\n> \\r\\n+CMS ERROR: SIM busy\\r\\n|"},
      {R"("body": "H*", "silence": true)", send, "0:\\r\\n> \\r\\n+CMGS: 1\\r\\n\\r\\nOK\\r\\n|"},
  };
  for (const auto& [fault, sent, heard] : rows) {
    Modem modem(scenarioOf(withFault(fault)));
    modem.receive("AT+CMGF=1\r", 0);
    modem.takeOutput(0);
    modem.receive(sent, 0);
    EXPECT_EQ(timeline(modem), heard) << fault;
  }
}

TEST(Scenario, DecidesWhatIsSent) {
  const std::pair<const char*, bool> rows[] = {
      {R"("silence": true)", true},
      {R"("hangUpMs": 0)", true},
      {R"("cmsError": 500)", false},
      {R"("cmsError": 500, "sent": true)", true},
      {R"("silence": true, "sent": false)", false},
  };
  for (const auto& [fault, isSent] : rows) {
    Modem modem(scenarioOf(withFault(std::string(R"("body": "*", )") + fault)));
    modem.receive("AT+CMGF=1\rAT+CMGS=\"1\"\rhi\x1a", 0);
    ASSERT_EQ(modem.messages().size(), 1u);
    EXPECT_EQ(modem.messages()[0].reference, isSent ? std::optional(1) : std::nullopt) << fault;
  }
}

TEST(Scenario, SetsTheModem) {
  const std::string send = "AT+CMGF=1\rAT+CMGS=\"1\"\rh\ri\x1a";
  const std::string ok = "\\r\\nOK\\r\\n";
  const std::string prompt = "\\r\\n> ";
  const std::string result = "\\r\\n+CMGS: 1\\r\\n" + ok + "|";
  const std::tuple<const char*, std::string, std::string> rows[] = {
      {R"({"echo": false, "promptDelayMs": 4000, "resultDelayMs": 5000})", send,
       "0:" + ok + "|4000:" + prompt + "|5000:" + result},
      {R"({"echo": false, "textEcho": true})", send, "0:" + ok + prompt + "h\\ri" + result},
      {R"({"textEcho": false})", send, "0:AT+CMGF=1\\r" + ok + "AT+CMGS=\"1\"\\r" + prompt + result},
      {R"({"echo": false, "linePrompt": true})", send, "0:" + ok + prompt + prompt + result},
      {R"({"delayMs": 250})", "AT\rATI", "0:AT\\r|250:" + ok + "ATI|"},
      {R"({"echo": false, "sms": 38})", send, "0:" + ok + prompt + "\\r\\n+CMS ERROR: 38\\r\\n|"},
      {R"({"echo": false, "sms": "silent"})", send + "AT\r", "0:" + ok + prompt + ok + "|"},
      {R"({"echo": false, "sms": "no-prompt"})", send + "\rAT\r", "0:" + ok + ok + "|"},
      {R"({"echo": false, "sim": "missing"})", "AT\rAT+CPIN?\rAT+CSQ\r",
       "0:" + ok + "\\r\\n+CME ERROR: 10\\r\\n\\r\\n+CME ERROR: 10\\r\\n|"},
      {R"({"echo": false, "sim": "locked"})", "AT+CPIN?\rAT+CMEE=2\rAT+CMGF=1\r",
       "0:\\r\\n+CPIN: SIM PIN\\r\\n" + ok + ok + "\\r\\n+CME ERROR: SIM PIN required\\r\\n|"},
      {R"({"echo": false, "walk": [{"ms": 5, "sim": "missing", "unplugMs": 0}, {"ms": 7, "unplugMs": 900}]})", "AT\r",
       "0:" + ok + "|5:gone|5:back|7:gone|907:back|"},
  };
  for (const auto& [scenario, sent, heard] : rows) {
    Modem modem(scenarioOf(scenario));
    modem.receive(sent, 0);
    EXPECT_EQ(timeline(modem), heard) << scenario;
  }
  Modem cutting(scenarioOf(R"({"cutLongText": true})"));
  cutting.receive("AT+CMGF=1\rAT+CMGS=\"1\"\r" + std::string(200, 'x') + "\x1a", 0);
  ASSERT_EQ(cutting.messages().size(), 1u);
  EXPECT_EQ(cutting.messages()[0].text, std::string(160, 'x'));
}

TEST(Scenario, ForgetsEverythingWhileTheLineIsGone) {
  Modem modem(scenarioOf(withFault(R"("body": "*", "hangUpMs": 100)")));
  modem.receive("AT+CMGF=1\rAT+CMGS=\"1\"\rhi\x1a", 0);
  EXPECT_EQ(timeline(modem), "0:\\r\\nOK\\r\\n\\r\\n> |0:gone|100:back|");
  ASSERT_EQ(modem.messages().size(), 1u);
  modem.receive("AT+CMGF?\r", 200);
  EXPECT_EQ(modem.takeOutput(200), "\r\n+CMGF: 0\r\n" + kOk);
}

TEST(Scenario, WalksThroughTheNetwork) {
  Modem modem(scenarioOf(R"({"echo": false, "signal": 20, "walk": [
      {"ms": 1000, "signal": 3}, {"ms": 2000, "registration": 2}, {"ms": 3000, "signal": 9, "registration": 5}]})"));
  modem.receive("AT+CREG=2\r", 0);
  EXPECT_EQ(modem.takeOutput(0), kOk);
  modem.receive("AT+CSQ\r", 1500);
  EXPECT_EQ(modem.takeOutput(1500), "\r\n+CSQ: 3,99\r\n" + kOk);
  EXPECT_EQ(timeline(modem), "2000:\\r\\n+CREG: 2\\r\\n|3000:\\r\\n+CREG: 5,\"01A5\",\"3F21\"\\r\\n|");
  modem.receive("AT+CSQ\r", 4000);
  EXPECT_EQ(modem.takeOutput(4000), "\r\n+CSQ: 9,99\r\n" + kOk);
}

TEST(Scenario, NamesTheKeyThatIsWrong) {
  const std::pair<const char*, const char*> rows[] = {
      {"[1", "not JSON"},
      {"{} {}", "not JSON"},
      {"[]", "must be one JSON object"},
      {R"({"sgnal": 3})", "sgnal: unknown key"},
      {R"({"signal": 32})", "signal: must be 0 to 31, or 99"},
      {R"({"signal": "3"})", "signal: must be a whole number from 0 to 99"},
      {R"({"signal": 3.5})", "signal: must be a whole number from 0 to 99"},
      {R"({"signal": 3, "signal": 4})", "signal: given twice"},
      {R"({"sms": "maybe"})", "sms: must be ok, silent, no-prompt or an error code"},
      {R"({"faults": {}})", "faults: must be a list"},
      {R"({"faults": [{"silence": true}]})", "faults[0]: command or body is missing"},
      {R"({"faults": [{"command": "AT", "body": "x"}]})", "faults[0].body: a fault has one command or one body"},
      {R"({"faults": [{"command": "AT", "cmsError": 1, "cmeError": 2}]})",
       "faults[0].cmeError: a fault has one cmsError, cmeError or answer"},
      {R"({"faults": [{"command": "AT", "silence": 1}]})", "faults[0].silence: must be true or false"},
      {R"({"faults": [{"command": "AT", "garbage": "f"}]})",
       "faults[0].garbage: must be two hexadecimal digits a byte"},
      {R"({"faults": [{"command": "AT", "echo": true}, {"command": "AT", "pieces": {"siz": 1}}]})",
       "faults[1].pieces.siz: unknown key"},
      {R"({"faults": [{"command": "AT", "unsolicited": {"after": [1]}}]})",
       "faults[0].unsolicited.after[0]: must be a text"},
      {R"({"faults": [{"command": "AT", "delayMs": 0, "silence": false}]})", "faults[0]: has no effect"},
      {R"({"faults": [{"command": "AT+CM", "noPrompt": true}]})", "faults[0]: noPrompt has no effect but"},
      {R"({"faults": [{"command": "AT*", "sent": true}]})", "faults[0]: sent has no effect but"},
      {R"({"sim": "gone"})", "sim: must be ready, missing or locked"},
      {R"({"walk": [{"ms": 5}, {"ms": 4}]})", "walk[1]: ms must not fall from step to step"},
  };
  for (const auto& [json, complaint] : rows) {
    try {
      scenarioOf(json);
      ADD_FAILURE() << json << " was accepted";
    } catch (const JsonError& error) {
      EXPECT_EQ(std::string(error.what()).substr(0, std::string(complaint).size()), complaint) << json;
    }
  }
}

constexpr char kHeader[] = "{\"format\": \"orvix-gsm-recording\", \"version\": 1}\n";

// AT, CR at 100 ms; "x" read at 150 ms; "y" at 400 ms; ATI, CR at 1000 ms; "z" at 1001 ms. Answers are played halfway.
Recording recorded() {
  std::istringstream file(std::string(kHeader) + R"({"us": 1, "kind": "linesRead", "hex": "2601"}
{"us": 100000, "kind": "sent", "hex": "41540d", "text": "ignored", "more": 1}
{"us": 150000, "kind": "received", "hex": "78"}
{"us": 400000, "kind": "received", "hex": "79"}
{"us": 1000000, "kind": "sent", "hex": "4154490D"}
{"us": 1001000, "kind": "received", "hex": "7a"})");
  return readRecording(file);
}

TEST(Replay, AnswersAsTheModemDid) {
  Replay replay(recorded());
  EXPECT_EQ(replay.expected(), "line 3: \"AT\\r\"");
  replay.receive("A", 5000);
  replay.receive("T\r", 6000);
  EXPECT_EQ(timeline(replay), "6025:x|6175:y|");
  replay.receive("ATI\r", 7000);
  EXPECT_FALSE(replay.isOver());
  EXPECT_EQ(timeline(replay), "7000:z|");
  EXPECT_TRUE(replay.isOver());
  EXPECT_EQ(replay.mismatch(), std::nullopt);
}

TEST(Replay, SaysWhereTheClientLeaves) {
  const std::pair<const char*, const char*> rows[] = {
      {"ATZ\r", R"(expected line 3: "AT\r", received "ATZ\r")"},
      {"AT\rATX", R"(expected line 6: "ATI\r", received "ATX")"},
      {"AT\rATI\rAT", R"(expected its end, received "AT")"},
  };
  for (const auto& [sent, parting] : rows) {
    Replay replay(recorded());
    for (const char& byte : std::string(sent)) {
      replay.receive({&byte, 1}, 0);
    }
    EXPECT_TRUE(replay.isOver());
    // What came in one piece is shown as a whole.
    Replay whole(recorded());
    whole.receive(sent, 0);
    EXPECT_EQ(whole.mismatch(), parting);
  }
}

TEST(Recording, NamesTheLineThatIsBroken) {
  const std::string header = kHeader;
  const std::string record = R"({"us": 5, "kind": "sent", "hex": "41"})";
  const std::pair<std::string, const char*> rows[] = {
      {"", "line 1: missing"},
      {R"({"format": "another", "version": 1})", "line 1: format: must be orvix-gsm-recording"},
      {R"({"format": "orvix-gsm-recording", "version": 2})", "line 1: version: "},
      {header + record + "\nhm", "line 3: not JSON"},
      {header + R"({"us": 5, "kind": "lost", "hex": "41"})", "line 2: kind: must be"},
      {header + R"({"us": 5, "kind": "sent", "hex": "4"})", "line 2: hex: must be"},
      {header + R"({"us": 5, "kind": "sent"})", "line 2: hex: missing"},
      {header + R"({"us": 9223372036854775807, "kind": "sent", "hex": "41"})", "line 2: us: must be"},
      {header + R"({"us": 18446744073709551615, "kind": "sent", "hex": "41"})", "line 2: us: must be"},
      {header + record + "\n" + R"({"us": 4, "kind": "sent", "hex": "41"})", "line 3: us: must be"},
  };
  for (const auto& [text, complaint] : rows) {
    std::istringstream file(text);
    try {
      readRecording(file);
      ADD_FAILURE() << text << " was accepted";
    } catch (const std::runtime_error& error) {
      EXPECT_EQ(std::string(error.what()).substr(0, std::string(complaint).size()), complaint) << text;
    }
  }
}

TEST(TcpAddress, TakesNumericAddresses) {
  // Text, how it is shown, empty when it is refused, and whether it is of the loopback.
  const std::tuple<const char*, std::string, bool> rows[] = {
      {"80", "127.0.0.1:80", true},
      {"127.1.2.3:80", "127.1.2.3:80", true},
      {"[::1]:80", "[::1]:80", true},
      {"0.0.0.0:1", "0.0.0.0:1", false},
      {"[::]:1", "[::]:1", false},
      {"localhost:80", "", false},
      {":80", "", false},
      {"127.0.0.1:", "", false},
      {"65536", "", false},
      {"", "", false},
  };
  for (const auto& [text, shown, isLoopback] : rows) {
    if (shown.empty()) {
      EXPECT_THROW(TcpAddress{text}, std::invalid_argument) << text;
      continue;
    }
    const TcpAddress address(text);
    EXPECT_EQ(address.text(), shown);
    EXPECT_EQ(address.isLoopback(), isLoopback) << text;
  }
}

// Connected, or -1 when refused.
Descriptor connectTo(const std::string& name) {
  const TcpAddress address(name);
  Descriptor client(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  const auto* target = reinterpret_cast<const sockaddr*>(&address.socketAddress);
  return ::connect(client.get(), target, address.size) == 0 ? std::move(client) : Descriptor();
}

// What comes until so many bytes are there or the line ends.
std::string hear(const Descriptor& client, std::size_t size) {
  std::string heard;
  for (pollfd event{client.get(), POLLIN, 0}; heard.size() < size && ::poll(&event, 1, 60000) == 1;) {
    char buffer[64];
    const ssize_t count = ::recv(client.get(), buffer, sizeof buffer, 0);
    if (count <= 0) {
      break;
    }
    heard.append(buffer, static_cast<std::size_t>(count));
  }
  return heard;
}

TEST(TcpLine, ServesOneClientAtATime) {
  Modem modem(scenarioOf(withFault(R"("command": "ATZ", "hangUpMs": 50)")));
  TcpLine line(TcpAddress("0"));
  const StopEvent stop;
  const StopEvent returned;
  std::thread loop([&] { run(modem, line, stop, {[&] { returned.request(); }}); });
  const std::string name = line.name();
  for (int round = 0; round < 20; ++round) {
    const Descriptor client = connectTo(name);
    EXPECT_EQ(::send(client.get(), "AT\r", 3, 0), 3);
    EXPECT_EQ(hear(client, kOk.size()), kOk) << round;
    EXPECT_EQ(hear(connectTo(name), 1), "") << "a second client is let go";
    ::shutdown(client.get(), SHUT_WR);
  }
  const Descriptor client = connectTo(name);
  EXPECT_EQ(::send(client.get(), "ATZ\r", 4, 0), 4);
  EXPECT_EQ(hear(client, 1), "");
  pollfd event{returned.descriptor(), POLLIN, 0};
  EXPECT_EQ(::poll(&event, 1, 60000), 1);
  const Descriptor next = connectTo(name);
  EXPECT_EQ(::send(next.get(), "AT\r", 3, 0), 3);
  EXPECT_EQ(hear(next, kOk.size()), kOk);
  stop.request();
  loop.join();
  line.hangUp();
  EXPECT_LT(connectTo(name).get(), 0) << "a line that is gone refuses";
}

TEST(TcpLine, BearsManyQuickClientsAndNoFreeDescriptor) {
  Modem modem(scenarioOf(R"({"echo": false})"));
  TcpLine line(TcpAddress("0"));
  const StopEvent stop;
  std::thread loop([&] { run(modem, line, stop); });
  const auto begin = std::chrono::steady_clock::now();
  for (int i = 0; i < 1000; ++i) {
    ASSERT_GE(connectTo(line.name()).get(), 0) << i;
  }
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(20)) << "a lost one tries again after 1 s";
  const Descriptor client = connectTo(line.name());
  EXPECT_EQ(::send(client.get(), "AT\r", 3, 0), 3);
  EXPECT_EQ(hear(client, kOk.size()), kOk);
  stop.request();
  loop.join();

  const Descriptor late = connectTo(line.name());
  rlimit limit{};
  ::getrlimit(RLIMIT_NOFILE, &limit);
  const rlimit full{static_cast<rlim_t>(late.get()) + 1, limit.rlim_max};
  ::setrlimit(RLIMIT_NOFILE, &full);
  EXPECT_EQ(line.receive(), "");
  ::setrlimit(RLIMIT_NOFILE, &limit);
  EXPECT_EQ(hear(late, 1), "") << "it is let go";
  pollfd event{line.descriptor(), POLLIN, 0};
  EXPECT_EQ(::poll(&event, 1, 0), 0) << "nothing is left to do";
}

}  // namespace
}  // namespace orvix::simulator

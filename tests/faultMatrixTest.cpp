// Every exchange of every operation with every fault of modem and line: what the host sees, and that it heals.

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <optional>
#include <stdexcept>

#include "document/document.h"
#include "serial/xpl.h"
#include "tests/world/modemDevice.h"
#include "tests/world/systemCalls.h"

using State = orvix::gsm::DeviceState;

namespace {

using Lines = std::vector<std::string>;
enum Kind { kExpecting, kSignal, kRegistration, kText };  // what an exchange makes of a reply

struct Step {
  world::Exchange healthy;
  Kind kind;
  std::size_t room;  // for a reply: the command but for its last byte, the expected text, and 127 bytes
  std::int64_t waitMs;
  std::string log;  // of its failure
};

const std::vector<world::Exchange> kHealthy = world::healthyModem();
const Step kSteps[] = {
    {kHealthy[0], kExpecting, 139, 1500, ""},
    {kHealthy[1], kSignal, 135, 1500, ""},
    {kHealthy[2], kRegistration, 137, 1500, ""},
    {kHealthy[3], kExpecting, 140, 1500, "set the text mode for SMS writing failed!"},
    {kHealthy[4], kExpecting, 150, 1500, "set the target telephone number, to which the SMS shall be sent failed!"},
    {kHealthy[5], kText, 136, 5000, "send text failed! "},
};

enum class Call { kStart, kReport, kMessage };
struct Operation {
  Call call;
  std::vector<State> from;
  std::size_t first, end;  // steps
  State onFailure;         // of an expecting step
};

const Operation kOperations[] = {
    {Call::kStart, {State::kWithConfig, State::kNotAvailable, State::kError}, 0, 1, State::kNotAvailable},
    {Call::kReport, {State::kWithConfig, State::kNotAvailable}, 0, 3, State::kNotAvailable},
    {Call::kReport, {State::kError, State::kInitFailed}, 0, 3, State::kError},
    {Call::kReport, {State::kConnect, State::kReady}, 1, 3, State::kNotAvailable},
    {Call::kMessage, {State::kReady}, 3, 6, State::kReady},
};

constexpr char kOk[] = "OK";
constexpr char kUnregistered[] = "OK, but the registration is 0";
constexpr char kThrown[] = "std::out_of_range";
constexpr char kNoReply[] = "Failed: received NO reply!";
constexpr char kMismatch[] = "Failed: received reply did not match expected reply";
constexpr char kUnwritten[] = "Failed: Wrote: 0 should write: 0";
constexpr char kNoSignal[] = "Failed: getSignalQuality";
constexpr char kNoNetwork[] = "Failed: getNetworkRegistrationStatus";

enum Strike { kNone = 0, kHangUp = -1, kShortWrite = -2, kInterrupt = -3, kByteByByte = -4 };

struct PieceRow {
  int percent;  // of the wait
  // '^': the healthy answer without its last line; '$': that; '@': the command; '~': what leaves 7 bytes of the room
  std::string text;
  int strike = kNone;  // comes behind the text; a positive one is the errno of the next read
};

struct FaultRow {
  const char* name;
  std::vector<PieceRow> pieces;
  int waits;              // of an expecting exchange; the others wait once, or not at all
  const char* result[3];  // of the exchange or, for the queries, of the report, by kind
  int atWrite = kNone;    // a positive one is the errno
  // Of the text, where it differs from other expecting exchanges: its echo is always there in time.
  const char* resultOfText = result[kExpecting];
  int waitsOfText = waits;
};

// clang-format off
const FaultRow kFaults[] = {
    {"late in the first wait", {{100, "^$"}}, 1, {kOk, kOk, kOk}},
    {"late in the second wait", {{101, "^$"}}, 1, {kNoReply, kNoSignal, kNoNetwork}, kNone, kOk, 2},
    {"later than both", {{201, "^$"}}, 1, {kNoReply, kNoSignal, kNoNetwork}, kNone, kMismatch, 2},
    {"silence", {}, 1, {kNoReply, kNoSignal, kNoNetwork}, kNone, kMismatch, 2},
    {"end in the second wait", {{50, "^"}, {200, "$"}}, 2, {kOk, kOk, kOk}},
    {"end later than both", {{50, "^"}, {201, "$"}}, 2, {kMismatch, kOk, kOk}},
    {"bytes, over the first wait", {{100, "^$", kByteByByte}}, 1, {kOk, kOk, kOk}},
    {"bytes, over both waits", {{180, "^$", kByteByByte}}, 2, {kOk, kOk, kUnregistered}},
    {"cut off in a parameter", {{1, "+CREG: 0"}}, 2, {kMismatch, kNoSignal, kThrown}},
    {"echo", {{1, "@^$"}}, 1, {kOk, kOk, kOk}},
    {"garbage", {{1, "\x80\xff}\x01 AT+"}}, 2, {kMismatch, kNoSignal, kNoNetwork}},
    {"garbage around", {{1, "\x80\xff}\x01^$\xff"}}, 1, {kOk, kOk, kOk}},
    {"inside a word", {{1, "LO$ING"}}, 1, {kOk, kNoSignal, kNoNetwork}},
    {"NUL first", {{1, {"\0^$", 3}}}, 1, {kNoReply, kNoSignal, kNoNetwork}, kNone, kMismatch, 2},
    {"NUL inside", {{1, {"^\0$", 3}}}, 2, {kMismatch, kOk, kOk}},
    {"flood", {{1, std::string(10000, 'x')}}, 2, {kMismatch, kNoSignal, kNoNetwork}},
    {"flood behind", {{1, "^$" + std::string(4000, '\0')}}, 1, {kOk, kOk, kOk}},
    {"unsolicited before", {{1, "\r\n+CMTI: \"SM\",3\r\n^$"}}, 1, {kOk, kOk, kOk}},
    {"unsolicited between", {{1, "^\r\n+CMTI: \"SM\",3\r\n$"}}, 1, {kOk, kOk, kOk}},
    {"unsolicited behind", {{1, "^$\r\n+CMTI: \"SM\",3\r\n"}}, 1, {kOk, kOk, kOk}},
    {"unsolicited alone in time", {{1, "\r\n+CMTI: \"SM\",3\r\n"}, {150, "^$"}}, 2, {kOk, kNoSignal, kNoNetwork}},
    {"unsolicited registration", {{1, "\r\n+CREG: 5\r\n^$"}}, 1, {kOk, kOk, kUnregistered}},
    {"plain error", {{1, "\r\nERROR\r\n"}}, 2, {kMismatch, kNoSignal, kNoNetwork}},
    {"CMS error", {{1, "\r\n+CMS ERROR: 500\r\n"}}, 2, {"Failed: ERROR: 500", kNoSignal, kNoNetwork}},
    {"late error", {{1, "\n"}, {160, "+CME ERROR: no\t\xff SIM"}}, 2, {"Failed: ERROR: no SIM", kNoSignal, kNoNetwork}},
    {"error without blank", {{1, "\r\n+CME ERROR:50\r\n"}}, 2, {kMismatch, kNoSignal, kNoNetwork}},
    {"error and answer", {{1, "\r\n+CMS ERROR: 500\r\n^$"}}, 1, {kOk, kOk, kOk}},
    {"error at the buffer's end", {{1, "~ERROR: 500"}}, 2, {"Failed: ERROR: ", kNoSignal, kNoNetwork}},
    {"error cut off there", {{1, "~.ERROR: 500"}}, 2, {kMismatch, kNoSignal, kNoNetwork}},
    {"hang-up before the write", {}, 0, {kUnwritten, kNoSignal, kNoNetwork}, kHangUp},
    {"hang-up before the read", {{1, "^$", kHangUp}}, 1, {kNoReply, kNoSignal, kNoNetwork}},
    {"hang-up between the reads", {{1, "^"}, {150, "$", kHangUp}}, 2, {kMismatch, kNoNetwork, kOk}},
    {"short write", {}, 0, {"Failed: Wrote: -4 should write: -4", kNoSignal, kNoNetwork}, kShortWrite},
    {"EIO on write", {}, 0, {kUnwritten, kNoSignal, kNoNetwork}, EIO},
    {"EINTR in the sleep", {{100, "^$"}}, 1, {kOk, kOk, kOk}, kInterrupt},
    {"EIO on the first read", {{1, "^$", EIO}}, 1, {kNoReply, kNoSignal, kNoNetwork}},
    {"EIO on the second read", {{1, "^"}, {150, "$", EIO}}, 2, {kMismatch, kNoNetwork, kOk}},
};
// clang-format on

std::string expand(const std::string& text, const Step& step) {
  const std::string& answer = step.healthy.reply;
  const std::size_t last = answer.rfind("\r\n", answer.size() - 3) + 2;
  const std::size_t echoed = step.kind == kText ? step.healthy.command.find('\x1a') : 0;
  std::string expanded;
  for (const char sign : text) {
    expanded += sign == '^'   ? answer.substr(0, last)
                : sign == '$' ? answer.substr(last)
                : sign == '@' ? step.healthy.command
                : sign == '~' ? std::string(step.room - 7 - echoed, 'x')
                              : std::string(1, sign);
  }
  return expanded;
}

class FaultMatrixTest : public world::ModemDevice {
 protected:
  void strike(int what) {
    if (what == kHangUp) {
      modem->line.hangUp();
    } else if (what == kInterrupt) {
      world::VirtualClock::instance().interruptNext = true;
    } else if (what > 0) {
      fault.emplace("read", 1, what);
    }
  }

  void prepare(State from, const FaultRow& row, const Step& step, std::size_t stepsBefore) {
    if (from != State::kWithConfig) {
      EXPECT_EQ(device.Start().toString(), kOk);
      device.OnStateChanged(from);
    }
    orvix::gsm::GsmDataReport other({7, 2});
    device.reportChanged(&other);
    sink.calls.clear();
    world::Exchange exchange{step.healthy.command, ""};
    for (const PieceRow& piece : row.pieces) {
      const std::string text = expand(piece.text, step);
      const std::size_t size = piece.strike == kByteByByte ? 1 : text.size();
      for (std::size_t end = size; end <= text.size(); end += size) {
        const auto part = static_cast<std::int64_t>(end) * piece.percent / static_cast<std::int64_t>(text.size());
        exchange.pieces.push_back({step.waitMs * part / 100, text.substr(end - size, size)});
      }
      exchange.pieces.back().act = [this, what = piece.strike] { strike(what); };
    }
    modem->script = world::healthyModemBut({exchange});
    const int nth = 2 * static_cast<int>(stepsBefore) + 1;  // A healthy exchange is a write of either side.
    const int shortBy = row.atWrite == kShortWrite ? static_cast<int>(step.healthy.command.size()) - 4 : -1;
    if (row.atWrite == kHangUp || row.atWrite == kInterrupt) {
      fault.emplace("write", nth, [this, what = row.atWrite] { strike(what); });
    } else if (row.atWrite != kNone) {
      fault.emplace("write", nth, row.atWrite, shortBy);
    }
  }

  std::string run(Call call) try {
    static const orvix::BSONObject message = world::fromJson(R"({"phone":"0123456789","text":"hi"})");
    return call == Call::kStart    ? device.Start().toString()
           : call == Call::kReport ? report()
                                   : device.IoControl("sendSMS", &message, &answer).toString();
  } catch (const std::out_of_range&) {
    return kThrown;
  }

  // Runs the operation and answers with the state it leaves.
  State check(const FaultRow& row, const Operation& operation, State from, std::size_t struck) {
    const auto& [call, states, first, end, onFailure] = operation;
    const Step& step = kSteps[struck];
    const std::string result = step.kind == kText ? row.resultOfText : row.result[step.kind];
    const int waits = step.kind == kText        ? row.waitsOfText
                      : step.kind == kExpecting ? row.waits
                                                : std::min(row.waits, 1);
    const bool isFine = result.rfind(kOk, 0) == 0;
    const State left = isFine                                          ? State::kReady
                       : result == kThrown                             ? from
                       : step.kind == kExpecting || step.kind == kText ? onFailure
                                                                       : State::kNotAvailable;
    std::int64_t untilMs = world::VirtualClock::instance().nowMs();
    for (std::size_t i = first; i < (isFine || result == kNoNetwork ? end : struck + 1); ++i) {
      untilMs += kSteps[i].waitMs * (i != struck ? 1 : waits);
    }
    const world::LogCapture log(1);
    EXPECT_EQ(run(call), isFine || call == Call::kStart ? kOk : result);
    EXPECT_EQ(world::VirtualClock::instance().nowMs(), untilMs);
    EXPECT_EQ(log.lines, isFine || step.log.empty() ? Lines() : Lines{"gsmDevice:0] " + step.log});
    const std::string status = "status " + std::to_string(static_cast<unsigned>(statusOf(left)));
    Lines told(statusOf(left) != statusOf(from) ? 1 : 0, status);
    if (call == Call::kMessage) {
      EXPECT_EQ(answer.toJSON(), R"({ "id" : "GSMModem", "TransmissionResult" : ")" + result + R"(" })");
      told.push_back("event SMS " + answer.toJSON());
    } else if (call == Call::kReport && isFine) {
      told.push_back("report");
      orvix::gsm::GsmDataReport expected({20, result == kOk ? 1 : 0});
      EXPECT_FALSE(device.reportChanged(&expected) || device.reportChanged(lastReport.get()));
    }
    EXPECT_EQ(sink.calls, told);
    EXPECT_EQ(device.GetStatus(), statusOf(left));
    const std::string refusal = device.IoControl("x", nullptr, nullptr).toString();
    EXPECT_EQ(refusal.substr(refusal.rfind(' ') + 1), left == State::kReady ? "x" : stateName(left));
    EXPECT_EQ(world::openDescriptors(), descriptors + (modem->line.masterFd() == -1 ? 0 : 1));
    EXPECT_TRUE(!fault || fault->hasFired());
    return left;
  }

  // What a host does, by hand, about a modem that waits for a text and swallows every command.
  void sendEscape() {
    device.Stop();
    XplDcb dcb;
    XPLBuildDCB((link + ":9600,n,8,1").c_str(), &dcb, nullptr);
    const int handle = XPLOpen(&dcb, 128, 128, nullptr, nullptr);
    EXPECT_EQ(XPLWrite(handle, "\x1b", 1), 1);
    XPLPurgeInputAfter(handle, 1000);
    XPLClose(handle);
  }

  // On a line that lives the next call succeeds, unless the modem waits for a text. Then no call does, until an Escape.
  void healInPlace() {
    modem->script = world::healthyModem();
    if (modem->isWaitingForText) {
      ++prompts;
      EXPECT_NE(report(), kOk);
      EXPECT_EQ(device.Start().toString(), kOk);
      EXPECT_EQ(report(), kMismatch);
      EXPECT_EQ(device.GetStatus(), orvix::DeviceStatus::kNotAvailable);
      sendEscape();
    }
    EXPECT_EQ(report(), kOk);
    EXPECT_EQ(device.GetStatus(), orvix::DeviceStatus::kReady);
  }

  // A port left open on a line that died costs one report; after that, as after any failure, it is opened anew.
  void healOnANewLine(Call call, State left) {
    connect(world::healthyModem());
    if (left == State::kWithConfig || statusOf(left) == orvix::DeviceStatus::kReady) {
      EXPECT_EQ(report(), left == State::kWithConfig ? kUnwritten : kNoSignal);
    }
    EXPECT_EQ(call == Call::kReport ? report() : device.Start().toString(), kOk);
    EXPECT_EQ(device.GetStatus(), orvix::DeviceStatus::kReady);
  }

  void heal(Call call, State left) {
    world::VirtualClock::instance().sleepUs(20000000);  // what is still to come comes
    fault.reset();
    const bool isAlive = modem->line.masterFd() != -1;
    if (isAlive && (call == Call::kMessage || statusOf(left) != orvix::DeviceStatus::kReady)) {
      healInPlace();
    } else {
      healOnANewLine(call, left);
    }
    device.Stop();
    EXPECT_EQ(world::openDescriptors(), descriptors);
  }

  std::optional<world::Fault> fault;
  orvix::BSONObject answer;
  int prompts = 0;                             // cells that leave the modem waiting for a text
  int descriptors = world::openDescriptors();  // while the port is closed
};

TEST_F(FaultMatrixTest, EveryExchangeMeetsEveryFaultAndHeals) {
  world::SystemCalls::instance().modemLines = 0;  // a line without any is logged at every open
  configure();
  std::size_t cells = 0;
  for (const Operation& operation : kOperations) {
    for (const State from : operation.from) {
      for (std::size_t struck = operation.first; struck < operation.end; ++struck) {
        for (const FaultRow& row : kFaults) {
          SCOPED_TRACE(kSteps[struck].healthy.command + " from " + stateName(from) + ": " + row.name);
          prepare(from, row, kSteps[struck], struck - operation.first);
          heal(operation.call, check(row, operation, from, struck));
          ++cells;
        }
      }
    }
  }
  EXPECT_EQ(prompts, 8) << "exchanges that end after the prompt and before the text's end";
  EXPECT_EQ(cells, (3 * 1 + 4 * 3 + 2 * 2 + 1 * 3) * 37U);
}

}  // namespace

// What supervisor and worker tell each other, one frame each. Plain values and pure functions; any thread.
//
// A frame's type is the message's place in its variant; the BSON document holds the struct's fields in their order. A
// document is accepted only when it is, byte for byte, the one that its content would be written as, so a field that is
// missing, left over, out of order or of another type is refused.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <variant>

#include "gateway/worker/frame.h"
#include "gateway/worker/workerProcess.h"

namespace orvix::gateway {

// Received bytes that an attempt's traffic holds at most, so that a modem that never stops talking fills no memory and
// no disk. A whole dialogue takes less than a thousand.
inline constexpr std::size_t kMostTrafficBytes = 65536;

// To the worker. What it is told in StartOrder holds until the process ends.

// Always first.
// Seconds as in the configuration; codes and okIsSent are the modem's own. verbosity is glog's (FLAGS_v).
struct StartOrder {
  std::string modem;
  std::string plugin;
  std::string configFile;
  int reportSeconds = 60;
  int lateSeconds = 120;
  bool okIsSent = false;
  std::map<int, hostkit::ErrorClass> codes;
  bool escapeFirst = false;
  bool wasLineLost = false;  // and nobody has told of its return yet
  int verbosity = 0;
};

// Answers PromptNews: the text may be written.
struct GoAhead {};

// Ends the process once its call has returned and its line is closed; a late result is listened for so long at most.
struct StopOrder {
  int listenSeconds = 0;
};

using ToWorker = std::variant<StartOrder, AttemptOrder, GoAhead, StopOrder>;

// From the worker.

// The reason is for people; "" when the modem is ready.
struct StateNews {
  ModemState state = ModemState::kNoData;
  std::string reason;
};

// Comes at every change and, as a sign of life, at least every 30 s. isCall: inside a call into the plug-in, which
// cannot be interrupted.
struct DoingNews {
  std::string doing;
  bool isCall = false;
};

// The three belong to the attempt that runs; without one they break the protocol.
// A piece as hostkit::TrafficPiece has it; what is beyond the attempt's bound is left out, at either end.
struct TrafficNews {
  std::int64_t us = 0;  // of the monotonic clock, not negative
  XplTraceKind kind = kXplTraceReceived;
  std::string bytes;
};
// Asks for leave to write the text: GoAhead, or no answer.
struct PromptNews {};
// Answers an AttemptOrder, once; the next order may come from here on.
struct EndNews {
  AttemptResult result;  // without its recording, which is made of the traffic
};

// For counters: an Escape freed the modem from its prompt; a modem that was lost is ready again.
struct HealedNews {};
struct ReconnectedNews {};
// The line hung up in the middle of a call into the plug-in, which goes on.
struct LineLostNews {};

using FromWorker = std::variant<StateNews, ModemReport, DoingNews, TrafficNews, PromptNews, EndNews, HealedNews,
                                ReconnectedNews, LineLostNews>;

// The frame's bytes.
// Throws std::length_error for a message that does not fit into a frame.
std::string encoded(const ToWorker& message);
std::string encoded(const FromWorker& message);

// Both throw ProtocolError for anything that the encoder would not have written, for texts that are not UTF-8 and for
// numbers without a meaning.
ToWorker toWorkerOf(const Frame& frame);
FromWorker fromWorkerOf(const Frame& frame);

}  // namespace orvix::gateway

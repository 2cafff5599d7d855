// The supervisor's record of the attempt that a worker makes: what it may do, and its traffic so far. One thread.
//
// The supervisor keeps the traffic itself, as it happens, so that it outlives a worker that dies. It grows to
// kMostTrafficBytes of received and sent bytes at most; what a modem says beyond that is not kept.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "gateway/worker/protocol.h"
#include "hostkit/traffic.h"
#include "hostkit/verdict.h"

namespace orvix::gateway {

class AttemptRecord {
 public:
  // `modem` is borrowed.
  AttemptRecord(const AttemptOrder& attempt, const ModemConfig* config) : made(attempt), modem(config) {}

  const AttemptOrder& order() const { return made; }
  // The traffic in the format of docs/recording.md.
  std::string recording() const;

  // What the worker tells, in its order. Each throws ProtocolError for what no honest worker tells: a second prompt, an
  // end with the text out that nobody gave leave to write, or one that denies a text that is out.
  void take(const TrafficNews& news);
  void takePrompt();
  // The result, with its recording.
  AttemptResult end(const EndNews& news) const;

  // Whether nothing that happens without the line could change what became of it: no leave was given yet, or the text
  // is out.
  bool isSettled() const;
  // The mark is committed, so the text may be written. False before the prompt, when nobody has asked for leave.
  bool allow();
  // What the traffic proves though the worker is gone: sent or refused. None when it leaves a doubt.
  // With its recording, as end() gives it.
  std::optional<AttemptResult> provenResult() const;

 private:
  hostkit::Judgement judgement() const;

  AttemptOrder made;
  const ModemConfig* modem;
  std::vector<hostkit::TrafficPiece> traffic;
  std::size_t trafficBytes = 0;
  bool isAsked = false;
  bool isAllowed = false;
};

}  // namespace orvix::gateway

// The supervisor's record of the attempt that a worker makes: what it may do, and its traffic so far. One thread.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "gateway/worker/protocol.h"
#include "hostkit/traffic.h"

namespace orvix::gateway {

class AttemptRecord {
 public:
  // `modem` is borrowed.
  AttemptRecord(const AttemptOrder& attempt, const ModemConfig* config) : made(attempt), modem(config) {}

  const AttemptOrder& order() const { return made; }
  std::string recording() const;

  // What the worker tells. Each throws ProtocolError for what no honest worker tells.
  void take(const TrafficNews& news);
  void takePrompt();
  // The result, with its recording.
  AttemptResult end(const EndNews& news) const;

  // The text may be written; false before the prompt.
  bool allow();
  // What the traffic proves though the worker is gone: sent or refused.
  std::optional<AttemptResult> provenResult() const;

 private:
  AttemptOrder made;
  const ModemConfig* modem;
  std::vector<hostkit::TrafficPiece> traffic;
  std::size_t trafficBytes = 0;
  bool isAsked = false;
  bool isAllowed = false;
};

}  // namespace orvix::gateway

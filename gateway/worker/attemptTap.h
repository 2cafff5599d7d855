// Sees every byte of the line from inside the plug-in's calls: keeps the traffic, hands an attempt's on to the
// supervisor as it happens, and holds the plug-in back at the prompt. One thread, the one that calls the plug-in.
#pragma once

#include <string>
#include <vector>

#include "gateway/worker/supervisorLink.h"
#include "hostkit/traffic.h"

namespace orvix::gateway {

class AttemptTap final : public hostkit::TrafficListener {
 public:
  explicit AttemptTap(SupervisorLink* supervisor) : link(supervisor) {}  // borrowed

  // Forgets the traffic so far; what comes belongs to an attempt until end, or to a probe.
  // An attempt's traffic goes to the supervisor piece by piece, each before the next is read; a probe's stays here.
  void begin(bool isAttempt);
  void end() { isStreaming = false; }

  // Borrowed, until the next begin(). Holds kMostTrafficBytes of received bytes at most; what was sent is whole.
  const std::vector<hostkit::TrafficPiece>& traffic() const { return pieces; }
  // All received bytes in one, and whether anything was sent: a line that takes no byte tells nothing of its modem.
  std::string received() const;
  bool hasSent() const;

  // Ends the process when the prompt has come and the supervisor does not give leave to write the text: received bytes
  // pass here before the plug-in sees them, so the text is not written then.
  // Waits for that leave for 5 s at most, while the modem stands at its prompt.
  void onTraffic(const hostkit::TrafficPiece& piece) override;

 private:
  // Whether the piece brings the prompt that this attempt waits for.
  bool isPrompt(const hostkit::TrafficPiece& piece);

  SupervisorLink* link;
  std::vector<hostkit::TrafficPiece> pieces;
  std::size_t receivedBytes = 0;
  bool isStreaming = false;
  bool isNumberGiven = false;  // AT+CMGS= was sent, so a '>' is its prompt
  bool isAllowed = false;
};

}  // namespace orvix::gateway

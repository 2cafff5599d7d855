// Writes a line's traffic to a file while it happens, in the format of docs/recording.md. Told by one LineTrace,
// which calls it from one thread at a time.
#pragma once

#include <cstdint>
#include <string>

#include "hostkit/traffic.h"

namespace orvix::hostkit {

class Recorder final : public TrafficListener {
 public:
  enum IfThere { kRefuse, kReplace };

  // Makes the file, readable by its owner alone since it holds messages and numbers, and writes the header. Throws
  // Error when that fails or, with kRefuse, something of that name is there.
  Recorder(const std::string& file, const std::string& line, IfThere ifThere = kRefuse);
  ~Recorder();
  Recorder(const Recorder&) = delete;
  Recorder& operator=(const Recorder&) = delete;

  // The piece is on its way to the file before this returns, so that a crash of the program loses nothing.
  // One write(2) a piece, not synced: a power cut may lose the last ones.
  void onTraffic(const TrafficPiece& piece) override;
  // Whether a piece could not be written; the recording ends before it.
  bool hasFailed() const { return failed; }

 private:
  void write(const std::string& text);

  int descriptor;
  std::int64_t beginUs = monotonicUs();
  bool failed = false;
};

}  // namespace orvix::hostkit

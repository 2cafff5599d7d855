// Writes a line's traffic to a file, in the format of docs/recording.md. One thread.
#pragma once

#include <chrono>
#include <fstream>
#include <string>

#include "host/traffic.h"

namespace orvix::host {

// Every piece is on its way to the file before the call ends, so that a crash loses nothing. Throws Failure when the
// file cannot be written at the start; later failures are reported once by hasFailed.
class Recorder final : public TrafficListener {
 public:
  Recorder(const std::string& file, const std::string& line);

  void onTraffic(XplTraceKind kind, std::string_view bytes) override;
  bool hasFailed() const { return !output.good(); }

 private:
  std::chrono::steady_clock::time_point begin = std::chrono::steady_clock::now();
  std::ofstream output;
};

}  // namespace orvix::host

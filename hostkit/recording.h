// A line's traffic as text, in the format of docs/recording.md: one JSON document a line, the header first. Pure
// functions; any thread.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "hostkit/traffic.h"

namespace orvix::hostkit {

// Both end with a line feed. `line` is the connection string; `beginUs` the moment that counts as 0.
std::string recordingHeader(const std::string& line);
std::string recordingOf(const TrafficPiece& piece, std::int64_t beginUs);

// The whole of it; the first piece is at 0.
std::string recordingOf(const std::vector<TrafficPiece>& traffic, const std::string& line);

}  // namespace orvix::hostkit

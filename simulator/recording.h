// The traffic of a recorded line, as docs/recording.md describes it: JSON, one record a line. One thread at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <istream>
#include <string>
#include <vector>

namespace orvix::simulator {

// What went over the line in one read or write of the host.
// Owns its bytes. An empty one may stand there, and means nothing.
struct RecordedPiece {
  std::size_t line;  // of the file, counted from 1
  std::int64_t us;   // since the recording began; never falls from piece to piece
  bool isSent;       // to the modem; otherwise received from it
  std::string bytes;
};

using Recording = std::vector<RecordedPiece>;

// In the order of the file. Records of modem lines (DTR, RTS and so on) are left out. Throws std::runtime_error, whose
// what() begins with "line <n>: ", for an unknown format or version and for a line that is no record.
// Reads to the end of the stream and keeps all of it in memory. Times may be 31 years at most.
Recording readRecording(std::istream& file);

}  // namespace orvix::simulator

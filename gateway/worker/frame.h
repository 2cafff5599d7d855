// Frames on the stream socket between supervisor and worker. One thread for each buffer.
//
//   | 0-3 length of what follows, low byte first | 4 version | 5 type | 6... one BSON document |
//
// Neither end trusts the other: a frame that is too long or of another version throws, and its end closes the socket.
// Both ends come out of the same file of the same program, so another version means that it was replaced meanwhile.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace orvix::gateway {

inline constexpr std::size_t kMaxFrameLength = 65536;  // bytes after the length word
inline constexpr std::uint8_t kProtocolVersion = 1;

// What the other end sent breaks the protocol. The text names the rule, never foreign bytes.
class ProtocolError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// What the type means and what the document holds is protocol.h's.
// `body` may be any bytes; it owns them.
struct Frame {
  std::uint8_t type = 0;
  std::string body;
};

// The frame's bytes; throws std::length_error when the body is too long.
std::string bytesOf(const Frame& frame);

// Cuts what arrives, in pieces of any size, into frames.
class FrameBuffer {
 public:
  // Keeps what was not taken yet, without a bound of its own: take the frames after each read.
  void append(std::string_view bytes) { pending += bytes; }
  // The next whole frame, once; none when more bytes must come first. Throws ProtocolError.
  std::optional<Frame> next();

 private:
  std::string pending;
};

}  // namespace orvix::gateway

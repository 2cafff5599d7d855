#include "gateway/worker/frame.h"

namespace orvix::gateway {
namespace {

constexpr std::size_t kLengthSize = 4;
constexpr std::size_t kHeadSize = 2;  // version and type

}  // namespace

std::string bytesOf(const Frame& frame) {
  const std::size_t length = kHeadSize + frame.body.size();
  // A fault of this side, so no ProtocolError: the other end never sees it.
  if (length > kMaxFrameLength) {
    throw std::length_error("a frame is too long");
  }
  std::string bytes;
  for (std::size_t i = 0; i < kLengthSize; ++i) {
    bytes += static_cast<char>(length >> 8 * i & 0xFF);
  }
  bytes += static_cast<char>(kProtocolVersion);
  bytes += static_cast<char>(frame.type);
  return bytes + frame.body;
}

std::optional<Frame> FrameBuffer::next() {
  if (pending.size() < kLengthSize) {
    return std::nullopt;
  }
  std::size_t length = 0;
  // Low byte first, whatever the machine.
  for (std::size_t i = kLengthSize; i-- > 0;) {
    length = length << 8 | static_cast<unsigned char>(pending[i]);
  }
  // Checked before the frame is there: a wrong length would have us wait for bytes that never come.
  if (length < kHeadSize || length > kMaxFrameLength) {
    throw ProtocolError("a frame's length is out of range");
  }
  if (pending.size() < kLengthSize + length) {
    return std::nullopt;
  }
  if (static_cast<unsigned char>(pending[kLengthSize]) != kProtocolVersion) {
    throw ProtocolError("a frame is of another version");
  }
  Frame frame{static_cast<std::uint8_t>(pending[kLengthSize + 1]),
              pending.substr(kLengthSize + kHeadSize, length - kHeadSize)};
  pending.erase(0, kLengthSize + length);
  return frame;
}

}  // namespace orvix::gateway

#include "device/atReply.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <limits>

namespace orvix::gsm {
namespace {

// Where the text after `prefix` begins; npos when the reply does not hold it.
std::size_t endOfPrefix(const std::string& reply, const std::string& prefix) {
  const std::size_t position = reply.find(prefix);
  return position == std::string::npos ? position : position + prefix.size();
}

}  // namespace

std::optional<std::string> findCsq(const std::string& reply) {
  constexpr std::size_t kLengthWithoutComma = 2;
  const std::size_t start = endOfPrefix(reply, "+CSQ: ");
  if (start == std::string::npos) {
    return std::nullopt;
  }
  // Hosts rely on it: a comma in front of the answer gives a length beyond the end, and so the rest of the reply.
  const std::size_t comma = reply.find(',');
  return reply.substr(start, comma == std::string::npos ? kLengthWithoutComma : comma - start);
}

std::optional<std::size_t> findCregStat(const std::string& reply) {
  constexpr std::size_t kFirstParameterAndComma = 2;
  const std::size_t start = endOfPrefix(reply, "+CREG: ");
  // "+CREG: <n>,<stat>" (3GPP TS 27.007, 7.2): <n> is one digit.
  return start == std::string::npos ? std::nullopt : std::optional(start + kFirstParameterAndComma);
}

std::int32_t numberOf(const std::string& text) {
  using Limits = std::numeric_limits<std::int32_t>;
  // Clamped, because long has 64 bits on some systems: a document means the same everywhere.
  return static_cast<std::int32_t>(
      std::clamp<long>(std::strtol(text.c_str(), nullptr, 10), Limits::min(), Limits::max()));
}

std::optional<std::string> errorText(const std::string& reply) {
  const std::size_t position = reply.find("ERROR: ");
  if (position == std::string::npos) {
    return std::nullopt;
  }
  // Up to the end, whatever follows the error: line ends, which would break the log's lines, go with the rest.
  std::string text = reply.substr(position);
  const auto isHidden = [](unsigned char byte) { return std::isprint(byte) == 0; };
  text.erase(std::remove_if(text.begin(), text.end(), isHidden), text.end());
  return text;
}

}  // namespace orvix::gsm

#include "gateway/http/target.h"

#include <algorithm>
#include <stdexcept>
#include <string_view>

#include "common/printable.h"

namespace orvix::gateway {
namespace {

std::string decoded(std::string_view text) {
  std::string bytes;
  for (; !text.empty(); text.remove_prefix(1)) {
    if (text[0] != '%') {
      bytes += text[0];
      continue;
    }
    // RFC 3986, 2.1: two digits, of either case.
    const auto byte = text.size() < 3 ? std::nullopt : bytesOfHex(text.substr(1, 2));
    if (!byte) {
      throw std::invalid_argument("a % in the address is not followed by two hexadecimal digits");
    }
    bytes += *byte;
    text.remove_prefix(2);
  }
  return bytes;
}

std::string decodedInQuery(std::string_view text) {
  // As forms write it (application/x-www-form-urlencoded).
  std::string withBlanks(text);
  std::replace(withBlanks.begin(), withBlanks.end(), '+', ' ');
  return decoded(withBlanks);
}

// Takes what stands before the separator off the text.
std::string_view cutAt(std::string_view* text, char separator) {
  const std::size_t end = text->find(separator);
  const std::string_view piece = text->substr(0, end);
  text->remove_prefix(end == std::string_view::npos ? text->size() : end + 1);
  return piece;
}

}  // namespace

std::variant<Target, Refusal> readTarget(const std::string& target) try {
  Target result;
  std::string_view query = target;
  std::string_view path = cutAt(&query, '?');
  if (path.empty() || path.front() != '/') {
    return Refusal{400, "the address does not begin with a slash", std::nullopt, std::nullopt};
  }
  // Split before it is decoded, so that an escaped slash stays inside its part.
  do {
    path.remove_prefix(1);
    const std::string_view part = path.substr(0, path.find('/'));
    result.path.push_back(decoded(part));
    path.remove_prefix(part.size());
  } while (!path.empty());
  while (!query.empty()) {
    std::string_view value = cutAt(&query, '&');
    const std::string key = decodedInQuery(cutAt(&value, '='));
    // Nobody knows which of the two was meant.
    if (!result.query.emplace(key, decodedInQuery(value)).second) {
      return Refusal{422, "comes twice", key, std::nullopt};
    }
  }
  return result;
} catch (const std::invalid_argument& error) {
  return Refusal{400, error.what(), std::nullopt, std::nullopt};
}

}  // namespace orvix::gateway

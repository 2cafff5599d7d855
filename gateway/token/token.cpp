#include "gateway/token/token.h"

#include <nettle/memops.h>
#include <nettle/sha2.h>
#include <sys/random.h>

#include <array>
#include <cerrno>
#include <system_error>

#include "common/printable.h"

namespace orvix::gateway {

std::string newToken() {
  std::array<char, 32> bytes{};
  // So few bytes come whole or not at all.
  if (getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size())) {
    throw std::system_error(errno, std::generic_category(), "no random bytes");
  }
  return hexText({bytes.data(), bytes.size()});
}

std::string sha256Of(std::string_view bytes) {
  sha256_ctx context{};
  sha256_init(&context);
  sha256_update(&context, bytes.size(), reinterpret_cast<const std::uint8_t*>(bytes.data()));
  std::array<std::uint8_t, SHA256_DIGEST_SIZE> digest{};
  sha256_digest(&context, digest.size(), digest.data());
  return hexText({reinterpret_cast<const char*>(digest.data()), digest.size()});
}

bool isSameHash(const std::string& a, const std::string& b) {
  // memeql_sec looks at all bytes, wherever the first difference is.
  return a.size() == b.size() && memeql_sec(a.data(), b.data(), a.size()) != 0;
}

}  // namespace orvix::gateway

#include "gateway/message/name.h"

namespace orvix::gateway {

bool isName(const std::string& text) {
  constexpr char kFit[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789._-";
  constexpr std::size_t kLongest = 64;
  return !text.empty() && text.size() <= kLongest && text.find_first_not_of(kFit) == std::string::npos;
}

}  // namespace orvix::gateway

#include "gateway/http/authorization.h"

#include "common/text.h"
#include "gateway/token/token.h"

namespace orvix::gateway {

Caller socketCaller() {
  Caller caller;
  caller.owner = "socket";
  caller.rights.to = {"*"};
  caller.rights.perDay = 0;
  caller.rights.all = true;
  return caller;
}

std::optional<Caller> callerWith(const std::string& authorization, const std::vector<TokenConfig>& tokens) {
  constexpr std::size_t kSchemeLength = 7;
  // The scheme's name may be written in any case (RFC 9110, 11.1).
  if (toLower(authorization.substr(0, kSchemeLength)) != "bearer ") {
    return std::nullopt;
  }
  const std::size_t begin = authorization.find_first_not_of(' ', kSchemeLength);
  const std::string hash = sha256Of(begin == std::string::npos ? std::string() : authorization.substr(begin));
  std::optional<Caller> caller;
  // All of them, also after the one that fits: the time tells nothing.
  for (const TokenConfig& token : tokens) {
    if (isSameHash(hash, token.sha256)) {
      caller = Caller{"token:" + token.name, token.rights};
    }
  }
  return caller;
}

}  // namespace orvix::gateway

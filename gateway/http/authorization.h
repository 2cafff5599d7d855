// Who speaks, by the token of the request. Pure functions; any thread.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "gateway/config/config.h"
#include "gateway/service/submission.h"

namespace orvix::gateway {

// The caller behind the Unix socket, whose file mode has decided already: may send to everybody without a limit, sees
// and touches everything.
Caller socketCaller();

// By an Authorization header, "Bearer TOKEN" (RFC 6750; the scheme in any case); none when no token's hash fits. Takes
// the same time whichever does.
// The configuration holds hashes alone: a token is known here only while its request is read.
std::optional<Caller> callerWith(const std::string& authorization, const std::vector<TokenConfig>& tokens);

}  // namespace orvix::gateway

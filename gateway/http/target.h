// Reading a request's target. Pure functions; any thread.
#pragma once

#include <string>
#include <variant>

#include "gateway/http/exchange.h"

namespace orvix::gateway {

// "/v1/messages?limit=10": the path is split at its slashes before it is decoded, a "+" in the query is a blank. 400
// for a target that does not begin with a slash and for a "%" without two hexadecimal digits, 422 for a key that comes
// twice.
// Bytes are decoded, not checked: an id may hold anything here and is found nowhere then.
std::variant<Target, Refusal> readTarget(const std::string& target);

}  // namespace orvix::gateway

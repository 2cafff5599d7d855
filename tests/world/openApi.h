// Answers held against the API's own description. Pure functions; any thread.
#pragma once

#include <string>

#include "gateway/http/exchange.h"

namespace world {

// What the description does not foresee of this answer: an operation, a status, a type of content, a field. "" when it
// is as described; so is every answer at an address that is not part of the API.
std::string unforeseen(const orvix::gateway::Request& request, const orvix::gateway::Response& response);

}  // namespace world

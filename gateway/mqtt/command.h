// What comes on gsm/ID/send. A pure function; any thread.
#pragma once

#include <string>
#include <variant>

#include "gateway/service/submission.h"

namespace orvix::gateway {

// A submission that is taken has an id, by which its sender recognises what becomes of it.
struct Command {
  std::string id;  // also of a refused one, as far as it can be made out; else ""
  std::variant<Submission, Refusal> submission;
};

// Any bytes, as many as a body over HTTP may have.
// Throws nothing. 413 when it is longer than kLongestPayload, 422 with the field "id" where only that is missing; all
// else is refused as readSubmission does.
Command readCommand(const std::string& payload);

}  // namespace orvix::gateway

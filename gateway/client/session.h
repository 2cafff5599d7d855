// The running service, as a client command sees it. One thread.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "gateway/client/options.h"

namespace orvix::gateway::client {

class Session {
 public:
  // Finds the socket in the configuration; nothing else of that needs to be right. Failure(kBadConfiguration) when it
  // cannot be read.
  explicit Session(const Options& options);

  // The service's answer, parsed. Throws Failure: kRefused with the service's words, kNotRunning where none runs,
  // kFailure for an answer that is no JSON; Unanswered.
  nlohmann::json get(const std::string& target) const { return ask("GET", target, ""); }
  nlohmann::json ask(const std::string& method, const std::string& target, const std::string& body) const;

 private:
  std::string socketPath;
};

// "/v1/messages/ID", with what follows.
std::string messageTarget(const std::string& id, const std::string& rest = "");

// As text; Failure(kUsage) when a string of it is no UTF-8.
std::string jsonBody(const nlohmann::json& json);

}  // namespace orvix::gateway::client

// The command `send`: hands a message over, and waits for what becomes of it where that is wished.

#include <algorithm>
#include <chrono>
#include <iostream>
#include <thread>
#include <vector>

#include "gateway/client/commands.h"
#include "gateway/client/failure.h"
#include "gateway/client/session.h"
#include "gateway/client/view.h"
#include "gateway/token/token.h"
#include "program/complaint.h"

namespace orvix::gateway::client {
namespace {

using nlohmann::json;
using Clock = std::chrono::steady_clock;

// 96 random bits, as the service's own ids have.
constexpr std::size_t kIdLength = 24;
constexpr std::chrono::milliseconds kBetweenLooks{500};

json submissionOf(const Options& options, const std::string& id) {
  json submission = {{"id", id}, {"to", options.number}, {"text", options.text}};
  if (!options.priority.empty()) {
    submission["priority"] = options.priority;
  }
  if (!options.onUncertain.empty()) {
    submission["onUncertain"] = options.onUncertain;
  }
  if (options.expiresSeconds) {
    submission["expiresSeconds"] = *options.expiresSeconds;
  }
  return submission;
}

// The messages that came of it: several of a long text.
std::vector<std::string> handOver(const Session& session, const Options& options) {
  // An id of our own, so that one who gets no answer can send again without sending twice.
  const std::string id = options.id.empty() ? newToken().substr(0, kIdLength) : options.id;
  json answer;
  try {
    answer = session.ask("POST", "/v1/messages", jsonBody(submissionOf(options, id)));
  } catch (const Unanswered& error) {
    throw Failure(kNotRunning, std::string(error.what()) +
                                   "; whether it took the message is not known: send again with --id " + id +
                                   ", which makes no second one");
  }
  std::vector<std::string> ids;
  for (const json& message : answer.value("messages", json::array({answer}))) {
    ids.push_back(message.at("id").get<std::string>());
  }
  return ids;
}

int codeOf(const std::string& state) {
  if (state == "sent") {
    return kDone;
  }
  if (state == "uncertain") {
    return kUncertain;
  }
  // What is left is failed, expired or cancelled.
  return state == "queued" || state == "attempting" ? kNotYet : kNotSent;
}

// Until a message has ended or the time is over. A service that is started again meanwhile is asked again.
json waitFor(const Session& session, const std::string& id, Clock::time_point end) {
  for (;;) {
    const bool isLast = Clock::now() >= end;
    try {
      json message = session.get(messageTarget(id));
      if (isLast || codeOf(message.at("state").get<std::string>()) != kNotYet) {
        return message;
      }
    } catch (const Failure& failure) {
      // Only a service that is away, or was silent, may come back; a refusal stays.
      if (isLast || failure.exitCode() != kNotRunning) {
        throw;
      }
    }
    std::this_thread::sleep_for(std::min<Clock::duration>(kBetweenLooks, end - Clock::now()));
  }
}

// The one that needs a person most decides for all.
int worst(int a, int b) {
  for (const int code : {kUncertain, kNotSent, kNotYet}) {
    if (a == code || b == code) {
      return code;
    }
  }
  return kDone;
}

}  // namespace

int sendMessage(const Options& options) {
  const Session session(options);
  const std::vector<std::string> ids = handOver(session, options);
  for (const std::string& id : ids) {
    // At once, before any waiting: a script that is stopped has the id.
    std::cout << id << std::endl;
  }
  int code = kDone;
  const auto end = Clock::now() + std::chrono::seconds(options.waitSeconds.value_or(0));
  // One end for all of them: the time was given for the whole request.
  for (auto id = ids.begin(); options.waitSeconds && id != ids.end(); ++id) {
    const json message = waitFor(session, *id, end);
    const auto state = message.at("state").get<std::string>();
    if (codeOf(state) != kDone) {
      const std::string reason = message.at("reason").is_null() ? "" : ": " + cell(message.at("reason"));
      program::complain("gsm-gateway", std::string(*id).append(" is ").append(state).append(reason));
    }
    code = worst(code, codeOf(state));
  }
  return code;
}

}  // namespace orvix::gateway::client

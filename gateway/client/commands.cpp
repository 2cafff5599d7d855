#include "gateway/client/commands.h"

#include <iostream>

#include "gateway/client/httpClient.h"
#include "gateway/client/session.h"
#include "gateway/client/view.h"
#include "gateway/exitCode.h"
#include "gateway/token/token.h"

namespace orvix::gateway::client {
namespace {

using nlohmann::json;

// The largest page that the service gives: few requests for a long list.
constexpr char kMostAPage[] = "1000";

int show(const Options& options, const json& answer, std::string (*view)(const json&)) {
  std::cout << (options.json ? answer.dump() + "\n" : view(answer));
  return kDone;
}

int tellState(const json& message) {
  std::cout << cell(message.at("state")) << "\n";
  return kDone;
}

}  // namespace

int listMessages(const Options& options) {
  const Session session(options);
  const std::string state = options.state.empty() ? "" : "&state=" + percentEncoded(options.state);
  json messages = json::array();
  // Until the service says null, so that the list is whole.
  for (json next = ""; next.is_string();) {
    std::string path = std::string("/v1/messages?limit=").append(kMostAPage).append(state);
    if (const auto after = next.get<std::string>(); !after.empty()) {
      path.append("&after=").append(percentEncoded(after));
    }
    json page = session.get(path);
    for (json& message : page.at("messages")) {
      messages.push_back(std::move(message));
    }
    next = page.at("next");
  }
  // As one answer of HTTP would be, with everything in it.
  return show(options, {{"messages", std::move(messages)}, {"next", nullptr}}, messagesView);
}

int showMessage(const Options& options) {
  return show(options, Session(options).get(messageTarget(options.id)), messageView);
}

int resolveMessage(const Options& options) {
  const std::string body = json({{"as", options.resolution}}).dump();
  return tellState(Session(options).ask("POST", messageTarget(options.id, "/resolve"), body));
}

int cancelMessage(const Options& options) {
  return tellState(Session(options).ask("DELETE", messageTarget(options.id), ""));
}

int showStatus(const Options& options) {
  return show(options, Session(options).get("/v1/status"), statusView);
}

int makeToken(const Options& options) {
  const std::string token = newToken();
  // In the order in which a person writes it into the file.
  nlohmann::ordered_json entry;
  entry["name"] = options.tokenName;
  entry["sha256"] = sha256Of(token);
  // Written out, since a person has to see that this token may send to everybody.
  entry["to"] = {"*"};
  // The token on a line of its own: it is shown once, and only its hash is kept.
  std::cout << token << "\n" << entry.dump() << "\n";
  return kDone;
}

}  // namespace orvix::gateway::client

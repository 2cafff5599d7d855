// The rows of the API, one function each. Internal; one thread, the service's.
#pragma once

#include "gateway/http/api.h"

namespace orvix::gateway {

// One request on its way to its row, all borrowed for the call. Token, address, method, length and query keys are
// checked; `request.caller` is there but for rows that are open to everybody.
struct Call {
  const Api& api;
  const Request& request;
  const Target& target;

  Service& service() const { return *api.service; }
  const Caller& caller() const { return *request.caller; }
  // A part of the path, counted from 0: "/v1/messages/ID" has the id at 2.
  const std::string& part(std::size_t index) const { return target.path.at(index); }
  // None when the query does not have it.
  std::optional<std::string> parameter(const std::string& key) const;
};

// A whole number from `low` to `high`, digits only: no sign, no blank, no leading or trailing anything. None otherwise.
std::optional<std::int64_t> numberIn(const std::string& text, std::int64_t low, std::int64_t high);

// Messages (messageHandlers.cpp). Ids that do not exist and those of other owners are the same 404.
// Nothing of what they answer may leave before the commit: see api.h.
Response postMessages(const Call& call);
Response listMessages(const Call& call);
Response showMessage(const Call& call);
Response showRecording(const Call& call);
Response resolveMessage(const Call& call);
Response cancelMessage(const Call& call);
Response postAlerts(const Call& call);

// Modems and the service itself (statusHandlers.cpp).
Response listModems(const Call& call);
Response showHistory(const Call& call);
Response showStatus(const Call& call);
Response showHealth(const Call& call);
Response showMetrics(const Call& call);

}  // namespace orvix::gateway

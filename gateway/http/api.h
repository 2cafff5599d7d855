// The HTTP API: what each request is answered. One thread, the service's.
//
// Value in, value out: no socket, no library, so that every row is tested as it stands. The answer may be given away
// only when what it tells is committed: see Service::onCommitted.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "gateway/http/exchange.h"
#include "gateway/service/service.h"

namespace orvix::gateway {

// One of the ways into the service, for people: {"mqtt", "mqtts://127.0.0.1:8883", "connected"}.
struct DoorState {
  std::string name;
  std::string address;
  std::string state;
};

// What the rows work on.
struct Api {
  Service* service;                               // borrowed
  std::function<std::vector<DoorState>()> doors;  // may be empty
};

// Checks in this order: 401, 413, address and method (400, 404, 405), query (422), then the row's own. HEAD is answered
// as GET is; the library leaves the body out. Does not wait; throws nothing of its own, but what the service throws.
// Every error is {"error", "field"}. What a caller may do is the service's to judge.
Response answer(const Api& api, const Request& request);

}  // namespace orvix::gateway

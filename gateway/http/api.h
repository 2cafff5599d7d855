// The HTTP API: what each request is answered. One thread, the service's.
//
// The answer may be given away only when what it tells is committed: see Service::onCommitted.
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

struct Api {
  Service* service;                               // borrowed
  std::function<std::vector<DoorState>()> doors;  // may be empty
};

// Checks in this order: 401, address and method (400, 404, 405), 413, query (422), then the row's own.
Response answer(const Api& api, const Request& request);

}  // namespace orvix::gateway

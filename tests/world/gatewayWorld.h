// A service for its tests and those of its doors: a real database in a folder of its own, workers and clocks of the
// test's. One thread.
#pragma once

#include <optional>

#include "gateway/service/service.h"
#include "tests/world/fakeWorkers.h"
#include "tests/world/host.h"
#include "tests/world/serviceTime.h"

namespace world {

class GatewayWorld {
 public:
  // Modems "main" and "spare". Tokens, each of which is its own name: "all" sees everything, "abroad" sends one message
  // to +44..., "one" sends one message.
  GatewayWorld();
  // Requires the database to be sound.
  ~GatewayWorld();
  GatewayWorld(const GatewayWorld&) = delete;
  GatewayWorld& operator=(const GatewayWorld&) = delete;

  // Again: on the folder as it stands, with the configuration as it is now.
  void start();
  // No file can grow any more, or again.
  static void fillDisk(bool isFull);

  TemporaryFolder folder;
  orvix::gateway::Config config;
  std::optional<orvix::gateway::Outbox> outbox;
  std::optional<orvix::gateway::ServiceClock> clock;
  std::optional<orvix::gateway::Service> service;
};

}  // namespace world

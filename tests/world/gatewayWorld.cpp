#include "tests/world/gatewayWorld.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

#include "gateway/token/token.h"

namespace world {
namespace {

using orvix::gateway::Priority;
using orvix::gateway::Rights;
using orvix::gateway::TokenConfig;

}  // namespace

GatewayWorld::GatewayWorld() {
  ServiceTime::instance() = {};
  char name[] = "/tmp/gatewayTest-XXXXXX";
  folder = mkdtemp(name);
  config.storage.folder = folder;
  for (const char* const modem : {"main", "spare"}) {
    config.modems.emplace_back().name = modem;
  }
  for (const auto& [token, rights] : {std::pair{"all", Rights{{"*"}, 0, Priority::kAlarm, true}},
                                      {"abroad", Rights{{"+44*"}, 1, Priority::kNormal, false}},
                                      {"one", Rights{{"*"}, 1, Priority::kAlarm, false}}}) {
    config.http.tokens.push_back(TokenConfig{token, orvix::gateway::sha256Of(token), rights});
  }
}

GatewayWorld::~GatewayWorld() {
  if (outbox) {
    EXPECT_EQ(outbox->check(), "");
  }
  service.reset();
  outbox.reset();
  std::filesystem::remove_all(folder);
}

void GatewayWorld::start() {
  outbox.emplace(config.storage, config.sending);
  clock.emplace(outbox->storedTimeMs(), outbox->storedOffsetMs());
  service.emplace(config, &*outbox, &*clock);
  service->startWorkers();
}

}  // namespace world

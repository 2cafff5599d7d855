#include "tests/world/gatewayWorld.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>

#include "gateway/token/token.h"

namespace world {

using orvix::gateway::Priority;
using orvix::gateway::Rights;

GatewayWorld::GatewayWorld() {
  ServiceTime::instance() = {};
  config.storage.folder = folder.path();
  for (const char* const modem : {"main", "spare"}) {
    config.modems.emplace_back().name = modem;
  }
  for (const auto& [token, rights] : {std::pair{"all", Rights{{"*"}, 0, Priority::kAlarm, true}},
                                      {"abroad", Rights{{"+44*"}, 1, Priority::kNormal, false}},
                                      {"one", Rights{{"*"}, 1, Priority::kAlarm, false}}}) {
    config.http.tokens.push_back({token, orvix::gateway::sha256Of(token), rights});
  }
}

GatewayWorld::~GatewayWorld() {
  if (outbox) {
    EXPECT_EQ(outbox->check(), "");
  }
}

void GatewayWorld::start() {
  service.reset();
  outbox.reset();
  outbox.emplace(config.storage, config.sending);
  clock.emplace(outbox->storedTimeMs(), outbox->storedOffsetMs());
  service.emplace(config, &*outbox, &*clock);
  service->startWorkers();
}

void GatewayWorld::fillDisk(bool isFull) {
  std::signal(SIGXFSZ, SIG_IGN);
  rlimit limit{};
  getrlimit(RLIMIT_FSIZE, &limit);
  limit.rlim_cur = isFull ? 1 : limit.rlim_max;
  setrlimit(RLIMIT_FSIZE, &limit);
}

}  // namespace world

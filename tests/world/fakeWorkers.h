// Workers without processes: WorkerProcess as a test plays it. Programs that link this object get it instead of the
// real one. One thread.
#pragma once

#include <optional>
#include <string>

#include "gateway/worker/workerProcess.h"

namespace world {

struct FakeWorker {
  std::string modem;
  orvix::gateway::WorkerListener* listener = nullptr;
  bool isRunning = false;
  bool mayGoAhead = false;
  int escapes = 0;
  std::optional<orvix::gateway::AttemptOrder> order;

  void ready() { listener->onState(modem, orvix::gateway::ModemState::kReady, ""); }
  void report(const std::string& registration);
  void prompt() { listener->onPrompt(modem, order->id, order->number); }
  void end(const orvix::gateway::AttemptResult& result);
  void die();
};

// Of the last service that was made.
FakeWorker& worker(const std::string& modem);

}  // namespace world

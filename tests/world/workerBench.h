// One simulated modem on a pseudo-terminal with its worker, a real process in real time; the test is the service. The
// worker's program is the test's own, with the argument "worker". One thread.
#pragma once

#include <gtest/gtest.h>
#include <poll.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <thread>

#include "gateway/worker/workerProcess.h"
#include "simulator/modem.h"
#include "simulator/ptyLine.h"
#include "simulator/runLoop.h"
#include "tests/world/host.h"

namespace world {

constexpr std::int64_t kWorkerPatienceMs = 120000;

inline std::int64_t realMs() {
  using namespace std::chrono;
  return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

class WorkerBench final : public orvix::gateway::WorkerListener {
 public:
  enum Begin { kAtOnce, kAtItsPrompt, kAtItsPromptKnown };

  explicit WorkerBench(const orvix::simulator::ModemOptions& options, int lateSeconds = 60, Begin begin = kAtOnce)
      : modem(options), line(folder.file("line")), worker(config(), ORVIX_MODULE, lateSeconds, this, executable()) {
    modem.onMessage([this](const orvix::simulator::Message&) { ++messages; });
    modem.onTrace([this](orvix::simulator::Direction, std::string_view bytes) {
      begunMs = bytes == "AT+CMGF=1" ? realMs() : begunMs.load();
      isNumberGiven = isNumberGiven || bytes.rfind("AT+CMGS=", 0) == 0;
    });
    if (begin != kAtOnce) {
      modem.receive("AT+CMGF=1\rAT+CMGS=\"+49170\"\rhalf a te", 0);
    }
    if (begin == kAtItsPromptKnown) {
      worker.escapeFirst();
    }
    runner = std::thread([this] { orvix::simulator::run(modem, line, stop); });
    worker.start(realMs());
  }
  ~WorkerBench() {
    stop.request();
    runner.join();
  }

  // Serves the worker until the condition holds; false when it never does.
  bool until(const std::function<bool()>& condition) {
    for (const std::int64_t endMs = realMs() + kWorkerPatienceMs; !condition() && realMs() < endMs;) {
      pollfd event{worker.descriptor(), POLLIN, 0};
      poll(&event, 1, 10);
      worker.onReady(realMs());
      worker.onTime(realMs());
    }
    return condition();
  }
  bool untilReady() {
    return until([this] { return state == orvix::gateway::ModemState::kReady; });
  }
  bool untilSays(const std::string& text) {
    return until([&] { return said.find(text) != std::string::npos; });
  }
  void order() {
    result.reset();
    worker.attempt({"m", 1, "+491701234567", "PUMP OK"}, realMs());
  }
  // Sends and waits for the end.
  orvix::gateway::AttemptResult send() {
    order();
    EXPECT_TRUE(until([this] { return result.has_value(); })) << said;
    return result.value_or(orvix::gateway::AttemptResult{});
  }

  TemporaryFolder folder;
  orvix::simulator::Modem modem;
  orvix::simulator::PtyLine line;
  orvix::simulator::StopEvent stop;
  std::thread runner;
  std::atomic<int> messages{0};
  std::atomic<std::int64_t> begunMs{0};  // when the last dialogue reached the modem
  std::atomic<bool> isNumberGiven{false};
  std::function<void()> atPrompt = [this] { worker.goAhead(); };
  orvix::gateway::WorkerProcess worker;

  std::string said;  // all that was told, in short
  orvix::gateway::ModemState state = orvix::gateway::ModemState::kNoData;
  std::optional<orvix::gateway::AttemptResult> result;

 private:
  orvix::gateway::ModemConfig config() {
    orvix::gateway::ModemConfig config;
    config.name = "main";
    config.line = folder.file("line") + ":115200,n,8,1";
    config.configFile = folder.write("modem.json", configurationText(config.line));
    return config;
  }

  // An emulator does not follow a program into another: a script brings it along.
  std::string executable() const {
    if (std::string(ORVIX_EMULATOR).empty()) {
      return "/proc/self/exe";
    }
    const std::string test = std::filesystem::read_symlink("/proc/self/exe");
    std::string script = folder.write("worker", "#!/bin/sh\nexec " ORVIX_EMULATOR " '" + test + "' worker\n");
    std::filesystem::permissions(script, std::filesystem::perms::owner_all);
    return script;
  }

  void onState(const std::string&, orvix::gateway::ModemState now, const std::string& reason) override {
    state = now;
    said += std::string("[") + wordOf(now) + ": " + reason + "]";
  }
  void onReport(const std::string&, const orvix::gateway::ModemReport& report) override {
    said += "[report " + std::to_string(report.dBm.value_or(0)) + " " + report.registration + "]";
  }
  void onDoing(const std::string&, const std::string& doing) override { said += "[" + doing + "]"; }
  void onPrompt(const std::string&, const std::string&, int) override { atPrompt(); }
  void onAttemptEnded(const std::string&, const std::string& id, int number,
                      const orvix::gateway::AttemptResult& ended) override {
    EXPECT_EQ("m1", id + std::to_string(number));
    result = ended;
    said += "[ended: " + ended.reason + "]";
  }
  void onHealed(const std::string&) override { said += "[healed]"; }
  void onReconnected(const std::string&) override { said += "[reconnected]"; }
  void onDied(const std::string&, const std::optional<orvix::gateway::AttemptOrder>& running, const std::string&,
              const std::string&) override {
    said += running ? "[died sending]" : "[died]";
  }
};

}  // namespace world

// Kills at random moments and at each system call, of a worker, of the supervisor and of both: what was accepted is
// there, nothing is sent twice, and every doubt is told, but no doubt that the line's traffic would have settled.
#include <array>
#include <csignal>
#include <set>

#include "tests/campaigns/kit.h"

namespace {

using campaign::Figures;

constexpr int kSpeed = 50;
constexpr int kKillsInARound = 200;
constexpr int kLongestMessageMs = 12000;
constexpr int kResultDelayMs = 1500;

enum Target { kWorker, kSupervisor, kBoth, kTargets };
constexpr const char* kNames[] = {"kills of a worker", "kills of the supervisor", "kills of both"};
using Walk = std::array<int, kTargets>;  // the call that was each one's last the last time

orvix::simulator::ModemOptions slowModem() {
  orvix::simulator::ModemOptions options;
  options.resultDelayMs = kResultDelayMs / kSpeed;
  return options;
}

nlohmann::json settings() {
  return {{"sending", {{"retryLimitSeconds", 20}, {"perRecipient", {{"count", 0}}}}}};
}

// One storage folder and two modems, some kills, then the account.
class Round {
 public:
  Round(unsigned seed, Walk& walked) : random(seed), lastCall(walked) {}

  void run(int count, Figures* figures) {
    for (int kills = 0; kills < count;) {
      const auto target = static_cast<Target>(random.below(kTargets));
      const bool isAtCall = random.below(4) != 0;
      if (isAtCall ? killAtCall(target) : killAtRandom(target)) {
        ++kills;
        ++figures->counts[kNames[target]];
        figures->counts["kills at a system call"] += isAtCall ? 1 : 0;
      }
    }
    gateway.control->callsLeft = 0;
    campaign::until([this] {
      post();
      return wanted.empty() && !gateway.hasWork();
    });
    // Each has a number of its own: without a prompt to it no text was written.
    for (const auto& [id, told] : gateway.account(texts, figures)) {
      const std::string number = told.value("to", "");
      const bool hasPrompted = first.hasPrompted(number) || second.hasPrompted(number);
      figures->faults["doubts without a prompt"] += told["state"] == "uncertain" && !hasPrompted ? 1 : 0;
    }
  }

 private:
  // Each message until it was accepted, as senders do.
  void post() {
    if (!gateway.isRunning()) {
      gateway.start();
    }
    for (auto id = wanted.begin(); id != wanted.end();) {
      const int status = gateway.post({{"id", *id}, {"to", "+4917" + id->substr(1)}, {"text", *id}});
      id = status == 202 || status == 200 ? wanted.erase(id) : std::next(id);
    }
  }
  void postAnother() {
    const std::string id = "k" + std::to_string(texts.size());
    texts[id] = id;
    wanted.insert(id);
    post();
  }

  // From the start of the process on, where it is to be started, else from the next message on; each time one call
  // further, until it survives a message.
  bool killAtCall(Target target) {
    gateway.control->isSupervisorVictim = target != kWorker;
    gateway.control->takesAll = target == kBoth;
    gateway.control->callsLeft = ++lastCall[target];
    postAnother();
    const auto hasFired = [this] { return gateway.control->callsLeft <= 0; };
    campaign::until([&] { return hasFired() || !gateway.hasWork(); });
    if (!hasFired()) {
      lastCall[target] = gateway.control->callsLeft = 0;
      return false;
    }
    return target == kWorker || campaign::until([this] { return !gateway.isRunning(); });
  }

  bool killAtRandom(Target target) {
    gateway.control->callsLeft = 0;
    postAnother();
    std::this_thread::sleep_for(std::chrono::microseconds(1000 / kSpeed * random.below(kLongestMessageMs)));
    if (target != kWorker) {
      gateway.kill(target == kBoth);
      return true;
    }
    const std::vector<pid_t> workers = gateway.workers();
    const std::size_t chosen = static_cast<std::size_t>(random.below(2));
    return chosen < workers.size() && kill(workers[chosen], SIGKILL) == 0;
  }

  campaign::Random random;
  world::TemporaryFolder folder;
  campaign::SimulatedModem first{folder.file("first"), slowModem()};
  campaign::SimulatedModem second{folder.file("second"), slowModem()};
  campaign::Gateway gateway{{&first, &second}, settings(), kSpeed};
  std::map<std::string, std::string> texts;
  std::set<std::string> wanted;  // not known to be accepted
  Walk& lastCall;
};

}  // namespace

campaign::Figures campaign::run(int count, unsigned seed) {
  Figures figures;
  Walk walk{};
  for (int left = count; left > 0; left -= kKillsInARound) {
    Round(seed + static_cast<unsigned>(left), walk).run(std::min(kKillsInARound, left), &figures);
  }
  return figures;
}

// Modems that are unplugged, idle and in every step of a message, and plugged in again, under the same terminal and
// another, without power meanwhile or still waiting at their prompt: how long until the next message begins.
#include <algorithm>

#include "tests/campaigns/kit.h"

namespace {

constexpr int kSpeed = 20;
constexpr int kMostMs = 5000;

void sleepFor(int serviceMs) {
  std::this_thread::sleep_for(std::chrono::microseconds(serviceMs * 1000 / kSpeed));
}

int percentile99(std::vector<int> times) {
  std::sort(times.begin(), times.end());
  return times.empty() ? 0 : times[times.size() * 99 / 100];
}

}  // namespace

campaign::Figures campaign::run(int count, unsigned seed) {
  Figures figures;
  Random random(seed);
  const world::TemporaryFolder folder;
  SimulatedModem same(folder.file("same"), {});
  SimulatedModem renumbered(folder.file("renumbered"), {}, kRenumbered);
  SimulatedModem powered(folder.file("powered"), {}, kKeepsPower);
  SimulatedModem* const modems[] = {&same, &renumbered, &powered};
  Gateway gateway({&same, &renumbered, &powered}, {{"sending", {{"perRecipient", {{"count", 0}}}}}}, kSpeed);
  gateway.start();
  std::map<std::string, std::string> texts;
  const auto post = [&](const std::string& id, int modem) {
    texts[id] = id;
    gateway.post({{"id", id}, {"to", "+4912345"}, {"text", id}, {"modem", "m" + std::to_string(modem)}});
  };
  std::vector<int> times[2];
  for (int i = 0; i < count; ++i) {
    const int chosen = random.below(3);
    SimulatedModem* const modem = modems[chosen];
    until([&] { return !gateway.hasWork(); });
    if (random.below(4) != 0) {
      post("a" + std::to_string(i), chosen);
      sleepFor(random.below(9500));
    }
    modem->plug.pull();
    sleepFor(500 + random.below(8000));
    post("b" + std::to_string(i), chosen);
    modem->returnedMs = 0;
    modem->plug.putIn();
    figures.faults["never back"] += until([&] { return modem->returnedMs > 0 && modem->begunMs > 0; }) ? 0 : 1;
    times[modem->hasReturnedAtPrompt ? 1 : 0].push_back(static_cast<int>(modem->begunMs - modem->returnedMs) * kSpeed);
  }
  until([&] { return !gateway.hasWork(); });
  gateway.account(texts, &figures);
  figures.counts["re-plugs"] = count;
  figures.counts["of them at a prompt, healed"] = static_cast<int>(times[1].size());
  figures.counts["ms to the next message at p99"] = percentile99(times[0]);
  figures.counts["ms at p99 from a prompt"] = percentile99(times[1]);
  // Of a few the percentile is the longest alone, and a busy machine makes it.
  figures.faults["too late"] = count >= 100 && percentile99(times[0]) > kMostMs ? 1 : 0;
  return figures;
}

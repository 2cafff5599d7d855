// The worker process as its supervisor sees it: real processes, the real module, simulated modems, real time. The
// cases wait most of the time, so they run side by side, each with a modem and a thread of its own.
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <thread>
#include <utility>

#include "common/printable.h"
#include "gateway/worker/protocol.h"
#include "gateway/worker/workerMain.h"
#include "gateway/worker/workerProcess.h"
#include "simulator/modem.h"
#include "simulator/ptyLine.h"
#include "simulator/runLoop.h"
#include "tests/world/host.h"

namespace {

using namespace orvix;
using gateway::AttemptResult;
using gateway::ModemState;
using hostkit::Verdict;
using simulator::Fault;
using simulator::ModemOptions;

constexpr std::int64_t kPatienceMs = 120000;

std::int64_t realMs() {
  using namespace std::chrono;
  return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

// One simulated modem with its worker; the test is the service.
class Bench final : public gateway::WorkerListener {
 public:
  enum Begin { kAtOnce, kAtItsPrompt, kAtItsPromptKnown };

  explicit Bench(const ModemOptions& options, int lateSeconds = 60, Begin begin = kAtOnce)
      : modem(options), line(folder.file("line")), worker(config(), ORVIX_MODULE, lateSeconds, this, executable()) {
    modem.onMessage([this](const simulator::Message&) { ++messages; });
    modem.onTrace([this](simulator::Direction, std::string_view bytes) {
      begunMs = bytes == "AT+CMGF=1" ? realMs() : begunMs.load();
    });
    if (begin != kAtOnce) {
      modem.receive("AT+CMGF=1\rAT+CMGS=\"+49170\"\rhalf a te", 0);
    }
    if (begin == kAtItsPromptKnown) {
      worker.escapeFirst();
    }
    runner = std::thread([this] { simulator::run(modem, line, stop); });
    worker.start(realMs());
  }
  ~Bench() {
    stop.request();
    runner.join();
  }

  // Serves the worker until the condition holds; false when it never does.
  bool until(const std::function<bool()>& condition) {
    for (const std::int64_t endMs = realMs() + kPatienceMs; !condition() && realMs() < endMs;) {
      pollfd event{worker.descriptor(), POLLIN, 0};
      poll(&event, 1, 10);
      worker.onReady(realMs());
      worker.onTime(realMs());
    }
    return condition();
  }
  bool untilReady() {
    return until([this] { return state == ModemState::kReady; });
  }
  bool untilSays(const std::string& text) {
    return until([&] { return said.find(text) != std::string::npos; });
  }
  void order() {
    result.reset();
    worker.attempt({"m", 1, "+491701234567", "PUMP OK"}, realMs());
  }
  // Sends and waits for the end.
  AttemptResult send() {
    order();
    EXPECT_TRUE(until([this] { return result.has_value(); })) << said;
    return result.value_or(AttemptResult{});
  }

  world::TemporaryFolder folder;
  simulator::Modem modem;
  simulator::PtyLine line;
  simulator::StopEvent stop;
  std::thread runner;
  std::atomic<int> messages{0};
  std::atomic<std::int64_t> begunMs{0};  // when the last dialogue reached the modem
  std::function<void()> atPrompt = [this] { worker.goAhead(); };
  gateway::WorkerProcess worker;

  std::string said;  // all that was told, in short
  ModemState state = ModemState::kNoData;
  std::optional<AttemptResult> result;

 private:
  gateway::ModemConfig config() {
    gateway::ModemConfig config;
    config.name = "main";
    config.line = folder.file("line") + ":115200,n,8,1";
    config.configFile = folder.write("modem.json", world::configurationText(config.line));
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

  void onState(const std::string&, ModemState now, const std::string& reason) override {
    state = now;
    said += std::string("[") + wordOf(now) + ": " + reason + "]";
  }
  void onReport(const std::string&, const gateway::ModemReport& report) override {
    said += "[report " + std::to_string(report.dBm.value_or(0)) + " " + report.registration + "]";
  }
  void onDoing(const std::string&, const std::string& doing) override { said += "[" + doing + "]"; }
  void onPrompt(const std::string&, const std::string&, int) override { atPrompt(); }
  void onAttemptEnded(const std::string&, const std::string& id, int number, const AttemptResult& ended) override {
    EXPECT_EQ("m1", id + std::to_string(number));
    result = ended;
    said += "[ended: " + ended.reason + "]";
  }
  void onHealed(const std::string&) override { said += "[healed]"; }
  void onReconnected(const std::string&) override { said += "[reconnected]"; }
  void onDied(const std::string&, const std::optional<gateway::AttemptOrder>& running, const std::string&,
              const std::string&) override {
    said += running ? "[died sending]" : "[died]";
  }
};

Fault fault(Fault::Trigger trigger, const std::string& pattern, int count = 1) {
  Fault made;
  made.trigger = trigger;
  made.pattern = pattern;
  made.count = count;
  return made;
}

ModemOptions with(const Fault& fault) {
  ModemOptions options;
  options.faults = {fault};
  return options;
}

void sends() {
  Bench bench({});
  ASSERT_TRUE(bench.untilSays("[report -79 home]")) << bench.said;
  ASSERT_TRUE(bench.untilSays("[waiting]")) << bench.said;
  const std::int64_t orderedMs = realMs();
  const AttemptResult result = bench.send();
  testing::Test::RecordProperty("orderToLineMs", static_cast<int>(bench.begunMs - orderedMs));
  EXPECT_EQ(Verdict::kSent, result.verdict) << bench.said;
  EXPECT_EQ(1, result.reference);
  EXPECT_EQ(1, bench.messages);
  EXPECT_NE(std::string::npos, result.recording.find("PUMP OK\\\\x1a")) << result.recording;
  bench.worker.stop(0, realMs());
  EXPECT_TRUE(bench.until([&] { return !bench.worker.isRunning(); }));
  EXPECT_EQ(std::string::npos, bench.said.find("[died")) << bench.said;
}

void isRefused() {
  Fault busy = fault(Fault::Trigger::kBody, "PUMP*");
  busy.error = "+CMS ERROR: 42";
  Bench bench(with(busy));
  ASSERT_TRUE(bench.untilReady()) << bench.said;
  const AttemptResult result = bench.send();
  EXPECT_EQ(Verdict::kRefused, result.verdict) << bench.said;
  EXPECT_EQ(42, result.code);
  EXPECT_EQ(hostkit::ErrorClass::kNetwork, result.errorClass);
  EXPECT_TRUE(bench.until([&] { return bench.said.rfind("[report") > bench.said.find("[ended"); })) << bench.said;
}

void hearsTheLateResult() {
  Fault late = fault(Fault::Trigger::kBody, "*");
  late.delayMs = 20000;
  Bench bench(with(late));
  ASSERT_TRUE(bench.untilReady()) << bench.said;
  EXPECT_EQ(Verdict::kSent, bench.send().verdict) << bench.said;
  EXPECT_NE(std::string::npos, bench.said.find("[listening for a late result]")) << bench.said;
}

void doubtsASilentModem() {
  ModemOptions options;
  options.smsOutcome = simulator::SmsOutcome::kSilent;
  Bench bench(options, 1);
  ASSERT_TRUE(bench.untilReady()) << bench.said;
  EXPECT_EQ(Verdict::kUncertain, bench.send().verdict) << bench.said;
}

void stopsWhileItListens() {
  ModemOptions options;
  options.smsOutcome = simulator::SmsOutcome::kSilent;
  Bench bench(options);
  ASSERT_TRUE(bench.untilReady()) << bench.said;
  bench.order();
  ASSERT_TRUE(bench.untilSays("[listening")) << bench.said;
  bench.worker.stop(1, realMs());
  EXPECT_TRUE(bench.until([&] { return !bench.worker.isRunning(); })) << bench.said;
  ASSERT_TRUE(bench.result) << bench.said;
  EXPECT_EQ(Verdict::kUncertain, bench.result->verdict) << bench.said;
}

// The line comes back as another terminal behind the same link.
void followsAReplug() {
  Fault unplug = fault(Fault::Trigger::kCommand, "AT+CSQ");
  unplug.hangUpMs = 1500;
  Bench bench(with(unplug));
  ASSERT_TRUE(bench.untilSays("[reconnected]")) << bench.said;
  EXPECT_EQ(Verdict::kSent, bench.send().verdict) << bench.said;
}

void tellsOfASimThatIsMissing() {
  Fault noSim = fault(Fault::Trigger::kCommand, "AT+CSQ");
  noSim.error = "+CME ERROR: 10";
  Bench bench(with(noSim));
  ASSERT_TRUE(bench.untilSays("[notAvailable: the modem answers +CME ERROR: 10 (")) << bench.said;
  EXPECT_TRUE(bench.untilSays("[report")) << bench.said;
}

// Killed with the number given and the text not yet written.
void healsAfterAKillAtThePrompt() {
  Bench bench({});
  ASSERT_TRUE(bench.untilReady()) << bench.said;
  bench.atPrompt = [&] { bench.worker.kill(); };
  bench.order();
  ASSERT_TRUE(bench.untilSays("[died sending]")) << bench.said;
  bench.atPrompt = [&] { bench.worker.goAhead(); };
  ASSERT_TRUE(bench.untilSays("[healed]")) << bench.said;
  ASSERT_TRUE(bench.untilReady()) << bench.said;
  EXPECT_EQ(Verdict::kSent, bench.send().verdict) << bench.said;
  EXPECT_EQ(1, bench.messages);
}

void writesNothingWithoutLeave() {
  Bench bench({});
  ASSERT_TRUE(bench.untilReady()) << bench.said;
  bench.atPrompt = [] {};
  bench.order();
  ASSERT_TRUE(bench.untilSays("[died sending]")) << bench.said;
  EXPECT_TRUE(bench.untilSays("[healed]")) << bench.said;
  EXPECT_EQ(0, bench.messages);
}

void healsAfterALatePrompt() {
  Fault late = fault(Fault::Trigger::kCommand, "AT+CMGS=*");
  late.delayMs = 10000;
  Bench bench(with(late));
  ASSERT_TRUE(bench.untilReady()) << bench.said;
  EXPECT_EQ(Verdict::kNotSent, bench.send().verdict) << bench.said;
  ASSERT_TRUE(bench.untilSays("[healed]")) << bench.said;
  ASSERT_TRUE(bench.untilReady()) << bench.said;
  EXPECT_EQ(Verdict::kSent, bench.send().verdict) << bench.said;
  EXPECT_EQ(1, bench.messages);
}

// Left there by somebody else, and found by two probes without a result.
void healsWhatItFindsAtThePrompt() {
  Bench bench({}, 60, Bench::kAtItsPrompt);
  EXPECT_TRUE(bench.untilSays("[healed][ready")) << bench.said;
  EXPECT_EQ(0, bench.messages);
}

void escapesFirstWhenTold() {
  Bench bench({}, 60, Bench::kAtItsPromptKnown);
  EXPECT_TRUE(bench.untilSays("[healed][ready")) << bench.said;
  EXPECT_EQ(0U, bench.said.find("[healing]")) << bench.said;
  EXPECT_EQ(0, bench.messages);
}

// The old device stays: nothing hangs up.
void followsTheLink() {
  Bench bench({});
  ASSERT_TRUE(bench.untilReady()) << bench.said;
  const simulator::PtyLine other;
  std::filesystem::create_symlink(other.slavePath(), bench.folder.file("new"));
  std::filesystem::rename(bench.folder.file("new"), bench.folder.file("line"));
  EXPECT_TRUE(bench.untilSays("[notAvailable: the line leads to another device now]")) << bench.said;
}

// By the clock that the supervisor gives, here ahead of the real one.
void isKilledWhenStuck() {
  Bench bench({});
  ASSERT_TRUE(bench.untilSays("[opening the line]")) << bench.said;
  bench.worker.onTime(realMs() + 44000);
  EXPECT_EQ(std::string::npos, bench.said.find("[died]")) << bench.said;
  EXPECT_TRUE(bench.until([&] {
    bench.worker.onTime(realMs() + 46000);
    return bench.said.find("[died]") != std::string::npos;
  })) << bench.said;
}

// A worker that says this as soon as it has an order, and ends.
int say(const std::string& bytes) {
  gateway::FrameBuffer orders;
  for (int count = 0; count < 2;) {
    char block[4096];
    const ssize_t size = recv(3, block, sizeof block, 0);
    orders.append({block, size > 0 ? static_cast<std::size_t>(size) : 0});
    for (; orders.next(); ++count) {
    }
  }
  return send(3, bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size()) ? 0 : 1;
}

}  // namespace

TEST(WorkerProcessTest, KeepsItsPromise) {
  const std::pair<const char*, void (*)()> cases[] = {{"sends", sends},
                                                      {"isRefused", isRefused},
                                                      {"hearsTheLateResult", hearsTheLateResult},
                                                      {"doubtsASilentModem", doubtsASilentModem},
                                                      {"stopsWhileItListens", stopsWhileItListens},
                                                      {"followsAReplug", followsAReplug},
                                                      {"tellsOfASimThatIsMissing", tellsOfASimThatIsMissing},
                                                      {"healsAfterAKillAtThePrompt", healsAfterAKillAtThePrompt},
                                                      {"writesNothingWithoutLeave", writesNothingWithoutLeave},
                                                      {"healsAfterALatePrompt", healsAfterALatePrompt},
                                                      {"healsWhatItFindsAtThePrompt", healsWhatItFindsAtThePrompt},
                                                      {"escapesFirstWhenTold", escapesFirstWhenTold},
                                                      {"followsTheLink", followsTheLink},
                                                      {"isKilledWhenStuck", isKilledWhenStuck}};
  std::vector<std::thread> threads;
  for (const auto& [name, work] : cases) {
    threads.emplace_back([name = name, work = work] {
      SCOPED_TRACE(name);
      work();
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
}

// Whatever a worker says, its supervisor stays and counts it as dead.
TEST(WorkerProcessTest, StandsWhatALyingWorkerSays) {
  using namespace gateway;
  const auto piece = [](XplTraceKind kind, const std::string& bytes) {
    return encoded(FromWorker(TrafficNews{1, kind, bytes}));
  };
  const std::string prompt = encoded(FromWorker(PromptNews{}));
  const std::string dialogue = piece(kXplTraceSent, "AT+CMGS=\"+491701234567\"\r") +
                               piece(kXplTraceReceived, "\r\n> ") + prompt + piece(kXplTraceSent, "PUMP OK\x1a\r\n\r");
  const AttemptResult sent{Verdict::kSent, 1, {}, {}, true, "", ""};
  const AttemptResult failed{Verdict::kNotSent, {}, {}, {}, true, "", ""};
  struct Row {
    const char* what;
    std::string bytes;
    const char* told;
  };
  const Row rows[] = {
      {"nothing", "", "[died sending]"},
      {"half a frame", prompt.substr(0, 5), "[died sending]"},
      {"garbage", std::string(99, '\xff'), "protocol: a frame's length"},
      {"a prompt twice", prompt + prompt, "protocol: a second prompt"},
      {"sent without leave", encoded(FromWorker(EndNews{sent})), "protocol: an end that nobody allowed"},
      {"two ends", encoded(FromWorker(EndNews{failed})) + encoded(FromWorker(EndNews{failed})),
       "[ended: ][noData: the worker breaks the protocol: an end of no attempt][died]"},
      {"a proven result, and death", dialogue + piece(kXplTraceReceived, "\r\n+CMGS: 7\r\n"),
       "[ended: the modem answered +CMGS: 7][died]"},
      {"no result, and death", dialogue, "[died sending]"},
  };
  for (const Row& row : rows) {
    setenv("ORVIX_WORKER_SAYS", hexText(row.bytes).c_str(), 1);
    Bench bench({});
    bench.order();
    EXPECT_TRUE(bench.untilSays("[died")) << row.what;
    EXPECT_NE(std::string::npos, bench.said.find(row.told)) << row.what << ": " << bench.said;
  }
  unsetenv("ORVIX_WORKER_SAYS");
}

int main(int argc, char** argv) {
  if (argc > 1 && std::string(argv[1]) == "worker") {
    const char* const lie = std::getenv("ORVIX_WORKER_SAYS");
    return lie == nullptr ? gateway::workerMain(3) : say(*bytesOfHex(lie));
  }
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}

// The worker process as its supervisor sees it: real processes, the real module, simulated modems, real time. The
// cases wait most of the time, so they run side by side, each with a modem and a thread of its own.
#include <sys/socket.h>

#include <cstdlib>
#include <tuple>
#include <utility>

#include "common/printable.h"
#include "gateway/worker/protocol.h"
#include "gateway/worker/workerMain.h"
#include "simulator/scenario.h"
#include "tests/world/workerBench.h"

namespace {

using namespace orvix;
using gateway::AttemptResult;
using gateway::ModemState;
using hostkit::Verdict;
using simulator::ModemOptions;
using world::realMs;
using Bench = world::WorkerBench;

ModemOptions withFault(const std::string& onceWrong) {
  return simulator::scenarioOf(R"({"faults": [{"count": 1, )" + onceWrong + "}]}");
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
  Bench bench(withFault(R"("body": "PUMP*", "cmsError": 42)"));
  ASSERT_TRUE(bench.untilReady()) << bench.said;
  const AttemptResult result = bench.send();
  EXPECT_EQ(Verdict::kRefused, result.verdict) << bench.said;
  EXPECT_EQ(42, result.code);
  EXPECT_EQ(hostkit::ErrorClass::kNetwork, result.errorClass);
  EXPECT_TRUE(bench.until([&] { return bench.said.rfind("[report") > bench.said.find("[ended"); })) << bench.said;
}

void hearsTheLateResult() {
  Bench bench(withFault(R"("body": "*", "delayMs": 20000)"));
  ASSERT_TRUE(bench.untilReady()) << bench.said;
  EXPECT_EQ(Verdict::kSent, bench.send().verdict) << bench.said;
  EXPECT_NE(std::string::npos, bench.said.find("[listening for a late result]")) << bench.said;
}

void stopsWhileItListens() {
  Bench bench(withFault(R"("body": "*", "silence": true)"));
  ASSERT_TRUE(bench.untilReady()) << bench.said;
  bench.order();
  ASSERT_TRUE(bench.untilSays("[listening")) << bench.said;
  bench.worker.stop(1, realMs());
  EXPECT_TRUE(bench.until([&] { return !bench.worker.isRunning(); })) << bench.said;
  ASSERT_TRUE(bench.result) << bench.said;
  EXPECT_EQ(Verdict::kUncertain, bench.result->verdict) << bench.said;
}

void tellsOfASimThatIsMissing() {
  Bench bench(withFault(R"("command": "AT+CSQ", "cmeError": 10)"));
  ASSERT_TRUE(bench.untilSays("[notAvailable: the modem answers +CME ERROR: 10 (")) << bench.said;
  EXPECT_TRUE(bench.untilSays("[report")) << bench.said;
}

// Killed with the number given and the text not yet written, at the prompt or before it comes.
void healsAfterAKill(bool isAtPrompt) {
  Bench bench(isAtPrompt ? ModemOptions() : withFault(R"("command": "AT+CMGS=*", "delayMs": 5000)"));
  ASSERT_TRUE(bench.untilReady()) << bench.said;
  bench.atPrompt = [&] { bench.worker.kill(); };
  bench.order();
  if (!isAtPrompt) {
    ASSERT_TRUE(bench.until([&] { return bench.isNumberGiven.load(); })) << bench.said;
    bench.worker.kill();
  }
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
  Bench bench(withFault(R"("command": "AT+CMGS=*", "delayMs": 10000)"));
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
void isKilledWhenStuck(const char* doing, int patienceMs, const char* reason) {
  Bench bench({});
  ASSERT_TRUE(bench.untilSays(doing)) << bench.said;
  bench.worker.onTime(realMs() + patienceMs - 1000);
  EXPECT_EQ(std::string::npos, bench.said.find("[died]")) << bench.said;
  EXPECT_TRUE(bench.until([&] {
    bench.worker.onTime(realMs() + patienceMs + 1000);
    return bench.said.find("[died]") != std::string::npos;
  })) << bench.said;
  EXPECT_NE(std::string::npos, bench.said.find(reason)) << bench.said;
}

// In the middle of a call, which would go on without it: at the number nothing is out, behind the text it may be.
void losesItsLine(const std::string& where, int messages) {
  Bench bench(withFault(where + R"(, "hangUpMs": 3000)"));
  ASSERT_TRUE(bench.untilReady()) << bench.said;
  bench.order();
  ASSERT_TRUE(bench.untilSays("[notAvailable: the line hung up][died sending]")) << bench.said;
  const std::int64_t lostMs = realMs();
  ASSERT_TRUE(bench.untilSays("[reconnected]")) << bench.said;
  testing::Test::RecordProperty("lostToReadyMs" + std::to_string(messages), static_cast<int>(realMs() - lostMs));
  EXPECT_EQ(Verdict::kSent, bench.send().verdict) << bench.said;
  EXPECT_EQ(messages, bench.messages);
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
  const std::pair<const char*, void (*)()> cases[] = {
      {"sends", sends},
      {"isRefused", isRefused},
      {"hearsTheLateResult", hearsTheLateResult},
      {"stopsWhileItListens", stopsWhileItListens},
      {"tellsOfASimThatIsMissing", tellsOfASimThatIsMissing},
      {"healsAfterAKillAtThePrompt", [] { healsAfterAKill(true); }},
      {"healsAfterAKillBeforeIt", [] { healsAfterAKill(false); }},
      {"writesNothingWithoutLeave", writesNothingWithoutLeave},
      {"healsAfterALatePrompt", healsAfterALatePrompt},
      {"healsWhatItFindsAtThePrompt", healsWhatItFindsAtThePrompt},
      {"escapesFirstWhenTold", escapesFirstWhenTold},
      {"followsTheLink", followsTheLink},
      {"isKilledInALongCall", [] { isKilledWhenStuck("[opening the line]", 45000, "a call"); }},
      {"isKilledWhenSilent", [] { isKilledWhenStuck("[waiting]", 90000, "silent"); }},
      {"losesItsLineBeforeTheText", [] { losesItsLine(R"("command": "AT+CMGS=*")", 1); }},
      {"losesItsLineBehindTheText", [] { losesItsLine(R"("body": "PUMP*")", 2); }}};
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
  const std::string lost = encoded(FromWorker(LineLostNews{}));
  const std::string dialogue = piece(kXplTraceSent, "AT+CMGS=\"+491701234567\"\r") +
                               piece(kXplTraceReceived, "\r\n> ") + prompt + piece(kXplTraceSent, "PUMP OK\x1a\r\n\r");
  const AttemptResult sent{Verdict::kSent, 1, {}, {}, true, "", ""};
  const AttemptResult failed{Verdict::kNotSent, {}, {}, {}, true, "", ""};
  const std::tuple<const char*, std::string, const char*> rows[] = {
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
      {"a text that it denies", dialogue + encoded(FromWorker(EndNews{failed})), "the text is out][died sending]"},
      {"a lost line before the leave", lost, "[notAvailable: the line hung up][died sending]"},
      {"a lost line behind the leave", prompt + lost, "[notAvailable: the worker process ended][died sending]"},
      {"and the call's end", prompt + lost + encoded(FromWorker(EndNews{failed})),
       "[ended: ][notAvailable: the line hung up][died]"},
      {"a lost line behind the text", dialogue + lost, "[notAvailable: the line hung up][died sending]"},
      {"a proven result, and a lost line", dialogue + piece(kXplTraceReceived, "\r\n+CMGS: 7\r\n") + lost,
       "[notAvailable: the line hung up][ended: the modem answered +CMGS: 7][died]"},
  };
  for (const auto& [what, bytes, told] : rows) {
    setenv("ORVIX_WORKER_SAYS", hexText(bytes).c_str(), 1);
    Bench bench({});
    bench.order();
    EXPECT_TRUE(bench.untilSays("[died")) << what;
    EXPECT_NE(std::string::npos, bench.said.find(told)) << what << ": " << bench.said;
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

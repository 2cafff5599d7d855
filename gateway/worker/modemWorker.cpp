#include "gateway/worker/modemWorker.h"

#include <poll.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "common/printable.h"
#include "gateway/worker/attemptResult.h"
#include "gateway/worker/workerTime.h"
#include "hostkit/connectionString.h"
#include "hostkit/heal.h"
#include "hostkit/messageFit.h"
#include "hostkit/modemErrors.h"
#include "hostkit/resultLine.h"
#include "hostkit/statusText.h"

namespace orvix::gateway {
namespace {

constexpr std::int64_t kSecond = 1000;
constexpr std::int64_t kFirstDelayMs = 1 * kSecond;
constexpr std::int64_t kLongestDelayMs = 60 * kSecond;
constexpr std::int64_t kSignOfLifeMs = 30 * kSecond;
constexpr int kUnregisteredReportSeconds = 10;
constexpr int kLatePromptSeconds = 30;
constexpr int kProbesBeforeHealing = 2;

ModemReport reportOf(const BSONObject& document) {
  const std::string root = "GSMModem.report.";
  ModemReport report;
  if (document.getBool(root + "signalQuality.valid", false)) {
    report.dBm = document.getInt32(root + "signalQuality.dBm", 0);
    report.percent = document.getInt32(root + "signalQuality.percent", 0);
  }
  report.registration = document.getString(root + "NetworkRegistration.status", "unknown");
  return report;
}

// "+CMS ERROR: 310 (no SIM card)", of the first error with a number; "" when there is none.
std::string modemErrorIn(const std::string& received) {
  for (const std::string& line : hostkit::linesOf(received)) {
    const std::optional<hostkit::ResultLine> result = hostkit::resultOf(line);
    if (result && result->number && result->kind == hostkit::ResultKind::kCme) {
      return hostkit::errorText(hostkit::ErrorKind::kCme, *result->number);
    }
    if (result && result->number && result->kind == hostkit::ResultKind::kCms) {
      return hostkit::errorText(hostkit::ErrorKind::kCms, *result->number);
    }
  }
  return "";
}

bool leadsTo(const std::string& path, int descriptor) {
  struct stat wanted {};
  struct stat held {};
  return stat(path.c_str(), &wanted) == 0 && fstat(descriptor, &held) == 0 && wanted.st_rdev == held.st_rdev &&
         wanted.st_ino == held.st_ino;
}

}  // namespace

ModemWorker::ModemWorker(SupervisorLink* supervisor, const StartOrder& order)
    : link(supervisor),
      settings(order),
      tap(supervisor),
      device(std::make_shared<hostkit::PluginLibrary>(order.plugin), order.configFile, &trace),
      appearance(hostkit::pathOf(device.line())),
      needsHealing(order.escapeFirst),
      delayMs(kFirstDelayMs) {
  trace.add(&tap);
}

void ModemWorker::run() {
  while (!link->isStopWished()) {
    if (const std::optional<AttemptOrder> order = link->takeAttempt()) {
      attempt(*order);
    } else if (nowMs() >= dueMs) {
      takeStep();
    } else {
      wait();
    }
    link->receive();
  }
  if (link->takeAttempt()) {
    link->send(EndNews{{hostkit::Verdict::kNotSent, {}, {}, {}, false, "the service ends", ""}});
  }
  if (needsHealing && watch) {
    heal();
  }
  tellDoing("closing the line", true);
  device.stop();
}

// For the supervisor, the line's hang-up, its appearance, or the next step.
void ModemWorker::wait() {
  tellDoing("waiting", false);
  std::int64_t untilMs = std::min(dueMs, link->lastSentMs() + kSignOfLifeMs);
  const bool mustLook = appearance.descriptor() == -1;
  if (mustLook) {
    untilMs = std::min(untilMs, nowMs() + LineAppearance::kLookEveryMs);
  }
  // No event is asked of the line: what an idle modem says is left to the plug-in, a hang-up shows all the same.
  pollfd events[] = {
      {link->descriptor(), POLLIN, 0}, {appearance.descriptor(), POLLIN, 0}, {watch ? watch->descriptor() : -1, 0, 0}};
  poll(events, std::size(events), static_cast<int>(std::max<std::int64_t>(untilMs - nowMs(), 0)));
  if (events[2].revents != 0) {
    loseLine("the line hung up");
  }
  if ((mustLook || events[1].revents != 0) && appearance.look()) {
    onAppearance();
  }
  if (nowMs() >= link->lastSentMs() + kSignOfLifeMs) {
    link->send(DoingNews{doing, false});
  }
}

void ModemWorker::onAppearance() {
  if (watch && !leadsTo(hostkit::pathOf(device.line()), watch->descriptor())) {
    loseLine("the line leads to another device now");
  }
  if (state != ModemState::kReady) {
    delayMs = kFirstDelayMs;
    dueMs = nowMs();
  }
}

void ModemWorker::takeStep() {
  if (needsHealing) {
    heal();
  } else if (device.status() == DeviceStatus::kNoData) {
    startDevice();
  } else {
    report();
  }
  if (!watch && device.status() != DeviceStatus::kNoData) {
    watch = std::make_unique<hostkit::LineWatch>(hostkit::pathOf(device.line()));
  }
}

void ModemWorker::startDevice() {
  tap.begin(false);
  tellDoing("opening the line", true);
  const Status opened = device.start();
  countProbe();
  if (opened.isOk() && device.status() == DeviceStatus::kReady) {
    tellReady();
    dueMs = nowMs();
  } else {
    tellNotReady(troubleOf(opened));
  }
}

void ModemWorker::report() {
  tap.begin(false);
  tellDoing("asking for a report", true);
  const hostkit::Answer answer = device.report();
  countProbe();
  if (!answer.status.isOk()) {
    return tellNotReady(troubleOf(answer.status));
  }
  const ModemReport report = reportOf(answer.document);
  link->send(report);
  tellReady();
  awaitsNetwork = awaitsNetwork && !report.isRegistered();
  const int seconds =
      awaitsNetwork ? std::min(kUnregisteredReportSeconds, settings.reportSeconds) : settings.reportSeconds;
  dueMs = nowMs() + seconds * kSecond;
}

void ModemWorker::heal() {
  tap.begin(false);
  tellDoing("healing", true);
  const Status healed = hostkit::heal(&device);
  // What could not be sent is still to be sent: the modem may have kept its power while its line was away.
  needsHealing = !healed.isOk() && !tap.hasSent();
  unansweredProbes = 0;
  if (healed.isOk()) {
    link->send(HealedNews{});
  }
  if (healed.isOk() && device.status() == DeviceStatus::kReady) {
    tellReady();
    dueMs = nowMs();
  } else {
    tellNotReady(troubleOf(healed));
  }
}

void ModemWorker::loseLine(const std::string& why) {
  tellNotReady(why);
  tellDoing("closing the line", true);
  device.stop();
  watch.reset();
  wasLost = true;
}

void ModemWorker::attempt(const AttemptOrder& order) {
  if (const std::string problem = problemOf(order); !problem.empty()) {
    return link->send(EndNews{{hostkit::Verdict::kNotSent, {}, {}, {}, false, problem, ""}});
  }
  const hostkit::Judgement judgement = send(order);
  const AttemptResult result = resultOf(judgement, settings.codes);
  prepareNext(judgement, result);  // first, so that a modem that is not ready gets no other message
  link->send(EndNews{result});
  if (judgement.mayPromptCome) {
    awaitPrompt(order);
  }
}

std::string ModemWorker::problemOf(const AttemptOrder& order) const {
  if (state != ModemState::kReady) {
    return reason.empty() ? "the modem is not ready" : reason;
  }
  // The last gate before the line, whoever let it pass before.
  const std::string problem = hostkit::numberFit(order.to).problem;
  return problem.empty() ? hostkit::textFit(order.text, hostkit::Charset::kIra).problem : problem;
}

hostkit::Judgement ModemWorker::judgementOf(const AttemptOrder& order) const {
  return hostkit::judge(tap.traffic(), order.text, true, settings.okIsSent, settings.codes);
}

hostkit::Judgement ModemWorker::send(const AttemptOrder& order) {
  tap.begin(true);
  tellDoing("sending a message", true);
  device.sendSms(order.to, order.text);
  if (judgementOf(order).mayResultCome) {
    listen("listening for a late result", settings.lateSeconds, [&] {
      return !judgementOf(order).mayResultCome || nowMs() >= link->stopListeningMs().value_or(nowMs() + 1);
    });
  }
  tap.end();
  return judgementOf(order);
}

void ModemWorker::listen(const std::string& what, std::int64_t seconds, const std::function<bool()>& isEnough) {
  tellDoing(what, false);
  if (!watch) {
    return;
  }
  hostkit::listenOn(watch.get(), &trace, static_cast<int>(seconds * kSecond), [&] {
    link->receive();
    if (nowMs() >= link->lastSentMs() + kSignOfLifeMs) {
      link->send(DoingNews{doing, false});
    }
    return isEnough();
  });
}

// What the modem needs before its next message.
void ModemWorker::prepareNext(const hostkit::Judgement& judgement, const AttemptResult& result) {
  dueMs = result.verdict == hostkit::Verdict::kSent ? dueMs : nowMs();
  awaitsNetwork = awaitsNetwork || result.errorClass == hostkit::ErrorClass::kNetwork;
  needsHealing = judgement.mayWaitAtPrompt;
  if (needsHealing) {
    tellNotReady("it may wait for a text");
    dueMs = nowMs();
  } else if (result.verdict == hostkit::Verdict::kNotSent) {
    countProbe();
    tellNotReady(result.reason);
    dueMs = nowMs();
  } else if (result.errorClass == hostkit::ErrorClass::kModem) {
    tellNotReady(result.reason);
  }
}

void ModemWorker::awaitPrompt(const AttemptOrder& order) {
  listen("listening for a late prompt", kLatePromptSeconds,
         [&] { return !judgementOf(order).mayPromptCome || link->isStopWished(); });
  needsHealing = judgementOf(order).mayWaitAtPrompt;
  dueMs = nowMs();
}

void ModemWorker::tellDoing(const std::string& what, bool isCall) {
  if (isCall || doing != what) {
    doing = what;
    link->send(DoingNews{what, isCall});
  }
}

void ModemWorker::tellReady() {
  delayMs = kFirstDelayMs;
  if (state == ModemState::kReady) {
    return;
  }
  state = ModemState::kReady;
  reason.clear();
  link->send(StateNews{state, reason});
  if (wasLost) {
    wasLost = false;
    link->send(ReconnectedNews{});
  }
}

void ModemWorker::tellNotReady(const std::string& why) {
  dueMs = nowMs() + delayMs;
  delayMs = std::min(2 * delayMs, kLongestDelayMs);
  if (state != ModemState::kNotAvailable || reason != why) {
    state = ModemState::kNotAvailable;
    reason = why;
    link->send(StateNews{state, reason});
  }
}

std::string ModemWorker::troubleOf(const Status& status) const {
  const std::string error = modemErrorIn(tap.received());
  if (!error.empty()) {
    return "the modem answers " + error;
  }
  if (hostkit::kindOf(status) == hostkit::StatusKind::kLineNotOpened) {
    const std::string path = hostkit::pathOf(device.line());
    return escaped(path + (hostkit::LineWatch(path).isOpen() ? " is held by another program"
                                                             : std::string(": ") + std::strerror(errno)));
  }
  return tap.received().empty() ? "the modem does not answer" : "the modem does not answer as it should";
}

// A modem that waits at its prompt gives no final result to anything.
void ModemWorker::countProbe() {
  if (!tap.hasSent()) {
    return;
  }
  unansweredProbes = hostkit::holdsFinalResult(tap.received()) ? 0 : unansweredProbes + 1;
  needsHealing = needsHealing || unansweredProbes >= kProbesBeforeHealing;
}

}  // namespace orvix::gateway

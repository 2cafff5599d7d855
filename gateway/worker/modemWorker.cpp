#include "gateway/worker/modemWorker.h"

#include <poll.h>
#include <sys/stat.h>

#include <algorithm>

#include "common/printable.h"
#include "gateway/worker/attemptResult.h"
#include "gateway/worker/hangUpAlarm.h"
#include "gateway/worker/workerTime.h"
#include "hostkit/connectionString.h"
#include "hostkit/heal.h"
#include "hostkit/lineTrouble.h"
#include "hostkit/messageFit.h"
#include "hostkit/modemErrors.h"
#include "hostkit/resultLine.h"
#include "hostkit/statusText.h"
#include "plugin/names.h"

namespace orvix::gateway {
namespace {

constexpr std::int64_t kFirstDelayMs = kSecondMs;
constexpr std::int64_t kLongestDelayMs = kMinuteMs;
constexpr int kUnregisteredReportSeconds = 10;
// A modem that is just ready is left to a message that has waited for it; the supervisor commits before it orders.
constexpr std::int64_t kOrderFirstMs = 300;
constexpr int kLatePromptSeconds = 30;
constexpr int kProbesBeforeHealing = 2;

ModemReport reportOf(const BSONObject& document) {
  ModemReport report;
  if (document.getBool(names::kSignalValid, false)) {
    report.dBm = document.getInt32(names::kSignalDbm, 0);
    report.percent = document.getInt32(names::kSignalPercent, 0);
  }
  report.registration = document.getString(names::kRegistrationStatus, "unknown");
  return report;
}

// "+CMS ERROR: 310 (no SIM card)", of the first error with a code; "" when there is none.
std::string modemErrorIn(const std::string& received) {
  for (const std::string& line : hostkit::linesOf(received)) {
    const std::optional<hostkit::ResultLine> result = hostkit::resultOf(line);
    const bool isCms = result && result->kind == hostkit::ResultKind::kCms;
    if (!isCms && (!result || result->kind != hostkit::ResultKind::kCme)) {
      continue;
    }
    return result->number
               ? hostkit::errorText(isCms ? hostkit::ErrorKind::kCms : hostkit::ErrorKind::kCme, *result->number)
               : escaped(result->text);
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
      wasLost(order.wasLineLost),
      needsHealing(order.escapeFirst),
      delayMs(kFirstDelayMs) {
  trace.add(&tap);
}

void ModemWorker::run() {
  for (lookAround(); !link->isStopWished(); lookAround()) {
    if (const std::optional<AttemptOrder> order = link->takeAttempt()) {
      attempt(*order);
    } else if (nowMs() >= dueMs) {
      takeStep();
    }
  }
  if (link->takeAttempt()) {
    refuse("the service ends", false);
  }
  if (needsHealing && watch) {
    heal();
  }
  tellDoing("closing the line", true);
  device.stop();
}

// Waits for the next step's time; the supervisor, the line's hang-up and its appearance end the wait.
void ModemWorker::lookAround() {
  const bool mustLook = appearance.descriptor() == -1;
  std::int64_t untilMs = std::min(dueMs, link->lastSentMs() + kSignOfLifeMs);
  untilMs = mustLook ? std::min(untilMs, nowMs() + LineAppearance::kLookEveryMs) : untilMs;
  if (nowMs() < untilMs) {
    tellDoing("waiting", false);
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
  showLife();
  link->receive();
}

// A device that was plugged in again may get its new node while the old one is still held.
void ModemWorker::onAppearance() {
  if (watch && !leadsTo(hostkit::pathOf(device.line()), watch->descriptor())) {
    loseLine("the line leads to another device now");
  }
  if (state != ModemState::kReady) {
    delayMs = kFirstDelayMs;
    dueMs = nowMs();
  }
}

// One call into the plug-in, so that an order or a hang-up is met between any two.
void ModemWorker::takeStep() {
  const bool isNew = watch == nullptr;
  if (isNew) {
    // Before the device opens the line: should its link move in between, the two differ, which the next look shows.
    watch = std::make_unique<hostkit::LineWatch>(hostkit::pathOf(device.line()));
  }
  if (needsHealing) {
    heal();
  } else if (device.status() == DeviceStatus::kNoData) {
    startDevice();
  } else {
    report();
  }
  if (!watch->isOpen() || (isNew && device.status() == DeviceStatus::kNoData)) {
    watch.reset();
  }
}

// A line that opens says nothing of the modem: the probe that follows it does.
void ModemWorker::startDevice() {
  Status opened;
  call("opening the line", false, [&] { opened = device.start(); });
  countProbe();
  if (opened.isOk() && device.status() == DeviceStatus::kReady) {
    tellReady();
    dueMs = nowMs() + kOrderFirstMs;
  } else {
    tellNotReady(troubleOf(opened));
  }
}

void ModemWorker::report() {
  hostkit::Answer answer;
  call("asking for a report", false, [&] { answer = device.report(); });
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
  dueMs = nowMs() + seconds * kSecondMs;
}

void ModemWorker::heal() {
  Status healed;
  call("healing", false, [&] { healed = hostkit::heal(&device); });
  // What could not be sent is still to be sent: the modem may have kept its power while its line was away.
  needsHealing = !healed.isOk() && !tap.hasSent();
  unansweredProbes = 0;
  if (healed.isOk()) {
    link->send(HealedNews{});
  }
  if (healed.isOk() && device.status() == DeviceStatus::kReady) {
    tellReady();
    dueMs = nowMs() + kOrderFirstMs;
  } else {
    tellNotReady(troubleOf(healed));
  }
}

// Only a Stop brings the device to look for its line again; messages and reports go on with the dead one.
void ModemWorker::loseLine(const std::string& why) {
  tellNotReady(why);
  tellDoing("closing the line", true);
  device.stop();
  watch.reset();
  wasLost = true;
}

void ModemWorker::attempt(const AttemptOrder& order) {
  if (state != ModemState::kReady) {
    return refuse(reason, false);
  }
  // The last gate before the line, whoever let it pass before.
  const hostkit::Fit number = hostkit::numberFit(order.to);
  const hostkit::Fit text = hostkit::textFit(order.text, hostkit::Charset::kIra);
  if (!number.isFit() || !text.isFit()) {
    return refuse(number.isFit() ? text.problem : number.problem, true);
  }
  const hostkit::Judgement judgement = send(order);
  const AttemptResult result = resultOf(judgement, settings.codes);
  prepareNext(judgement, result);  // first, so that a modem that is not ready gets no other message
  link->send(EndNews{result});
  if (judgement.mayPromptCome) {
    awaitPrompt(order);
  }
}

// Without a byte to the modem. `counts`: as an attempt, for the next one would end the same.
void ModemWorker::refuse(const std::string& why, bool counts) {
  AttemptResult result;
  result.verdict = hostkit::Verdict::kNotSent;
  result.hasAnswered = counts;
  result.reason = why;
  link->send(EndNews{result});
}

hostkit::Judgement ModemWorker::judgementOf(const AttemptOrder& order) const {
  return hostkit::judge(tap.traffic(), order.text, true, settings.okIsSent, settings.codes);
}

// The plug-in reads for some 10 s; what comes later, up to minutes, only the line itself tells.
hostkit::Judgement ModemWorker::send(const AttemptOrder& order) {
  call("sending a message", true, [&] { device.sendSms(order.to, order.text); });
  if (judgementOf(order).mayResultCome) {
    listen("listening for a late result", settings.lateSeconds, [&] {
      return !judgementOf(order).mayResultCome || nowMs() >= link->stopListeningMs().value_or(nowMs() + 1);
    });
  }
  tap.end();
  return judgementOf(order);
}

// Some modems abort a message at any byte, so nothing is sent here.
void ModemWorker::listen(const std::string& what, std::int64_t seconds, const std::function<bool()>& isEnough) {
  tellDoing(what, false);
  if (!watch) {
    return;
  }
  hostkit::listenOn(watch.get(), &trace, static_cast<int>(seconds * kSecondMs), [&] {
    link->receive();
    showLife();
    return isEnough();
  });
}

// What the modem needs before its next message.
void ModemWorker::prepareNext(const hostkit::Judgement& judgement, const AttemptResult& result) {
  awaitsNetwork = awaitsNetwork || result.errorClass == hostkit::ErrorClass::kNetwork;
  isSuspect = result.errorClass == hostkit::ErrorClass::kModem;
  needsHealing = judgement.mayWaitAtPrompt;
  if (needsHealing) {
    tellNotReady("the modem may wait for a text");
  } else if (result.verdict == hostkit::Verdict::kNotSent) {
    countProbe();
    tellNotReady(result.reason);
  } else if (result.errorClass == hostkit::ErrorClass::kModem) {
    return tellNotReady(result.reason);  // and a report after a while
  }
  if (awaitsNetwork || result.verdict == hostkit::Verdict::kNotSent || result.verdict == hostkit::Verdict::kUncertain) {
    dueMs = nowMs();
  }
}

// An Escape before the prompt would be lost, and the modem would wait at it afterwards.
void ModemWorker::awaitPrompt(const AttemptOrder& order) {
  listen("listening for a late prompt", kLatePromptSeconds,
         [&] { return !judgementOf(order).mayPromptCome || link->isStopWished(); });
  needsHealing = judgementOf(order).mayWaitAtPrompt;
  dueMs = nowMs();
}

void ModemWorker::call(const std::string& what, bool isAttempt, const std::function<void()>& work) {
  tap.begin(isAttempt);
  tellDoing(what, true);
  const HangUpAlarm alarm(watch ? watch->descriptor() : -1, link);
  work();
}

// Silence is taken for being stuck.
void ModemWorker::showLife() {
  if (nowMs() >= link->lastSentMs() + kSignOfLifeMs) {
    link->send(DoingNews{doing, false});
  }
}

// Each call is told, even one like the last: its time begins anew.
void ModemWorker::tellDoing(const std::string& what, bool isCall) {
  if (isCall || doing != what) {
    doing = what;
    link->send(DoingNews{what, isCall});
  }
}

void ModemWorker::tellReady() {
  delayMs = isSuspect ? delayMs : kFirstDelayMs;
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

// What stands in the way, after a call of the device that ended with this status.
std::string ModemWorker::troubleOf(const Status& status) const {
  const std::string error = modemErrorIn(tap.received());
  if (!error.empty()) {
    return "the modem answers " + error;
  }
  if (!tap.hasSent()) {
    // While the device holds the line itself, only bytes that do not go out are left as the cause.
    const std::string text =
        device.status() == DeviceStatus::kNoData || hostkit::kindOf(status) == hostkit::StatusKind::kLineNotOpened
            ? hostkit::lineTrouble(device.line())
            : "";
    return text.empty() ? "the line takes no bytes" : escaped(text);
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

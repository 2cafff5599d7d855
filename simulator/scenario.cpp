#include "simulator/scenario.h"

#include <algorithm>
#include <limits>

#include "common/printable.h"
#include "common/text.h"
#include "simulator/json.h"

namespace orvix::simulator {
namespace {

constexpr int kMaxOccurrence = std::numeric_limits<int>::max();
// Of NULs and pieces: a reply is shorter, and a modem's queue holds 64 kB.
constexpr std::int64_t kMaxBytes = 1024;

int smallNumber(const JsonValue& value, int least, int greatest) {
  return static_cast<int>(value.integer(least, greatest));
}

std::size_t byteCount(const JsonValue& value, std::int64_t least) {
  return static_cast<std::size_t>(value.integer(least, kMaxBytes));
}

std::int64_t milliseconds(const JsonValue& value) {
  return value.integer(0, kMaxDelayMs);
}

int signalOf(const JsonValue& value) {
  const int rssi = smallNumber(value, 0, kUnknownRssi);
  if (!isRssi(rssi)) {
    value.refuse("must be 0 to 31, or 99");
  }
  return rssi;
}

int registrationOf(const JsonValue& value) {
  return smallNumber(value, 0, kMaxRegistration);
}

std::vector<std::string> linesOf(const JsonValue& value) {
  std::vector<std::string> lines;
  for (const JsonValue& item : value.items()) {
    lines.push_back(item.text());
  }
  return lines;
}

// A word that the table of modemOptions.cpp knows; `names` lists them for people.
template <class State>
State stateOf(const JsonValue& value, std::optional<State> (*find)(std::string_view name), const char* names) {
  const std::optional<State> state = find(value.text());
  if (!state) {
    value.refuse(std::string("must be ") + names);
  }
  return *state;
}

SimState simOf(const JsonValue& value) {
  return stateOf(value, simStateOf, "ready, missing or locked");
}

// A word, or the number of a +CMS ERROR that refuses every message.
void readSms(const JsonValue& value, ModemOptions* options) {
  if (value.isText()) {
    options->smsOutcome = stateOf(value, smsOutcomeOf, "ok, silent, no-prompt or an error code");
    return;
  }
  options->smsErrorCode = smallNumber(value, 0, kMaxErrorCode);
  options->smsOutcome = SmsOutcome::kRefused;
}

// "command" and "body" are two keys for one thing: a second one would silently win.
void setTrigger(const JsonValue& value, Fault::Trigger trigger, Fault* fault) {
  if (!fault->pattern.empty()) {
    value.refuse("a fault has one command or one body");
  }
  fault->trigger = trigger;
  fault->pattern = value.text();
  if (fault->pattern.empty()) {
    value.refuse("must not be empty");
  }
}

void setAnswer(const std::string& answer, const JsonValue& value, Fault* fault) {
  if (!fault->error.empty()) {
    value.refuse("a fault has one cmsError, cmeError or answer");
  }
  fault->error = answer;
}

void setError(const char* label, const JsonValue& value, Fault* fault) {
  setAnswer(label + std::to_string(smallNumber(value, 0, kMaxErrorCode)), value, fault);
}

void readAnswer(const JsonValue& value, Fault* fault) {
  const std::string answer = value.text();
  if (answer.empty()) {
    value.refuse("must not be empty");
  }
  setAnswer(answer, value, fault);
}

void readLostLine(const JsonValue& value, Fault* fault) {
  const std::string name = value.text();
  if (name != "first" && name != "last") {
    value.refuse("must be first or last");
  }
  fault->lostLine = name == "first" ? Fault::LostLine::kFirst : Fault::LostLine::kLast;
}

void readGarbage(const JsonValue& value, Fault* fault) {
  const std::optional<std::string> bytes = bytesOfHex(value.text());
  if (!bytes) {
    value.refuse("must be two hexadecimal digits a byte");
  }
  fault->garbage = *bytes;
}

void readPieces(const JsonValue& value, Fault* fault) {
  static constexpr JsonField<Fault> kFields[] = {
      {"size", [](const JsonValue& v, Fault* f) { f->pieceSize = byteCount(v, 1); }},
      {"everyMs", [](const JsonValue& v, Fault* f) { f->pieceGapMs = milliseconds(v); }},
  };
  readFields(value.members(), kFields, fault);
  // All in one piece, the gap between pieces would have no effect.
  if (fault->pieceSize == 0) {
    value.refuse("size is missing");
  }
}

void readUnsolicited(const JsonValue& value, Fault* fault) {
  static constexpr JsonField<Fault> kFields[] = {
      {"before", [](const JsonValue& v, Fault* f) { f->linesBefore = linesOf(v); }},
      {"between", [](const JsonValue& v, Fault* f) { f->linesBetween = linesOf(v); }},
      {"after", [](const JsonValue& v, Fault* f) { f->linesAfter = linesOf(v); }},
  };
  readFields(value.members(), kFields, fault);
}

// The keys of a fault, of a step and of a scenario, in the order of docs/simulator.md.
constexpr JsonField<Fault> kFaultFields[] = {
    {"command", [](const JsonValue& v, Fault* f) { setTrigger(v, Fault::Trigger::kCommand, f); }},
    {"body", [](const JsonValue& v, Fault* f) { setTrigger(v, Fault::Trigger::kBody, f); }},
    {"from", [](const JsonValue& v, Fault* f) { f->from = smallNumber(v, 1, kMaxOccurrence); }},
    {"count", [](const JsonValue& v, Fault* f) { f->count = smallNumber(v, 1, kMaxOccurrence); }},
    {"silence", [](const JsonValue& v, Fault* f) { f->isSilent = v.boolean(); }},
    {"lostLine", readLostLine},
    {"noPrompt", [](const JsonValue& v, Fault* f) { f->noPrompt = v.boolean(); }},
    {"cmsError", [](const JsonValue& v, Fault* f) { setError("+CMS ERROR: ", v, f); }},
    {"cmeError", [](const JsonValue& v, Fault* f) { setError("+CME ERROR: ", v, f); }},
    {"answer", readAnswer},
    {"sent", [](const JsonValue& v, Fault* f) { f->isSent = v.boolean(); }},
    {"echo", [](const JsonValue& v, Fault* f) { f->echo = v.boolean(); }},
    {"delayMs", [](const JsonValue& v, Fault* f) { f->delayMs = milliseconds(v); }},
    {"hangUpMs", [](const JsonValue& v, Fault* f) { f->hangUpMs = milliseconds(v); }},
    {"nulsBefore", [](const JsonValue& v, Fault* f) { f->nulsBefore = byteCount(v, 0); }},
    {"nulsInside", [](const JsonValue& v, Fault* f) { f->nulsInside = byteCount(v, 0); }},
    {"garbage", readGarbage},
    {"pieces", readPieces},
    {"unsolicited", readUnsolicited},
};

// Whether the fault can meet an AT+CMGS with its parameter.
bool mayMeetSubmission(const Fault& fault) {
  const std::string submission = "AT+CMGS=";
  const bool isOpen = fault.pattern.back() == '*';
  const std::string fixed = toUpper(fault.pattern.substr(0, fault.pattern.size() - (isOpen ? 1 : 0)));
  // A pattern that is shorter than the command must be open to reach it.
  const std::size_t common = std::min(fixed.size(), submission.size());
  const bool isLongEnough = isOpen || fixed.size() > submission.size();
  return fault.trigger == Fault::Trigger::kCommand && isLongEnough &&
         fixed.compare(0, common, submission, 0, common) == 0;
}

// All effects but those that a command and a body have alone.
bool changesReply(const Fault& fault) {
  return fault.isSilent || fault.lostLine != Fault::LostLine::kNone || !fault.error.empty() || fault.delayMs != 0 ||
         fault.hangUpMs || fault.nulsBefore != 0 || fault.nulsInside != 0 || !fault.garbage.empty() ||
         !fault.linesBefore.empty() || !fault.linesBetween.empty() || !fault.linesAfter.empty() || fault.pieceSize != 0;
}

// A fault that does nothing is a mistake of its author.
void checkFault(const Fault& fault, const JsonValue& item) {
  if (fault.pattern.empty()) {
    item.refuse("command or body is missing");
  }
  if (fault.noPrompt && !mayMeetSubmission(fault)) {
    item.refuse("noPrompt has no effect but on AT+CMGS=...");
  }
  if (fault.isSent && fault.trigger == Fault::Trigger::kCommand) {
    item.refuse("sent has no effect but on a body");
  }
  if (!changesReply(fault) && !fault.noPrompt && !fault.isSent && !fault.echo) {
    item.refuse("has no effect");
  }
}

void readFaults(const JsonValue& value, ModemOptions* options) {
  for (const JsonValue& item : value.items()) {
    // In the list before it is read: what its keys refuse ends the whole scenario anyway.
    Fault& fault = options->faults.emplace_back();
    readFields(item.members(), kFaultFields, &fault);
    checkFault(fault, item);
  }
}

constexpr JsonField<WalkStep> kStepFields[] = {
    {"ms", [](const JsonValue& v, WalkStep* s) { s->ms = milliseconds(v); }},
    {"signal", [](const JsonValue& v, WalkStep* s) { s->rssi = signalOf(v); }},
    {"registration", [](const JsonValue& v, WalkStep* s) { s->registration = registrationOf(v); }},
    {"sim", [](const JsonValue& v, WalkStep* s) { s->sim = simOf(v); }},
    {"unplugMs", [](const JsonValue& v, WalkStep* s) { s->unplugMs = milliseconds(v); }},
};

// Steps are walked in their order, so their times must not fall.
void readWalk(const JsonValue& value, ModemOptions* options) {
  for (const JsonValue& item : value.items()) {
    const std::int64_t earliestMs = options->walk.empty() ? 0 : options->walk.back().ms;
    WalkStep& step = options->walk.emplace_back();
    readFields(item.members(), kStepFields, &step);
    if (step.ms < earliestMs) {
      item.refuse("ms must not fall from step to step");
    }
  }
}

constexpr JsonField<ModemOptions> kFields[] = {
    {"signal", [](const JsonValue& v, ModemOptions* o) { o->rssi = signalOf(v); }},
    {"registration", [](const JsonValue& v, ModemOptions* o) { o->registration = registrationOf(v); }},
    {"sim", [](const JsonValue& v, ModemOptions* o) { o->sim = simOf(v); }},
    {"echo", [](const JsonValue& v, ModemOptions* o) { o->echo = v.boolean(); }},
    {"textEcho", [](const JsonValue& v, ModemOptions* o) { o->textEcho = v.boolean(); }},
    {"linePrompt", [](const JsonValue& v, ModemOptions* o) { o->promptsEachLine = v.boolean(); }},
    {"cutLongText", [](const JsonValue& v, ModemOptions* o) { o->cutsLongText = v.boolean(); }},
    {"delayMs", [](const JsonValue& v, ModemOptions* o) { o->replyDelayMs = milliseconds(v); }},
    {"promptDelayMs", [](const JsonValue& v, ModemOptions* o) { o->promptDelayMs = milliseconds(v); }},
    {"resultDelayMs", [](const JsonValue& v, ModemOptions* o) { o->resultDelayMs = milliseconds(v); }},
    {"sms", readSms},
    {"faults", readFaults},
    {"walk", readWalk},
};

}  // namespace

ModemOptions scenarioOf(const std::string& json) {
  const JsonDocument document(json);
  // The defaults of a modem that works; each key changes its own.
  ModemOptions options;
  readFields(document.members(), kFields, &options);
  return options;
}

}  // namespace orvix::simulator

#include "simulator/scenario.h"

#include <limits>

#include "common/printable.h"
#include "simulator/json.h"

namespace orvix::simulator {
namespace {

constexpr int kMaxOccurrence = std::numeric_limits<int>::max();
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

void readSms(const JsonValue& value, ModemOptions& options) {
  if (value.isText()) {
    const std::optional<SmsOutcome> outcome = smsOutcomeOf(value.text());
    if (!outcome) {
      value.refuse("must be ok, silent, no-prompt or an error code");
    }
    options.smsOutcome = *outcome;
    return;
  }
  options.smsErrorCode = smallNumber(value, 0, kMaxErrorCode);
  options.smsOutcome = SmsOutcome::kRefused;
}

std::string errorOf(const char* label, const JsonValue& value) {
  return label + std::to_string(smallNumber(value, 0, kMaxErrorCode));
}

void setTrigger(const JsonValue& value, Fault::Trigger trigger, Fault& fault) {
  if (!fault.pattern.empty()) {
    value.refuse("a fault has one command or one body");
  }
  fault.trigger = trigger;
  fault.pattern = value.text();
  if (fault.pattern.empty()) {
    value.refuse("must not be empty");
  }
}

void setError(const char* label, const JsonValue& value, Fault& fault) {
  if (!fault.error.empty()) {
    value.refuse("a fault has one cmsError or one cmeError");
  }
  fault.error = errorOf(label, value);
}

void readGarbage(const JsonValue& value, Fault& fault) {
  const std::optional<std::string> bytes = bytesOfHex(value.text());
  if (!bytes) {
    value.refuse("must be two hexadecimal digits a byte");
  }
  fault.garbage = *bytes;
}

void readPieces(const JsonValue& value, Fault& fault) {
  static constexpr JsonField<Fault> kFields[] = {
      {"size", [](const JsonValue& v, Fault& f) { f.pieceSize = byteCount(v, 1); }},
      {"everyMs", [](const JsonValue& v, Fault& f) { f.pieceGapMs = milliseconds(v); }},
  };
  readFields(value.members(), kFields, fault);
  if (fault.pieceSize == 0) {
    value.refuse("size is missing");
  }
}

void readUnsolicited(const JsonValue& value, Fault& fault) {
  static constexpr JsonField<Fault> kFields[] = {
      {"before", [](const JsonValue& v, Fault& f) { f.linesBefore = linesOf(v); }},
      {"between", [](const JsonValue& v, Fault& f) { f.linesBetween = linesOf(v); }},
      {"after", [](const JsonValue& v, Fault& f) { f.linesAfter = linesOf(v); }},
  };
  readFields(value.members(), kFields, fault);
}

constexpr JsonField<Fault> kFaultFields[] = {
    {"command", [](const JsonValue& v, Fault& f) { setTrigger(v, Fault::Trigger::kCommand, f); }},
    {"body", [](const JsonValue& v, Fault& f) { setTrigger(v, Fault::Trigger::kBody, f); }},
    {"from", [](const JsonValue& v, Fault& f) { f.from = smallNumber(v, 1, kMaxOccurrence); }},
    {"count", [](const JsonValue& v, Fault& f) { f.count = smallNumber(v, 1, kMaxOccurrence); }},
    {"silence", [](const JsonValue& v, Fault& f) { f.isSilent = v.boolean(); }},
    {"noPrompt", [](const JsonValue& v, Fault& f) { f.noPrompt = v.boolean(); }},
    {"cmsError", [](const JsonValue& v, Fault& f) { setError("+CMS ERROR: ", v, f); }},
    {"cmeError", [](const JsonValue& v, Fault& f) { setError("+CME ERROR: ", v, f); }},
    {"echo", [](const JsonValue& v, Fault& f) { f.echo = v.boolean(); }},
    {"delayMs", [](const JsonValue& v, Fault& f) { f.delayMs = milliseconds(v); }},
    {"hangUpMs", [](const JsonValue& v, Fault& f) { f.hangUpMs = milliseconds(v); }},
    {"nulsBefore", [](const JsonValue& v, Fault& f) { f.nulsBefore = byteCount(v, 0); }},
    {"nulsInside", [](const JsonValue& v, Fault& f) { f.nulsInside = byteCount(v, 0); }},
    {"garbage", readGarbage},
    {"pieces", readPieces},
    {"unsolicited", readUnsolicited},
};

void readFaults(const JsonValue& value, ModemOptions& options) {
  for (const JsonValue& item : value.items()) {
    Fault& fault = options.faults.emplace_back();
    readFields(item.members(), kFaultFields, fault);
    if (fault.pattern.empty()) {
      item.refuse("command or body is missing");
    }
  }
}

constexpr JsonField<WalkStep> kStepFields[] = {
    {"ms", [](const JsonValue& v, WalkStep& s) { s.ms = milliseconds(v); }},
    {"signal", [](const JsonValue& v, WalkStep& s) { s.rssi = signalOf(v); }},
    {"registration", [](const JsonValue& v, WalkStep& s) { s.registration = registrationOf(v); }},
};

void readWalk(const JsonValue& value, ModemOptions& options) {
  for (const JsonValue& item : value.items()) {
    const std::int64_t earliestMs = options.walk.empty() ? 0 : options.walk.back().ms;
    WalkStep& step = options.walk.emplace_back();
    readFields(item.members(), kStepFields, step);
    if (step.ms < earliestMs) {
      item.refuse("ms must not fall from step to step");
    }
  }
}

constexpr JsonField<ModemOptions> kFields[] = {
    {"signal", [](const JsonValue& v, ModemOptions& o) { o.rssi = signalOf(v); }},
    {"registration", [](const JsonValue& v, ModemOptions& o) { o.registration = registrationOf(v); }},
    {"echo", [](const JsonValue& v, ModemOptions& o) { o.echo = v.boolean(); }},
    {"delayMs", [](const JsonValue& v, ModemOptions& o) { o.replyDelayMs = milliseconds(v); }},
    {"sms", readSms},
    {"faults", readFaults},
    {"walk", readWalk},
};

}  // namespace

ModemOptions scenarioOf(const std::string& json) {
  const JsonDocument document(json);
  ModemOptions options;
  readFields(document.members(), kFields, options);
  return options;
}

}  // namespace orvix::simulator

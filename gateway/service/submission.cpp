#include "gateway/service/submission.h"

#include <set>
#include <utility>

#include "gateway/message/name.h"
#include "gateway/service/jsonValue.h"

namespace orvix::gateway {
namespace {

using nlohmann::json;

constexpr std::size_t kMaxRecipients = 100;
constexpr int kMaxExpiresSeconds = 31 * 86400;
constexpr int kDeepest = 3;  // an object that holds a list of numbers; nobody needs to nest deeper

// NOLINTNEXTLINE(bugprone-exception-escape): without memory to take a document apart the process ends
struct Body {
  json document;
  std::string problem;  // of what is JSON, but no request
};

// What nests deeper than a submission can is left out, and a key that comes twice is told: nobody knows which of the
// two was meant.
Body parseBody(const std::string& text) {
  Body body;
  std::set<std::string> keys;
  // The callback sees every event: returning false leaves that value out, which the problem then tells.
  body.document = json::parse(text, [&](int depth, json::parse_event_t event, json& parsed) {
    using Event = json::parse_event_t;
    if (depth > kDeepest && (event == Event::object_start || event == Event::array_start)) {
      body.problem = "the body is nested too deep";
      return false;
    }
    if (event == Event::key && depth == 1 && !keys.insert(parsed.get<std::string>()).second) {
      body.problem = "a field comes twice";
    }
    return true;
  });
  return body;
}

Refusal wrong(const std::string& field, const std::string& error) {
  return {422, error, field, std::nullopt};
}

// Reads the fields of one object; the first that is wrong stays.
class Reader {
 public:
  std::optional<Refusal> refusal;
  Submission submission;

  void read(const std::string& key, const json& value) {
    if (key == "id") {
      readId(value);
    } else if (key == "to") {
      readTo(value);
    } else if (key == "text") {
      readString(key, value, &submission.text);
    } else if (key == "priority") {
      submission.priority = readWord(key, value, priorityOf, "alarm, normal or bulk");
    } else if (key == "expiresSeconds") {
      readExpiry(value);
    } else if (key == "onUncertain") {
      submission.onUncertain = readWord(key, value, onUncertainOf, "hold or resend").value_or(OnUncertain::kHold);
    } else if (key == "modem") {
      readString(key, value, &submission.modem.emplace());
    } else {
      refuse(key, "unknown field");
    }
  }

  void refuse(const std::string& field, const std::string& error) {
    if (!refusal) {
      // The first one, so that the answer does not depend on what follows.
      refusal = wrong(field, error);
    }
  }

 private:
  void readString(const std::string& key, const json& value, std::string* target) {
    if (value.is_string()) {
      *target = value.get<std::string>();
    } else {
      refuse(key, "must be a string");
    }
  }

  void readId(const json& value) {
    readString("id", value, &submission.id.emplace());
    if (!isName(*submission.id)) {
      refuse("id", "must be 1 to 64 characters of A-Z a-z 0-9 . _ -");
    }
  }

  void readTo(const json& value) {
    // A list of one is answered as a list, for a script expects what it asked for.
    submission.isList = value.is_array();
    if (!value.is_array()) {
      readString("to", value, &submission.to.emplace_back());
      return;
    }
    // Before the numbers are read: a list of a million is not copied.
    if (value.empty() || value.size() > kMaxRecipients) {
      refuse("to", "must name 1 to 100 numbers");
      return;
    }
    for (const json& number : value) {
      readString("to", number, &submission.to.emplace_back());
    }
  }

  template <typename Parser>
  auto readWord(const std::string& key, const json& value, Parser parse, const char* words)
      -> decltype(parse(std::string())) {
    const auto found = value.is_string() ? parse(value.get<std::string>()) : std::nullopt;
    if (!found) {
      refuse(key, std::string("must be ") + words);
    }
    return found;
  }

  void readExpiry(const json& value) {
    // Compared as JSON numbers, so that none is cut to an int first.
    const bool isFit = value.is_number_integer() && value >= 1 && value <= kMaxExpiresSeconds;
    if (isFit) {
      submission.expiresSeconds = value.get<int>();
    } else {
      refuse("expiresSeconds", "must be a whole number from 1 to 2678400");
    }
  }
};

json attemptJson(const Attempt& attempt, std::int64_t offsetMs) {
  return {{"number", attempt.number},
          {"modem", attempt.modem},
          {"started", rfc3339(attempt.startedMs + offsetMs)},
          {"ended", timeOrNull(attempt.endedMs, offsetMs)},
          {"verdict", attempt.verdict ? json(wordOf(*attempt.verdict)) : json(nullptr)},
          {"reference", orNull(attempt.reference)},
          {"code", orNull(attempt.code)},
          {"reason", textOrNull(attempt.reason)}};
}

}  // namespace

std::variant<nlohmann::json, Refusal> readObject(const std::string& text) {
  Body body;
  try {
    body = parseBody(text);
  } catch (const json::exception&) {
    return Refusal{400, "the body is no JSON", std::nullopt, std::nullopt};
  }
  if (!body.problem.empty()) {
    return Refusal{422, body.problem, std::nullopt, std::nullopt};
  }
  if (!body.document.is_object()) {
    return Refusal{422, "the body is no object", std::nullopt, std::nullopt};
  }
  return std::move(body.document);
}

std::variant<Submission, Refusal> readSubmission(const std::string& text) {
  const auto read = readObject(text);
  if (const auto* const refusal = std::get_if<Refusal>(&read)) {
    return *refusal;
  }
  const json& document = std::get<json>(read);
  Reader reader;
  for (const auto& [key, value] : document.items()) {
    reader.read(key, value);
  }
  // After the others, so that a misspelt key is told rather than the one that it leaves missing.
  for (const char* const required : {"to", "text"}) {
    if (!document.contains(required)) {
      reader.refuse(required, "missing");
    }
  }
  if (reader.refusal) {
    return *reader.refusal;
  }
  return reader.submission;
}

nlohmann::json messageJson(const Message& message, std::int64_t offsetMs) {
  // Explicitly, for an empty list would be null otherwise.
  json attempts = json::array();
  for (const Attempt& attempt : message.attempts) {
    attempts.push_back(attemptJson(attempt, offsetMs));
  }
  return {{"id", message.id},
          {"to", message.to},
          {"text", message.text},
          {"priority", wordOf(message.priority)},
          {"state", wordOf(message.state)},
          {"onUncertain", wordOf(message.onUncertain)},
          // The one that had it last, else the one that is wanted.
          {"modem", orNull(message.modem ? message.modem : message.wantedModem)},
          {"reference", orNull(message.reference)},
          {"code", orNull(message.code)},
          {"reason", textOrNull(message.reason)},
          {"due", timeOrNull(message.dueMs, offsetMs)},
          {"accepted", rfc3339(message.acceptedMs + offsetMs)},
          {"expires", rfc3339(message.expiresMs + offsetMs)},
          {"ended", timeOrNull(message.endedMs, offsetMs)},
          {"attempts", attempts}};
}

nlohmann::json refusalJson(const Refusal& refusal) {
  return {{"error", refusal.error}, {"field", orNull(refusal.field)}};
}

}  // namespace orvix::gateway

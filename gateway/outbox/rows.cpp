#include "gateway/outbox/rows.h"

namespace orvix::gateway {
namespace {

// The columns in the order of the table; later versions add theirs at its end.
enum Column {
  kSequence,
  kId,
  kBatch,
  kOwner,
  kFingerprint,
  kRecipient,
  kText,
  kPriority,
  kOnUncertain,
  kWanted,
  kCharsets,
  kAccepted,
  kExpires,
  kState,
  kDoubt,
  kAttempts,
  kRetries,
  kDue,
  kEnded,
  kModem,
  kReference,
  kCode,
  kReason,
  kLifetime
};

// "" stands for none in columns that are part of an index, where NULL would be distinct from itself.
std::optional<std::string> unlessEmpty(const std::string& text) {
  return text.empty() ? std::nullopt : std::optional<std::string>(text);
}

}  // namespace

Record recordOf(const Rows& rows) {
  Record record;
  Message& message = record.message;
  message.sequence = rows.number(kSequence);
  message.id = rows.text(kId);
  message.owner = rows.text(kOwner);
  message.to = rows.text(kRecipient);
  message.text = rows.text(kText);
  message.priority = rows.as<Priority>(kPriority);
  message.state = rows.as<MessageState>(kState);
  message.onUncertain = rows.as<OnUncertain>(kOnUncertain);
  message.wantedModem = unlessEmpty(rows.text(kWanted));
  message.modem = unlessEmpty(rows.text(kModem));
  message.reference = rows.optional<int>(kReference);
  message.code = rows.optional<int>(kCode);
  message.reason = rows.text(kReason);
  message.dueMs = rows.optional(kDue);
  message.acceptedMs = rows.number(kAccepted);
  message.expiresMs = rows.number(kExpires);
  message.endedMs = rows.optional(kEnded);
  record.batch = unlessEmpty(rows.text(kBatch));
  record.fingerprint = rows.text(kFingerprint);
  record.charsets = rows.as<int>(kCharsets);
  record.isInDoubt = rows.number(kDoubt) != 0;
  record.attempts = rows.as<int>(kAttempts);
  record.retries = rows.as<int>(kRetries);
  record.lifetimeMs = rows.number(kLifetime);
  return record;
}

std::vector<Attempt> attemptsOf(Database* database, std::int64_t sequence) {
  std::vector<Attempt> attempts;
  Rows rows = database->rows(
      "SELECT number, modem, started, ended, verdict, reference, code, reason FROM attempt WHERE message = ?"
      " ORDER BY number",
      sequence);
  while (rows.next()) {
    attempts.push_back({rows.as<int>(0), rows.text(1), rows.number(2), rows.optional(3),
                        rows.optional<hostkit::Verdict>(4), rows.optional<int>(5), rows.optional<int>(6),
                        rows.text(7)});
  }
  return attempts;
}

int bitOf(hostkit::Charset charset) {
  return 1 << static_cast<int>(charset);
}

int charsetsOf(const std::string& text) {
  // Kept with the message, so that the queue chooses by a number and reads no text.
  int charsets = 0;
  for (const hostkit::Charset charset : {hostkit::Charset::kIra, hostkit::Charset::kGsm}) {
    charsets |= hostkit::textFit(text, charset).isFit() ? bitOf(charset) : 0;
  }
  return charsets;
}

}  // namespace orvix::gateway

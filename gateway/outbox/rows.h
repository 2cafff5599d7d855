// Rows of the tables message and attempt as values. Internal. One thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "gateway/outbox/database.h"
#include "gateway/outbox/message.h"
#include "hostkit/messageFit.h"

namespace orvix::gateway {

// A message without its attempts, and what only this room knows of it.
struct Record {
  Message message;
  std::optional<std::string> batch;
  std::string fingerprint;
  int charsets = 0;        // bit N: hostkit::Charset N carries the text
  bool isInDoubt = false;  // an attempt of it is uncertain
  int attempts = 0;        // that count
  int retries = 0;         // in a row
};

// Of "SELECT * FROM message".
Record recordOf(const Rows& rows);

std::vector<Attempt> attemptsOf(Database* database, std::int64_t sequence);

// The charsets that carry the text, as Record keeps them.
int charsetsOf(const std::string& text);
int bitOf(hostkit::Charset charset);

}  // namespace orvix::gateway

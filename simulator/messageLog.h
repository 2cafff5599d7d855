// Messages as lines of a file, one JSON document each:
//   {"number":"+49170","text":"hello","mode":"text","reference":1,"at":"2026-03-01T09:30:00+01:00"}
// One thread at a time.
#pragma once

#include <ctime>
#include <fstream>
#include <string>

#include "simulator/modem.h"

namespace orvix::simulator {

// One line without its end. "reference" is null when the modem gave none.
std::string messageLine(const Message& message, std::time_t at);

class MessageLog {
 public:
  // Appends to what the file holds, and creates it when missing. Throws std::runtime_error.
  explicit MessageLog(const std::string& path);

  // On disk, as far as other processes see, when this returns; `at` is shown as local time. Throws std::runtime_error.
  void append(const Message& message, std::time_t at);

 private:
  const std::string path;
  std::ofstream file;
};

}  // namespace orvix::simulator

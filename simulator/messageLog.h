// What a modem sent, as lines of a file, one JSON document each:
//   {"number":"+49170","text":"hello","mode":"text","reference":1,"at":"2026-03-01T09:30:00+01:00"}
// One thread at a time; several processes may append to one file.
#pragma once

#include <ctime>
#include <string>

#include "simulator/descriptor.h"
#include "simulator/modem.h"

namespace orvix::simulator {

// One line without its end. "reference" is null for a message that was not sent.
std::string messageLine(const Message& message, std::time_t at);

// The file of --messages.
class MessageLog {
 public:
  // Appends to what the file holds, and creates it when missing; a last line that was cut off is ended. Throws
  // std::system_error.
  explicit MessageLog(const std::string& path);

  // With the kernel when this returns: the line outlives this process, however that ends. Throws std::system_error.
  void append(const Message& message, std::time_t at);

 private:
  void write(const std::string& text) const;

  const std::string path;
  const Descriptor file;
};

}  // namespace orvix::simulator

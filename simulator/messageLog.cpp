#include "simulator/messageLog.h"

#include <fcntl.h>

#include <nlohmann/json.hpp>

#include "common/isoTime.h"

namespace orvix::simulator {
namespace {

// As a disk that was full, or a machine that lost its power, may have left it.
bool endsWithinALine(int file) {
  char last = '\n';
  const off_t size = ::lseek(file, 0, SEEK_END);
  return size > 0 && ::pread(file, &last, 1, size - 1) == 1 && last != '\n';
}

}  // namespace

std::string messageLine(const Message& message, std::time_t at) {
  nlohmann::ordered_json line;
  line["number"] = message.destination;
  line["text"] = message.text;
  line["mode"] = message.mode == MessageMode::kPdu ? "pdu" : "text";
  line["reference"] = nullptr;
  if (message.reference) {
    line["reference"] = *message.reference;
  }
  line["at"] = isoTime(at);
  return line.dump();
}

MessageLog::MessageLog(const std::string& filePath)
    // O_APPEND, so that lines of several modems stand after each other; O_RDWR, to look at the last byte.
    : path(filePath), file(::open(filePath.c_str(), O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC, 0666)) {
  if (file.get() < 0) {
    throwErrno("cannot append to ", path);
  }
  if (endsWithinALine(file.get())) {
    write("\n");
  }
}

void MessageLog::append(const Message& message, std::time_t at) {
  write(messageLine(message, at) + "\n");
}

// A line is one call, so that no other process writes in between; only a full disk takes less of it.
void MessageLog::write(const std::string& text) const {
  const ssize_t count = ::write(file.get(), text.data(), text.size());
  if (count != static_cast<ssize_t>(text.size())) {
    errno = count < 0 ? errno : ENOSPC;
    throwErrno("cannot append to ", path);
  }
}

}  // namespace orvix::simulator

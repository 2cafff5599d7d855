#include "simulator/messageLog.h"

#include <nlohmann/json.hpp>
#include <stdexcept>

#include "common/isoTime.h"

namespace orvix::simulator {
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

MessageLog::MessageLog(const std::string& filePath) : path(filePath), file(filePath, std::ios::app) {
  if (!file) {
    throw std::runtime_error("cannot append to " + path);
  }
}

void MessageLog::append(const Message& message, std::time_t at) {
  file << messageLine(message, at) << std::endl;
  if (!file) {
    throw std::runtime_error("cannot append to " + path);
  }
}

}  // namespace orvix::simulator

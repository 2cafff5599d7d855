#include "simulator/messageLog.h"

#include "simulator/gsmAlphabet.h"

#include <bson/bson.h>

#include <memory>
#include <stdexcept>

namespace orvix::simulator {
namespace {

std::string isoLocalTime(std::time_t at) {
  std::tm fields{};
  localtime_r(&at, &fields);
  char text[40];
  const std::size_t size = std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S%z", &fields);
  return std::string(text, size).insert(size - 2, ":");
}

void append(bson_t& document, const char* key, const std::string& text) {
  const bool isUtf8 = bson_utf8_validate(text.data(), text.size(), true);
  const std::string utf8 = isUtf8 ? text : utf8OfLatin1(text);
  bson_append_utf8(&document, key, -1, utf8.data(), static_cast<int>(utf8.size()));
}

}  // namespace

std::string messageLine(const Message& message, std::time_t at) {
  const std::unique_ptr<bson_t, decltype(&bson_destroy)> document(bson_new(), bson_destroy);
  append(*document, "number", message.destination);
  append(*document, "text", message.text);
  append(*document, "mode", message.mode == MessageMode::pdu ? "pdu" : "text");
  if (message.reference) {
    bson_append_int32(document.get(), "reference", -1, *message.reference);
  } else {
    bson_append_null(document.get(), "reference", -1);
  }
  append(*document, "at", isoLocalTime(at));
  const std::unique_ptr<char, decltype(&bson_free)> line(bson_as_relaxed_extended_json(document.get(), nullptr),
                                                         bson_free);
  return line.get();
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

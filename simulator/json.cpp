#include "simulator/json.h"

#include <utility>

namespace orvix::simulator {
namespace {

using Bson = std::unique_ptr<bson_t, decltype(&bson_destroy)>;
using Reader = std::unique_ptr<bson_json_reader_t, decltype(&bson_json_reader_destroy)>;

Bson parse(const std::string& text) {
  Bson document(bson_new(), bson_destroy);
  Bson surplus(bson_new(), bson_destroy);
  const Reader reader(bson_json_data_reader_new(false, text.size()), bson_json_reader_destroy);
  bson_json_data_reader_ingest(reader.get(), reinterpret_cast<const std::uint8_t*>(text.data()), text.size());
  bson_error_t error{};
  const int found = bson_json_reader_read(reader.get(), document.get(), &error);
  if (found < 0) {
    throw JsonError(std::string("not JSON: ") + error.message);
  }
  if (found == 0 || bson_json_reader_read(reader.get(), surplus.get(), &error) != 0) {
    throw JsonError("must be one JSON object");
  }
  return document;
}

std::vector<JsonValue> membersFrom(const bson_iter_t& front, const std::string& prefix) {
  std::vector<JsonValue> members;
  bson_iter_t position = front;
  while (bson_iter_next(&position)) {
    const JsonValue member(position, prefix + bson_iter_key(&position));
    for (const JsonValue& earlier : members) {
      if (earlier.key() == member.key()) {
        member.refuse("given twice");
      }
    }
    members.push_back(member);
  }
  return members;
}

}  // namespace

JsonValue::JsonValue(const bson_iter_t& position, std::string pathToHere)
    : iterator(position), path(std::move(pathToHere)) {
}

std::string_view JsonValue::key() const {
  return bson_iter_key(&iterator);
}

std::int64_t JsonValue::integer(std::int64_t least, std::int64_t greatest) const {
  const bool isWhole = BSON_ITER_HOLDS_INT32(&iterator) || BSON_ITER_HOLDS_INT64(&iterator);
  const std::int64_t value = isWhole ? bson_iter_as_int64(&iterator) : 0;
  if (!isWhole || value < least || value > greatest) {
    refuse("must be a whole number from " + std::to_string(least) + " to " + std::to_string(greatest));
  }
  return value;
}

bool JsonValue::boolean() const {
  if (!BSON_ITER_HOLDS_BOOL(&iterator)) {
    refuse("must be true or false");
  }
  return bson_iter_bool(&iterator);
}

bool JsonValue::isText() const {
  return BSON_ITER_HOLDS_UTF8(&iterator);
}

std::string JsonValue::text() const {
  if (!isText()) {
    refuse("must be a text");
  }
  std::uint32_t size = 0;
  const char* characters = bson_iter_utf8(&iterator, &size);
  return {characters, size};
}

std::vector<JsonValue> JsonValue::items() const {
  bson_iter_t item;
  if (!BSON_ITER_HOLDS_ARRAY(&iterator) || !bson_iter_recurse(&iterator, &item)) {
    refuse("must be a list");
  }
  std::vector<JsonValue> values;
  while (bson_iter_next(&item)) {
    values.emplace_back(item, path + "[" + std::to_string(values.size()) + "]");
  }
  return values;
}

std::vector<JsonValue> JsonValue::members() const {
  bson_iter_t member;
  if (!BSON_ITER_HOLDS_DOCUMENT(&iterator) || !bson_iter_recurse(&iterator, &member)) {
    refuse("must be an object");
  }
  return membersFrom(member, path + ".");
}

void JsonValue::refuse(const std::string& complaint) const {
  throw JsonError(path + ": " + complaint);
}

JsonDocument::JsonDocument(const std::string& text) : document(parse(text)) {
}

std::vector<JsonValue> JsonDocument::members() const {
  bson_iter_t member;
  bson_iter_init(&member, document.get());
  return membersFrom(member, "");
}

}  // namespace orvix::simulator

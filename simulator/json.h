// JSON as input that may be wrong: every complaint names the key. Values are views into their document, which must
// outlive them. One thread at a time.
//
// Everything throws JsonError, whose what() reads "faults[0].from: must be a whole number from 1 to 100".
#pragma once

#include <bson/bson.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace orvix::simulator {

class JsonError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class JsonValue {
 public:
  JsonValue(const bson_iter_t& position, std::string pathToHere);

  std::string_view key() const;
  std::int64_t integer(std::int64_t least, std::int64_t greatest) const;
  bool boolean() const;
  std::string text() const;
  bool isText() const;
  std::vector<JsonValue> items() const;    // of an array
  std::vector<JsonValue> members() const;  // of an object, each key once

  [[noreturn]] void refuse(const std::string& complaint) const;

 private:
  bson_iter_t iterator;
  std::string path;
};

class JsonDocument {
 public:
  // One object and nothing behind it.
  explicit JsonDocument(const std::string& text);

  std::vector<JsonValue> members() const;

 private:
  std::unique_ptr<bson_t, decltype(&bson_destroy)> document;
};

// What to do with a key of an object that becomes a Target.
template <class Target>
struct JsonField {
  std::string_view key;
  void (*read)(const JsonValue& value, Target& target);
};

// Refuses a key that the table does not know.
template <class Target, std::size_t kSize>
void readFields(const std::vector<JsonValue>& members, const JsonField<Target> (&table)[kSize], Target& target) {
  for (const JsonValue& member : members) {
    const auto isMeant = [&member](const JsonField<Target>& field) { return field.key == member.key(); };
    const auto field = std::find_if(std::begin(table), std::end(table), isMeant);
    if (field == std::end(table)) {
      member.refuse("unknown key");
    }
    field->read(member, target);
  }
}

}  // namespace orvix::simulator

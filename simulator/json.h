// JSON as input that may be wrong: every complaint names the key. Values are views into their document, which must
// outlive them. One thread at a time.
//
// Everything throws JsonError, whose what() reads "faults[0].from: must be a whole number from 1 to 100".
#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <nlohmann/json_fwd.hpp>
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
  // Borrows the value, whose key is the last part of the path.
  JsonValue(const nlohmann::ordered_json& viewed, std::string pathToHere, std::string lastKey);

  const std::string& key() const { return keyText; }
  std::int64_t integer(std::int64_t least, std::int64_t greatest) const;
  bool boolean() const;
  std::string text() const;
  bool isText() const;
  std::vector<JsonValue> items() const;    // of an array
  std::vector<JsonValue> members() const;  // of an object, in their order

  [[noreturn]] void refuse(const std::string& complaint) const;

 private:
  const nlohmann::ordered_json* value;
  std::string path;
  std::string keyText;
};

class JsonDocument {
 public:
  // One object and nothing after it, each key of each object once.
  explicit JsonDocument(const std::string& text);

  std::vector<JsonValue> members() const;

 private:
  std::shared_ptr<const nlohmann::ordered_json> document;
};

// What to do with a key of an object that becomes a Target.
template <class Target>
struct JsonField {
  std::string_view key;
  void (*read)(const JsonValue& value, Target* target);
};

// Refuses a key that the table does not know.
template <class Target, std::size_t kSize>
void readFields(const std::vector<JsonValue>& members, const JsonField<Target> (&table)[kSize], Target* target) {
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

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

// What is wrong with the document, as a sentence for the one who wrote it.
class JsonError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// One value with the path that leads to it, such as "faults[0].from". Cheap to copy.
// Where a call refuses, it throws JsonError with this path in front.
class JsonValue {
 public:
  // Borrows the value, whose key is the last part of the path.
  // Made by JsonDocument; copies borrow the same document.
  JsonValue(const nlohmann::ordered_json& viewed, std::string pathToHere, std::string lastKey);

  // The last part of the path; "" for an item of a list.
  const std::string& key() const { return keyText; }
  // A whole number in that range, both ends included; 5.0 is none.
  std::int64_t integer(std::int64_t least, std::int64_t greatest) const;
  // Each refuses a value of another type.
  bool boolean() const;
  // UTF-8, as the library has checked it; may hold zero bytes.
  std::string text() const;
  bool isText() const;
  std::vector<JsonValue> items() const;    // of an array
  std::vector<JsonValue> members() const;  // of an object, in their order

  // Throws the complaint with the path in front.
  // The path is escaped, since keys are the writer's.
  [[noreturn]] void refuse(const std::string& complaint) const;

 private:
  const nlohmann::ordered_json* value;
  std::string path;
  std::string keyText;
};

// Owns the document that the values look into; copies share it.
class JsonDocument {
 public:
  // Parses UTF-8: one object and nothing after it, each key of each object once.
  // Refuses anything else, a key that stands twice included.
  explicit JsonDocument(const std::string& text);

  std::vector<JsonValue> members() const;

 private:
  std::shared_ptr<const nlohmann::ordered_json> document;
};

// A table of these is the reader of an object: what to do with each key that may stand in it.
template <class Target>
struct JsonField {
  std::string_view key;
  // Throws JsonError for what it does not take.
  void (*read)(const JsonValue& value, Target* target);
};

// Reads the keys in the order in which they were written, and refuses one that the table does not know.
// A key that is missing leaves its part of the target as it was, which is how defaults come in.
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

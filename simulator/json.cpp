#include "simulator/json.h"

#include <limits>
#include <nlohmann/json.hpp>
#include <set>
#include <utility>

#include "common/printable.h"

namespace orvix::simulator {
namespace {

using Json = nlohmann::ordered_json;  // complaints come in the order of the file

// The library keeps the last of several equal keys; a person who wrote two of them is better told.
class KeyCheck {
 public:
  bool operator()(int /*depth*/, Json::parse_event_t event, const Json& parsed) {
    if (event == Json::parse_event_t::object_start) {
      open.emplace_back();
    } else if (event == Json::parse_event_t::object_end) {
      open.pop_back();
    } else if (event == Json::parse_event_t::key && !open.back().insert(parsed.get<std::string>()).second) {
      throw JsonError(shown(parsed.get<std::string>()) + ": given twice");
    }
    return true;
  }

 private:
  std::vector<std::set<std::string>> open;  // the keys of each object that is not closed yet
};

// Views need a document that stays; parse errors become the same type as every other complaint.
Json parse(const std::string& text) {
  try {
    return Json::parse(text, [check = KeyCheck()](int depth, Json::parse_event_t event, const Json& parsed) mutable {
      return check(depth, event, parsed);
    });
  } catch (const Json::exception& error) {
    const std::string what = error.what();  // "[json.exception.parse_error.101] parse error at ..."
    throw JsonError("not JSON: " + shown(what.substr(what.find(' ') + 1)));
  }
}

// The library keeps the keys in their order, in which complaints then come.
std::vector<JsonValue> membersOf(const Json& object, const std::string& prefix) {
  std::vector<JsonValue> members;
  for (const auto& [key, value] : object.items()) {
    members.emplace_back(value, prefix + key, key);
  }
  return members;
}

}  // namespace

JsonValue::JsonValue(const Json& viewed, std::string pathToHere, std::string lastKey)
    : value(&viewed), path(std::move(pathToHere)), keyText(std::move(lastKey)) {
}

std::int64_t JsonValue::integer(std::int64_t least, std::int64_t greatest) const {
  // Numbers above the signed range would turn negative when they are read as signed.
  constexpr auto kLargest = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
  const bool isTooLarge = value->is_number_unsigned() && value->get<std::uint64_t>() > kLargest;
  const std::int64_t number = value->is_number_integer() && !isTooLarge ? value->get<std::int64_t>() : 0;
  if (!value->is_number_integer() || isTooLarge || number < least || number > greatest) {
    refuse("must be a whole number from " + std::to_string(least) + " to " + std::to_string(greatest));
  }
  return number;
}

bool JsonValue::boolean() const {
  if (!value->is_boolean()) {
    refuse("must be true or false");
  }
  return value->get<bool>();
}

bool JsonValue::isText() const {
  return value->is_string();
}

std::string JsonValue::text() const {
  if (!isText()) {
    refuse("must be a text");
  }
  return value->get<std::string>();
}

std::vector<JsonValue> JsonValue::items() const {
  if (!value->is_array()) {
    refuse("must be a list");
  }
  std::vector<JsonValue> values;
  for (const Json& item : *value) {
    values.emplace_back(item, path + "[" + std::to_string(values.size()) + "]", "");
  }
  return values;
}

std::vector<JsonValue> JsonValue::members() const {
  if (!value->is_object()) {
    refuse("must be an object");
  }
  return membersOf(*value, path + ".");
}

void JsonValue::refuse(const std::string& complaint) const {
  throw JsonError(shown(path) + ": " + complaint);
}

JsonDocument::JsonDocument(const std::string& text) : document(std::make_shared<const Json>(parse(text))) {
  // A list or a number is JSON as well, but says nothing here.
  if (!document->is_object()) {
    throw JsonError("must be one JSON object");
  }
}

std::vector<JsonValue> JsonDocument::members() const {
  return membersOf(*document, "");
}

}  // namespace orvix::simulator

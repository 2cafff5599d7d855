#include "gateway/config/strictJson.h"

#include <utility>

namespace orvix::gateway {
namespace {

using nlohmann::json;

// Stands for an object that is not there, so that its defaults are read in the same way.
const json& nothing() {
  static const json object = json::object();
  return object;
}

// Follows the parser down the document to tell the path of a key that stands twice: the parser itself would silently
// keep the last one.
class Repetitions {
 public:
  explicit Repetitions(Problems* found) : problems(found) {}

  bool onEvent(json::parse_event_t event, const json& value) {
    switch (event) {
      case json::parse_event_t::object_start:
      case json::parse_event_t::array_start:
        enter();
        levels.push_back({event == json::parse_event_t::array_start, {}, "", 0});
        break;
      case json::parse_event_t::object_end:
      case json::parse_event_t::array_end:
        levels.pop_back();
        break;
      case json::parse_event_t::key:
        levels.back().key = value.get<std::string>();
        if (!levels.back().keys.insert(levels.back().key).second) {
          problems->push_back({path(), "stands here twice"});
        }
        break;
      case json::parse_event_t::value:
        enter();
        break;
    }
    return true;
  }

 private:
  struct Level {
    bool isList;
    std::set<std::string> keys;
    std::string key;
    int entries;
  };

  // Counts through the list that the next value stands in.
  void enter() {
    if (!levels.empty() && levels.back().isList) {
      levels.back().key = "[" + std::to_string(levels.back().entries++) + "]";
    }
  }

  std::string path() const {
    std::string text;
    for (const Level& level : levels) {
      text += (text.empty() || level.isList ? "" : ".") + level.key;
    }
    return text;
  }

  Problems* const problems;
  std::vector<Level> levels;
};

// "[json.exception.parse_error.101] parse error at line 2, column 3: ..." without what is the library's own.
std::string sentenceOf(const std::string& what) {
  const std::size_t begin = what.find("at line");
  return "is no JSON: " + (begin == std::string::npos ? what : what.substr(begin));
}

}  // namespace

std::optional<json> parseStrictly(const std::string& text, Problems* problems) {
  Repetitions repetitions(problems);
  try {
    json document = json::parse(text, [&](int /*depth*/, json::parse_event_t event, const json& value) {
      return repetitions.onEvent(event, value);
    });
    if (!document.is_object()) {
      problems->push_back({"", "must be a JSON object"});
    }
    // Only a document without doubt is read on: each problem would draw others after it.
    return problems->empty() ? std::optional(std::move(document)) : std::nullopt;
  } catch (const json::exception& error) {
    problems->push_back({"", sentenceOf(error.what())});
    return std::nullopt;
  }
}

StrictObject::StrictObject(const json& object, std::string pathOfIt, Problems* found)
    : fields(&object), path(std::move(pathOfIt)), problems(found) {
  if (!object.is_object()) {
    problems->push_back({path, "must be an object"});
    fields = &nothing();
  }
}

const json* StrictObject::find(const std::string& key) {
  known.insert(key);
  const auto found = fields->find(key);
  return found == fields->end() ? nullptr : &*found;
}

bool StrictObject::has(const std::string& key) {
  return find(key) != nullptr;
}

int StrictObject::whole(const std::string& key, int fallback, int least, int most) {
  const json* const found = find(key);
  if (found == nullptr) {
    return fallback;
  }
  // Unsigned numbers above the signed range would turn negative otherwise.
  const bool isInRange = found->is_number_unsigned() ? found->get<std::uint64_t>() <= static_cast<std::uint64_t>(most)
                                                     : found->is_number_integer();
  if (!isInRange || found->get<std::int64_t>() < least) {
    complain(key, "must be a whole number from " + std::to_string(least) + " to " + std::to_string(most));
    return fallback;
  }
  return found->get<int>();
}

bool StrictObject::truth(const std::string& key, bool fallback) {
  const json* const found = find(key);
  if (found == nullptr || found->is_boolean()) {
    return found == nullptr ? fallback : found->get<bool>();
  }
  complain(key, "must be true or false");
  return fallback;
}

std::string StrictObject::text(const std::string& key, const std::string& fallback) {
  const json* const found = find(key);
  if (found == nullptr) {
    return fallback;
  }
  // A zero byte would end it where the system reads it.
  if (!found->is_string() || found->get<std::string>().find('\0') != std::string::npos) {
    complain(key, "must be a text");
    return fallback;
  }
  return found->get<std::string>();
}

std::string StrictObject::needed(const std::string& key) {
  if (!has(key)) {
    complain(key, "is missing");
    return "";
  }
  // A fallback that is not empty, so that a wrong type is told once.
  std::string value = text(key, "-");
  if (value.empty()) {
    complain(key, "must not be empty");
  }
  return value;
}

std::vector<std::string> StrictObject::texts(const std::string& key, const std::vector<std::string>& fallback) {
  const json* const found = find(key);
  if (found == nullptr) {
    return fallback;
  }
  std::vector<std::string> values;
  for (const json& value : *found) {
    if (value.is_string()) {
      values.push_back(value.get<std::string>());
    }
  }
  // Counted, so that one wrong entry refuses the list.
  if (!found->is_array() || values.size() != found->size()) {
    complain(key, "must be a list of texts");
    return fallback;
  }
  return values;
}

StrictObject StrictObject::object(const std::string& key) {
  const json* const found = find(key);
  return {found == nullptr ? nothing() : *found, pathTo(key), problems};
}

std::vector<StrictObject> StrictObject::objects(const std::string& key) {
  std::vector<StrictObject> found;
  const json* const list = find(key);
  if (list != nullptr && !list->is_array()) {
    complain(key, "must be a list");
    return found;
  }
  for (std::size_t i = 0; list != nullptr && i < list->size(); ++i) {
    found.emplace_back((*list)[i], pathTo(key) + "[" + std::to_string(i) + "]", problems);
  }
  return found;
}

std::vector<std::string> StrictObject::keys() {
  std::vector<std::string> found;
  for (const auto& item : fields->items()) {
    found.push_back(item.key());
    // A key that the writer chose himself is no misspelling.
    known.insert(item.key());
  }
  return found;
}

void StrictObject::refuseOthers() {
  for (const auto& item : fields->items()) {
    if (known.count(item.key()) == 0) {
      complain(item.key(), "is no known key");
    }
  }
}

void StrictObject::complain(const std::string& key, const std::string& text) {
  problems->push_back({pathTo(key), text});
}

std::string StrictObject::pathTo(const std::string& key) const {
  return path.empty() ? key : path + "." + key;
}

}  // namespace orvix::gateway

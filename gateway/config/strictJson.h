// JSON that is taken key by key, where whatever was not asked for is a problem. Internal to this room. One thread.
//
// The readers say what they want, and the wording of a problem and the path to its key are made here. An object borrows
// the document, which must outlive it.
#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "gateway/config/config.h"

namespace orvix::gateway {

using Problems = std::vector<ConfigProblem>;

// The document; none, with the reason among the problems, when the text is no JSON object or a key stands twice.
std::optional<nlohmann::json> parseStrictly(const std::string& text, Problems* problems);

// One object of the document. A key that is not there gives the fallback; one of the wrong type or out of range becomes
// a problem and gives the fallback, too. Asking for a key makes it a known one.
class StrictObject {
 public:
  // Borrows all of them. An empty path is the document's own.
  StrictObject(const nlohmann::json& object, std::string pathOfIt, Problems* found);

  // Also where its value is null, which no reader takes: null is of the wrong type everywhere.
  bool has(const std::string& key);
  // A whole number from `least` to `most`, both included. 5.0 is none.
  int whole(const std::string& key, int fallback, int least, int most);
  bool truth(const std::string& key, bool fallback);
  // A string without a zero byte.
  std::string text(const std::string& key, const std::string& fallback);
  // Without a fallback: one that is missing is a problem. "" then.
  std::string needed(const std::string& key);
  // A list of strings, or the fallback as a whole.
  std::vector<std::string> texts(const std::string& key, const std::vector<std::string>& fallback);

  // One of a few words; `valueOf` knows them, `words` lists them for people.
  // `valueOf` takes the word and gives an optional.
  template <typename Value, typename ValueOf>
  Value word(const std::string& key, Value fallback, ValueOf valueOf, const std::string& words) {
    const nlohmann::json* const found = find(key);
    if (found == nullptr) {
      return fallback;
    }
    const std::optional<Value> value = found->is_string() ? valueOf(found->get<std::string>()) : std::nullopt;
    if (!value) {
      complain(key, "must be " + words);
    }
    return value.value_or(fallback);
  }

  // The object of that key; an empty one when there is none.
  StrictObject object(const std::string& key);
  // The objects of the list of that key; none when there is no such list.
  // An entry that is no object becomes a problem and reads as an empty one.
  std::vector<StrictObject> objects(const std::string& key);
  // All keys there are, for an object whose keys are the writer's own.
  std::vector<std::string> keys();

  // To be called at the end: every key that nobody asked for.
  void refuseOthers();

  // Adds a problem of that key; what a reader checks beyond type and range ends here.
  void complain(const std::string& key, const std::string& text);
  // "modems[0].codes.500", as people find it in the file.
  std::string pathTo(const std::string& key) const;

 private:
  const nlohmann::json* find(const std::string& key);

  const nlohmann::json* fields;
  std::string path;
  Problems* problems;
  std::set<std::string> known;
};

}  // namespace orvix::gateway

#include "document/render.h"

#include <cstdio>
#include <vector>

namespace orvix {
namespace {

// What BSONValue::type says, without a copy of the position.
bson_type_t typeOf(const bson_iter_t& element) {
  return element.off != 0 ? bson_iter_type(&element) : BSON_TYPE_EOD;
}

// An open document or array; a position without data is at its end.
struct Level {
  bson_iter_t position;
  bool isArray;
  bool isFirst;
};

// What is open, from the outside in; the usual few without an allocation.
class Levels {
 public:
  bool isEmpty() const { return count == 0; }
  Level& last() { return count <= kUsual ? usual[count - 1] : deeper.back(); }

  Level& push(bool isArray) {
    Level& level = count < kUsual ? usual[count] : deeper.emplace_back();
    ++count;
    level.position.raw = nullptr;
    level.isArray = isArray;
    level.isFirst = true;
    return level;
  }

  void pop() {
    if (count > kUsual) {
      deeper.pop_back();
    }
    --count;
  }

 private:
  static constexpr std::size_t kUsual = 4;

  Level usual[kUsual];
  std::vector<Level> deeper;
  std::size_t count = 0;
};

// Keeps its own stack of levels, so that no depth of nesting exhausts that of the thread.
class Rendering {
 public:
  // cppcheck-suppress uninitMemberVar; a level is set when it is pushed
  Rendering(bool isKeyed, bool isRecursive) : showsKeys(isKeyed), expands(isRecursive) {}

  // Makes room once for what a document of that many bytes usually takes.
  void reserve(std::size_t documentSize) { text.reserve(2 * documentSize); }

  void open(const bson_t* document, bool isArray) {
    text += isArray ? "[ " : "{ ";
    Level& level = levels.push(isArray);
    if (!isEmptyDocument(document)) {
      bson_iter_init(&level.position, document);
    }
  }

  // The value alone. A nested document or array is opened, which moves the levels: `element` may be one's position.
  void write(const bson_iter_t& element);

  // Walks what is open to its end.
  std::string finish() {
    while (!levels.isEmpty()) {
      step();
    }
    return std::move(text);
  }

  void writeKey(const bson_iter_t& element) {
    if (showsKeys && typeOf(element) != BSON_TYPE_EOD) {
      text.append("\"").append(bson_iter_key(&element)).append("\": ");
    }
  }

 private:
  void step();
  void writeDouble(double number);
  void writeNested(const bson_iter_t& element, bool isArray);

  std::string text;
  Levels levels;
  bool showsKeys;
  bool expands;
};

void Rendering::step() {
  Level& level = levels.last();
  if (!bson_iter_next(&level.position)) {
    text += level.isArray ? " ]" : " }";
    levels.pop();
    return;
  }
  if (!level.isFirst) {
    text += ", ";
  }
  level.isFirst = false;
  if (!level.isArray) {
    writeKey(level.position);
  }
  write(level.position);
}

void Rendering::writeDouble(double number) {
  char digits[352];  // "%f" of the largest double has 309 digits before the point.
  std::snprintf(digits, sizeof digits, "%f", number);
  text += digits;
}

void Rendering::writeNested(const bson_iter_t& element, bool isArray) {
  bson_t nested;
  if (expands) {
    open(viewEmbedded(element, &nested) ? &nested : nullptr, isArray);
  } else {
    text += isArray ? "<Array>" : "<Object>";
  }
}

void Rendering::write(const bson_iter_t& element) {
  switch (typeOf(element)) {
    case BSON_TYPE_EOD:
      // Hosts rely on the words: EOO for no element, Ops for a type without a form.
      text += "EOO";
      break;
    case BSON_TYPE_DOUBLE:
      writeDouble(bson_iter_double(&element));
      break;
    case BSON_TYPE_UTF8:
      text.append("\"").append(bson_iter_utf8(&element, nullptr)).append("\"");
      break;
    case BSON_TYPE_DOCUMENT:
      writeNested(element, false);
      break;
    case BSON_TYPE_ARRAY:
      writeNested(element, true);
      break;
    case BSON_TYPE_BOOL:
      text += bson_iter_bool(&element) ? "true" : "false";
      break;
    case BSON_TYPE_INT32:
      text += std::to_string(bson_iter_int32(&element));
      break;
    case BSON_TYPE_INT64:
      text += std::to_string(bson_iter_int64(&element));
      break;
    default:
      text += "Ops";
  }
}

}  // namespace

std::string renderObject(const BSONObject& object, const void* withKeys, bool recursive, bool isArray) {
  Rendering rendering(withKeys != nullptr, recursive);
  // Otherwise most of the document may be left out.
  if (recursive) {
    rendering.reserve(object.dataSize());
  }
  rendering.open(object.readable(), isArray);
  return rendering.finish();
}

std::string renderValue(const BSONValue& value, const void* withKeys, bool recursive, bool noKey) {
  if (value.isEmpty()) {
    return "";
  }
  Rendering rendering(withKeys != nullptr, recursive);
  if (!noKey) {
    rendering.writeKey(value.position());
  }
  rendering.write(value.position());
  return rendering.finish();
}

}  // namespace orvix

#include "app/common/document/render.h"

#include <cstdio>
#include <vector>

namespace orvix {
namespace {

// An open document or array; a position without data is at its end.
struct Level {
  bson_iter_t position{};
  bool isArray = false;
  bool isFirst = true;
};

// Keeps its own stack of levels, so that no depth of nesting exhausts that of the thread.
class Rendering {
 public:
  Rendering(bool isKeyed, bool isRecursive) : showsKeys(isKeyed), expands(isRecursive) {}

  // Makes room once for what a document of that many bytes usually takes.
  void reserve(std::size_t documentSize) {
    constexpr std::size_t kUsualDepth = 4;
    levels.reserve(kUsualDepth);
    text.reserve(2 * documentSize);
  }

  void open(const bson_t* document, bool isArray) {
    text += isArray ? "[ " : "{ ";
    Level& level = levels.emplace_back();
    level.isArray = isArray;
    if (!isEmptyDocument(document)) {
      bson_iter_init(&level.position, document);
    }
  }

  // The value alone; a nested document or array is opened.
  void write(const BSONValue& value);

  // Walks what is open to its end.
  std::string finish() {
    while (!levels.empty()) {
      step();
    }
    return std::move(text);
  }

  void writeKey(const BSONValue& value) {
    if (showsKeys && value.type() != 0) {
      text.append("\"").append(value.keyText()).append("\": ");
    }
  }

 private:
  void step();
  void writeDouble(double number);
  void writeNested(const BSONValue& value, bool isArray);

  std::string text;
  std::vector<Level> levels;
  bool showsKeys;
  bool expands;
};

void Rendering::step() {
  Level& level = levels.back();
  if (!bson_iter_next(&level.position)) {
    text += level.isArray ? " ]" : " }";
    levels.pop_back();
    return;
  }
  if (!level.isFirst) {
    text += ", ";
  }
  level.isFirst = false;
  const BSONValue value(level.position, true);
  if (!level.isArray) {
    writeKey(value);
  }
  write(value);
}

void Rendering::writeDouble(double number) {
  char digits[352];  // "%f" of the largest double has 309 digits before the point.
  std::snprintf(digits, sizeof digits, "%f", number);
  text += digits;
}

void Rendering::writeNested(const BSONValue& value, bool isArray) {
  bson_t nested;
  if (expands) {
    open(viewEmbedded(value.position(), &nested) ? &nested : nullptr, isArray);
  } else {
    text += isArray ? "<Array>" : "<Object>";
  }
}

void Rendering::write(const BSONValue& value) {
  switch (value.type()) {
    case BSON_TYPE_EOD:
      text += "EOO";
      break;
    case BSON_TYPE_DOUBLE:
      writeDouble(value.getDouble());
      break;
    case BSON_TYPE_UTF8:
      text.append("\"").append(value.getString()).append("\"");
      break;
    case BSON_TYPE_DOCUMENT:
      writeNested(value, false);
      break;
    case BSON_TYPE_ARRAY:
      writeNested(value, true);
      break;
    case BSON_TYPE_BOOL:
      text += value.getBool() ? "true" : "false";
      break;
    case BSON_TYPE_INT32:
      text += std::to_string(value.getInt32());
      break;
    case BSON_TYPE_INT64:
      text += std::to_string(value.getInt64());
      break;
    default:
      text += "Ops";
  }
}

}  // namespace

std::string renderObject(const BSONObject& object, const void* withKeys, bool recursive, bool isArray) {
  Rendering rendering(withKeys != nullptr, recursive);
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
    rendering.writeKey(value);
  }
  rendering.write(value);
  return rendering.finish();
}

}  // namespace orvix

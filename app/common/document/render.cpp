#include "app/common/document/render.h"

#include <cstdio>

namespace orvix {
namespace {

std::string renderDouble(double number) {
  char text[352];  // "%f" of the largest double has 309 digits before the point.
  std::snprintf(text, sizeof text, "%f", number);
  return text;
}

std::string renderBare(const BSONValue& value, const void* withKeys, bool recursive) {
  switch (value.type()) {
    case BSON_TYPE_EOD:
      return "EOO";
    case BSON_TYPE_DOUBLE:
      return renderDouble(value.getDouble());
    case BSON_TYPE_UTF8:
      return "\"" + value.getStdString() + "\"";
    case BSON_TYPE_DOCUMENT:
      return recursive ? value.getObject(false).toStream(withKeys, recursive) : "<Object>";
    case BSON_TYPE_ARRAY:
      return recursive ? value.getArray(false).toStream(withKeys, recursive) : "<Array>";
    case BSON_TYPE_BOOL:
      return value.getBool() ? "true" : "false";
    case BSON_TYPE_INT32:
      return std::to_string(value.getInt32());
    case BSON_TYPE_INT64:
      return std::to_string(value.getInt64());
    default:
      return "Ops";
  }
}

}  // namespace

std::string renderObject(const BSONObject& object, const void* withKeys, bool recursive, bool isArray) {
  const bool noKey = isArray && withKeys != nullptr;
  std::string text = isArray ? "[ " : "{ ";
  if (!object.isEmpty()) {
    const char* separator = "";
    for (const BSONPair& element : object) {
      text += separator;
      text += renderValue(element, withKeys, recursive, noKey);
      separator = ", ";
    }
  }
  text += isArray ? " ]" : " }";
  return text;
}

std::string renderValue(const BSONValue& value, const void* withKeys, bool recursive, bool noKey) {
  if (value.isEmpty()) {
    return "";
  }
  std::string text;
  if (withKeys != nullptr && value.type() != 0 && !noKey) {
    text.append("\"").append(value.keyText()).append("\": ");
  }
  return text += renderBare(value, withKeys, recursive);
}

}  // namespace orvix

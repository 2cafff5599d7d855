// What a document holds at a dotted path.

#include "document/object.h"

#include <cstring>

namespace orvix {

// What bson_iter_find_descendant does, without a call of its own for every dot: the depth of a path is the caller's.
bool BSONObject::find(const std::string& path, bson_iter_t* found) const {
  if (isEmpty() || !bson_iter_init(found, document.get())) {
    return false;
  }
  const char* key = path.c_str();
  while (const char* const dot = std::strchr(key, '.')) {
    bson_iter_t level;
    if (!bson_iter_find_w_len(found, key, static_cast<int>(dot - key)) || !bson_iter_recurse(found, &level)) {
      return false;
    }
    *found = level;
    key = dot + 1;
  }
  return bson_iter_find_w_len(found, key, static_cast<int>(std::strlen(key)));
}

bool BSONObject::has(const std::string& path) const {
  bson_iter_t found;
  return find(path, &found);
}

BSONValue BSONObject::get(const std::string& path) const {
  bson_iter_t found;
  return find(path, &found) ? BSONValue(found, true) : BSONValue(true);
}

// Each of these takes its own type alone: a number of another width gives the default.
bool BSONObject::getBool(const std::string& path, bool def) const {
  bson_iter_t found;
  return find(path, &found) && BSON_ITER_HOLDS_BOOL(&found) ? bson_iter_bool(&found) : def;
}

double BSONObject::getDouble(const std::string& path, double def) const {
  bson_iter_t found;
  return find(path, &found) && BSON_ITER_HOLDS_DOUBLE(&found) ? bson_iter_double(&found) : def;
}

int32_t BSONObject::getInt32(const std::string& path, int32_t def) const {
  bson_iter_t found;
  return find(path, &found) && BSON_ITER_HOLDS_INT32(&found) ? bson_iter_int32(&found) : def;
}

int64_t BSONObject::getInt64(const std::string& path, int64_t def) const {
  bson_iter_t found;
  return find(path, &found) && BSON_ITER_HOLDS_INT64(&found) ? bson_iter_int64(&found) : def;
}

double BSONObject::getNumber(const std::string& path, double def) const {
  // Text counts as the number that it begins with, which the typed getters would refuse.
  const BSONValue value = get(path);
  return value.isNumber() || value.type() == BSON_TYPE_UTF8 ? value.toDouble() : def;
}

const char* BSONObject::getString(const std::string& path, const char* def) const {
  bson_iter_t found;
  return find(path, &found) && BSON_ITER_HOLDS_UTF8(&found) ? bson_iter_utf8(&found, nullptr) : def;
}

std::string BSONObject::getString(const std::string& path, const std::string& def) const {
  return getString(path, def.c_str());
}

const uint8_t* BSONObject::getBinary(const std::string& path, uint8_t* subtype, uint32_t* length) const {
  return get(path).getBinary(subtype, length);
}

uint32_t BSONObject::getPointer(const std::string& path) const {
  return get(path).getPointer();
}

BSONObject BSONObject::getObject(const std::string& path, bool copy) const {
  const BSONValue value = get(path);
  return value.type() == BSON_TYPE_DOCUMENT ? value.getObject(copy) : BSONObject();
}

BSONArray BSONObject::getArray(const std::string& path, bool copy) const {
  const BSONValue value = get(path);
  return value.type() == BSON_TYPE_ARRAY ? value.getArray(copy) : BSONArray();
}

}  // namespace orvix

#include "document/value.h"

#include <cstdlib>
#include <cstring>

#include "document/object.h"

namespace orvix {
namespace {

struct Bytes {
  const uint8_t* data;
  uint32_t length;
};

// Of a nested document or array, borrowed from its parent; none for an element of another type.
Bytes embeddedBytes(const BSONValue& value, int type) {
  Bytes bytes{nullptr, 0};
  if (value.type() == type) {
    const auto read = type == BSON_TYPE_ARRAY ? bson_iter_array : bson_iter_document;
    read(&value.position(), &bytes.length, &bytes.data);
  }
  return bytes;
}

// Without bytes an empty document stays, which readers take for one of another type.
DocumentHandle viewOf(Bytes bytes) {
  DocumentHandle view = shareDocument(bson_new());
  if (bytes.data != nullptr) {
    // A view into the parent's bytes, which must stay.
    bson_init_static(view.get(), bytes.data, bytes.length);
  }
  return view;
}

DocumentHandle copyOf(Bytes bytes) {
  return shareDocument(bytes.data != nullptr ? bson_new_from_data(bytes.data, bytes.length) : nullptr);
}

}  // namespace

BSONValue::BSONValue(const bson_t* document, bool isBorrowed) : borrowed(isBorrowed) {
  if (document != nullptr && !bson_iter_init(&iter, document)) {
    iter = bson_iter_t{};
  }
}

bool BSONValue::isNumber() const {
  const int code = type();
  return code == BSON_TYPE_DOUBLE || code == BSON_TYPE_INT32 || code == BSON_TYPE_INT64;
}

std::string BSONValue::key() const {
  return keyText();
}

uint32_t BSONValue::size() const {
  switch (type()) {
    case BSON_TYPE_DOUBLE:
    case BSON_TYPE_INT64:
    case BSON_TYPE_DATE_TIME:
      return 8;
    case BSON_TYPE_INT32:
      return 4;
    case BSON_TYPE_BOOL:
      return 1;
    case BSON_TYPE_UTF8: {
      uint32_t length = 0;
      bson_iter_utf8(&iter, &length);
      return length;
    }
    case BSON_TYPE_DOCUMENT:
    case BSON_TYPE_ARRAY:
    case BSON_TYPE_BINARY:
      return iter.raw[iter.d1];  // Hosts rely on it: the lowest byte of the length word, no more.
    default:
      return 0;
  }
}

const uint8_t* BSONValue::data() const {
  switch (type()) {
    case BSON_TYPE_DOUBLE:
    case BSON_TYPE_INT32:
    case BSON_TYPE_INT64:
    case BSON_TYPE_DATE_TIME:
    case BSON_TYPE_BOOL:
    case BSON_TYPE_DOCUMENT:
    case BSON_TYPE_ARRAY:
      return iter.raw + iter.d1;  // libbson keeps the offsets of an element's parts: d1 after the key, d2, d3 inside
    case BSON_TYPE_UTF8:
      return iter.raw + iter.d2;
    case BSON_TYPE_BINARY:
      return iter.raw + iter.d3;
    default:
      return nullptr;
  }
}

bool BSONValue::getBool() const {
  return type() == BSON_TYPE_BOOL && bson_iter_bool(&iter);
}

double BSONValue::getDouble() const {
  return type() == BSON_TYPE_DOUBLE ? bson_iter_double(&iter) : 0.0;
}

int32_t BSONValue::getInt32() const {
  return type() == BSON_TYPE_INT32 ? bson_iter_int32(&iter) : 0;
}

int64_t BSONValue::getInt64() const {
  return type() == BSON_TYPE_INT64 ? bson_iter_int64(&iter) : 0;
}

std::time_t BSONValue::getTime() const {
  // Cut to 32 bits on 64-bit systems too, so that a document means the same everywhere.
  return type() == BSON_TYPE_DATE_TIME ? static_cast<int32_t>(bson_iter_date_time(&iter) / 1000) : 0;
}

const char* BSONValue::getString() const {
  return type() == BSON_TYPE_UTF8 ? bson_iter_utf8(&iter, nullptr) : "";
}

const uint8_t* BSONValue::getBinary(uint8_t* subtype, uint32_t* length) const {
  bson_subtype_t foundSubtype = BSON_SUBTYPE_BINARY;
  Bytes found{nullptr, 0};
  if (type() == BSON_TYPE_BINARY) {
    bson_iter_binary(&iter, &foundSubtype, &found.length, &found.data);
  }
  if (subtype != nullptr) {
    *subtype = static_cast<uint8_t>(foundSubtype);
  }
  if (length != nullptr) {
    *length = found.length;
  }
  return found.data;
}

uint32_t BSONValue::getPointer() const {
  uint8_t subtype = 0;
  uint32_t length = 0;
  uint32_t word = 0;
  const uint8_t* const bytes = getBinary(&subtype, &length);
  if (subtype == kPointerSubtype && length == sizeof word) {
    std::memcpy(&word, bytes, sizeof word);
  }
  return word;
}

bool BSONValue::toBool() const {
  switch (type()) {
    // What a person calls true: everything but zero, false and nothing.
    case BSON_TYPE_EOD:
    case BSON_TYPE_UNDEFINED:
    case BSON_TYPE_NULL:
      return false;
    case BSON_TYPE_DOUBLE:
      return getDouble() != 0.0;
    case BSON_TYPE_INT32:
      return getInt32() != 0;
    case BSON_TYPE_INT64:
      return getInt64() != 0;
    case BSON_TYPE_BOOL:
      return getBool();
    default:
      return true;
  }
}

double BSONValue::toDouble() const {
  switch (type()) {
    case BSON_TYPE_DOUBLE:
      return getDouble();
    case BSON_TYPE_UTF8:
      // The number that the text begins with, in the locale's own notation; 0 without one.
      return std::strtod(getString(), nullptr);
    case BSON_TYPE_BOOL:
      return getBool() ? 1.0 : 0.0;
    case BSON_TYPE_INT32:
      return getInt32();
    case BSON_TYPE_INT64:
      return static_cast<double>(getInt64());
    default:
      return 0.0;
  }
}

void BSONValue::setTime(std::time_t seconds) {
  // Hosts rely on it: only an int64 element changes, although date-times are read with getTime.
  if (type() == BSON_TYPE_INT64) {
    // Unsigned, because the product of a far time overflows.
    const uint64_t milliseconds = static_cast<uint64_t>(static_cast<int64_t>(seconds)) * 1000;
    bson_iter_overwrite_int64(&iter, static_cast<int64_t>(milliseconds));
  }
}

BSONObject BSONValue::getObject(bool copy) const {
  const Bytes bytes = embeddedBytes(*this, BSON_TYPE_DOCUMENT);
  return copy ? BSONObject(copyOf(bytes), false) : BSONObject(viewOf(bytes), true);
}

BSONArray BSONValue::getArray(bool copy) const {
  const Bytes bytes = embeddedBytes(*this, BSON_TYPE_ARRAY);
  return copy ? BSONArray(copyOf(bytes), false) : BSONArray(viewOf(bytes), true);
}

BSONPair& BSONPair::operator++() {
  bson_iter_next(&iter);
  return *this;
}

BSONPair BSONPair::operator++(int) {
  BSONPair before(*this);
  ++*this;
  return before;
}

// libbson clears the position after the last element, so that all ends are equal.
bool BSONPair::operator==(const BSONPair& other) const {
  return iter.raw == other.iter.raw && (iter.raw == nullptr || iter.off == other.iter.off);
}

}  // namespace orvix

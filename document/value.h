// orvix::BSONValue and orvix::BSONPair: elements inside a BSON document.
//
// Threads: no locks; a document must not be changed while another thread reads it.
//
// Both are views. They own nothing and are valid only while the document they point into lives and is not changed.
// Getters never fail: an element that is absent or of another type gives the default named at the getter.
#pragma once

#include <cstdint>
#include <ctime>
#include <string>

#include "document/bson.h"

namespace orvix {

class BSONArray;
class BSONObject;

class BSONValue {
 public:
  // No element.
  explicit BSONValue(bool isBorrowed) : borrowed(isBorrowed) {}
  // The element that `position` stands on.
  BSONValue(const bson_iter_t& position, bool isBorrowed) : iter(position), borrowed(isBorrowed) {}
  // Before the first element of `document`; no element when it is null.
  BSONValue(const bson_t* document, bool isBorrowed);
  BSONValue(const BSONValue&) = default;
  BSONValue& operator=(const BSONValue&) = default;
  virtual ~BSONValue() = default;

  // BSON type code (e.g. 2 UTF-8 string, 3 document, 16 int32); 0 when not on an element.
  int type() const { return iter.raw != nullptr && iter.off != 0 ? iter.raw[iter.type] : 0; }
  bool isEmpty() const { return iter.raw == nullptr; }
  // Double, int32 or int64.
  bool isNumber() const;
  // The element's key; "" when there is none.
  std::string key() const;
  const char* keyText() const { return type() != 0 ? bson_iter_key(&iter) : ""; }

  // Size of the value in bytes: 8, 4 or 1 for numbers, date-time and boolean; the length of a string without its
  // terminator; 0 for other types. For documents, arrays and binary it is the lowest byte of the stored length alone,
  // which hosts rely on: a document of 300 bytes says 44. BSONObject::dataSize gives the full length.
  uint32_t size() const;
  // The value's bytes inside the document: the number, the first character, the embedded document, or the binary
  // payload; null for other types.
  const uint8_t* data() const;

  // Exact types only: false, 0.0, 0, 0, 0, "" for any other.
  bool getBool() const;
  double getDouble() const;
  int32_t getInt32() const;
  int64_t getInt64() const;
  // Seconds of a date-time, truncated toward zero and to 32 bits, on every platform.
  std::time_t getTime() const;
  // Never null; NUL-terminated, inside the document.
  const char* getString() const;
  std::string getStdString() const { return getString(); }
  // Null for other types, with subtype and length 0. Either out-pointer may be null.
  const uint8_t* getBinary(uint8_t* subtype, uint32_t* length) const;
  // The 32-bit word of a binary element of subtype 0x81 and length 4; 0 for any other.
  uint32_t getPointer() const;

  // False for no element, undefined, null, a zero number and boolean false; true for all else, even when empty.
  bool toBool() const;
  // Numbers and booleans converted, a string through strtod(3); 0.0 for other types.
  double toDouble() const;

  // Overwrites an int64 element in place with milliseconds. Any other element, a date-time too, stays as it is.
  void setTime(std::time_t seconds);

  // The embedded document or array: a view that is valid while the parent lives (`copy` false), or a copy of its own.
  // An element of another type gives an empty one.
  BSONObject getObject(bool copy) const;
  BSONArray getArray(bool copy) const;

  bool isBorrowed() const { return borrowed != 0; }
  const bson_iter_t& position() const { return iter; }

 protected:
  bson_iter_t iter{};  // A null raw pointer says "no element".

 private:
  int32_t borrowed;
};

// An element while walking a document: for (const BSONPair& pair : document) ...
class BSONPair : public BSONValue {
 public:
  explicit BSONPair(const bson_iter_t& position) : BSONValue(position, true) {}
  // A pair without an element; its flag is the negation of `end`.
  explicit BSONPair(bool end) : BSONValue(!end) {}

  BSONPair& operator++();
  BSONPair operator++(int);
  const BSONPair& operator*() const { return *this; }

  // Same position in the same document. All exhausted pairs are equal.
  bool operator==(const BSONPair& other) const;
  bool operator!=(const BSONPair& other) const { return !(*this == other); }
};

}  // namespace orvix

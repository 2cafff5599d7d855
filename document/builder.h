// orvix::BSONBuilder: a growing BSON document.
//
// Threads: one at a time; handles taken with copy false share the builder's document.
//
// Appenders take a key and answer whether libbson took the element; a document cannot exceed 2 GiB. Statuses carry the
// builder's name as their message.
#pragma once

#include <cstdint>
#include <string>

#include "common/status.h"
#include "document/object.h"

namespace orvix {

class BSONBuilder {
 public:
  BSONBuilder() = default;
  // Copies share the document.
  BSONBuilder(const BSONBuilder& other) : name(other.name), document(other.shared()), isFresh(false) {}
  BSONBuilder& operator=(const BSONBuilder& other);

  void setName(const std::string& newName) { name = newName; }
  const std::string& getName() const { return name; }

  // Begins a new document; what was handed out keeps the old one.
  void reset();
  bool isEmpty() const { return isEmptyDocument(document.get()); }

  // Replace the document by a copy of `length` bytes of BSON, checked for its framing alone (not below 5 bytes, length
  // word equal to `length`, final zero). A failure leaves the builder empty.
  Status fromData(const uint8_t* data, uint32_t length);
  // Likewise from another document; an empty one changes nothing.
  Status fromObject(const BSONObject& object);
  // Likewise from JSON text; the failure's message is libbson's.
  Status fromJSON(const char* text);
  // Likewise from the first document in a JSON file, "-" being standard input; a failure keeps the document.
  Status fromJSONFile(const std::string& path);

  bool appendBool(const std::string& key, bool value);
  bool appendDouble(const std::string& key, double value);
  bool appendInt32(const std::string& key, int32_t value);
  bool appendInt64(const std::string& key, int64_t value);
  bool appendString(const std::string& key, const std::string& value);
  // A null text appends a BSON null.
  bool appendString(const std::string& key, const char* value);
  // Copies `length` bytes; null data is taken for a length of 0 only.
  bool appendBinary(const std::string& key, uint8_t subtype, const uint8_t* data, uint32_t length);
  // A 32-bit word as binary of subtype 0x81, see BSONValue::getPointer.
  bool appendPointer(const std::string& key, uint32_t word);
  bool appendValue(const std::string& key, const BSONValue& value);
  // libbson takes any document here and only warns when its first key is not "0".
  bool appendArray(const std::string& key, const BSONArray& array);

  // Nested documents: begin makes `child` build inside this document, end closes it. In between nothing may be appended
  // here, and the child is of no use after its end; libbson ends the process when either rule is broken, or at an end
  // without a begin. False when `child` is null.
  bool appendArrayBegin(const std::string& key, BSONBuilder* child);
  bool appendArrayEnd(BSONBuilder* child);
  bool appendDocumentBegin(const std::string& key, BSONBuilder* child);
  bool appendDocumentEnd(BSONBuilder* child);

  // The document so far: shared, so that later appends show in it (`copy` false), or copied. `borrowed` is set.
  BSONObject getObject(bool copy) const;
  BSONArray getArray(bool copy) const;

 private:
  using Opener = bool(bson_t* parent, const char* key, int keyLength, bson_t* child);

  const DocumentHandle& shared() const;
  bson_t* writable() const;
  bool open(const std::string& key, BSONBuilder* child, Opener* opener);
  DocumentHandle handOut(bool copy) const;

  std::string name = "bsonBuilder";
  // That of a fresh builder is made when it is first used, since a nested builder gets another from its parent. Null
  // until then, and after a failure to replace it.
  mutable DocumentHandle document;
  bool isFresh = true;
};

}  // namespace orvix

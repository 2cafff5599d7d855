// orvix::BSONObject and orvix::BSONArray: shared handles on one BSON document each.
//
// Threads: handles may be copied across threads (the count is atomic); a document must not be read on one thread while
// another changes it.
//
// Copies of a handle share one libbson document, which lives until the last of them goes; copy() makes a document of
// its own. A handle without a document answers every operation as an empty one does.
//
// Paths are dotted: "config.ip.port" names element "port" in document "ip" in document "config"; array elements go by
// their index ("list.1"). The first element with a matching key wins, keys are case-sensitive. A path that does not
// resolve, or ends at an element of another type, gives the caller's default.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "common/status.h"
#include "document/bson.h"
#include "document/value.h"

namespace orvix {

class BSONObject {
 public:
  // No document; `borrowed` is set.
  BSONObject() = default;
  // Shares `shared`. `isBorrowed` is carried along for callers; nothing here reads it.
  BSONObject(std::shared_ptr<bson_t> shared, bool isBorrowed) : document(std::move(shared)), borrowed(isBorrowed) {}
  BSONObject(const BSONObject&) = default;
  BSONObject(BSONObject&&) noexcept = default;
  BSONObject& operator=(const BSONObject&) = default;
  BSONObject& operator=(BSONObject&&) noexcept = default;

  // The BSON type code that the handle stands for: 3, or 4 for an array.
  virtual int type() const;
  // Readable text that is not JSON, see render.h. `withKeys` is a condition: not null shows keys.
  virtual std::string toStream(const void* withKeys, bool recursive) const;
  virtual ~BSONObject() = default;

  bool isEmpty() const { return isEmptyDocument(document.get()); }
  // Number of top-level elements.
  uint32_t count() const;
  // The document's bytes, borrowed, and their number; the number is 0 for an empty document.
  const uint8_t* data() const { return bson_get_data(readable()); }
  uint32_t dataSize() const { return isEmpty() ? 0 : document->len; }

  // A document of its own with the same bytes and flag.
  BSONObject copy() const;
  // Drops this handle's share unless the document is empty; other handles keep it.
  void clear();

  BSONPair begin() const;
  BSONPair end() const { return BSONPair(true); }

  std::string className() const { return "BSONObject"; }
  // libbson's check of lengths and keys: none that begins with "$" or holds a ".". A failure tells the offset that
  // libbson gives; for a document nested too deep to be checked (nesting.h) that of the top-level element. It does not
  // look into the bytes of embedded documents or texts.
  Status validate() const;
  // libbson's legacy extended JSON, in any locale, "{ }" for an empty document. Of what is nested deeper than 201
  // levels it says "{ ... }", and it reads JSON of at most 98 levels. "" when it cannot be converted: a text that is
  // not UTF-8, or code whose scope is nested too deep (nesting.h).
  std::string toJSON() const;
  // Appends all elements of `other` in place; every handle that shares this document sees it. This must not be a view.
  bool concat(const BSONObject& other);

  // By their bytes; operator< compares the bodies over the shorter length, then the shorter document comes first.
  bool operator==(const BSONObject& other) const { return bson_equal(readable(), other.readable()); }
  bool operator!=(const BSONObject& other) const { return !(*this == other); }
  bool operator<(const BSONObject& other) const { return bson_compare(readable(), other.readable()) < 0; }

  bool has(const std::string& path) const;
  // A value without element when the path does not resolve.
  BSONValue get(const std::string& path) const;
  // Exact types only, no conversion.
  bool getBool(const std::string& path, bool def) const;
  double getDouble(const std::string& path, double def) const;
  int32_t getInt32(const std::string& path, int32_t def) const;
  int64_t getInt64(const std::string& path, int64_t def) const;
  // For numbers that a person may have typed as text: int32, int64, double, or a string through strtod(3).
  double getNumber(const std::string& path, double def) const;
  // The text inside the document, or `def`, which may be null.
  const char* getString(const std::string& path, const char* def) const;
  std::string getString(const std::string& path, const std::string& def) const;
  // Null when absent, with subtype and length 0. Either out-pointer may be null.
  const uint8_t* getBinary(const std::string& path, uint8_t* subtype, uint32_t* length) const;
  // The word of a pointer element (see BSONValue::getPointer), or 0.
  uint32_t getPointer(const std::string& path) const;
  // A view valid while this document lives (`copy` false) or a copy; without a document when absent.
  BSONObject getObject(const std::string& path, bool copy) const;
  BSONArray getArray(const std::string& path, bool copy) const;

  // New documents; this one is untouched. Without the top-level elements of that key, which ends at its first NUL, in
  // order.
  BSONObject without(const std::string& key) const;
  // With the pair's value in place of every top-level element of the pair's key; a key that is absent is not added.
  BSONObject replace(const BSONPair& pair) const;

  bool isBorrowed() const { return borrowed != 0; }
  // For calls to libbson; never null.
  const bson_t* readable() const { return document != nullptr ? document.get() : emptyDocument(); }

 private:
  bool find(const std::string& path, bson_iter_t* found) const;

  std::shared_ptr<bson_t> document;
  int32_t borrowed = 1;
};

class BSONArray : public BSONObject {
 public:
  using BSONObject::BSONObject;

  int type() const override;
  std::string toStream(const void* withKeys, bool recursive) const override;
};

}  // namespace orvix

#include "document/builder.h"

#include <climits>

#include "document/cLocale.h"

namespace orvix {
namespace {

// libbson counts in int; a longer text than that cannot be in a document anyway.
bool fits(const std::string& text) {
  return text.size() < INT_MAX;
}

int lengthOf(const std::string& text) {
  return static_cast<int>(text.size());
}

}  // namespace

// Copies share what the source has by now; a fresh source makes its document first, so that both go on in the same.
BSONBuilder& BSONBuilder::operator=(const BSONBuilder& other) {
  if (this != &other) {
    name = other.name;
    document = other.shared();
    isFresh = false;
  }
  return *this;
}

// A fresh builder makes its document when it is first needed: many never need one.
void BSONBuilder::reset() {
  document.reset();
  isFresh = true;
}

const DocumentHandle& BSONBuilder::shared() const {
  if (isFresh) {
    writable();
  }
  return document;
}

bson_t* BSONBuilder::writable() const {
  if (document == nullptr) {
    document = shareDocument(bson_new());
  }
  return document.get();
}

Status BSONBuilder::fromData(const uint8_t* data, uint32_t length) {
  // A failure leaves no document at all: what was there before would pass for what was asked for.
  // libbson looks at the length word and the last byte; the rest is for validate().
  document = shareDocument(data != nullptr ? bson_new_from_data(data, length) : nullptr);
  isFresh = false;
  return document != nullptr ? Status() : Status::failed(name.c_str(), "fromData");
}

Status BSONBuilder::fromObject(const BSONObject& object) {
  // An empty object changes nothing, not even what is there.
  return object.isEmpty() ? Status() : fromData(object.data(), object.dataSize());
}

Status BSONBuilder::fromJSON(const char* text) {
  if (text == nullptr) {
    return Status::invalidArgument(name.c_str(), "fromJSON");
  }
  bson_error_t error{};
  const CLocale locale;
  isFresh = false;
  document = shareDocument(bson_new_from_json(reinterpret_cast<const uint8_t*>(text), -1, &error));
  return document != nullptr ? Status() : Status::failed(error.message);
}

bool BSONBuilder::appendBool(const std::string& key, bool value) {
  return fits(key) && bson_append_bool(writable(), key.c_str(), lengthOf(key), value);
}

bool BSONBuilder::appendDouble(const std::string& key, double value) {
  return fits(key) && bson_append_double(writable(), key.c_str(), lengthOf(key), value);
}

bool BSONBuilder::appendInt32(const std::string& key, int32_t value) {
  return fits(key) && bson_append_int32(writable(), key.c_str(), lengthOf(key), value);
}

bool BSONBuilder::appendInt64(const std::string& key, int64_t value) {
  return fits(key) && bson_append_int64(writable(), key.c_str(), lengthOf(key), value);
}

bool BSONBuilder::appendString(const std::string& key, const std::string& value) {
  return fits(key) && fits(value) &&
         bson_append_utf8(writable(), key.c_str(), lengthOf(key), value.c_str(), lengthOf(value));
}

// Null becomes a BSON null, as libbson has it.
bool BSONBuilder::appendString(const std::string& key, const char* value) {
  return fits(key) && bson_append_utf8(writable(), key.c_str(), lengthOf(key), value, -1);
}

bool BSONBuilder::appendBinary(const std::string& key, uint8_t subtype, const uint8_t* data, uint32_t length) {
  static constexpr uint8_t kNothing = 0;  // libbson refuses a null pointer even for no bytes
  if (!fits(key) || (data == nullptr && length != 0)) {
    return false;
  }
  return bson_append_binary(writable(), key.c_str(), lengthOf(key), static_cast<bson_subtype_t>(subtype),
                            data != nullptr ? data : &kNothing, length);
}

bool BSONBuilder::appendPointer(const std::string& key, uint32_t word) {
  return appendBinary(key, kPointerSubtype, reinterpret_cast<const uint8_t*>(&word), sizeof word);
}

bool BSONBuilder::appendValue(const std::string& key, const BSONValue& value) {
  // libbson wants an iterator that it may write to.
  bson_iter_t position = value.position();
  return fits(key) && value.type() != 0 &&
         bson_append_value(writable(), key.c_str(), lengthOf(key), bson_iter_value(&position));
}

bool BSONBuilder::appendArray(const std::string& key, const BSONArray& array) {
  return fits(key) && bson_append_array(writable(), key.c_str(), lengthOf(key), array.readable());
}

// libbson opens the child in a bson_t of its own on the heap, which destroyDocument frees.
bool BSONBuilder::open(const std::string& key, BSONBuilder* child, Opener* opener) {
  DocumentHandle opened = shareDocument(bson_new());
  if (child == nullptr || child == this || !fits(key) ||
      !opener(writable(), key.c_str(), lengthOf(key), opened.get())) {
    return false;
  }
  child->document = std::move(opened);
  return true;
}

bool BSONBuilder::appendArrayBegin(const std::string& key, BSONBuilder* child) {
  return open(key, child, bson_append_array_begin);
}

bool BSONBuilder::appendArrayEnd(BSONBuilder* child) {
  // The parent is taken up again where it was: nothing may be appended to it meanwhile.
  return child != nullptr && bson_append_array_end(writable(), child->writable());
}

bool BSONBuilder::appendDocumentBegin(const std::string& key, BSONBuilder* child) {
  return open(key, child, bson_append_document_begin);
}

bool BSONBuilder::appendDocumentEnd(BSONBuilder* child) {
  return child != nullptr && bson_append_document_end(writable(), child->writable());
}

DocumentHandle BSONBuilder::handOut(bool copy) const {
  // Without a copy builder and object share one document: what is appended later shows in both.
  const DocumentHandle& own = shared();
  return copy && own != nullptr ? shareDocument(bson_copy(own.get())) : own;
}

BSONObject BSONBuilder::getObject(bool copy) const {
  return {handOut(copy), true};
}

BSONArray BSONBuilder::getArray(bool copy) const {
  return {handOut(copy), true};
}

}  // namespace orvix

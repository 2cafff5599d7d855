#include "document/object.h"

#include <cstdio>
#include <cstring>

#include "document/cLocale.h"
#include "document/nesting.h"
#include "document/render.h"

namespace orvix {

int BSONObject::type() const {
  return BSON_TYPE_DOCUMENT;
}

std::string BSONObject::toStream(const void* withKeys, bool recursive) const {
  return renderObject(*this, withKeys, recursive, false);
}

int BSONArray::type() const {
  return BSON_TYPE_ARRAY;
}

std::string BSONArray::toStream(const void* withKeys, bool recursive) const {
  return renderObject(*this, withKeys, recursive, true);
}

uint32_t BSONObject::count() const {
  return isEmpty() ? 0 : bson_count_keys(document.get());
}

BSONObject BSONObject::copy() const {
  return {shareDocument(bson_copy(readable())), isBorrowed()};
}

void BSONObject::clear() {
  if (!isEmpty()) {
    document.reset();
  }
}

BSONPair BSONObject::begin() const {
  bson_iter_t first;
  if (!bson_iter_init(&first, readable())) {
    return end();
  }
  // In front of the first element: the step leads to it, or to the end.
  return ++BSONPair(first);
}

Status BSONObject::validate() const {
  // A key with a dot could not be reached by a path; one with a dollar means an operator to databases.
  constexpr auto kFlags = static_cast<bson_validate_flags_t>(BSON_VALIDATE_UTF8 | BSON_VALIDATE_DOLLAR_KEYS |
                                                             BSON_VALIDATE_DOT_KEYS | BSON_VALIDATE_UTF8_ALLOW_NULL);
  // Refused before libbson sees it: its walk would need a stack as deep as the document.
  const std::optional<size_t> tooDeep = offsetOfTooDeep(readable(), Walk::kValidation);
  size_t offset = tooDeep.value_or(0);
  if (!tooDeep && bson_validate(readable(), kFlags, &offset)) {
    return {};
  }
  char detail[64];
  std::snprintf(detail, sizeof detail, "BSON is invalid at offset 0x%x.\n", static_cast<unsigned>(offset));
  return Status::failed(className().c_str(), detail);
}

std::string BSONObject::toJSON() const {
  if (offsetOfTooDeep(readable(), Walk::kJson)) {
    return {};
  }
  const CLocale locale;
  size_t length = 0;
  const std::unique_ptr<char, decltype(&bson_free)> text(bson_as_json(readable(), &length), bson_free);
  return text != nullptr ? std::string(text.get(), length) : std::string();
}

bool BSONObject::concat(const BSONObject& other) {
  if (document == nullptr) {
    document = shareDocument(bson_new());
  }
  if (document == other.document) {
    return concat(other.copy());  // A document cannot be walked while it grows.
  }
  return bson_concat(document.get(), other.readable());
}

// Element by element, because libbson's own copy without a key ends the process on a damaged document.
BSONObject BSONObject::without(const std::string& key) const {
  DocumentHandle rest = shareDocument(bson_new());
  for (const BSONPair& element : *this) {
    if (std::strcmp(key.c_str(), element.keyText()) != 0) {
      bson_append_iter(rest.get(), nullptr, 0, &element.position());
    }
  }
  return {std::move(rest), isBorrowed()};
}

BSONObject BSONObject::replace(const BSONPair& pair) const {
  DocumentHandle result = shareDocument(bson_new());
  bson_iter_t value = pair.position();
  for (const BSONPair& element : *this) {
    if (pair.type() != 0 && std::strcmp(pair.keyText(), element.keyText()) == 0) {
      bson_append_value(result.get(), pair.keyText(), -1, bson_iter_value(&value));
    } else {
      // Without a key of its own the element keeps the one that it has.
      bson_append_iter(result.get(), nullptr, 0, &element.position());
    }
  }
  return {std::move(result), isBorrowed()};
}

}  // namespace orvix

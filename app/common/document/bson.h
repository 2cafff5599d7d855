// The one header that includes libbson, and how the document model shares its documents. Any thread.
#pragma once

#include <bson/bson.h>

#include <memory>

namespace orvix {

// A shared document, destroyed with destroyDocument when the last handle goes.
using DocumentHandle = std::shared_ptr<bson_t>;

// Frees the heap-allocated bson_t itself too, which libbson marks static when it opens a child document in it.
inline void destroyDocument(bson_t* document) {
  constexpr uint32_t kStaticFlag = 2;
  document->flags &= ~kStaticFlag;
  bson_destroy(document);
}

// Takes a document made on the heap by libbson; null gives a null handle.
inline DocumentHandle shareDocument(bson_t* document) {
  return document != nullptr ? DocumentHandle(document, destroyDocument) : DocumentHandle();
}

// A document for those who have none.
inline const bson_t* emptyDocument() {
  static const bson_t empty = BSON_INITIALIZER;
  return &empty;
}

inline bool isEmptyDocument(const bson_t* document) {
  constexpr uint32_t kEmptyLength = 5;
  constexpr uint32_t kFirstType = 4;
  return document == nullptr || document->len == kEmptyLength || bson_get_data(document)[kFirstType] == 0;
}

}  // namespace orvix

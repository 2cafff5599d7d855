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

// The subtype of a binary element that holds a 32-bit word, see BSONValue::getPointer.
// In the range that BSON leaves to its users (0x80 to 0xFF).
constexpr uint8_t kPointerSubtype = 0x81;

// A document for those who have none.
inline const bson_t* emptyDocument() {
  static const bson_t empty = BSON_INITIALIZER;
  return &empty;
}

// The five bytes are a length word and the final zero. Bytes of a host may claim more and hold no element: the first
// type byte tells.
inline bool isEmptyDocument(const bson_t* document) {
  constexpr uint32_t kEmptyLength = 5;
  constexpr uint32_t kFirstType = 4;
  return document == nullptr || document->len == kEmptyLength || bson_get_data(document)[kFirstType] == 0;
}

// Views the document, array or scope that an element holds, without a copy; false when it holds none that is framed as
// a document.
// The view borrows the parent's bytes: it ends with them, and is not to be destroyed.
inline bool viewEmbedded(const bson_iter_t& element, bson_t* view) {
  const uint8_t* bytes = nullptr;
  uint32_t length = 0;
  uint32_t codeLength = 0;
  switch (bson_iter_type(&element)) {
    case BSON_TYPE_DOCUMENT:
      bson_iter_document(&element, &length, &bytes);
      break;
    case BSON_TYPE_ARRAY:
      bson_iter_array(&element, &length, &bytes);
      break;
    case BSON_TYPE_CODEWSCOPE:
      bson_iter_codewscope(&element, &codeLength, &length, &bytes);
      break;
    default:
      break;
  }
  return bytes != nullptr && bson_init_static(view, bytes, length);
}

}  // namespace orvix

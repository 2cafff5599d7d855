#include "document/visit.h"

#include "debug/xdbg.h"

namespace orvix {
namespace {

bool isNested(const bson_iter_t* iter) {
  return BSON_ITER_HOLDS_DOCUMENT(iter) || BSON_ITER_HOLDS_ARRAY(iter);
}

}  // namespace

bool visit(const bson_t* document, const bson_visitor_t* visitors, void* data) {
  bson_iter_t iter;
  return document != nullptr && bson_iter_init(&iter, document) && bson_iter_visit_all(&iter, visitors, data);
}

bool visitPreOrder(const bson_iter_t* iter, const char* key, void* /*data*/) {
  if (isNested(iter)) {
    XDbgInfo("visitPreOrder: '%s'", key);
  }
  return false;
}

bool visitPostOrder(const bson_iter_t* iter, const char* key, void* /*data*/) {
  if (isNested(iter)) {
    XDbgInfo("visitPostOrder: '%s'", key);
  }
  return false;
}

}  // namespace orvix

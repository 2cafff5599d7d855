// Pre-order walks over a document. Any thread, while nobody changes the document.
#pragma once

#include "document/bson.h"

namespace orvix {

// Calls the table's functions for every element with `data` passed through (bson_iter_visit_all). Returns true when a
// function ended the walk early; false, without a call, for a null or broken document.
bool visit(const bson_t* document, const bson_visitor_t* visitors, void* data);

// Table entries for "before" and "after": report the key of every document and array as information; false (go on).
bool visitPreOrder(const bson_iter_t* iter, const char* key, void* data);
bool visitPostOrder(const bson_iter_t* iter, const char* key, void* data);

}  // namespace orvix

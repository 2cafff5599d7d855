// Documents as readable text for log lines; this is not JSON, see BSONObject::toJSON. Pure functions; any thread, while
// nobody changes the document.
//
// `withKeys` is a condition: not null shows keys. Numbers are shown as printf(3) prints "%f" and the integers; strings
// stand in double quotes as they are, nothing is escaped. Types without a form of their own show as Ops.
#pragma once

#include <string>

#include "document/object.h"

namespace orvix {

// "{ ELEMENT, ELEMENT }", an array in brackets and without keys. `recursive` expands nested documents and arrays to any
// depth; otherwise they show as <Object> and <Array>.
std::string renderObject(const BSONObject& object, const void* withKeys, bool recursive, bool isArray);

// One element, its key in front unless `noKey`; "" when there is no element.
std::string renderValue(const BSONValue& value, const void* withKeys, bool recursive, bool noKey);

}  // namespace orvix

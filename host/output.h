// JSON on standard output, where scripts read it: one document a line, flushed at once. One thread.
#pragma once

#include <string>

#include "document/object.h"
#include "host/exitCode.h"

namespace orvix::host {

// One document a line, in ASCII: nothing in it can steer a terminal. Bytes that are no UTF-8 are replaced.
void printJson(const Json& document);

// {"at": TIME, "kind": KIND, and the fields}, for what comes over time.
void printJsonEvent(const std::string& kind, const Json& fields);

// A BSON document likewise.
void printDocument(const BSONObject& document);

// A BSON document as JSON; null when it has no JSON form.
// Types that JSON lacks stand as libbson writes them ({"$oid": ...}, bson_as_json).
Json jsonOf(const BSONObject& document);

}  // namespace orvix::host

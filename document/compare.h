// Order and equality of BSON elements. Pure functions; any thread.
#pragma once

#include "document/value.h"

namespace orvix {

// Place of a BSON type code in the order of types: numbers share one place, as do string and symbol, and date-time and
// timestamp. decimal128 (19) stands apart from the numbers; min-key, max-key and unknown codes share -1.
int canonicalRank(int typeCode);

// Negative when `a` sorts first, 0 when equal, positive otherwise; not clamped to -1 and 1. Types are compared by rank
// (all numbers together), then with `withKeys` the keys bytewise, then the values.
int compare(const BSONValue& a, const BSONValue& b, bool withKeys);

// The values alone, by the type of `a`: numbers as double (NaN sorts last), strings, documents and arrays bytewise,
// booleans, date-times in whole seconds. Other types are reported and give -1, even for an element and itself.
int compareValues(const BSONValue& a, const BSONValue& b);

inline bool operator==(const BSONValue& a, const BSONValue& b) {
  return compare(a, b, true) == 0;
}

inline bool operator!=(const BSONValue& a, const BSONValue& b) {
  return !(a == b);
}

}  // namespace orvix

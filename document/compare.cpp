#include "document/compare.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "debug/xdbg.h"
#include "document/object.h"

namespace orvix {
namespace {

// NaN is neither below nor equal to anything, and so sorts last.
template <typename Number>
int order(Number a, Number b) {
  if (a < b) {
    return -1;
  }
  return a == b ? 0 : 1;
}

int compareBytes(std::string_view a, std::string_view b) {
  // Lengths in a document have 31 bits, so that their difference is an int.
  const int difference = std::memcmp(a.data(), b.data(), std::min(a.size(), b.size()));
  return difference != 0 ? difference : static_cast<int>(a.size()) - static_cast<int>(b.size());
}

int compareBools(const BSONValue& a, const BSONValue& b) {
  // Hosts rely on it: below is judged by what counts as true, above by bools alone.
  if (!a.toBool() && b.toBool()) {
    return -1;
  }
  return a.getBool() != b.getBool() ? 1 : 0;
}

}  // namespace

// The order of types of BSON comparisons; the steps of 5 mean nothing, but hosts see the differences.
int canonicalRank(int typeCode) {
  switch (typeCode) {
    case BSON_TYPE_EOD:
    case BSON_TYPE_UNDEFINED:
      return 0;
    case BSON_TYPE_NULL:
      return 5;
    case BSON_TYPE_DOUBLE:
    case BSON_TYPE_INT32:
    case BSON_TYPE_INT64:
      return 10;
    case BSON_TYPE_UTF8:
    case BSON_TYPE_SYMBOL:
      return 15;
    case BSON_TYPE_DOCUMENT:
      return 20;
    case BSON_TYPE_ARRAY:
      return 25;
    case BSON_TYPE_BINARY:
      return 30;
    case BSON_TYPE_OID:
      return 35;
    case BSON_TYPE_BOOL:
      return 40;
    case BSON_TYPE_DATE_TIME:
    case BSON_TYPE_TIMESTAMP:
      return 45;
    case BSON_TYPE_REGEX:
      return 50;
    case BSON_TYPE_DBPOINTER:
      return 55;
    case BSON_TYPE_CODE:
      return 60;
    case BSON_TYPE_CODEWSCOPE:
      return 65;
    case BSON_TYPE_DECIMAL128:
    case 20:
      return typeCode;  // Hosts rely on it: these two do not rank with the numbers.
    default:
      return -1;  // Hosts rely on it: min-key and max-key too sort below everything.
  }
}

int compare(const BSONValue& a, const BSONValue& b, bool withKeys) {
  const int ranks = canonicalRank(a.type()) - canonicalRank(b.type());
  if (ranks != 0) {
    return ranks;
  }
  if (withKeys) {
    // Keys before values, as documents are compared.
    const int keys = compareBytes(a.keyText(), b.keyText());
    if (keys != 0) {
      return keys;
    }
  }
  return compareValues(a, b);
}

int compareValues(const BSONValue& a, const BSONValue& b) {
  switch (a.type()) {
    case BSON_TYPE_EOD:
    case BSON_TYPE_UNDEFINED:
    case BSON_TYPE_NULL:
    case BSON_TYPE_DECIMAL128:
    case 20:
      return order(canonicalRank(a.type()), canonicalRank(b.type()));
    case BSON_TYPE_DOUBLE:
    case BSON_TYPE_INT32:
    case BSON_TYPE_INT64:
      // As doubles, in which 64-bit integers above 2^53 lose their last digits: hosts compare across the types.
      return order(a.toDouble(), b.toDouble());
    case BSON_TYPE_UTF8:
      // As C texts: what stands after a zero byte does not count.
      return compareBytes(a.getString(), b.getString());
    case BSON_TYPE_DOCUMENT:
      return bson_compare(a.getObject(false).readable(), b.getObject(false).readable());
    case BSON_TYPE_ARRAY:
      return bson_compare(a.getArray(false).readable(), b.getArray(false).readable());
    case BSON_TYPE_BOOL:
      return compareBools(a, b);
    case BSON_TYPE_DATE_TIME:
      return order(a.getTime(), b.getTime());
    default:
      // Hosts rely on it: these are equal to nothing, not even to themselves.
      XDbgInfo("compareValues: bad type 0x%x", static_cast<unsigned>(a.type()));
      return -1;
  }
}

}  // namespace orvix

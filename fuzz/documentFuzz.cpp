// Any bytes as a BSON document, and the bytes after it as a second one: every way to read and rewrite them.

#include <cstring>

#include "document/document.h"
#include "fuzz/fuzz.h"

using orvix::BSONBuilder;
using orvix::BSONObject;
using orvix::BSONPair;

namespace {

// The length word tells where the second document begins.
std::size_t lengthOfFirst(const std::uint8_t* data, std::size_t size) {
  std::uint32_t length = 0;
  if (size >= sizeof length) {
    std::memcpy(&length, data, sizeof length);
  }
  return std::min<std::size_t>(size, BSON_UINT32_FROM_LE(length));
}

// Reads every byte, so that a sanitizer sees where the memory ends.
unsigned sum(const std::uint8_t* data, std::size_t size) {
  unsigned total = 0;
  for (std::size_t i = 0; data != nullptr && i < size; ++i) {
    total += data[i];
  }
  return total;
}

unsigned readElement(const BSONPair& element) {
  unsigned total = element.getBool() + element.toBool() + static_cast<unsigned>(element.key().size());
  total += static_cast<unsigned>(element.getInt32()) + static_cast<unsigned>(element.getInt64());
  total += static_cast<unsigned>(element.getTime()) + element.getPointer() + (element.getDouble() < element.toDouble());
  total += sum(element.data(), element.size()) + static_cast<unsigned>(element.getStdString().size());
  std::uint8_t subtype = 0;
  std::uint32_t length = 0;
  const std::uint8_t* const binary = element.getBinary(&subtype, &length);
  return total + subtype + sum(binary, length);
}

unsigned readPath(const BSONObject& object, const std::string& path) {
  unsigned total = object.has(path) + object.getBool(path, true) + (object.getDouble(path, 1) < 1);
  total += static_cast<unsigned>(object.getInt32(path, 1)) + static_cast<unsigned>(object.getInt64(path, 1));
  total += static_cast<unsigned>(object.getString(path, std::string()).size()) + (object.getNumber(path, 1) < 1);
  total += object.getPointer(path) + object.getObject(path, true).count() + object.getArray(path, true).count();
  return total;
}

// Walks the embedded documents too; `path` leads to `object` and ends with a dot unless empty.
unsigned walk(const BSONObject& root, const BSONObject& object, const std::string& path) {
  unsigned total = 0;
  for (const BSONPair& element : object) {
    total += readElement(element) + readPath(root, path + element.key());
    total += static_cast<unsigned>(renderValue(element, "keys", true, false).size());
    total += walk(root, element.getObject(false), path + element.key() + ".");
    total += walk(root, element.getArray(false), path + element.key() + ".");
    total += element.getObject(true).dataSize() + element.getArray(true).dataSize();
    fuzz::require(element.type() != BSON_TYPE_UTF8 || compare(element, element, true) == 0, "a text equals itself");
  }
  return total;
}

void compareWith(const BSONObject& a, const BSONObject& b) {
  fuzz::require(a == a.copy() && !(a < a), "a document equals its copy");
  const bool isFirst = a < b;
  fuzz::require(!isFirst || !(b < a), "one of two documents is first");
  BSONPair other = b.begin();
  for (const BSONPair& element : a) {
    compare(element, other, true);
    compareValues(other, element);
    ++other;
  }
}

void rewrite(const BSONObject& a, const BSONObject& b) {
  for (const BSONPair& element : a) {
    for (const BSONPair& rest : a.without(element.key())) {
      fuzz::require(rest.key() != element.key(), "a key taken out is gone");
    }
    b.replace(element);
    BSONBuilder builder;
    builder.appendValue("value", element);
    BSONPair copied = builder.getObject(false).begin();
    copied.setTime(1);
  }
  BSONObject joined = a.copy();
  joined.concat(b);
  joined.concat(joined);
  joined.toStream(nullptr, false);
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::size_t first = lengthOfFirst(data, size);
  BSONBuilder builder;
  if (!builder.fromData(data, static_cast<std::uint32_t>(first)).isOk()) {
    return 0;
  }
  const BSONObject a = builder.getObject(true);
  const BSONObject b =
      builder.fromData(data + first, static_cast<std::uint32_t>(size - first)).isOk() ? builder.getObject(true) : a;
  a.validate();
  a.toJSON();
  a.toStream("keys", true);
  [[maybe_unused]] static volatile unsigned used;  // Or the compiler drops the reads.
  used = walk(a, a, "") + sum(a.data(), a.dataSize());
  compareWith(a, b);
  rewrite(a, b);
  return 0;
}

#include "common/status.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <limits>
#include <string_view>

// The assertions fire in every build type.
#undef NDEBUG
#include <cassert>

namespace orvix {

static_assert(sizeof(Status) == sizeof(void*), "a status is passed around by value");

namespace {

// Of the block drawn in the header.
constexpr std::size_t kHeaderSize = 4;
constexpr std::size_t kCodeOffset = 3;
constexpr char kSeparator[] = ": ";
// Source and lines that an assertion shows. Hosts know the texts: they stay, wherever the code moves.
constexpr char kSourceTag[] = "app/common/status";
constexpr int kNullMessageLine = 96;
constexpr int kSuccessCodeLine = 57;

std::size_t textLength(const char* block) {
  std::uint16_t length = 0;
  std::memcpy(&length, block, sizeof length);
  return length;
}

std::unique_ptr<char[]> cloned(const char* block) {
  if (block == nullptr) {
    return nullptr;
  }
  const std::size_t size = kHeaderSize + textLength(block);
  std::unique_ptr<char[]> copy(new char[size]);
  std::memcpy(copy.get(), block, size);
  return copy;
}

// Copies as much of a text as fits before `end`, and returns where it stopped.
char* appended(char* out, const char* end, const char* text, std::size_t length) {
  return std::copy_n(text, std::min(length, static_cast<std::size_t>(end - out)), out);
}

// `room` serves the codes that have none of their own.
std::string_view prefixOf(unsigned code, char (&room)[30]) {
  static constexpr std::string_view kPrefixes[] = {
      "OK",
      "OK: ",
      "Aborted: ",
      "Access denied: ",
      "Failed: ",
      "Invalid argument: ",
      "Invalid handle: ",
      "Invalid pointer: ",
      "No interface: ",
      "Not implemented: ",
      "Out of memory: ",
      "Pending operation: ",
      "Unexpected: ",
      "Forbidden: ",
  };
  if (code < std::size(kPrefixes)) {
    return kPrefixes[code];
  }
  const int length = std::snprintf(room, sizeof room, "Unknown code(0x%x): ", code);
  return {room, static_cast<std::size_t>(length)};
}

}  // namespace

Status::Status(eCode code, const char* pszMsg, const char* detail) {
  if (pszMsg == nullptr) {
    // assert(3) would name this file and this line.
    __assert_fail("nullptr != pszMsg", kSourceTag, kNullMessageLine,
                  "orvix::Status::Status(orvix::Status::eCode, const char*, const char*)");
  }
  initState(code, pszMsg, std::strlen(pszMsg), detail, detail != nullptr ? std::strlen(detail) : 0);
}

Status::Status(eCode code, const std::string& message, const std::string& detail)
    : Status(code, message.c_str(), detail.empty() ? nullptr : detail.c_str()) {
}

void Status::initState(eCode code, const char* msg, std::size_t msgLength, const char* detail,
                       std::size_t detailLength) {
  if (code == kOk) {
    __assert_fail("kOk != code", kSourceTag, kSuccessCodeLine,
                  "void orvix::Status::initState(orvix::Status::eCode, const char*, size_t, const char*, size_t)");
  }
  // The length field has 16 bits: what it cannot count is cut off, detail first.
  constexpr std::size_t kLongest = std::numeric_limits<std::uint16_t>::max();
  const std::size_t whole = msgLength + (detailLength != 0 ? std::strlen(kSeparator) + detailLength : 0);
  const auto length = static_cast<std::uint16_t>(std::min(whole, kLongest));
  state.reset(new char[kHeaderSize + length]);
  std::memcpy(state.get(), &length, sizeof length);
  state[kCodeOffset] = static_cast<char>(code);
  char* out = state.get() + kHeaderSize;
  const char* const end = out + length;
  out = appended(out, end, msg, msgLength);
  if (detailLength != 0) {
    out = appended(out, end, kSeparator, std::strlen(kSeparator));
    appended(out, end, detail, detailLength);
  }
}

Status::Status(const Status& other) : state(cloned(other.state.get())) {
}

Status& Status::operator=(const Status& other) {
  if (state != other.state) {  // the same only when both are success, or it is itself
    // Copied before the old block goes: when memory is out, this one stays as it was.
    state = cloned(other.state.get());
  }
  return *this;
}

Status::eCode Status::code() const noexcept {
  // Unsigned first: char has a sign on one machine and none on another.
  return state == nullptr ? kOk : static_cast<eCode>(static_cast<unsigned char>(state[kCodeOffset]));
}

bool Status::isOk() const noexcept {
  return state == nullptr || code() == kOkWithMessage;
}

std::string Status::toString() const {
  char room[30];
  const std::string_view prefix = prefixOf(code(), room);
  const std::size_t length = state != nullptr ? textLength(state.get()) : 0;
  std::string text;
  text.reserve(prefix.size() + length);
  text.append(prefix);
  if (length != 0) {
    text.append(state.get() + kHeaderSize, length);
  }
  return text;
}

}  // namespace orvix

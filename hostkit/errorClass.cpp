#include "hostkit/errorClass.h"

namespace orvix::hostkit {
namespace {

struct CodeRange {
  ErrorKind kind;
  int first;
  int last;
  ErrorClass errorClass;
};

// What is not here is a doubt: 300, 332, 500, the manufacturers' own from 512 on, and whatever is unknown.
constexpr CodeRange kClasses[] = {
    {ErrorKind::kCms, 1, 1, ErrorClass::kMessage},     {ErrorKind::kCms, 8, 8, ErrorClass::kMessage},
    {ErrorKind::kCms, 10, 10, ErrorClass::kMessage},   {ErrorKind::kCms, 28, 28, ErrorClass::kMessage},
    {ErrorKind::kCms, 30, 30, ErrorClass::kMessage},   {ErrorKind::kCms, 50, 50, ErrorClass::kMessage},
    {ErrorKind::kCms, 69, 69, ErrorClass::kMessage},   {ErrorKind::kCms, 81, 81, ErrorClass::kMessage},
    {ErrorKind::kCms, 95, 99, ErrorClass::kMessage},   {ErrorKind::kCms, 111, 111, ErrorClass::kMessage},
    {ErrorKind::kCms, 304, 305, ErrorClass::kMessage}, {ErrorKind::kCms, 38, 38, ErrorClass::kNetwork},
    {ErrorKind::kCms, 41, 42, ErrorClass::kNetwork},   {ErrorKind::kCms, 47, 47, ErrorClass::kNetwork},
    {ErrorKind::kCms, 331, 331, ErrorClass::kNetwork}, {ErrorKind::kCme, 30, 32, ErrorClass::kNetwork},
    {ErrorKind::kCms, 310, 313, ErrorClass::kModem},   {ErrorKind::kCms, 315, 318, ErrorClass::kModem},
    {ErrorKind::kCms, 330, 330, ErrorClass::kModem},   {ErrorKind::kCme, 5, 7, ErrorClass::kModem},
    {ErrorKind::kCme, 10, 18, ErrorClass::kModem},     {ErrorKind::kCms, 21, 22, ErrorClass::kChance},
    {ErrorKind::kCms, 27, 27, ErrorClass::kChance},    {ErrorKind::kCms, 29, 29, ErrorClass::kChance},
    {ErrorKind::kCms, 302, 302, ErrorClass::kChance},  {ErrorKind::kCms, 314, 314, ErrorClass::kChance},
};

// No two ranges overlap, so their order means nothing.
constexpr ErrorClass tableClass(ErrorKind kind, int code) {
  for (const CodeRange& range : kClasses) {
    if (range.kind == kind && code >= range.first && code <= range.last) {
      return range.errorClass;
    }
  }
  return ErrorClass::kDoubt;
}

static_assert(tableClass(ErrorKind::kCms, 500) == ErrorClass::kDoubt);
static_assert(tableClass(ErrorKind::kCms, 314) == ErrorClass::kChance);

struct ClassName {
  const char* word;
  ErrorClass errorClass;
};

constexpr ClassName kNames[] = {{"message", ErrorClass::kMessage},
                                {"network", ErrorClass::kNetwork},
                                {"modem", ErrorClass::kModem},
                                {"chance", ErrorClass::kChance},
                                {"doubt", ErrorClass::kDoubt}};

}  // namespace

ErrorClass classOf(ErrorKind kind, std::optional<int> code, bool isBeforeText, const ClassOverrides& overrides) {
  ErrorClass found = ErrorClass::kDoubt;
  if (code) {
    // Only codes of +CMS ERROR can be moved: it is there that modems use 500 and its like in ways of their own.
    const auto own = kind == ErrorKind::kCms ? overrides.find(*code) : overrides.end();
    found = own != overrides.end() ? own->second : tableClass(kind, *code);
  }
  // Before its text a message cannot be out, so nothing is in doubt.
  return found == ErrorClass::kDoubt && isBeforeText ? ErrorClass::kChance : found;
}

std::optional<ErrorClass> classNamed(const std::string& word) {
  for (const ClassName& name : kNames) {
    if (word == name.word) {
      return name.errorClass;
    }
  }
  return std::nullopt;
}

}  // namespace orvix::hostkit

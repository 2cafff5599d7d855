// Copies, tokens and fields of delimited texts.

#include <cstring>
#include <optional>
#include <string_view>

#include "debug/xdbg.h"

namespace {

std::string_view viewOf(const char* text) {
  return text != nullptr ? std::string_view(text) : std::string_view();
}

char* copyView(char* dest, int size, std::string_view text) {
  if (size >= 1) {
    const size_t length = text.copy(dest, static_cast<size_t>(size) - 1);
    dest[length] = '\0';
  }
  return dest;
}

// Walks the fields of a text: what stands between delimiters, on demand without the empty ones.
class Fields {
 public:
  Fields(const char* text, const char* delimiter, bool isEmptyCounted)
      : rest(viewOf(text)), delim(viewOf(delimiter)), countsEmpty(isEmptyCounted), isDone(rest.empty()) {}

  std::optional<std::string_view> next() {
    while (!isDone) {
      const size_t end = delim.empty() ? std::string_view::npos : rest.find(delim);
      const std::string_view field = rest.substr(0, end);
      // After the last delimiter stands one more field, which may be empty.
      isDone = end == std::string_view::npos;
      rest.remove_prefix(isDone ? rest.size() : end + delim.size());
      if (countsEmpty || !field.empty()) {
        return field;
      }
    }
    return std::nullopt;
  }

 private:
  std::string_view rest;
  std::string_view delim;
  bool countsEmpty;
  bool isDone;
};

int count(Fields fields) {
  int number = 0;
  while (fields.next()) {
    ++number;
  }
  return number;
}

// Field number n from 1; an empty text when there is none.
std::string_view nth(Fields fields, int n) {
  int number = 0;
  while (const std::optional<std::string_view> field = fields.next()) {
    if (++number == n) {
      return *field;
    }
  }
  return {};
}

}  // namespace

char* XDbgCopy(char* dest, int size, const char* src) {
  return copyView(dest, size, viewOf(src));
}

// An empty delimiter is found at once: nothing is copied then.
char* XDbgCopyUntil(char* dest, int size, const char* src, const char* delim) {
  const std::string_view text = viewOf(src);
  return copyView(dest, size, text.substr(0, text.find(viewOf(delim))));
}

char* XDbgToken(char* dest, int size, const char* src, const char* delim, int n) {
  if (viewOf(delim).empty()) {
    return XDbgCopy(dest, size, src);  // Hosts rely on it: whatever the number is.
  }
  return copyView(dest, size, nth(Fields(src, delim, false), n));
}

int XDbgTokenCount(const char* src, const char* delim) {
  return count(Fields(src, delim, false));
}

char* XDbgField(char* dest, int size, const char* src, const char* delim, int n) {
  return copyView(dest, size, nth(Fields(src, delim, true), n));
}

int XDbgFieldCount(const char* src, const char* delim) {
  return count(Fields(src, delim, true));
}

const char* XDbgBaseName(const char* path) {
  if (path == nullptr) {
    return "";
  }
  // The first kind that the path holds decides, wherever the others stand.
  for (const char separator : {'\\', '/', ':'}) {
    if (const char* last = std::strrchr(path, separator)) {
      return last + 1;
    }
  }
  return path;
}

#include <cstring>
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

// Walks the fields of a text: what stands between delimiters, the empty ones included.
class Fields {
 public:
  Fields(std::string_view text, std::string_view delimiter) : rest(text), delim(delimiter), done(text.empty()) {}

  bool next(std::string_view* field) {
    if (done) {
      return false;
    }
    const size_t end = delim.empty() ? std::string_view::npos : rest.find(delim);
    *field = rest.substr(0, end);
    done = end == std::string_view::npos;
    rest.remove_prefix(done ? rest.size() : end + delim.size());
    return true;
  }

 private:
  std::string_view rest;
  std::string_view delim;
  bool done;
};

// Takes field number n, or without `countEmpty` the n-th field that is not empty; n 0 counts them.
int scan(const char* src, const char* delim, bool countEmpty, int n, std::string_view* found) {
  Fields fields(viewOf(src), viewOf(delim));
  int number = 0;
  for (std::string_view field; fields.next(&field);) {
    if (countEmpty || !field.empty()) {
      ++number;
      if (number == n) {
        *found = field;
      }
    }
  }
  return number;
}

char* pick(char* dest, int size, const char* src, const char* delim, bool countEmpty, int n) {
  std::string_view found;
  scan(src, delim, countEmpty, n, &found);
  return copyView(dest, size, found);
}

}  // namespace

char* XDbgCopy(char* dest, int size, const char* src) {
  return copyView(dest, size, viewOf(src));
}

char* XDbgCopyUntil(char* dest, int size, const char* src, const char* delim) {
  const std::string_view text = viewOf(src);
  return copyView(dest, size, text.substr(0, text.find(viewOf(delim))));
}

char* XDbgToken(char* dest, int size, const char* src, const char* delim, int n) {
  if (viewOf(delim).empty()) {
    return XDbgCopy(dest, size, src);  // Hosts rely on it: whatever the number is.
  }
  return pick(dest, size, src, delim, false, n);
}

int XDbgTokenCount(const char* src, const char* delim) {
  return scan(src, delim, false, 0, nullptr);
}

char* XDbgField(char* dest, int size, const char* src, const char* delim, int n) {
  return pick(dest, size, src, delim, true, n);
}

int XDbgFieldCount(const char* src, const char* delim) {
  return scan(src, delim, true, 0, nullptr);
}

const char* XDbgBaseName(const char* path) {
  if (path == nullptr) {
    return "";
  }
  for (const char separator : {'\\', '/', ':'}) {
    if (const char* last = std::strrchr(path, separator)) {
      return last + 1;
    }
  }
  return path;
}

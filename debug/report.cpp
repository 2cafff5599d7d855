// Reports and their settings: formatted, offered to the hooks, then sent to the outputs of their level.

#include <cstdlib>
#include <initializer_list>
#include <memory>

#include "debug/prompt.h"
#include "debug/xdbg.h"

namespace {

constexpr unsigned kLevelCount = 4;

// One for the process, without a lock: they are set while nobody reports.
struct Settings {
  // At load only assertions say anything, and they ask.
  int routes[kLevelCount] = {0, 0, 0, kXDbgToPrompt};
  FILE* streams[kLevelCount] = {};
  XDbgReportHook hook = nullptr;
  XDbgReportHookEx hookEx = nullptr;
};

Settings settings;

struct FreeDeleter {
  void operator()(char* block) const { std::free(block); }
};

// Opened anew for every report, so that the file may be moved away or read at any time.
void appendToFile(const char* text) {
  if (FILE* file = std::fopen("xdebug.txt", "ab")) {
    std::fputs(text, file);
    std::fclose(file);
  }
}

void writeToStream(FILE* stream, const char* text) {
  if (stream == kXDbgStreamFile) {
    appendToFile(text);
  } else if (stream != nullptr) {
    std::fputs(text, stream);
  }
}

// A hook's 0 says that it has taken the report.
bool isHandledByHook(unsigned level, int route, const char* text, int extra) {
  const int hookLevel = static_cast<int>(level);
  if (settings.hookEx != nullptr && settings.hookEx(hookLevel, route, text, kXDbgMessageSize, extra) == 0) {
    return true;
  }
  return settings.hook != nullptr && settings.hook(hookLevel, route, text, kXDbgMessageSize) == 0;
}

// The order is part of the interface: the file, the stream, the prompt, and the file again for its two other bits.
int deliver(unsigned level, int route, const char* text) {
  int answer = 0;
  if ((route & kXDbgToFile) != 0) {
    appendToFile(text);
  }
  if ((route & kXDbgToStream) != 0) {
    writeToStream(settings.streams[level], text);
  }
  if ((route & kXDbgToPrompt) != 0) {
    answer = xdbg::prompt(level, text);
  }
  for (const int also : {kXDbgToFileSecond, kXDbgToFileThird}) {
    if ((route & also) != 0) {
      appendToFile(text);
    }
  }
  return answer;
}

}  // namespace

int XDbgReport(unsigned level, int routeOverride, const char* /*fileName*/, int /*lineNumber*/, const char* format,
               va_list args, int extra) {
  const int ownRoute = level < kLevelCount ? settings.routes[level] : 0;
  // A level that is off stays off, whatever the caller asks for.
  const int route = routeOverride != -1 && ownRoute != 0 ? routeOverride : ownRoute;
  if (format == nullptr || route == 0) {
    return 0;
  }
  // A buffer for each report, so that threads may report at the same time.
  const std::unique_ptr<char, FreeDeleter> text(static_cast<char*>(std::malloc(kXDbgMessageSize)));
  if (text == nullptr) {
    return 0;
  }
  const int length = std::vsnprintf(text.get(), kXDbgMessageSize, format, args);
  if (length < 0 || static_cast<unsigned>(length) >= kXDbgMessageSize) {
    XDbgCopy(text.get(), kXDbgMessageSize, xdbg::kFormatFailed);
  }
  return isHandledByHook(level, route, text.get(), extra) ? 0 : deliver(level, route, text.get());
}

int XDbgInfo(const char* format, ...) {
  va_list args;
  va_start(args, format);
  const int answer = XDbgReport(kXDbgInformation, -1, nullptr, 0, format, args, 0);
  va_end(args);
  return answer;
}

int XDbgWarning(const char* format, ...) {
  va_list args;
  va_start(args, format);
  const int answer = XDbgReport(kXDbgWarning, -1, nullptr, 0, format, args, 0);
  va_end(args);
  return answer;
}

int XDbgError(const char* format, ...) {
  va_list args;
  va_start(args, format);
  const int answer = XDbgReport(kXDbgError, -1, nullptr, 0, format, args, 0);
  va_end(args);
  return answer;
}

int XDbgInfoEx(const char* format, ...) {
  va_list args;
  va_start(args, format);
  const int answer = XDbgReport(kXDbgInformation, -1, nullptr, 0, format, args, 1);
  va_end(args);
  return answer;
}

int XDbgPrint(unsigned level, int routeOverride, const char* format, ...) {
  va_list args;
  va_start(args, format);
  const int answer = XDbgReport(level, routeOverride, nullptr, 0, format, args, 0);
  va_end(args);
  return answer;
}

int XDbgSetRoute(unsigned level, int mask) {
  if (level >= kLevelCount) {
    return 0;
  }
  const int previous = settings.routes[level];
  if (mask != -1) {
    settings.routes[level] = mask;
  }
  return previous;
}

FILE* XDbgSetStream(unsigned level, FILE* stream) {
  if (level >= kLevelCount) {
    return nullptr;
  }
  FILE* const previous = settings.streams[level];
  if (stream != kXDbgStreamQuery) {
    settings.streams[level] = stream;
  }
  return previous;
}

int XDbgSetOutputs(int mask, FILE* stream) {
  // Assertions keep a way of their own.
  for (const unsigned level : {kXDbgInformation, kXDbgWarning, kXDbgError}) {
    XDbgSetRoute(level, mask);
    XDbgSetStream(level, stream);
  }
  return 1;
}

XDbgReportHook XDbgSetReportHook(XDbgReportHook hook) {
  const XDbgReportHook previous = settings.hook;
  settings.hook = hook;
  return previous;
}

XDbgReportHookEx XDbgSetReportHookEx(XDbgReportHookEx hook) {
  const XDbgReportHookEx previous = settings.hookEx;
  settings.hookEx = hook;
  return previous;
}

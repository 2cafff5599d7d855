#include "debug/prompt.h"

#include <cctype>
#include <cstdlib>

#include "debug/xdbg.h"

namespace xdbg {
namespace {

constexpr const char* kLevelNames[] = {"Information", "Warning", "Error", "Assertion Failed"};
constexpr int kAbortStatus = 3;

}  // namespace

int prompt(unsigned level, const char* message) {
  char text[kXDbgMessageSize + 128];
  // Hosts rely on it: the prompt never shows where a report comes from; its file line is always empty.
  const int length = std::snprintf(text, sizeof text, "Debug %s!\n\nFile: %s\nLine: %s\n\n%s\n\n", kLevelNames[level],
                                   XDbgBaseName(nullptr), "<line unknown>", message);
  const bool composed = length >= 0 && static_cast<size_t>(length) < sizeof text;
  std::fprintf(stderr, "*** %s ***\n\n%s\n\n<Abort> <Retry> <Ignore> ? ", "Tandor Debug Library",
               composed ? text : kFormatFailed);
  // The end of input is neither: the report is ignored and the program goes on.
  const int answer = std::tolower(std::getchar());
  std::fputs("****************************\n", stderr);
  if (answer == 'a') {
    std::exit(kAbortStatus);
  }
  return answer == 'r' ? 1 : 0;
}

}  // namespace xdbg

#include "hostkit/resultLine.h"

#include <algorithm>
#include <charconv>

namespace orvix::hostkit {
namespace {

// Ctrl-Z ends the echo of a text; the answer may follow it without a line end.
constexpr std::string_view kLineEnds = "\r\n\x1a";

std::string_view trimmed(std::string_view line) {
  const std::size_t first = line.find_first_not_of("> ");
  return first == std::string_view::npos ? "" : line.substr(first, line.find_last_not_of(' ') - first + 1);
}

// The number that the text is, up to a comma.
std::optional<int> numberIn(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
  int number = 0;
  const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  const bool isWhole = stop == text.data() + text.size() || *stop == ',';
  return error == std::errc() && isWhole && number >= 0 ? std::optional(number) : std::nullopt;
}

}  // namespace

std::vector<std::string> linesOf(std::string_view bytes) {
  std::vector<std::string> lines;
  for (std::size_t begin = 0, end; (end = bytes.find_first_of(kLineEnds, begin)) != std::string_view::npos;
       begin = end + 1) {
    // A prompt stands without a line end in front of what follows it.
    if (const std::string_view line = trimmed(bytes.substr(begin, end - begin)); !line.empty()) {
      lines.emplace_back(line);
    }
  }
  return lines;
}

std::optional<ResultLine> resultOf(const std::string& line) {
  if (line == "OK") {
    return ResultLine{ResultKind::kOk, {}, line};
  }
  if (line == "ERROR") {
    return ResultLine{ResultKind::kError, {}, line};
  }
  struct Prefix {
    std::string_view text;
    ResultKind kind;
  };
  static constexpr Prefix kPrefixes[] = {
      {"+CMS ERROR:", ResultKind::kCms}, {"+CME ERROR:", ResultKind::kCme}, {"+CMGS:", ResultKind::kCmgs}};
  // At the beginning alone: what an unsolicited line quotes further on is no result.
  for (const Prefix& prefix : kPrefixes) {
    if (line.compare(0, prefix.text.size(), prefix.text) == 0) {
      return ResultLine{prefix.kind, numberIn(std::string_view(line).substr(prefix.text.size())), line};
    }
  }
  return std::nullopt;
}

bool holdsFinalResult(std::string_view received) {
  const std::vector<std::string> lines = linesOf(received);
  return std::any_of(lines.begin(), lines.end(), [](const std::string& line) {
    const std::optional<ResultLine> result = resultOf(line);
    // +CMGS: is information: the OK after it is the final result.
    return result && result->kind != ResultKind::kCmgs;
  });
}

}  // namespace orvix::hostkit

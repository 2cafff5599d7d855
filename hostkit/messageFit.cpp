#include "hostkit/messageFit.h"

#include <optional>
#include <string_view>

#include "common/printable.h"
#include "hostkit/resultLine.h"

namespace orvix::hostkit {
namespace {

// Short codes begin at three digits; an address holds 20 (3GPP TS 23.040, 9.1.2.5).
constexpr std::size_t kFewestDigits = 3;
constexpr std::size_t kMostDigits = 20;
// Of the extension table of 3GPP TS 23.038: an escape, then the character.
constexpr std::string_view kTwoSeptets = R"(^{}[]~|\)";
// With AT+CSCS="GSM" the modem reads bytes as septets, where these codes are other characters.
constexpr std::string_view kOtherInGsm = R"(@$_^{}[]~|\)";

bool isIn(std::string_view set, char character) {
  return set.find(character) != std::string_view::npos;
}

// The backquote is in no table of the network's alphabet.
bool isCarried(char character, Charset charset) {
  const bool isPlain = character == '\n' || (character >= ' ' && character <= '~' && character != '`');
  return isPlain && (charset == Charset::kIra || !isIn(kOtherInGsm, character));
}

// The whole character that begins there, so that a message can show it.
std::string characterAt(const std::string& text, std::size_t position) {
  std::size_t end = position + 1;
  while (end < text.size() && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) {
    ++end;
  }
  return shown(text.substr(position, end - position));
}

// Echoed, such a line could not be told from the modem's own result.
bool readsAsResult(std::string_view line) {
  const std::optional<ResultLine> result = resultOf(std::string(line));
  return result && result->kind != ResultKind::kOk && result->kind != ResultKind::kError;
}

bool holdsResult(std::string_view text) {
  for (std::size_t end = 0; end != std::string_view::npos;) {
    if (readsAsResult(text)) {
      return true;
    }
    end = text.find('\n');
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  }
  return false;
}

}  // namespace

Fit numberFit(const std::string& number) {
  const std::size_t first = number.rfind('+', 0) == 0 ? 1 : 0;
  const std::size_t digits = number.size() - first;
  if (digits < kFewestDigits || digits > kMostDigits ||
      number.find_first_not_of("0123456789", first) != std::string::npos) {
    return {"\"" + shown(number) + "\" is no phone number: 3 to 20 digits, a + in front or none"};
  }
  return {};
}

Fit textFit(const std::string& text, Charset charset) {
  Fit fit;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (isCarried(text[i], charset)) {
      // In "GSM" nothing that is carried needs an escape.
      fit.septets += charset == Charset::kIra && isIn(kTwoSeptets, text[i]) ? 2 : 1;
    } else if (fit.isFit()) {
      fit.problem = "the text holds \"" + characterAt(text, i) + "\", which does not arrive as written";
    }
  }
  if (text.empty()) {
    fit.problem = "the text is empty";
  } else if (fit.isFit() && holdsResult(text)) {
    fit.problem = "a line of the text begins as a modem's answer does";
  } else if (fit.isFit() && fit.septets > kLongestText) {
    fit.problem = "the text takes " + std::to_string(fit.septets) + " characters, and a message holds 160";
    fit.isTooLong = true;
  }
  return fit;
}

}  // namespace orvix::hostkit

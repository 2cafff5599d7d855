#include "gateway/service/textFit.h"

#include <algorithm>

#include "gateway/service/transliterate.h"

namespace orvix::gateway {
namespace {

// So that the numbers have one digit and all parts the same head.
constexpr std::size_t kMostParts = 9;
constexpr int kPartSeptets = hostkit::kLongestText - 6;  // "(1/3) " comes before each part

bool isAscii(const std::string& text) {
  return std::all_of(text.begin(), text.end(), [](unsigned char c) { return c < 0x80; });
}

// Cuts what fits into one part off the front of the text, at its last blank where there is one.
std::string cutPart(std::string* text, hostkit::Charset charset) {
  // At first as many bytes as septets; characters that take two make it less.
  std::size_t length = std::min<std::size_t>(text->size(), kPartSeptets);
  while (hostkit::textFit(text->substr(0, length), charset).septets > kPartSeptets) {
    --length;
  }
  std::size_t next = length;
  if (length < text->size()) {
    // The blank itself is left out: the next part begins with a word.
    const std::size_t blank = text->find_last_of(" \n", length);
    if (blank != std::string::npos && blank > 0) {
      length = blank;
      next = blank + 1;
    }
  }
  std::string part = text->substr(0, length);
  text->erase(0, next);
  return part;
}

// Empty when it takes more parts than there are digits for.
std::vector<std::string> partsOf(std::string text, hostkit::Charset charset) {
  std::vector<std::string> parts;
  while (!text.empty()) {
    if (parts.size() == kMostParts) {
      return {};
    }
    parts.push_back(cutPart(&text, charset));
  }
  const std::string count = std::to_string(parts.size());
  for (std::size_t i = 0; i < parts.size(); ++i) {
    parts[i].insert(0, "(" + std::to_string(i + 1) + "/" + count + ") ");
  }
  return parts;
}

}  // namespace

std::string whyUnfit(const std::string& text, const std::vector<hostkit::Charset>& charsets) {
  std::string problem;
  for (const hostkit::Charset charset : charsets) {
    const hostkit::Fit fit = hostkit::textFit(text, charset);
    if (fit.isFit()) {
      return "";
    }
    // The first modem's complaint stands for all.
    problem = problem.empty() ? fit.problem : problem;
  }
  return problem;
}

std::variant<std::vector<std::string>, Refusal> textsFor(const std::string& text,
                                                         const std::vector<hostkit::Charset>& charsets,
                                                         const SendingConfig& sending) {
  // ASCII stays as it is: only what cannot be sent is rewritten.
  const bool isChanged = sending.nonAscii == NonAscii::kTransliterate && !isAscii(text);
  const std::string plain = isChanged ? transliterated(text) : text;
  const std::string problem = whyUnfit(plain, charsets);
  if (problem.empty()) {
    return std::vector<std::string>{plain};
  }
  if (sending.longText == LongText::kNumber && plain.size() <= kMostParts * kPartSeptets) {
    for (const hostkit::Charset charset : charsets) {
      // What is unfit for another reason than its length stays so, wherever it would be cut.
      const bool isTooLong = hostkit::textFit(plain, charset).isTooLong;
      const std::vector<std::string> parts = isTooLong ? partsOf(plain, charset) : std::vector<std::string>();
      if (!parts.empty()) {
        return parts;
      }
    }
  }
  return Refusal{422, problem, "text", std::nullopt};
}

}  // namespace orvix::gateway

#include "gateway/service/transliterate.h"

#include <iconv.h>
#include <locale.h>

#include <array>
#include <optional>
#include <string_view>

namespace orvix::gateway {
namespace {

struct Likeness {
  std::string_view letter;
  std::string_view ascii;
};

// German first of all: the tables below know "u" for ü.
constexpr Likeness kOwn[] = {{"ä", "ae"}, {"ö", "oe"}, {"ü", "ue"}, {"Ä", "Ae"},
                             {"Ö", "Oe"}, {"Ü", "Ue"}, {"°", "deg"}};

// The C library's tables of likenesses belong to locales: C.UTF-8 knows letters with marks, C Greek and Cyrillic.
class LikenessTables {
 public:
  LikenessTables() : converter(iconv_open("ASCII//TRANSLIT", "UTF-8")) {}
  ~LikenessTables() {
    for (const locale_t locale : locales) {
      if (locale != nullptr) {
        freelocale(locale);
      }
    }
    if (isUsable()) {
      iconv_close(converter);
    }
  }
  LikenessTables(const LikenessTables&) = delete;
  LikenessTables& operator=(const LikenessTables&) = delete;

  // Of one character; none when no table knows it.
  std::optional<std::string> find(std::string_view letter) const {
    for (const locale_t locale : locales) {
      if (isUsable() && locale != nullptr) {
        // Of this thread alone, and only for the call: tables belong to locales, not to converters.
        const locale_t before = uselocale(locale);
        const std::string found = convert(letter);
        uselocale(before);
        if (found != "?") {
          return found;
        }
      }
    }
    return std::nullopt;
  }

 private:
  bool isUsable() const { return converter != reinterpret_cast<iconv_t>(-1); }  // NOLINT(performance-no-int-to-ptr)

  // "?" for what is unknown, as the library answers.
  std::string convert(std::string_view letter) const {
    std::array<char, 32> ascii{};
    char* from = const_cast<char*>(letter.data());
    std::size_t fromLeft = letter.size();
    char* to = ascii.data();
    std::size_t toLeft = ascii.size();
    if (iconv(converter, &from, &fromLeft, &to, &toLeft) == static_cast<std::size_t>(-1)) {
      // Back to the beginning: a character that failed leaves a state behind.
      iconv(converter, nullptr, nullptr, nullptr, nullptr);
      return "?";
    }
    return {ascii.data(), ascii.size() - toLeft};
  }

  iconv_t converter;
  std::array<locale_t, 2> locales = {newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr),
                                     newlocale(LC_CTYPE_MASK, "C", nullptr)};
};

// Bytes of the character that begins there; 1 where none does.
std::size_t characterLength(std::string_view text) {
  const auto first = static_cast<unsigned char>(text[0]);
  // By the first byte (RFC 3629); a byte that continues nothing stands for itself.
  const std::size_t length = first < 0xc0 ? 1 : first < 0xe0 ? 2 : first < 0xf0 ? 3 : 4;
  for (std::size_t i = 1; i < length; ++i) {
    if (i >= text.size() || (static_cast<unsigned char>(text[i]) & 0xc0) != 0x80) {
      return 1;
    }
  }
  return length;
}

std::optional<std::string> likenessOf(const LikenessTables& tables, std::string_view letter) {
  for (const Likeness& own : kOwn) {
    if (own.letter == letter) {
      return std::string(own.ascii);
    }
  }
  return tables.find(letter);
}

}  // namespace

std::string transliterated(const std::string& utf8, const std::optional<std::string>& unknown) {
  // Made for each text: texts that need them are rare, and nothing stays open.
  const LikenessTables tables;
  std::string ascii;
  for (std::string_view left = utf8; !left.empty();) {
    const std::string_view letter = left.substr(0, characterLength(left));
    if (static_cast<unsigned char>(letter[0]) < 0x80) {
      ascii += letter;
    } else {
      ascii += likenessOf(tables, letter).value_or(unknown.value_or(std::string(letter)));
    }
    left.remove_prefix(letter.size());
  }
  return ascii;
}

}  // namespace orvix::gateway

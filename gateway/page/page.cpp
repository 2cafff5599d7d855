#include "gateway/page/page.h"

#include "common/printable.h"
#include "gateway/page/embedded.h"
#include "gateway/token/token.h"

namespace orvix::gateway {
namespace {

// RFC 4648, with padding, as hash sources of CSP are written.
std::string base64(const std::string& bytes) {
  constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    unsigned group = 0;
    for (std::size_t k = 0; k < 3; ++k) {
      group = group << 8 | (i + k < bytes.size() ? static_cast<unsigned char>(bytes[i + k]) : 0U);
    }
    for (std::size_t k = 0; k < 4; ++k) {
      text += i + k <= bytes.size() ? kDigits[group >> (18 - 6 * k) & 0x3F] : '=';
    }
  }
  return text;
}

std::string hashSource(const std::string& content) {
  return "'sha256-" + base64(*bytesOfHex(sha256Of(content))) + "'";
}

// The first mark counts, so what is filled in earlier must not hold the mark of what comes later.
void fill(std::string* html, const std::string& mark, const std::string& content) {
  html->replace(html->find(mark), mark.size(), content);
}

Page makePage() {
  const std::string script = std::string(kApiJs) + kModemsJs + kMessagesJs + kPageJs;
  Page page;
  page.html = kHtml;
  // Inline, for one file needs no second request and no second hash in an address.
  fill(&page.html, "%STYLE%", kCss);
  fill(&page.html, "%SCRIPT%", script);
  // data: is for the empty icon alone; events and requests go to our own origin and nowhere else.
  page.contentSecurityPolicy = "default-src 'none'; connect-src 'self'; img-src data:; style-src " + hashSource(kCss) +
                               "; script-src " + hashSource(script) +
                               "; base-uri 'none'; form-action 'none'; frame-ancestors 'none'";
  return page;
}

}  // namespace

const Page& statusPage() {
  static const Page page = makePage();
  return page;
}

}  // namespace orvix::gateway

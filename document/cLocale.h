// The C locale for the calling thread, while this lives. libbson reads and writes the numbers of JSON with strtod(3)
// and printf(3), which follow the host's locale: under one that writes 1,5 it would take 1.5 for 1. Any thread.
#pragma once

#include <locale.h>

namespace orvix {

class CLocale {
 public:
  // By uselocale(3), not setlocale(3): the host's other threads keep their own.
  CLocale() : own(newlocale(LC_ALL_MASK, "C", nullptr)), previous(uselocale(own)) {}
  ~CLocale() {
    uselocale(previous);
    freelocale(own);
  }
  CLocale(const CLocale&) = delete;
  CLocale& operator=(const CLocale&) = delete;

 private:
  locale_t own;
  locale_t previous;
};

}  // namespace orvix

// The locale of a fuzz input: single-byte, or a double-byte locale with the
// Shift-JIS lead-byte ranges and double-byte space 81 40, put straight into
// the language state (no table file is read).
#ifndef ORVANE_FUZZ_NLS_LOCALE_H
#define ORVANE_FUZZ_NLS_LOCALE_H

#include "common/nls/nls_state.h"

namespace fuzzlocale {

inline void use(bool doubleByte) {
  static nls::NlsLocale sjis = [] {
    nls::NlsLocale l{};
    l.charSet = nls::kCharSetSjis;
    l.leadRangeCount = 2;
    l.leadRanges[0] = nls::LeadRange{0x81, 0x9F, 2};
    l.leadRanges[1] = nls::LeadRange{0xE0, 0xFC, 2};
    l.attr[0] = 0x81;
    l.attr[1] = 0x81;
    l.attr[2] = 0x40;
    return l;
  }();
  nls::State &s = nls::state();
  s.current = doubleByte ? &sjis : nullptr;
  s.charSet = doubleByte ? nls::kCharSetSjis : 0;
  nls::rebuildCharLengths();
}

}  // namespace fuzzlocale

#endif

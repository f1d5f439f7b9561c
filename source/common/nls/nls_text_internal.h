// Helpers shared by the text utilities: the byte length of a character that
// never runs past the terminating NUL, and the locale's double-byte space
// and punctuation marks, read from the current locale's attributes.
#ifndef ORVANE_NLS_TEXT_INTERNAL_H
#define ORVANE_NLS_TEXT_INTERNAL_H

#include <cstdint>

#include "common/nls/nls_state.h"

namespace nls {

// The byte length of the character at p, cut short at a NUL inside it (a
// lead byte before the NUL is a character of its own). 0 at the NUL.
inline int charBytesAt(const char *p) {
  if (*p == '\0') {
    return 0;
  }
  int n = charLength(static_cast<unsigned char>(*p));
  for (int i = 1; i < n; ++i) {
    if (p[i] == '\0') {
      return i;
    }
  }
  return n;
}

// Marks that nlsPack treats alike in their single- and double-byte forms.
enum class Mark { None, Blank, Comma, FullStop, Colon, Semicolon };

// Attribute indexes (from 0) of the double-byte marks: the space's trail
// byte, then the trail bytes of the punctuation marks.
constexpr int kAttrSpaceTrail = 2;
constexpr int kAttrComma = 3;
constexpr int kAttrFullStop = 4;
constexpr int kAttrColon = 5;
constexpr int kAttrSemicolon = 6;
constexpr int kAttrIdeographicComma = 7;
constexpr int kAttrIdeographicFullStop = 8;

// The double-byte mark at p (a whole two-byte character of the current
// multi-byte locale whose lead byte is attribute 0 or 1), or Mark::None.
// A locale without attributes has none: its attributes are 0 and never
// match a byte of a string.
inline Mark doubleByteMark(const char *p) {
  const NlsLocale *loc = currentLocale();
  if (loc == nullptr || charBytesAt(p) != 2) {
    return Mark::None;
  }
  const auto lead = static_cast<unsigned char>(p[0]);
  const auto trail = static_cast<unsigned char>(p[1]);
  if ((loc->attr[0] == 0 || lead != loc->attr[0]) && (loc->attr[1] == 0 || lead != loc->attr[1])) {
    return Mark::None;
  }
  auto is = [&](int index) { return loc->attr[index] != 0 && trail == loc->attr[index]; };
  if (is(kAttrSpaceTrail)) {
    return Mark::Blank;
  }
  if (is(kAttrComma) || is(kAttrIdeographicComma)) {
    return Mark::Comma;
  }
  if (is(kAttrFullStop) || is(kAttrIdeographicFullStop)) {
    return Mark::FullStop;
  }
  if (is(kAttrColon)) {
    return Mark::Colon;
  }
  if (is(kAttrSemicolon)) {
    return Mark::Semicolon;
  }
  return Mark::None;
}

// The mark at p in either form, with the character's byte length.
inline Mark markAt(const char *p, int *bytes) {
  *bytes = charBytesAt(p);
  if (*bytes == 1) {
    switch (*p) {
      case ' ':
        return Mark::Blank;
      case ',':
        return Mark::Comma;
      case '.':
        return Mark::FullStop;
      case ':':
        return Mark::Colon;
      case ';':
        return Mark::Semicolon;
      default:
        return Mark::None;
    }
  }
  return doubleByteMark(p);
}

// The byte length of the blank at p (a single-byte space or the locale's
// double-byte space), or 0 when p holds no blank.
inline int blankAt(const char *p) {
  if (*p == ' ') {
    return 1;
  }
  return doubleByteMark(p) == Mark::Blank ? 2 : 0;
}

}  // namespace nls

#endif

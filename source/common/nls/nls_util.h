// Small text helpers of the language-support layer: comparisons that fold
// ASCII letters only (names in the table, keywords), whatever the runtime
// locale says.
#ifndef ORVANE_NLS_UTIL_H
#define ORVANE_NLS_UTIL_H

#include <cstddef>

namespace nls {

inline char foldAscii(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }

inline bool isTableBlank(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\f' || c == '\v';
}

// a equals b, ignoring the case of ASCII letters.
inline bool equalsNoCase(const char *a, const char *b) {
  for (; *a != '\0' && *b != '\0'; ++a, ++b) {
    if (foldAscii(*a) != foldAscii(*b)) {
      return false;
    }
  }
  return *a == *b;
}

// The first n characters of text equal prefix (of n characters), ignoring
// the case of ASCII letters.
inline bool startsWithNoCase(const char *text, const char *prefix) {
  for (; *prefix != '\0'; ++text, ++prefix) {
    if (*text == '\0' || foldAscii(*text) != foldAscii(*prefix)) {
      return false;
    }
  }
  return true;
}

inline bool startsWith(const char *text, const char *prefix) {
  for (; *prefix != '\0'; ++text, ++prefix) {
    if (*text != *prefix) {
      return false;
    }
  }
  return true;
}

inline const char *skipBlanks(const char *p) {
  while (isTableBlank(*p)) {
    ++p;
  }
  return p;
}

inline const char *skipSpaces(const char *p) {
  while (*p == ' ') {
    ++p;
  }
  return p;
}

}  // namespace nls

#endif

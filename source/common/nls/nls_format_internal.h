// Internal pieces shared by the numeric, splitting and substitution files:
// the blanks of the current locale and the split of a string into pieces
// without copying them.
#ifndef ORVANE_NLS_FORMAT_INTERNAL_H
#define ORVANE_NLS_FORMAT_INTERNAL_H

#include <cstddef>

#include "common/nls/nls_state.h"

namespace nls {

// The byte length (2) of the double-byte space at p, or 0. The double-byte
// space is a lead byte equal to the first or second attribute of the
// current locale record followed by a trail byte equal to the third; a
// locale without attributes (both zero) has none, and a lead byte before
// the NUL is never one.
inline int doubleByteSpaceAt(const unsigned char *p) {
  const NlsLocale *locale = currentLocale();
  if (locale == nullptr || p[0] == 0 || p[1] == 0 || locale->attr[2] == 0) {
    return 0;
  }
  if ((p[0] == locale->attr[0] || p[0] == locale->attr[1]) && p[1] == locale->attr[2] &&
      charLength(p[0]) == 2) {
    return 2;
  }
  return 0;
}
inline int doubleByteSpaceAt(const char *p) {
  return doubleByteSpaceAt(reinterpret_cast<const unsigned char *>(p));
}

// The byte length of the blank at p (a single-byte space or tab, or the
// double-byte space), or 0.
inline int blankAt(const char *p) {
  if (*p == ' ' || *p == '\t') {
    return 1;
  }
  return doubleByteSpaceAt(p);
}

// One piece of a split: a span of the source string.
struct Piece {
  const char *text;
  size_t length;
};

// The split of nlsStrToArray without the copies: at most maxPieces pieces
// (maxPieces at least 1), separated by the first character of separator or,
// when it is null or empty, by runs of blanks; at most limit separations
// (negative: no limit). Returns the number of pieces.
int splitPieces(const char *src, const char *separator, int limit, Piece *pieces, int maxPieces);

}  // namespace nls

#endif

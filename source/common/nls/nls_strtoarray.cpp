// nlsStrToArray: a string split into pieces at a separator character or at
// runs of blanks, for message parameters and for lists of numbers.
#include <string.h>

#include "common/nls/nls_format_internal.h"
#include "common/nls/nls_state.h"
#include "orvane/nls_format.h"

namespace nls {

namespace {

// The split at runs of blanks; blanks at both ends are dropped.
int splitAtBlanks(const char *src, int limit, Piece *pieces, int maxPieces) {
  int count = 0;
  const char *p = src;
  for (;;) {
    for (int n = blankAt(p); n > 0; n = blankAt(p)) {
      p += n;
    }
    if (*p == '\0') {
      return count;
    }
    const bool last = count == maxPieces - 1 || (limit >= 0 && count == limit);
    const char *start = p;
    const char *end = p;  // after the last character that is not a blank
    while (*p != '\0') {
      const int blank = blankAt(p);
      if (blank > 0) {
        if (!last) {
          break;
        }
        p += blank;
        continue;
      }
      p += charLengthAt(p);
      end = p;
    }
    pieces[count++] = Piece{start, static_cast<size_t>(end - start)};
    if (last) {
      return count;
    }
  }
}

}  // namespace

int splitPieces(const char *src, const char *separator, int limit, Piece *pieces, int maxPieces) {
  if (separator == nullptr || *separator == '\0') {
    return splitAtBlanks(src, limit, pieces, maxPieces);
  }
  const int sepLength = charLengthAt(separator);
  int count = 0;
  const char *start = src;
  const char *p = src;
  while (*p != '\0') {
    const int n = charLengthAt(p);
    const bool mayCut = count < maxPieces - 1 && (limit < 0 || count < limit);
    if (mayCut && n == sepLength && memcmp(p, separator, static_cast<size_t>(n)) == 0) {
      pieces[count++] = Piece{start, static_cast<size_t>(p - start)};
      p += n;
      start = p;
      continue;
    }
    p += n;
  }
  pieces[count++] = Piece{start, static_cast<size_t>(p - start)};
  return count;
}

}  // namespace nls

extern "C" {

ORV_API int nlsStrToArray(const char *src, const char *separator, int limit, char **array, int arraySize,
                          char *buffer, int bufferSize) {
  if (src == nullptr || array == nullptr || arraySize < 1 || buffer == nullptr || bufferSize < 0) {
    return -1;
  }
  // Pieces are found a few at a time, so that no heap block is needed
  // whatever arraySize is.
  constexpr int kBatch = 16;
  nls::Piece batch[kBatch];
  int made = 0;
  size_t used = 0;
  const char *rest = src;
  int restLimit = limit;
  for (;;) {
    const int room = arraySize - made;
    const int take = room < kBatch ? room : kBatch;
    // With more room than this batch the last piece of the batch is cut
    // again in the next round: ask for one more than is kept.
    const bool final = room <= kBatch;
    const int found = nls::splitPieces(rest, separator, restLimit, batch, final ? take : kBatch);
    const int keep = final || found < kBatch ? found : kBatch - 1;
    for (int i = 0; i < keep; ++i) {
      const size_t length = batch[i].length;
      if (used + length + 1 > static_cast<size_t>(bufferSize)) {
        return -1;
      }
      memcpy(buffer + used, batch[i].text, length);
      buffer[used + length] = '\0';
      array[made++] = buffer + used;
      used += length + 1;
    }
    if (final || found < kBatch) {
      return made;
    }
    // Start the next round at the piece that was left whole.
    rest = batch[kBatch - 1].text;
    if (restLimit >= 0) {
      restLimit -= kBatch - 1;
    }
  }
}

}  // extern "C"

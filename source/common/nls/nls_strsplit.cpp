// String primitives that split at separators and add or remove escapes.
#include <limits.h>
#include <string.h>

#include "common/nls/nls_state.h"
#include "common/nls/nls_strings.h"
#include "orvane/nls.h"

namespace nls {

const char *findUnescaped(const char *s, const char *sep, const char *escape) {
  const size_t sepLength = strlen(sep);
  if (sepLength == 0) {
    return s;
  }
  const size_t length = strlen(s);
  if (sepLength > length) {
    return nullptr;
  }
  const size_t last = length - sepLength;  // the last position sep can start at
  const size_t escapeLength = escape != nullptr ? strlen(escape) : 0;
  bool afterEscape = false;
  const char *p = s;
  while (*p != '\0' && static_cast<size_t>(p - s) <= last) {
    if (afterEscape) {
      afterEscape = false;  // this character is escaped
    } else if (strncmp(p, sep, sepLength) == 0) {
      return p;
    } else if (escapeLength > 0 && strncmp(p, escape, escapeLength) == 0) {
      p += escapeLength;
      afterEscape = true;
      continue;
    }
    p += charLengthAt(p);
  }
  return nullptr;
}

namespace {

// Copies whole characters of the first `bytes` bytes of src into dst of
// dstSize; returns the characters copied.
int copyHead(char *dst, int dstSize, const char *src, size_t bytes) {
  const int size = bytes + 1 < static_cast<size_t>(dstSize) ? static_cast<int>(bytes) + 1 : dstSize;
  copyChars(dst, size, src, INT_MAX, 1);
  return size > 0 ? nlsStrlen(dst) : 0;
}

void copyTail(char *tail, int tailSize, const char *from) {
  if (tail != nullptr) {
    copyChars(tail, tailSize, from, tailSize - 1, 1);
  }
}

// The next match after one at match: the search starts one character after
// its start. Null at the end of the text.
const char *nextMatch(const char *match, const char *sep, const char *escape) {
  if (*match == '\0') {
    return nullptr;  // an empty separator matched at the very end
  }
  return findUnescaped(match + charLengthAt(match), sep, escape);
}

}  // namespace

}  // namespace nls

extern "C" {

ORV_API int nlsStrsplitN(char *head, int headSize, char *tail, int tailSize, const char *src, const char *sep,
                         const char *escape, int n) {
  if (head == nullptr || src == nullptr || sep == nullptr) {
    return -1;  // a split needs a head, a source and a separator
  }
  const char *match = n >= 1 ? nls::findUnescaped(src, sep, escape) : nullptr;
  for (int found = 1; match != nullptr && found < n; ++found) {
    match = nls::nextMatch(match, sep, escape);
  }
  if (match == nullptr) {
    if (tail != nullptr && tailSize > 0) {
      tail[0] = '\0';
    }
    return nls::copyHead(head, headSize, src, strlen(src));
  }
  nls::copyTail(tail, tailSize, match + strlen(sep));
  return nls::copyHead(head, headSize, src, static_cast<size_t>(match - src));
}

ORV_API int nlsStrsplit(char *head, int headSize, char *tail, int tailSize, const char *src, const char *sep,
                        const char *escape) {
  return nlsStrsplitN(head, headSize, tail, tailSize, src, sep, escape, 1);
}

ORV_API int nlsStrsplitL(char *head, int headSize, char *tail, int tailSize, const char *src, const char *sep,
                         const char *escape) {
  if (head == nullptr || src == nullptr || sep == nullptr) {
    return -1;
  }
  const char *last = nullptr;
  for (const char *m = nls::findUnescaped(src, sep, escape); m != nullptr;
       m = nls::nextMatch(m, sep, escape)) {
    last = m;
  }
  if (last == nullptr) {
    if (tail != nullptr && tailSize > 0) {
      tail[0] = '\0';
    }
    return nls::copyHead(head, headSize, src, strlen(src));
  }
  // The tail begins one character after the start of the last match; the
  // head is the bytes before that point less the separator's byte length.
  // With a one-character separator the head ends just before it and the
  // tail begins just after it; a longer separator leaves its remaining
  // characters at the front of the tail.
  const char *point = *last != '\0' ? last + nls::charLengthAt(last) : last;
  nls::copyTail(tail, tailSize, point);
  const long headBytes = static_cast<long>(point - src) - static_cast<long>(strlen(sep));
  return nls::copyHead(head, headSize, src, headBytes > 0 ? static_cast<size_t>(headBytes) : 0);
}

ORV_API int nlsStrAddEscape(char *dst, int dstSize, const char *src, const char *specials,
                            const char *escape) {
  if (dst == nullptr || src == nullptr) {
    return 0;
  }
  // With no room at all nothing is copied and every item counts as
  // overflow; dst, which has no byte for a NUL, is left alone.
  const int size = dstSize > 0 ? dstSize : 0;
  const char *esc = escape != nullptr ? escape : "";
  const int escapeBytes = static_cast<int>(strlen(esc));
  const int escapeChars = nlsStrlen(esc);
  int used = 0;
  int overflow = 0;
  for (const char *p = src; *p != '\0'; p += nls::charLengthAt(p)) {
    const int length = nls::charLengthAt(p);
    const bool special = specials != nullptr && nls::findChar(specials, p) != nullptr;
    const int needed = special ? length + escapeBytes : length;
    // The strict comparison keeps one byte for the NUL.
    if (overflow == 0 && size - used > needed) {
      if (special) {
        memcpy(dst + used, esc, static_cast<size_t>(escapeBytes));
        used += escapeBytes;
      }
      memcpy(dst + used, p, static_cast<size_t>(length));
      used += length;
    } else {
      overflow += special ? escapeChars + 1 : 1;
    }
  }
  if (size > 0) {
    dst[used] = '\0';
  }
  return overflow;
}

ORV_API int nlsStrRemoveEscape(char *dst, int dstSize, const char *src, const char *escape) {
  if (dst == nullptr || src == nullptr) {
    return 0;
  }
  int room = dstSize > 0 ? dstSize - 1 : 0;
  int used = 0;
  int dropped = 0;
  const bool escaping = escape != nullptr && *escape != '\0';
  const size_t escapeLength = escaping ? strlen(escape) : 0;
  const char *p = src;
  while (*p != '\0') {
    const char *next = escaping ? nls::findUnescaped(p, escape, nullptr) : nullptr;
    const char *segmentEnd = next != nullptr ? next : p + strlen(p);
    // The segment before the escape: whole characters while they fit. Once
    // one does not, the rest of the segment is left out and counted, but the
    // room that is left still serves the escaped character and the
    // segments after it.
    bool segmentCut = false;
    for (const char *c = p; c < segmentEnd; c += nls::charLengthAt(c)) {
      const int length = nls::charLengthAt(c);
      if (!segmentCut && length <= room) {
        memcpy(dst + used, c, static_cast<size_t>(length));
        used += length;
        room -= length;
      } else {
        segmentCut = true;
        ++dropped;
      }
    }
    if (next == nullptr) {
      break;
    }
    // The escape goes; the character after it is taken literally.
    p = next + escapeLength;
    if (*p != '\0') {
      const int length = nls::charLengthAt(p);
      if (length <= room) {
        memcpy(dst + used, p, static_cast<size_t>(length));
        used += length;
        room -= length;
      } else {
        ++dropped;
      }
      p += length;
    }
  }
  if (dstSize > 0) {
    dst[used] = '\0';
  }
  return dropped;
}

ORV_API int nlsBasepath(const char *path, char *dirOut) {
  if (path == nullptr || dirOut == nullptr) {
    return -1;
  }
  // POSIX paths are cut at their last "/"; a path without one (and every
  // Windows path) at its last "\".
  const char *separator = "\\";
#if !defined(_WIN32)
  if (strchr(path, '/') != nullptr) {
    separator = "/";
  }
#endif
  if (strstr(path, separator) == nullptr) {
    return -1;
  }
  char scratch[80];
  // The escape "NULL" hides a separator that directly follows it.
  return nlsStrsplitL(dirOut, nlsStrlen(path), scratch, sizeof scratch, path, separator, "NULL");
}

}  // extern "C"

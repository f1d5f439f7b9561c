// String primitives that compare and search. Byte limits of the comparisons
// never cut a character: a character that would end beyond the limit makes
// the strings compare equal.
#include <ctype.h>
#include <stdlib.h>
#include <string.h>

#include "common/nls/nls_alloc.h"
#include "common/nls/nls_state.h"
#include "common/nls/nls_strings.h"
#include "orvane/nls.h"

namespace nls {

namespace {

using Byte = unsigned char;

int lowered(Byte c) { return c < 0x80 && isupper(c) ? tolower(c) : c; }

// The first difference of n bytes compared as strncmp does (stopping at a
// NUL), as the difference of the two bytes.
int compareBytes(const Byte *a, const Byte *b, int n) {
  for (int i = 0; i < n; ++i) {
    if (a[i] != b[i] || a[i] == 0) {
      return a[i] - b[i];
    }
  }
  return 0;
}

// The walk shared by nlsStrncmp, nlsStrnicmp and nlsStricmp. limit < 0: no
// limit. foldCase lowers single-byte upper-case letters. On return *ended
// tells whether the walk ran to its end without a difference.
int walkCompare(const char *s1, const char *s2, long limit, bool foldCase, bool &ended, const Byte *&a,
                const Byte *&b) {
  a = reinterpret_cast<const Byte *>(s1);
  b = reinterpret_cast<const Byte *>(s2);
  long used = 0;
  ended = false;
  while (*a != 0 && *b != 0 && (limit < 0 || used < limit)) {
    if (*a >= 0x80 || *b >= 0x80) {
      const int length = charLengthAt(a);
      const int otherLength = charLengthAt(b);
      if (limit >= 0 && (used + length > limit || used + otherLength > limit)) {
        return 0;  // a character would end beyond the limit: equal
      }
      if (int r = compareBytes(a, b, length); r != 0) {
        return r;
      }
      a += length;
      b += length;
      used += length;
      continue;
    }
    const int x = foldCase ? lowered(*a) : *a;
    const int y = foldCase ? lowered(*b) : *b;
    if (x != y) {
      return x - y;
    }
    ++a;
    ++b;
    ++used;
  }
  if (limit >= 0 && used >= limit) {
    return 0;
  }
  ended = true;
  return 0;
}

// Plain byte comparisons of the quick functions, over at most n bytes.
int strncmpBytes(const char *s1, const char *s2, int n) {
  return compareBytes(reinterpret_cast<const Byte *>(s1), reinterpret_cast<const Byte *>(s2), n);
}

int strnicmpBytes(const char *s1, const char *s2, int n) {
  const auto *a = reinterpret_cast<const Byte *>(s1);
  const auto *b = reinterpret_cast<const Byte *>(s2);
  for (int i = 0; i < n; ++i) {
    const int x = lowered(a[i]);
    const int y = lowered(b[i]);
    if (x != y || x == 0) {
      return x - y;
    }
  }
  return 0;
}

// Byte comparison is the locale's order when no collation table is loaded
// and the language is C, POSIX or English.
bool quickByBytes() {
  const uint32_t id = state().langId;
  return nlsGetCollSeq() == nullptr && (id == NLS_LANGID_C || id >> 16 == 0x454E);
}

// The first n bytes of s (fewer when s is shorter) as a string: in buffer
// when they fit, else in a heap block stored in *heap.
const char *firstBytes(const char *s, int n, char *buffer, size_t size, char **heap) {
  size_t length = 0;
  while (length < static_cast<size_t>(n) && s[length] != '\0') {
    ++length;
  }
  if (s[length] == '\0') {
    return s;  // shorter than n: the string itself
  }
  char *out = buffer;
  if (length + 1 > size) {
    out = static_cast<char *>(malloc(length + 1));
    if (out == nullptr) {
      return nullptr;
    }
    *heap = out;
  }
  memcpy(out, s, length);
  out[length] = '\0';
  return out;
}

// The collating comparison of the quick functions over the first n bytes.
// The original cut both strings in place for the call; copies give the same
// result without writing to the arguments.
int collateFirst(const char *s1, const char *s2, int n, bool foldCase) {
  char buffer1[256];
  char buffer2[256];
  char *heap1 = nullptr;
  char *heap2 = nullptr;
  const char *a = firstBytes(s1, n, buffer1, sizeof buffer1, &heap1);
  const char *b = firstBytes(s2, n, buffer2, sizeof buffer2, &heap2);
  int result;
  if (a == nullptr || b == nullptr) {
    result = foldCase ? strnicmpBytes(s1, s2, n) : strncmpBytes(s1, s2, n);  // no memory for copies
  } else {
    result = foldCase ? nlsStricoll(a, 0, b) : nlsStrcoll(a, 0, b);
  }
  free(heap1);
  free(heap2);
  return result;
}

}  // namespace

const char *findChar(const char *set, const char *c) {
  const int length = charLengthAt(c);
  for (const char *p = set; *p != '\0'; p += charLengthAt(p)) {
    if (charLengthAt(p) == length && memcmp(p, c, static_cast<size_t>(length)) == 0) {
      return p;
    }
  }
  return nullptr;
}

}  // namespace nls

extern "C" {

ORV_API int nlsStrcmp(const char *s1, const char *s2) {
  const int r = strcmp(s1, s2);
  return r < 0 ? -1 : r > 0 ? 1 : 0;
}

ORV_API int nlsStrncmp(const char *s1, const char *s2, int n) {
  bool ended = false;
  const unsigned char *a = nullptr;
  const unsigned char *b = nullptr;
  const int r = nls::walkCompare(s1, s2, n < 0 ? 0 : n, false, ended, a, b);
  if (!ended) {
    return r;
  }
  if (*a != 0) {
    return *a;
  }
  if (*b != 0) {
    return -static_cast<int>(*b);
  }
  return 0;
}

ORV_API int nlsStrncmpO(const char *s1, int off1, const char *s2, int off2, int n) {
  return nlsStrncmp(nls::charAt(s1, off1), nls::charAt(s2, off2), n);
}

ORV_API int nlsStrnicmp(const char *s1, const char *s2, int n) {
  bool ended = false;
  const unsigned char *a = nullptr;
  const unsigned char *b = nullptr;
  const int r = nls::walkCompare(s1, s2, n < 0 ? 0 : n, true, ended, a, b);
  if (!ended) {
    return r;
  }
  return *a != 0 ? 1 : *b != 0 ? -1 : 0;
}

ORV_API int nlsStricmp(const char *s1, const char *s2) {
  bool ended = false;
  const unsigned char *a = nullptr;
  const unsigned char *b = nullptr;
  const int r = nls::walkCompare(s1, s2, -1, true, ended, a, b);
  if (!ended) {
    return r;
  }
  return *a != 0 ? 1 : *b != 0 ? -1 : 0;
}

ORV_API int nlsStrqcmpN(const char *s1, const char *s2, int n) {
  if (n <= 0) {
    return 0;
  }
  return nls::quickByBytes() ? nls::strncmpBytes(s1, s2, n) : nls::collateFirst(s1, s2, n, false);
}

ORV_API int nlsStrqicmpN(const char *s1, const char *s2, int n) {
  if (n <= 0) {
    return 0;
  }
  return nls::quickByBytes() ? nls::strnicmpBytes(s1, s2, n) : nls::collateFirst(s1, s2, n, true);
}

ORV_API int nlsStrpbrkO(const char *s, int start, const char *set) {
  if (s == nullptr || set == nullptr || *s == '\0' || *set == '\0' || start < 0) {
    return -1;
  }
  int index = 0;
  const char *p = s;
  for (; index < start && *p != '\0'; ++index) {
    p += nls::charLengthAt(p);
  }
  for (; *p != '\0'; p += nls::charLengthAt(p), ++index) {
    if (nls::findChar(set, p) != nullptr) {
      return index;
    }
  }
  return -1;
}

}  // extern "C"

// Searching a string for a substring by character index: only character
// boundaries of the searched string are tried, so a match never begins in
// the middle of a multi-byte character.
#include <string.h>

#include "common/nls/nls_text_internal.h"
#include "orvane/nls.h"

namespace {

// The character index of the first match at or after the character at
// byte offset pos (whose index is index), or -1; *at receives the match's
// byte offset.
int findFrom(const char *s, size_t pos, int index, const char *sub, size_t subLen, size_t *at) {
  const size_t len = pos + strlen(s + pos);
  while (len - pos >= subLen) {
    if (memcmp(s + pos, sub, subLen) == 0) {
      *at = pos;
      return index;
    }
    if (s[pos] == '\0') {
      break;
    }
    pos += static_cast<size_t>(nls::charBytesAt(s + pos));
    ++index;
  }
  return -1;
}

// The byte offset of character index in s, or -1 when s is shorter.
long long offsetOf(const char *s, int index) {
  size_t pos = 0;
  for (int i = 0; i < index; ++i) {
    if (s[pos] == '\0') {
      return -1;
    }
    pos += static_cast<size_t>(nls::charBytesAt(s + pos));
  }
  return static_cast<long long>(pos);
}

}  // namespace

extern "C" {

ORV_API int nlsIndexO(const char *s, const char *sub, int start) {
  if (s == nullptr || sub == nullptr || start < 0) {
    return -1;
  }
  const long long pos = offsetOf(s, start);
  if (pos < 0) {
    return -1;
  }
  size_t at = 0;
  return findFrom(s, static_cast<size_t>(pos), start, sub, strlen(sub), &at);
}

ORV_API int nlsIndex(const char *s, const char *sub) { return nlsIndexO(s, sub, 0); }

ORV_API int nlsIndexN(const char *s, const char *sub, int n) {
  if (s == nullptr || sub == nullptr || n < 1) {
    return -1;
  }
  const size_t subLen = strlen(sub);
  size_t at = 0;
  int index = findFrom(s, 0, 0, sub, subLen, &at);
  for (int k = 1; k < n && index >= 0; ++k) {
    // The next search starts one character after this match.
    if (s[at] == '\0') {
      return -1;
    }
    const size_t next = at + static_cast<size_t>(nls::charBytesAt(s + at));
    index = findFrom(s, next, index + 1, sub, subLen, &at);
  }
  return index;
}

ORV_API int nlsRIndex(const char *s, const char *sub, int last) {
  if (s == nullptr || sub == nullptr || last < 0) {
    return -1;
  }
  const size_t subLen = strlen(sub);
  int found = -1;
  size_t pos = 0;
  int index = 0;
  for (;;) {
    size_t at = 0;
    const int match = findFrom(s, pos, index, sub, subLen, &at);
    if (match < 0 || match > last) {
      break;
    }
    found = match;
    if (s[at] == '\0') {
      break;
    }
    pos = at + static_cast<size_t>(nls::charBytesAt(s + at));
    index = match + 1;
  }
  return found;
}

}  // extern "C"

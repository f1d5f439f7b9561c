// Fixed-width layout of strings of the current character set: padding, zero
// fill, justification, trimming, reversal, spreading, packing and
// centring. Blanks are the single-byte space and the locale's double-byte
// space; every operation works in place.
#include <string.h>

#include "common/nls/nls_text_internal.h"
#include "orvane/nls.h"

using nls::blankAt;
using nls::charBytesAt;
using nls::Mark;

extern "C" {

ORV_API char *nlsPad(char *s, int size) {
  if (s == nullptr || size < 1) {
    return s;
  }
  const size_t want = static_cast<size_t>(size) - 1;
  size_t len = strlen(s);
  if (len >= want) {
    return s;
  }
  memset(s + len, ' ', want - len);
  s[want] = '\0';
  return s;
}

ORV_API int nlsZerofill(char *s) {
  if (s == nullptr) {
    return 0;
  }
  int n = 0;
  for (; s[n] == ' '; ++n) {
    s[n] = '0';
  }
  return n;
}

ORV_API char *nlsLeftJustify(char *s) {
  if (s == nullptr) {
    return s;
  }
  size_t lead = 0;
  for (int b; (b = blankAt(s + lead)) > 0;) {
    lead += static_cast<size_t>(b);
  }
  if (lead == 0) {
    return s;
  }
  const size_t len = lead + strlen(s + lead);
  memmove(s, s + lead, len - lead);
  memset(s + len - lead, ' ', lead);
  return s;
}

ORV_API char *nlsRightJustify(char *s) {
  if (s == nullptr) {
    return s;
  }
  // The end of the last character that is not a single-byte space, found
  // on character boundaries so that a trail byte is never taken for one.
  size_t end = 0;
  size_t pos = 0;
  while (s[pos] != '\0') {
    const int n = charBytesAt(s + pos);
    pos += static_cast<size_t>(n);
    if (!(n == 1 && s[pos - 1] == ' ')) {
      end = pos;
    }
  }
  const size_t shift = pos - end;
  if (shift == 0) {
    return s;
  }
  memmove(s + shift, s, end);
  memset(s, ' ', shift);
  return s;
}

ORV_API int nlsTrim(char *s) {
  if (s == nullptr) {
    return -1;
  }
  size_t end = 0;
  size_t pos = 0;
  while (s[pos] != '\0') {
    const int blank = blankAt(s + pos);
    const int n = blank > 0 ? blank : charBytesAt(s + pos);
    pos += static_cast<size_t>(n);
    if (blank == 0) {
      end = pos;
    }
  }
  s[end] = '\0';
  return static_cast<int>(end);
}

ORV_API char *nlsReverse(char *s) {
  if (s == nullptr) {
    return s;
  }
  size_t len = strlen(s);
  for (size_t i = 0, j = len; i + 1 < j; ++i, --j) {
    const char t = s[i];
    s[i] = s[j - 1];
    s[j - 1] = t;
  }
  return s;
}

ORV_API char *nlsSpread(char *s) {
  if (s == nullptr || *s == '\0') {
    return s;
  }
  size_t bytes = 0;
  size_t chars = 0;
  while (s[bytes] != '\0') {
    bytes += static_cast<size_t>(charBytesAt(s + bytes));
    ++chars;
  }
  // Move the text to the end of the result's place, then walk it forwards,
  // writing each character and its space at the front: the writing
  // position stays behind the reading one until the last character.
  const size_t total = bytes + chars - 1;
  size_t r = total - bytes;
  memmove(s + r, s, bytes);
  s[total] = '\0';
  size_t w = 0;
  for (size_t k = 0; k < chars; ++k) {
    // Measured in the moved copy, which ends with its own NUL.
    const int n = charBytesAt(s + r);
    memmove(s + w, s + r, static_cast<size_t>(n));
    w += static_cast<size_t>(n);
    r += static_cast<size_t>(n);
    if (k + 1 < chars) {
      s[w++] = ' ';
    }
  }
  return s;
}

ORV_API char *nlsPack(char *s) {
  if (s == nullptr) {
    return s;
  }
  size_t in = 0;
  // Leading blanks, commas and semicolons in either form.
  for (;;) {
    int n = 0;
    const Mark m = nls::markAt(s + in, &n);
    if (n == 0 || (m != Mark::Blank && m != Mark::Comma && m != Mark::Semicolon)) {
      break;
    }
    in += static_cast<size_t>(n);
  }
  size_t out = 0;
  while (s[in] != '\0') {
    int n = 0;
    const Mark m = nls::markAt(s + in, &n);
    if (m != Mark::Blank) {
      memmove(s + out, s + in, static_cast<size_t>(n));
      out += static_cast<size_t>(n);
      in += static_cast<size_t>(n);
      continue;
    }
    // A run of blanks: keep its first blank unless punctuation follows.
    const size_t first = in;
    const size_t firstBytes = static_cast<size_t>(n);
    while (blankAt(s + in) > 0) {
      in += static_cast<size_t>(blankAt(s + in));
    }
    int next = 0;
    const Mark after = nls::markAt(s + in, &next);
    if (after == Mark::Comma || after == Mark::FullStop || after == Mark::Colon || after == Mark::Semicolon) {
      continue;
    }
    memmove(s + out, s + first, firstBytes);
    out += firstBytes;
  }
  s[out] = '\0';
  return s;
}

ORV_API char *nlsCentre(char *s, int width) {
  if (s == nullptr) {
    return s;
  }
  size_t lead = 0;
  for (int b; (b = blankAt(s + lead)) > 0;) {
    lead += static_cast<size_t>(b);
  }
  const size_t len = lead + strlen(s + lead);
  const size_t field = width > 0 ? static_cast<size_t>(width) : len;
  // The end of the text: after its last character that is not a blank.
  size_t end = lead;
  for (size_t pos = lead; s[pos] != '\0';) {
    const int blank = blankAt(s + pos);
    pos += static_cast<size_t>(blank > 0 ? blank : charBytesAt(s + pos));
    if (blank == 0) {
      end = pos;
    }
  }
  const size_t text = end - lead;
  if (text >= field) {
    memmove(s, s + lead, text);
    s[text] = '\0';
    return s;
  }
  const size_t blanks = field - text;
  const size_t left = blanks / 2;
  memmove(s + left, s + lead, text);
  memset(s, ' ', left);
  memset(s + left + text, ' ', blanks - left);
  s[field] = '\0';
  return s;
}

}  // extern "C"

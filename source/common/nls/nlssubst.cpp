// nlsSubstituteParameters: parameters put into a message template at marker
// characters, by position or by number. Misuse is reported through the
// assertion service under the module name "NLSSUBST", with the line numbers
// that message catalogs and their users know.
#include <string.h>

#include "common/nls/nls_format_internal.h"
#include "common/nls/nls_state.h"
#include "orvane/frame.h"
#include "orvane/nls_format.h"

namespace {

constexpr const char *kModule = "NLSSUBST";
constexpr int kLineNoTemplate = 253;
constexpr int kLineNoDestination = 254;
constexpr int kLineNoParameterString = 262;
constexpr int kLineNoParameterArray = 267;
constexpr int kLineNoDigit = 288;
constexpr int kLineBadNumber = 298;

// Mode 1 splits the parameter string into at most this many pieces.
constexpr int kMaxSplitParameters = 10;

bool isMarker(const char *p, int length, int marker) {
  return marker != 0 && length == 1 && static_cast<unsigned char>(*p) == marker;
}

bool isDigit(char c) { return c >= '0' && c <= '9'; }

// The template is numbered when markers are followed by all ten digits,
// each digit once. A "\" hides the character after it.
bool templateIsNumbered(const char *t, int marker) {
  bool seen[10] = {};
  int distinct = 0;
  const char *p = t;
  while (*p != '\0') {
    const int n = nls::charLengthAt(p);
    if (n == 1 && *p == '\\') {
      ++p;
      if (*p == '\0') {
        break;
      }
      p += nls::charLengthAt(p);
      continue;
    }
    if (isMarker(p, n, marker)) {
      ++p;
      if (!isDigit(*p)) {
        return false;
      }
      const int digit = *p - '0';
      if (seen[digit]) {
        return false;
      }
      seen[digit] = true;
      ++distinct;
      ++p;
      continue;
    }
    p += n;
  }
  return distinct == 10;
}

char *copyBytes(char *out, const char *p, int n) {
  memcpy(out, p, static_cast<size_t>(n));
  return out + n;
}

}  // namespace

extern "C" {

ORV_API int nlsSubstituteParameters(char *dst, int dstSize, const char *templateText, const char *marker,
                                    int numbered, int count, int mode, const void *parameters) {
  (void)dstSize;  // the caller sizes dst for the whole result
  // orvAssert ends the process; the returns after it only keep this
  // function from going on should it ever come back.
  if (templateText == nullptr) {
    orvAssert(kModule, kLineNoTemplate);
    return 1;
  }
  if (dst == nullptr) {
    orvAssert(kModule, kLineNoDestination);
    return 1;
  }

  const char *split[kMaxSplitParameters] = {};
  const char *const *values;
  nls::Piece pieces[kMaxSplitParameters];
  int pieceCount = 0;
  if (mode == 1) {
    if (parameters == nullptr) {
      orvAssert(kModule, kLineNoParameterString);
      *dst = '\0';
      return 1;
    }
    const char sep[2] = {marker != nullptr ? marker[0] : '\0', '\0'};
    if (sep[0] == '\0') {
      pieces[0] =
          nls::Piece{static_cast<const char *>(parameters), strlen(static_cast<const char *>(parameters))};
      pieceCount = 1;
    } else {
      pieceCount = nls::splitPieces(static_cast<const char *>(parameters), sep, count - 1, pieces,
                                    kMaxSplitParameters);
    }
    values = split;
  } else {
    if (parameters == nullptr) {
      orvAssert(kModule, kLineNoParameterArray);
      *dst = '\0';
      return 1;
    }
    values = static_cast<const char *const *>(parameters);
  }
  // A split piece is a span of the parameter string, not NUL-terminated: its
  // length is kept beside it.
  size_t lengths[kMaxSplitParameters] = {};
  for (int i = 0; i < pieceCount; ++i) {
    split[i] = pieces[i].text;
    lengths[i] = pieces[i].length;
  }

  const int markerByte = marker != nullptr ? static_cast<unsigned char>(marker[0]) : 0;
  const bool byNumber = numbered != 0 || templateIsNumbered(templateText, markerByte);
  int next = 1;
  char *out = dst;
  const char *p = templateText;
  for (;;) {
    if (*p == '\0') {
      *out = '\0';
      return 1;
    }
    const int n = nls::charLengthAt(p);
    if (n == 1 && *p == '\\') {
      ++p;
      if (*p == '\0') {
        continue;  // a "\" before the NUL is dropped
      }
      const int m = nls::charLengthAt(p);
      if (m == 1 && (*p == 'n' || *p == 't' || *p == '\\')) {
        *out++ = '\\';
      }
      out = copyBytes(out, p, m);
      p += m;
      continue;
    }
    if (!isMarker(p, n, markerByte)) {
      out = copyBytes(out, p, n);
      p += n;
      continue;
    }
    int number;
    if (byNumber) {
      ++p;  // the cursor moves to the digit
      if (!isDigit(*p)) {
        orvAssert(kModule, kLineNoDigit);
        *out = '\0';
        return 1;
      }
      number = *p - '0';
    } else {
      number = next++;
    }
    if (number < 1 || number > count) {
      orvAssert(kModule, kLineBadNumber);
      *out = '\0';
      return 1;
    }
    const int index = number - 1;
    const char *value = index < kMaxSplitParameters || mode != 1 ? values[index] : nullptr;
    if (value == nullptr) {
      *out++ = *p;  // the character under the cursor: the marker or the digit
    } else if (mode == 1) {
      memcpy(out, value, lengths[index]);
      out += lengths[index];
    } else {
      const size_t length = strlen(value);
      memcpy(out, value, length);
      out += length;
    }
    ++p;
  }
}

}  // extern "C"

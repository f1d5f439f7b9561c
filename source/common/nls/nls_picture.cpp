// nlsNumericFormat: a decimal digit string poured through a picture record
// into a fixed-width field (fill, floating symbol, leading sign, trailing
// marker, minimum positions, blank when zero, overflow to "#").
#include <string.h>

#include <new>
#include <vector>

#include "common/nls/nls_state.h"
#include "orvane/nls_format.h"

namespace {

constexpr int kRecordHeader = NLS_PICTURE_TEXT;

// Character starting offsets of the picture text, kept on the stack for
// the usual widths.
class Offsets {
 public:
  // cppcheck-suppress uninitMemberVar ; inline_ is written before it is read
  explicit Offsets(int width) {
    if (width > kInline) {
      heap_.resize(static_cast<size_t>(width) + 1);
      data_ = heap_.data();
    }
  }
  int &operator[](int i) { return data_[i]; }

 private:
  static constexpr int kInline = 64;
  int inline_[kInline + 1];
  std::vector<int> heap_;
  int *data_ = inline_;
};

// The length of the picture character at p when at most room bytes are
// left: a lead byte whose trail would lie beyond the text is a character
// of its own.
int pictureCharLength(const char *p, int room) {
  const int n = nls::charLength(static_cast<unsigned char>(*p));
  return n > room || n < 1 ? 1 : n;
}

}  // namespace

namespace {

int formatNumber(char *text, int *inOutLength, int blankWhenZero, int minPositions, const char *picture,
                 int pictureRecordLength, int placeholder) {
  if (text == nullptr || inOutLength == nullptr || picture == nullptr || *inOutLength < 0 ||
      pictureRecordLength < kRecordHeader) {
    return -1;
  }
  const int width = pictureRecordLength - kRecordHeader;
  const char *pic = picture + kRecordHeader;
  const char fill = picture[NLS_PICTURE_FILL];
  const char floating = picture[NLS_PICTURE_FLOATING];
  const char leadingSign = picture[NLS_PICTURE_LEADING_SIGN];
  const char *trailer = picture + NLS_PICTURE_TRAILING;
  const int trailerLength = trailer[1] != ' ' ? 2 : (trailer[0] != ' ' ? 1 : 0);
  const char digitMark = static_cast<char>(placeholder);

  // 1. The character starting offsets of the picture text.
  Offsets starts(width);
  int chars = 0;
  for (int p = 0; p < width;) {
    starts[chars++] = p;
    p += pictureCharLength(pic + p, width - p);
  }
  starts[chars] = width;

  // 2. The number: spaces trimmed, a leading "-" noted, digits checked.
  int begin = 0;
  int end = *inOutLength;
  while (end > begin && text[end - 1] == ' ') {
    --end;
  }
  while (begin < end && text[begin] == ' ') {
    ++begin;
  }
  bool negative = false;
  if (begin < end && text[begin] == '-') {
    negative = true;
    ++begin;
  }
  bool overflow = false;
  for (int i = begin; i < end; ++i) {
    if (text[i] < '0' || text[i] > '9') {
      overflow = true;
    }
  }
  const bool zero = end - begin == 1 && text[begin] == '0';
  if (zero || begin == end) {
    negative = false;
  }
  if (zero && blankWhenZero == 1) {
    memset(text, ' ', static_cast<size_t>(width));
    *inOutLength = width;
    return 1;
  }
  if (zero && minPositions == 0) {
    begin = end;  // no digits
  }

  // The result is built aside: the digits are still in text.
  char small[128];
  std::vector<char> large;
  char *out = small;
  if (width > static_cast<int>(sizeof small)) {
    large.resize(static_cast<size_t>(width));
    out = large.data();
  }

  // 3 and 4. From the rightmost picture character leftward.
  int next = end;    // the digits still to place are text[begin, next)
  int left = width;  // the leftmost result position used
  for (int c = chars - 1; c >= 0 && !overflow; --c) {
    const int p = starts[c];
    const int n = starts[c + 1] - p;
    const bool digitsLeft = next > begin;
    if (!digitsLeft && width - p > minPositions) {
      break;
    }
    if (n == 1 && pic[p] == digitMark) {
      out[p] = digitsLeft ? text[--next] : '0';
    } else {
      memcpy(out + p, pic + p, static_cast<size_t>(n));
    }
    left = p;
  }
  if (next > begin) {
    overflow = true;  // digits left over
  }

  // 5. The floating symbol.
  if (!overflow && floating != ' ') {
    if (left > 0) {
      out[--left] = floating;
    } else {
      overflow = true;
    }
  }

  // 6. The sign of a negative value.
  if (!overflow && negative) {
    if (leadingSign == ' ' && trailerLength == 0) {
      overflow = true;
    }
    if (!overflow && leadingSign != ' ') {
      if (left > 0) {
        out[--left] = leadingSign;
      } else {
        overflow = true;
      }
    }
    if (!overflow && trailerLength > 0) {
      // The marker covers whole literal characters only.
      const int from = width - trailerLength;
      int c = chars - 1;
      while (c >= 0 && starts[c] > from) {
        --c;
      }
      if (from < 0 || from < left || starts[c] != from) {
        overflow = true;
      } else {
        for (int k = c; k < chars; ++k) {
          if (starts[k + 1] - starts[k] == 1 && pic[starts[k]] == digitMark) {
            overflow = true;
          }
        }
      }
      if (!overflow) {
        memcpy(out + from, trailer, static_cast<size_t>(trailerLength));
      }
    }
  }

  // 7 and 8. The fill, or a field of "#".
  if (overflow) {
    memset(text, '#', static_cast<size_t>(width));
  } else {
    memset(out, fill, static_cast<size_t>(left));
    memcpy(text, out, static_cast<size_t>(width));
  }
  *inOutLength = width;
  return overflow ? 0 : 1;
}

}  // namespace

extern "C" {

// A picture wider than the buffers kept on the stack needs heap room for
// its positions and its result; without it the call does nothing and
// returns -1, as for a bad argument.
ORV_API int nlsNumericFormat(char *text, int *inOutLength, int blankWhenZero, int minPositions,
                             const char *picture, int pictureRecordLength, int placeholder) {
  try {
    return formatNumber(text, inOutLength, blankWhenZero, minPositions, picture, pictureRecordLength,
                        placeholder);
  } catch (const std::bad_alloc &) {
    return -1;
  }
}

}  // extern "C"

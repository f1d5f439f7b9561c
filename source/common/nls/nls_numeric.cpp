// Numbers to text and text to numbers in the current locale: padded
// integers, the integral part of doubles, the caller's decimal character,
// the free-form number reader and the digits padded with double-byte
// spaces.
#include <limits.h>
#include <math.h>
#include <stdlib.h>
#include <string.h>

#include <charconv>
#include <cstdint>

#include "common/nls/nls_format_internal.h"
#include "common/nls/nls_state.h"
#include "orvane/nls.h"
#include "orvane/nls_format.h"

namespace {

// The longest text nlsAtof converts, in bytes.
constexpr size_t kMaxAtofText = 32;

// The decimals output of nlsGetFreeFormNumber for a number without a decimal
// character.
constexpr int kNoDecimalCharacter = 0xFFFF;

// Writes digits (length bytes, a "-" possibly first) into dst padded as
// nlsLtoa and nlsFtoa pad: zeros in front to minDigits, then spaces in front
// to width. False, with an empty dst, when it does not fit.
bool writePadded(char *dst, int dstSize, const char *digits, int length, int minDigits, int width) {
  if (dst == nullptr || dstSize < 1) {
    return false;
  }
  int total = length;
  const int zeros = minDigits > length ? minDigits - length : 0;
  total += zeros;
  const int spaces = width > total ? width - total : 0;
  total += spaces;
  if (minDigits >= dstSize || total >= dstSize) {
    dst[0] = '\0';
    return false;
  }
  char *out = dst;
  memset(out, ' ', static_cast<size_t>(spaces));
  out += spaces;
  memset(out, '0', static_cast<size_t>(zeros));
  out += zeros;
  memcpy(out, digits, static_cast<size_t>(length));
  out[length] = '\0';
  return true;
}

// The decimal text of an unsigned value, written backwards from end;
// returns its first byte.
char *unsignedDigits(char *end, uint64_t value) {
  char *p = end;
  do {
    *--p = static_cast<char>('0' + value % 10);
    value /= 10;
  } while (value != 0);
  return p;
}

// Powers of ten for shifts of magnitude below 5.
constexpr double kSmallPowers[9] = {1e-4, 1e-3, 1e-2, 1e-1, 1e0, 1e1, 1e2, 1e3, 1e4};

// 10^exponent by repeated squaring on the 16-bit exponent; a negative
// exponent gives the reciprocal.
double powerOfTen(int16_t exponent) {
  uint32_t n =
      exponent < 0 ? static_cast<uint32_t>(-static_cast<int32_t>(exponent)) : static_cast<uint32_t>(exponent);
  double result = 1.0;
  double base = 10.0;
  while (n != 0) {
    if ((n & 1u) != 0) {
      result *= base;
    }
    base *= base;
    n >>= 1;
  }
  return exponent < 0 ? 1.0 / result : result;
}

double shiftByPowerOfTen(double value, int shift) {
  if (shift > -5 && shift < 5) {
    return value * kSmallPowers[shift + 4];
  }
  if (shift > INT16_MAX) {
    shift = INT16_MAX;
  } else if (shift < INT16_MIN) {
    shift = INT16_MIN;
  }
  return value * powerOfTen(static_cast<int16_t>(shift));
}

bool isAsciiWhite(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

bool isDigitOrSign(char c) { return (c >= '0' && c <= '9') || c == '+' || c == '-'; }

// Copies digits and signs of src into dst (size bytes with the NUL); returns
// the bytes of src copied.
int copyDigitsAndSigns(char *dst, int size, const char *src) {
  int copied = 0;
  while (copied < size - 1 && isDigitOrSign(src[copied])) {
    dst[copied] = src[copied];
    ++copied;
  }
  dst[copied] = '\0';
  return copied;
}

}  // namespace

extern "C" {

ORV_API char *nlsLtoa(char *dst, int dstSize, int32_t value, int minDigits, int width) {
  char text[16];
  char *end = text + sizeof text;
  const bool negative = value < 0;
  const uint64_t magnitude =
      negative ? static_cast<uint64_t>(-static_cast<int64_t>(value)) : static_cast<uint64_t>(value);
  char *start = unsignedDigits(end, magnitude);
  if (negative) {
    *--start = '-';
  }
  return writePadded(dst, dstSize, start, static_cast<int>(end - start), minDigits, width) ? dst : nullptr;
}

ORV_API int nlsFtoa(char *dst, int dstSize, double value, int minDigits, int width) {
  if (!isfinite(value)) {
    if (dst != nullptr && dstSize >= 1) {
      dst[0] = '\0';
    }
    return 0;
  }
  const double whole = trunc(value);
  // The largest double has 309 integral digits.
  char text[320];
  char *end = text + sizeof text;
  char *start;
  if (whole == 0.0) {
    start = end - 1;
    *start = '0';
  } else if (fabs(whole) < 9223372036854775808.0) {
    const int64_t integral = static_cast<int64_t>(whole);
    const bool negative = integral < 0;
    start =
        unsignedDigits(end, negative ? static_cast<uint64_t>(-integral) : static_cast<uint64_t>(integral));
    if (negative) {
      *--start = '-';
    }
  } else {
    // Beyond 2^63 every digit comes from the exact decimal conversion.
    const std::to_chars_result r = std::to_chars(text, end, whole, std::chars_format::fixed, 0);
    if (r.ec != std::errc()) {
      return writePadded(dst, dstSize, "", 0, INT_MAX, 0) ? 1 : 0;  // cannot happen: the text fits
    }
    start = text;
    end = r.ptr;
  }
  return writePadded(dst, dstSize, start, static_cast<int>(end - start), minDigits, width) ? 1 : 0;
}

ORV_API int32_t nlsAtol(const char *text) {
  if (text == nullptr) {
    return 0;
  }
  const char *p = text;
  for (int n = nls::blankAt(p); n > 0; n = nls::blankAt(p)) {
    p += n;
  }
  bool negative = false;
  if (*p == '+' || *p == '-') {
    negative = *p == '-';
    ++p;
  }
  int64_t value = 0;
  for (; *p >= '0' && *p <= '9'; ++p) {
    if (value <= static_cast<int64_t>(INT32_MAX) + 1) {
      value = value * 10 + (*p - '0');
    }
  }
  if (negative) {
    value = -value;
  }
  if (value > INT32_MAX) {
    return INT32_MAX;
  }
  if (value < INT32_MIN) {
    return INT32_MIN;
  }
  return static_cast<int32_t>(value);
}

ORV_API int nlsAtof(double *out, const char *text, int decimalChar) {
  if (out == nullptr) {
    return 0;
  }
  *out = 0.0;
  if (text == nullptr) {
    return 0;
  }
  const size_t length = strlen(text);
  if (length > kMaxAtofText) {
    return 0;
  }
  char point[8] = {};
  if (nlsGetLocaleInfo(NLS_INFO_DECIMAL_POINT, point, static_cast<int>(sizeof point) - 1) == 0 ||
      point[0] == '\0') {
    point[0] = '.';
    point[1] = '\0';
  }
  const size_t pointLength = strlen(point);
  // Room for the text with one character replaced by the decimal point.
  char copy[kMaxAtofText + sizeof point + 1];
  memcpy(copy, text, length + 1);
  const char wanted = static_cast<char>(decimalChar);
  if (wanted != '\0' && !(pointLength == 1 && point[0] == wanted)) {
    char *p = copy;
    while (*p != '\0' && *p != wanted) {
      p += nls::charLengthAt(p);
    }
    if (*p == wanted) {
      memmove(p + pointLength, p + 1, strlen(p + 1) + 1);
      memcpy(p, point, pointLength);
    }
  }
  char *end = nullptr;
  const double value = strtod(copy, &end);
  // Spaces after the number are allowed; so is anything else, which is not
  // read.
  *out = value;
  return 1;
}

ORV_API double nlsGetFreeFormNumber(const char *text, int textLength, int *outDecimals, int *inOutPosition,
                                    int scale, int decimalChar, int signsAllowed, int *outError) {
  if (outDecimals != nullptr) {
    *outDecimals = kNoDecimalCharacter;
  }
  if (text == nullptr || inOutPosition == nullptr || textLength < 0) {
    return 0.0;
  }
  int pos = *inOutPosition;
  if (pos < 0 || pos >= textLength) {
    return 0.0;
  }
  auto at = [&](int i) { return i < textLength ? text[i] : '\0'; };
  auto blankLength = [&](int i) {
    if (at(i) == ' ' || at(i) == '\t') {
      return 1;
    }
    // A double-byte space must lie wholly inside the text.
    return i + 1 < textLength ? nls::doubleByteSpaceAt(text + i) : 0;
  };
  for (int n = blankLength(pos); n > 0; n = blankLength(pos)) {
    pos += n;
  }
  bool negative = false;
  bool leadingSign = false;
  if (at(pos) == '+' || at(pos) == '-') {
    negative = at(pos) == '-';
    leadingSign = true;
    ++pos;
  }
  // The digits, without the decimal character: a long number is cut short
  // and reported, never written past the buffer.
  char digits[kMaxAtofText + 2];
  int digitCount = 0;
  bool tooLong = false;
  int decimals = -1;  // fraction digits read; -1 before a decimal character
  const char point = static_cast<char>(decimalChar);
  for (;;) {
    const char c = at(pos);
    if (c >= '0' && c <= '9') {
      if (digitCount <= static_cast<int>(kMaxAtofText)) {
        digits[digitCount] = c;
      }
      ++digitCount;
      if (decimals >= 0) {
        ++decimals;
      }
      ++pos;
    } else if (c != '\0' && c == point && decimals < 0) {
      decimals = 0;
      ++pos;
    } else {
      break;
    }
  }
  if (digitCount == 0) {
    return 0.0;  // nothing is read: the position stays
  }
  if (signsAllowed != 0 && !leadingSign && (at(pos) == '+' || at(pos) == '-')) {
    negative = at(pos) == '-';
    ++pos;
  }
  for (int n = blankLength(pos); n > 0; n = blankLength(pos)) {
    pos += n;
  }
  *inOutPosition = pos;
  if (digitCount > static_cast<int>(kMaxAtofText)) {
    tooLong = true;
  }
  // Zeros at the end of the fraction beyond the scale say nothing.
  if (!tooLong) {
    while (decimals > scale && decimals > 0 && digits[digitCount - 1] == '0') {
      --digitCount;
      --decimals;
    }
  }
  if (outDecimals != nullptr) {
    *outDecimals = decimals < 0 ? kNoDecimalCharacter : decimals;
  }
  if (tooLong) {
    if (outError != nullptr) {
      *outError = 1;
    }
    return 0.0;
  }
  digits[digitCount] = '\0';
  double value = 0.0;
  if (nlsAtof(&value, digits, '.') == 0) {
    if (outError != nullptr) {
      *outError = 1;
    }
    return 0.0;
  }
  if (negative) {
    value = -value;
  }
  return shiftByPowerOfTen(value, scale - (decimals < 0 ? 0 : decimals));
}

ORV_API int nlsIsDigits(const char *s) {
  if (s == nullptr || *s == '\0') {
    return 0;
  }
  for (; *s != '\0'; ++s) {
    if (*s < '0' || *s > '9') {
      return 0;
    }
  }
  return 1;
}

ORV_API int nlsNLSDigitsToAscii(char *dst, int size, const char *src) {
  if (dst == nullptr || src == nullptr || size < 1) {
    return 0;
  }
  int characters = 0;
  const char *p = src;
  for (;;) {
    if (*p == ' ') {
      ++p;
    } else if (int n = nls::doubleByteSpaceAt(p); n > 0) {
      p += n;
    } else {
      break;
    }
    ++characters;
  }
  return characters + copyDigitsAndSigns(dst, size, p);
}

ORV_API int nlsAsciiDigitsToNLS(char *dst, int size, const char *src) {
  if (dst == nullptr || src == nullptr || size < 1) {
    return 0;
  }
  const char *p = src;
  for (;;) {
    if (isAsciiWhite(*p)) {
      ++p;
    } else if (int n = nls::doubleByteSpaceAt(p); n > 0) {
      p += n;
    } else {
      break;
    }
  }
  return static_cast<int>(p - src) + copyDigitsAndSigns(dst, size, p);
}

}  // extern "C"

// Portable float text: a fixed-width ASCII form of a double,
//   sign "." mantissa "E" exponent-sign two-digit-exponent
// for value = sign x 0.mantissa x 10^exponent. The mantissa is the
// correctly rounded decimal of the value (std::to_chars), and the reverse
// is a correctly rounded conversion (std::from_chars), so every double
// whose exponent fits survives a round trip at 17 mantissa digits and more.
#include <string.h>

#include <charconv>
#include <cmath>
#include <system_error>

#include "orvane/nls_format.h"

namespace {

constexpr int kMinWidth = 7;
constexpr int kMaxMantissa = 19;  // from width 25 on
constexpr int kLayoutEnd = 25;    // bytes from here on are spaces
constexpr int kMaxExponent = 99;  // two decimal digits

int mantissaDigits(int width) { return width - 6 < kMaxMantissa ? width - 6 : kMaxMantissa; }

int fail(char *dst, int width, int *outError) {
  if (dst != nullptr && width > 0) {
    memset(dst, '0', static_cast<size_t>(width));
  }
  if (outError != nullptr) {
    *outError = 1;
  }
  return 0;
}

double failRead(int *outError) {
  if (outError != nullptr) {
    *outError = 1;
  }
  return 0.0;
}

}  // namespace

extern "C" {

ORV_API int nlsR8ToPortFloat(double value, char *dst, int width, int *outError) {
  if (dst == nullptr || width < kMinWidth || !std::isfinite(value)) {
    return fail(dst, width, outError);
  }
  const int m = mantissaDigits(width);
  char *mantissa = dst + 2;
  int exponent = 0;
  char sign = '+';
  if (value == 0.0) {
    memset(mantissa, '0', static_cast<size_t>(m));
  } else {
    if (value < 0) {
      sign = '-';
      value = -value;
    }
    // d.ddd...e±x with m digits, correctly rounded; a carry into a new
    // digit (9.99 to 10.0) is in the exponent already.
    char text[64];
    const std::to_chars_result r =
        std::to_chars(text, text + sizeof text, value, std::chars_format::scientific, m - 1);
    if (r.ec != std::errc()) {
      return fail(dst, width, outError);
    }
    const char *e = static_cast<const char *>(memchr(text, 'e', static_cast<size_t>(r.ptr - text)));
    if (e == nullptr) {
      return fail(dst, width, outError);
    }
    int decimalExponent = 0;
    std::from_chars(e + (e[1] == '+' ? 2 : 1), r.ptr, decimalExponent);
    exponent = decimalExponent + 1;  // 0.d1d2... rather than d1.d2...
    if (exponent > kMaxExponent || exponent < -kMaxExponent) {
      return fail(dst, width, outError);
    }
    mantissa[0] = text[0];
    if (m > 1) {
      memcpy(mantissa + 1, text + 2, static_cast<size_t>(m - 1));  // after "d."
    }
  }
  dst[0] = sign;
  dst[1] = '.';
  char *tail = mantissa + m;
  const int magnitude = exponent < 0 ? -exponent : exponent;
  tail[0] = 'E';
  tail[1] = exponent < 0 ? '-' : '+';
  tail[2] = static_cast<char>('0' + magnitude / 10);
  tail[3] = static_cast<char>('0' + magnitude % 10);
  if (width > kLayoutEnd) {
    memset(dst + kLayoutEnd, ' ', static_cast<size_t>(width - kLayoutEnd));
  }
  return 1;
}

ORV_API double nlsPortFloatToR8(const char *src, int width, int *outError) {
  if (src == nullptr || width < kMinWidth) {
    return failRead(outError);
  }
  const int m = mantissaDigits(width);
  // The layout, checked byte by byte; a NUL fails the check where it
  // stands, so nothing after it is read.
  if ((src[0] != '+' && src[0] != '-') || src[1] != '.') {
    return failRead(outError);
  }
  const char *mantissa = src + 2;
  for (int i = 0; i < m; ++i) {
    if (mantissa[i] < '0' || mantissa[i] > '9') {
      return failRead(outError);
    }
  }
  const char *tail = mantissa + m;
  if (tail[0] != 'E' || (tail[1] != '+' && tail[1] != '-') || tail[2] < '0' || tail[2] > '9' ||
      tail[3] < '0' || tail[3] > '9') {
    return failRead(outError);
  }
  for (int i = kLayoutEnd; i < width; ++i) {
    if (src[i] != ' ') {
      return failRead(outError);
    }
  }
  int exponent = (tail[2] - '0') * 10 + (tail[3] - '0');
  if (tail[1] == '-') {
    exponent = -exponent;
  }
  // "d1...dm" "e" exponent - m: the digits as an integer, scaled.
  char text[kMaxMantissa + 8];
  memcpy(text, mantissa, static_cast<size_t>(m));
  char *p = text + m;
  *p++ = 'e';
  int scaled = exponent - m;
  if (scaled < 0) {
    *p++ = '-';
    scaled = -scaled;
  }
  if (scaled >= 100) {
    *p++ = static_cast<char>('0' + scaled / 100);
  }
  if (scaled >= 10) {
    *p++ = static_cast<char>('0' + scaled / 10 % 10);
  }
  *p++ = static_cast<char>('0' + scaled % 10);
  double value = 0.0;
  const std::from_chars_result r = std::from_chars(text, p, value);
  if (r.ec != std::errc() && r.ec != std::errc::result_out_of_range) {
    return failRead(outError);
  }
  return src[0] == '-' ? -value : value;
}

}  // extern "C"

// Date and time formatting through a format of upper-case tokens, with
// month and weekday names from a caller's table or the English defaults.
//
// The output is built item by item (a token's text, or one character of
// the format copied as it stands); an item is written only when it fits
// whole in the room left, so a result that does not fit ends after the
// last item that did. Numbers are written by a small digit writer of this
// file: the formatter is on hot paths (log lines, time stamps).
#include <string.h>

#include <cstdint>

#include "common/nls/nls_text_internal.h"
#include "orvane/nls.h"

namespace {

const char *const kDefaultNames[NLS_DATE_NAME_COUNT] = {
    "January",   "February", "March",    "April",    "May",    "June", "July",   "August", "September",
    "October",   "November", "December", "Jan",      "Feb",    "Mar",  "Apr",    "May",    "Jun",
    "Jul",       "Aug",      "Sep",      "Oct",      "Nov",    "Dec",  "Sunday", "Monday", "Tuesday",
    "Wednesday", "Thursday", "Friday",   "Saturday", "Sunday", "Sun",  "Mon",    "Tue",    "Wed",
    "Thu",       "Fri",      "Sat",      "Sun",      "Am",     "Pm"};

const char *nameAt(const char *const *names, int index) {
  if (names != nullptr && names[index] != nullptr) {
    return names[index];
  }
  return kDefaultNames[index];
}

// Writes value with at least digits digits (leading zeros; a negative
// value as "-" and its digits padded to the count) into out, which has
// room for 12 bytes; returns the length.
int writeNumber(char *out, int32_t value, int digits) {
  char tmp[12];
  int n = 0;
  // Work on the magnitude in 64 bits: INT32_MIN has no 32-bit negation.
  int64_t v = value;
  const bool negative = v < 0;
  uint64_t m = negative ? static_cast<uint64_t>(-v) : static_cast<uint64_t>(v);
  do {
    tmp[n++] = static_cast<char>('0' + m % 10);
    m /= 10;
  } while (m != 0);
  while (n < digits) {
    tmp[n++] = '0';
  }
  int len = 0;
  if (negative) {
    out[len++] = '-';
  }
  while (n > 0) {
    out[len++] = tmp[--n];
  }
  return len;
}

// Two digits of a value 0 to 99, the common case, without division loops.
inline void twoDigits(char *out, uint32_t v) {
  out[0] = static_cast<char>('0' + v / 10);
  out[1] = static_cast<char>('0' + v % 10);
}

int writeFixed(char *out, int32_t value, int digits) {
  if (digits == 2 && value >= 0 && value < 100) {
    twoDigits(out, static_cast<uint32_t>(value));
    return 2;
  }
  if (digits == 3 && value >= 0 && value < 1000) {
    const auto v = static_cast<uint32_t>(value);
    out[0] = static_cast<char>('0' + v / 100);
    twoDigits(out + 1, v % 100);
    return 3;
  }
  if (digits == 4 && value >= 0 && value < 10000) {
    const auto v = static_cast<uint32_t>(value);
    twoDigits(out, v / 100);
    twoDigits(out + 2, v % 100);
    return 4;
  }
  return writeNumber(out, value, digits);
}

struct Fields {
  int32_t year;
  int32_t month;
  int32_t day;
  int32_t hour;
  int32_t minute;
  int32_t second;
  int32_t millisecond;
  int dayOfYear;
  int weekday;
};

// The output: items are appended while they fit in room bytes.
class Output {
 public:
  Output(char *dst, int dstSize) : dst_(dst), room_(dstSize > 0 ? static_cast<size_t>(dstSize) - 1 : 0) {}

  bool put(const char *text, size_t n) {
    if (n > room_ - used_) {
      return false;
    }
    memcpy(dst_ + used_, text, n);
    used_ += n;
    return true;
  }
  bool put(const char *text) { return put(text, strlen(text)); }
  void finish() { dst_[used_] = '\0'; }

 private:
  char *dst_;
  size_t room_;
  size_t used_ = 0;
};

}  // namespace

extern "C" {

ORV_API int nlsFormatDateTime(char *dst, int dstSize, int32_t date, int32_t time, int dayOfYear, int weekday,
                              const char *format, const char *const *names) {
  if (format == nullptr) {
    format = "";
  }
  if (dst == nullptr || dstSize <= 0) {
    return *format == '\0' ? 0 : 1;
  }
  Fields f{};
  f.year = date / 10000;
  f.month = (date / 100) % 100;
  f.day = date % 100;
  f.hour = time / 10000000;
  f.minute = (time / 100000) % 100;
  f.second = (time / 1000) % 100;
  f.millisecond = time % 1000;
  f.dayOfYear = dayOfYear;
  f.weekday = weekday;
  const bool monthKnown = f.month >= 1 && f.month <= 12;
  const bool weekdayKnown = f.weekday >= 0 && f.weekday <= 7;

  Output out(dst, dstSize);
  char num[12];
  const char *p = format;
  bool fits = true;
  while (*p != '\0' && fits) {
    const char c = *p;
    size_t taken = 0;  // bytes of the format the item replaces (0: none)
    switch (c) {
      case 'Y':
        if (p[1] == 'Y' && p[2] == 'Y' && p[3] == 'Y') {
          fits = out.put(num, static_cast<size_t>(writeFixed(num, f.year, 4)));
          taken = 4;
        } else if (p[1] == 'Y') {
          fits = out.put(num, static_cast<size_t>(writeFixed(num, f.year % 100, 2)));
          taken = 2;
        }
        break;
      case 'M':
        if (p[1] == 'M' && p[2] == 'M' && p[3] == 'M') {
          fits = out.put(monthKnown ? nameAt(names, NLS_DATE_MONTH_NAMES + f.month - 1) : "");
          taken = 4;
        } else if (p[1] == 'M' && p[2] == 'M') {
          fits = out.put(monthKnown ? nameAt(names, NLS_DATE_MONTH_ABBREVS + f.month - 1) : "");
          taken = 3;
        } else if (p[1] == 'M') {
          fits = out.put(num, static_cast<size_t>(writeFixed(num, f.month, 2)));
          taken = 2;
        } else if (p[1] == 'N') {
          fits = out.put(num, static_cast<size_t>(writeFixed(num, f.minute, 2)));
          taken = 2;
        } else if (p[1] == 'S') {
          fits = out.put(num, static_cast<size_t>(writeFixed(num, f.millisecond, 3)));
          taken = 2;
        }
        break;
      case 'D':
        if (p[1] == 'D' && p[2] == 'D') {
          fits = out.put(num, static_cast<size_t>(writeFixed(num, f.dayOfYear, 3)));
          taken = 3;
        } else if (p[1] == 'D') {
          fits = out.put(num, static_cast<size_t>(writeFixed(num, f.day, 2)));
          taken = 2;
        }
        break;
      case 'W':
        if (p[1] == 'W' && p[2] == 'W' && p[3] == 'W') {
          fits = out.put(weekdayKnown ? nameAt(names, NLS_DATE_WEEKDAY_NAMES + f.weekday) : "");
          taken = 4;
        } else if (p[1] == 'W' && p[2] == 'W') {
          fits = out.put(weekdayKnown ? nameAt(names, NLS_DATE_WEEKDAY_ABBREVS + f.weekday) : "");
          taken = 3;
        }
        break;
      case 'H':
        if (p[1] == 'H') {
          fits = out.put(num, static_cast<size_t>(writeFixed(num, f.hour, 2)));
          taken = 2;
        }
        break;
      case 'S':
        if (p[1] == 'S') {
          fits = out.put(num, static_cast<size_t>(writeFixed(num, f.second, 2)));
          taken = 2;
        }
        break;
      case 'A':
        if (p[1] == 'P') {
          fits = out.put(nameAt(names, f.hour < 12 ? NLS_DATE_MORNING : NLS_DATE_AFTERNOON));
          taken = 2;
        }
        break;
      default:
        break;
    }
    if (taken == 0) {
      // Not a token: the character is copied whole.
      const auto n = static_cast<size_t>(nls::charBytesAt(p));
      fits = out.put(p, n);
      taken = n;
    }
    p += taken;
  }
  out.finish();
  return fits ? 0 : 1;
}

}  // extern "C"

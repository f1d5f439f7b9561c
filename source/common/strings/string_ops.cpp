// String objects: searching, cutting, joining and tokens. Positions are
// 1-based units.
#include <stdarg.h>
#include <stdlib.h>
#include <string.h>

#include "common/nls/nls_alloc.h"
#include "common/strings/string_object.h"

namespace strings {

namespace {

bool matchesAt(const uint16_t *text, uint32_t at, const uint16_t *pattern, uint32_t length) {
  return memcmp(text + at, pattern, static_cast<size_t>(length) * sizeof(uint16_t)) == 0;
}

// from..to is a range of positions of s.
bool validRange(const orvString *s, uint32_t from, uint32_t to) {
  return s != nullptr && from != 0 && to >= from && to <= s->length;
}

bool isDelimiter(uint16_t unit, const orvString *delimiters) {
  if (delimiters == nullptr) {
    return false;
  }
  const uint16_t *d = unitsOf(delimiters);
  for (uint32_t i = 0; i < delimiters->length; ++i) {
    if (d[i] == unit) {
      return true;
    }
  }
  return false;
}

}  // namespace

}  // namespace strings

using strings::unitsOf;

extern "C" {

ORV_API uint32_t orvStringFind(uint32_t start, const orvString *pattern, const orvString *text) {
  if (pattern == nullptr || text == nullptr || pattern->length == 0 || pattern->length > text->length) {
    return 0;
  }
  if (start == 0) {
    start = 1;
  }
  const uint32_t last = text->length - pattern->length + 1;  // the last possible beginning
  for (uint32_t p = start; p <= last; ++p) {
    if (strings::matchesAt(unitsOf(text), p - 1, unitsOf(pattern), pattern->length)) {
      return p;
    }
  }
  return 0;
}

ORV_API uint32_t orvStringFindLast(uint32_t end, const orvString *pattern, const orvString *text) {
  if (pattern == nullptr || text == nullptr || pattern->length == 0 || end > text->length ||
      pattern->length > end) {
    return 0;
  }
  for (uint32_t p = end - pattern->length + 1; p >= 1; --p) {
    if (strings::matchesAt(unitsOf(text), p - 1, unitsOf(pattern), pattern->length)) {
      return p;
    }
  }
  return 0;
}

ORV_API orvString *orvStringExtract(const orvString *string, uint32_t from, uint32_t to) {
  if (!strings::validRange(string, from, to)) {
    return nullptr;
  }
  return strings::makeString(unitsOf(string) + (from - 1), to - from + 1, string->charSet);
}

ORV_API int orvStringRemove(orvString *string, uint32_t from, uint32_t to) {
  if (!strings::validRange(string, from, to)) {
    return 0;
  }
  const uint32_t length = string->length - (to - from + 1);
  auto *units = static_cast<uint16_t *>(nls::allocate((static_cast<size_t>(length) + 1) * sizeof(uint16_t)));
  if (units == nullptr) {
    return 0;
  }
  const uint16_t *old = unitsOf(string);
  memcpy(units, old, static_cast<size_t>(from - 1) * sizeof(uint16_t));
  memcpy(units + (from - 1), old + to, static_cast<size_t>(string->length - to) * sizeof(uint16_t));
  units[length] = 0;
  free(string->units);
  string->units = units;
  string->length = length;
  return 1;
}

ORV_API orvString *orvStringUpShift(const orvString *string) {
  if (string == nullptr) {
    return nullptr;
  }
  orvString *s = strings::makeString(unitsOf(string), string->length, string->charSet);
  if (s == nullptr) {
    return nullptr;
  }
  // Only a to z change; every other unit stays as it is.
  for (uint32_t i = 0; i < s->length; ++i) {
    if (s->units[i] >= 97 && s->units[i] <= 122) {
      s->units[i] = static_cast<uint16_t>(s->units[i] - 32);
    }
  }
  return s;
}

ORV_API orvString *orvStringJoin(const orvString *first, ...) {
  if (first == nullptr) {
    return nullptr;
  }
  const orvString *parts[ORV_STRING_JOIN_MAX];
  int count = 0;
  parts[count++] = first;
  va_list more;
  va_start(more, first);
  while (count < ORV_STRING_JOIN_MAX) {
    const orvString *next = va_arg(more, const orvString *);
    if (next == nullptr) {
      break;
    }
    parts[count++] = next;
  }
  va_end(more);
  uint64_t total = 0;
  for (int i = 0; i < count; ++i) {
    total += parts[i]->length;
  }
  if (total >= 0xFFFFFFFFu) {
    return nullptr;
  }
  orvString *s = strings::makeString(nullptr, static_cast<uint32_t>(total), first->charSet);
  if (s == nullptr) {
    return nullptr;
  }
  uint32_t at = 0;
  for (int i = 0; i < count; ++i) {
    memcpy(s->units + at, unitsOf(parts[i]), static_cast<size_t>(parts[i]->length) * sizeof(uint16_t));
    at += parts[i]->length;
  }
  return s;
}

ORV_API orvString *orvStringToken(const orvString *string, const orvString *delimiters, uint32_t *position) {
  if (string == nullptr || position == nullptr || *position == 0 || *position > string->length) {
    return nullptr;
  }
  const uint16_t *u = unitsOf(string);
  uint32_t start = *position;  // 1-based
  while (start <= string->length && strings::isDelimiter(u[start - 1], delimiters)) {
    ++start;
  }
  if (start > string->length) {
    return nullptr;  // only delimiters remain
  }
  uint32_t end = start;  // one past the token
  while (end <= string->length && !strings::isDelimiter(u[end - 1], delimiters)) {
    ++end;
  }
  orvString *token = strings::makeString(u + (start - 1), end - start, string->charSet);
  if (token == nullptr) {
    return nullptr;
  }
  // The unit after the delimiter that ended the token; when the string ran
  // out, one past the end plus one.
  *position = end + 1;
  return token;
}

}  // extern "C"

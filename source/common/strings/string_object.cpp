// String objects: making them, their native form, single units, hashes and
// numbers.
//
// Every string owns exactly length * 2 + 2 bytes of units; there is no spare
// capacity, and operations that change a string build a new unit array.
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "common/nls/nls_alloc.h"
#include "common/strings/string_object.h"

namespace strings {

namespace {
const uint16_t kEmpty[1] = {0};

// A new string from native text in charSet; null when the text does not
// convert or memory runs out.
orvString *fromNative(orvCharSet charSet, const void *text) {
  uint32_t length = 0;
  uint32_t size = 0;
  uint16_t *units = orvCharacterSetConvertToUnicode(charSet, text, &length, &size);
  if (units == nullptr) {
    return nullptr;
  }
  auto *s = static_cast<orvString *>(nls::allocate(sizeof(orvString)));
  if (s == nullptr) {
    free(units);
    return nullptr;
  }
  s->units = units;
  s->length = length;
  s->charSet = charSet;
  return s;
}

// The string's units as single-byte text (the low byte of each unit) for
// the runtime's number parsers; in buffer when it fits, else on the heap.
const char *singleByteForm(const orvString *s, char *buffer, size_t size, char **heap) {
  char *out = buffer;
  if (static_cast<size_t>(s->length) + 1 > size) {
    out = static_cast<char *>(nls::allocate(static_cast<size_t>(s->length) + 1));
    if (out == nullptr) {
      return nullptr;
    }
    *heap = out;
  }
  const uint32_t n = s->units != nullptr ? s->length : 0;
  for (uint32_t i = 0; i < n; ++i) {
    out[i] = static_cast<char>(s->units[i] & 0xFF);
  }
  out[n] = '\0';
  return out;
}

orvString *fromFormatted(const char *text, orvCharSet charSet) {
  orvString *s = fromNative(ORV_CHARSET_ASCII, text);
  if (s != nullptr) {
    s->charSet = charSet;
  }
  return s;
}

}  // namespace

orvString *makeString(const uint16_t *units, uint32_t length, orvCharSet charSet) {
  auto *s = static_cast<orvString *>(nls::allocate(sizeof(orvString)));
  auto *block = static_cast<uint16_t *>(nls::allocate((static_cast<size_t>(length) + 1) * sizeof(uint16_t)));
  if (s == nullptr || block == nullptr) {
    free(s);
    free(block);
    return nullptr;
  }
  if (units != nullptr) {
    memcpy(block, units, static_cast<size_t>(length) * sizeof(uint16_t));
  } else {
    memset(block, 0, static_cast<size_t>(length) * sizeof(uint16_t));
  }
  block[length] = 0;
  s->units = block;
  s->length = length;
  s->charSet = charSet;
  return s;
}

const uint16_t *unitsOf(const orvString *s) { return s->units != nullptr ? s->units : kEmpty; }

}  // namespace strings

extern "C" {

ORV_API orvString *orvStringCreate(orvCharSet charSet, const void *text) {
  if (text == nullptr) {
    return nullptr;
  }
  return strings::fromNative(charSet, text);
}

ORV_API int orvStringAssign(orvString *string, orvCharSet charSet, const void *text) {
  if (string == nullptr) {
    return 0;
  }
  uint32_t length = 0;
  uint32_t size = 0;
  uint16_t *units =
      text != nullptr ? orvCharacterSetConvertToUnicode(charSet, text, &length, &size) : nullptr;
  free(string->units);
  if (units == nullptr) {
    string->units = nullptr;  // the conversion failed: the string is empty
    string->length = 0;
    return 0;
  }
  string->units = units;
  string->length = length;
  string->charSet = charSet;
  return 1;
}

ORV_API void orvStringDestroy(orvString *string) {
  if (string != nullptr) {
    free(string->units);
    free(string);
  }
}

ORV_API int orvStringSame(const orvString *a, const orvString *b) {
  if (a == nullptr || b == nullptr) {
    return 0;
  }
  return a->length == b->length &&
                 memcmp(strings::unitsOf(a), strings::unitsOf(b), static_cast<size_t>(a->length) * 2) == 0
             ? 1
             : 0;
}

ORV_API uint32_t orvStringLength(const orvString *string) { return string != nullptr ? string->length : 0; }

ORV_API int orvStringConvert(orvString *string, orvCharSet charSet) {
  if (string != nullptr) {
    string->charSet = charSet;
  }
  return 1;
}

ORV_API char *orvStringNative(const orvString *string) {
  if (string == nullptr) {
    return nullptr;
  }
  uint32_t length = string->length;
  uint32_t size = 0;
  return orvCharacterSetConvertFromUnicode(string->charSet, strings::unitsOf(string), &length, &size);
}

ORV_API uint16_t orvStringGetCharacter(const orvString *string, uint32_t position) {
  // Positions 1 to length give units; length + 1 gives the 0 unit. Others
  // (which would read outside the string) give 0 as well.
  if (string == nullptr || position == 0 || position > string->length + 1) {
    return 0;
  }
  return strings::unitsOf(string)[position - 1];
}

ORV_API int orvStringSetCharacter(orvString *string, uint32_t position, uint16_t unit) {
  if (string == nullptr || position == 0 || position > string->length || string->units == nullptr) {
    return 0;
  }
  string->units[position - 1] = unit;
  return 1;
}

ORV_API uint32_t orvStringHash(const orvString *string, uint32_t multiplier, uint32_t modulus) {
  if (string == nullptr) {
    return 0;
  }
  const uint32_t n = string->units != nullptr ? string->length : 0;
  uint32_t hash = 0;
  for (uint32_t i = 0; i < n; ++i) {
    hash = hash * multiplier + string->units[i];
    // A modulus of 0 is the caller's error; it reduces nothing here rather
    // than dividing by zero.
    if (modulus != 0) {
      hash %= modulus;
    }
  }
  return hash;
}

ORV_API int32_t orvStringToInteger(const orvString *string) {
  if (string == nullptr) {
    return 0;
  }
  char buffer[64];
  char *heap = nullptr;
  const char *text = strings::singleByteForm(string, buffer, sizeof buffer, &heap);
  int32_t value = text != nullptr ? static_cast<int32_t>(atol(text)) : 0;
  free(heap);
  return value;
}

ORV_API double orvStringToFloat(const orvString *string) {
  if (string == nullptr) {
    return 0.0;
  }
  char buffer[64];
  char *heap = nullptr;
  const char *text = strings::singleByteForm(string, buffer, sizeof buffer, &heap);
  double value = text != nullptr ? atof(text) : 0.0;
  free(heap);
  return value;
}

ORV_API orvString *orvStringFromInteger(int32_t value, orvCharSet charSet) {
  char text[16];
  snprintf(text, sizeof text, "%d", static_cast<int>(value));
  return strings::fromFormatted(text, charSet);
}

ORV_API orvString *orvStringFromHex(uint32_t value, orvCharSet charSet) {
  char text[16];
  snprintf(text, sizeof text, "%X", static_cast<unsigned int>(value));
  return strings::fromFormatted(text, charSet);
}

ORV_API orvString *orvStringFromFloat(double value, orvCharSet charSet) {
  char text[64];
  snprintf(text, sizeof text, "%g", value);
  return strings::fromFormatted(text, charSet);
}

}  // extern "C"

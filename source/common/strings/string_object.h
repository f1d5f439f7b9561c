// The string object: UTF-16 units, their count, and the character set of
// the string's native form. Other layers (message catalogs, message sets)
// read strings through these helpers.
#ifndef ORVANE_STRINGS_STRING_OBJECT_H
#define ORVANE_STRINGS_STRING_OBJECT_H

#include <cstdint>

#include "orvane/strings.h"

struct orvString {
  uint16_t *units;     // followed by one 0 unit; null only in an empty object
  uint32_t length;     // units, the 0 not counted
  orvCharSet charSet;  // the set of orvStringNative
};

namespace strings {

// A new string of length units copied from units (null: all 0 units), with
// exactly length * 2 + 2 bytes for them; null when memory runs out.
orvString *makeString(const uint16_t *units, uint32_t length, orvCharSet charSet);

// The units of a string: never null (an empty string without a block gives
// a 0 unit).
const uint16_t *unitsOf(const orvString *s);

}  // namespace strings

#endif

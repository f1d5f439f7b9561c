// Character-set records: the two look-up tables made from a set's
// definition, the process-wide list that shares records by name, and the
// definition parser.
#ifndef ORVANE_STRINGS_CHARSET_INTERNAL_H
#define ORVANE_STRINGS_CHARSET_INTERNAL_H

#include <cstddef>
#include <cstdint>

#include "orvane/charsets.h"

namespace charsets {

// One mapping: a Unicode value and its native code (the native bytes in
// order, first byte lowest), with the native length in bytes (1 to 4; 0
// marks an empty slot of a direct table). Packed to 7 bytes.
#pragma pack(push, 1)
struct CharMapEntry {
  uint16_t unicode;
  uint32_t native;
  uint8_t length;
};
#pragma pack(pop)
static_assert(sizeof(CharMapEntry) == 7, "a mapping entry is 7 bytes");

// Look-up accelerators built beside the tables for sets whose characters are
// at most two bytes wide: they answer exactly as the tables do, in one or
// two array reads instead of a bisection.
struct FastIndex {
  // Native to Unicode: 0 for no entry, else 0x10000 | unit.
  uint32_t single[256];
  uint32_t *pairs[256];  // by first byte, 256 slots by second byte; null: none
  // Unicode to native: by high byte, 256 slots by low byte; 0 for no entry,
  // else 0x80000000 | length << 24 | native code.
  uint32_t *pages[256];
};

struct CharSetRecord {
  char *name;
  int32_t byUnicodeSorted;  // 1: sorted, searched by bisection; 0: direct
  uint32_t unicodeBase;     // lowest Unicode value (direct table)
  uint32_t unicodeCount;
  CharMapEntry *unicodeTable;
  int32_t byNativeSorted;
  uint32_t nativeBase;
  uint32_t nativeCount;
  CharMapEntry *nativeTable;
  int32_t refCount;
  int32_t maxLength;
  int32_t minLength;
  int32_t entryCount;
  CharSetRecord *next;
  FastIndex *fast;  // null when the set has characters wider than two bytes
};

inline CharSetRecord *recordOf(orvCharSet handle) { return reinterpret_cast<CharSetRecord *>(handle); }

// --- Definition parser --------------------------------------------------------

// The entries of a definition in the order given, in a heap block.
struct ParsedDefinition {
  CharMapEntry *entries = nullptr;
  uint32_t count = 0;
  uint32_t capacity = 0;
};

// Parses a definition text. Returns 0, or the error code (2 when memory
// runs out, 3 to 13 for the text, 14 for a definition without entries). The
// entries are the caller's to free, on success and failure alike.
int parseDefinition(const char *text, ParsedDefinition &out);

// Builds a record (name copied, count 1) from parsed entries; null when
// memory runs out.
CharSetRecord *buildRecord(const char *name, const ParsedDefinition &definition);
void freeRecord(CharSetRecord *record);

// Table look-ups, as the conversions make them.
const CharMapEntry *findByUnicode(const CharSetRecord *record, uint32_t unicode);
const CharMapEntry *findByNative(const CharSetRecord *record, uint32_t native, int length);

// The records now in the list (for white-box tests): the record of a name,
// or null.
CharSetRecord *findLoaded(const char *name);

}  // namespace charsets

#endif

// Internal view of the catalog layer: the shared catalog record, the list of
// open catalogs, and the lookups that the cm set and the message sets share.
#ifndef ORVANE_CATALOG_CM_INTERNAL_H
#define ORVANE_CATALOG_CM_INTERNAL_H

#include <cstddef>
#include <cstdint>

#include "orvane/catalog.h"
#include "orvane/files.h"
#include "orvane/msgset.h"
#include "orvane/strings.h"

struct cmNativeTexts;

struct cmVersion {
  uint32_t numbers[3];
  orvString *text;
};

struct cmCatalog {
  uint32_t refCount;
  uint32_t fileSize;
  uint32_t checksum;
  orvString *name;  // the name as finally opened
  orvFile *file;    // kept open while the catalog is open
  uint32_t messageCount;
  uint32_t *ids;      // messageCount ids, ascending
  uint32_t *offsets;  // messageCount + 1 offsets; the last is fileSize
  orvString *title;
  cmVersion version1;
  cmVersion version2;
  // Open addressing over the ids, built at open: slot = index + 1, 0 empty;
  // hashMask + 1 slots (a power of two, at least twice the count).
  uint32_t *hashSlots;
  uint32_t hashMask;
  // The whole file as read (and checked) at open: lookups read the message
  // area from here, never past fileSize.
  unsigned char *bytes;
  // Texts already made in the current character set, one table per
  // character-set object in use (see cm_native.cpp); read and published
  // atomically, released at close.
  cmNativeTexts *nativeTexts;
  cmCatalog *next;
};

namespace catalog {

// CRC-16/ARC (reflected polynomial 0xA001, no final XOR) of size bytes,
// continuing from crc.
uint16_t crc16(uint16_t crc, const unsigned char *data, size_t size);

// The checksum and structure checks of an open, over c->bytes and
// c->fileSize (the size field already matched): 0, 1, 2, 5 or 9, with
// lastOpenProblem naming the problem. On failure the caller releases what
// was made with releaseContents.
int checkContents(cmCatalog *c);
void releaseContents(cmCatalog *c);

// The head of the list of open catalogs (most recently opened first).
cmCatalog *firstCatalog();

// The text of id in one catalog as UTF-16 units: pseudo-ids 1 to 13 as
// properties, a stored message with its leading field dropped unless id has
// CM_KEEP_LEAD. Returns 1 and a new string in *out, 0 when the catalog does
// not hold id, -1 when memory runs out.
int lookup(const cmCatalog *catalog, uint32_t id, orvString **out);

// The text of a stored message id (not a pseudo-id) in one catalog, in the
// current character set: *found 0 when the catalog does not hold id;
// otherwise a heap block, or null when memory runs out.
char *lookupNative(const cmCatalog *catalog, uint32_t id, int *found);

// The character set that texts in the current character set are made in.
orvCharSet currentCharSet();

// The index position of a stored id, or catalog->messageCount when absent.
uint32_t find(const cmCatalog *catalog, uint32_t id);

// The units of message i after its leading field (kept when id has
// CM_KEEP_LEAD): big-endian UTF-16 at *p, *units of them.
void textSpan(const cmCatalog *catalog, uint32_t i, uint32_t id, const unsigned char **p, uint32_t *units);

// units big-endian UTF-16 units at p as a heap block in the character set
// set, terminator included; *size receives the block's size in bytes. Null
// when memory runs out.
char *convertUnits(const unsigned char *p, uint32_t units, orvCharSet set, uint32_t *size);

// Message i (stored id, leading field dropped) in the current character set
// from the catalog's table of made texts, making the entry on first use: a
// new heap block, or null with *usable false when the table cannot serve
// (memory ran out while making it: the caller converts the text itself).
char *cachedNative(const cmCatalog *catalog, uint32_t i, bool *usable);

// Releases every table of made texts (at close).
void releaseNativeTexts(cmCatalog *catalog);

// A heap copy of a string's units in the current character set; null when
// memory runs out.
char *toCurrent(const orvString *text);

// The fallback text "MSG: <id in lower-case hexadecimal>" in the current
// character set; null when memory runs out.
char *fallbackText(uint32_t id);

// Why a catalog open failed, for `orv catalog check`: a short English
// description of the first problem found by the last failed open (empty
// after a successful one).
const char *lastOpenProblem();

// The catalog of a message set (null when its open failed).
const cmCatalog *catalogOf(const orvMessageSet *set);

}  // namespace catalog

#endif

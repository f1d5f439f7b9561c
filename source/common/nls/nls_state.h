// The national-language state shared by the nls files and by the layers
// that read the current locale: character-set ids and names, the locale
// records and multi-byte map records of the NLS table, the Unicode maps of
// the single-byte sets, and the multi-byte length of every byte value.
//
// nlsInit sets the state up during process initialisation and nlsTerminate
// takes it down; in between it is read without locks (nlsSetCharSet,
// nlsSetCollSeq and nlsGetLocaleInfo change parts of it, as documented).
#ifndef ORVANE_NLS_STATE_H
#define ORVANE_NLS_STATE_H

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace nls {

// --- Character-set ids -------------------------------------------------------

constexpr int kCharSetNone = 0;
constexpr int kCharSetCurrent = 1;
constexpr int kCharSetBinary8 = 2;
constexpr int kCharSetAscii7 = 3;
constexpr int kCharSetLatin1 = 4;
constexpr int kCharSetSjis = 13;
constexpr int kCharSetEucJ = 14;
constexpr int kCharSetUnicode = 22;
constexpr int kCharSetSlots = 23;

inline bool isSingleByte(int id) { return id >= 3 && id < 13; }
inline bool isMultiByte(int id) { return id >= 13; }

// The built-in Unicode maps of ids 3 to 9 (nls_builtin_maps.cpp, generated).
constexpr int kBuiltinMapCount = 7;
constexpr int kFirstBuiltinMap = 3;
extern const uint16_t kBuiltinMaps[kBuiltinMapCount][256];

constexpr uint16_t kNoCharacter = 0xFFFF;

// A substitute used when translating into a set: Unicode value to byte. A
// list ends with a pair whose Unicode value is 0.
struct ExtensionPair {
  uint16_t unicode;
  uint16_t byte;
};

// --- Records of the table ----------------------------------------------------

struct LeadRange {
  uint16_t low;
  uint16_t high;
  uint16_t length;  // bytes of a character whose first byte is in low..high
};

constexpr int kMaxLeadRanges = 4;
constexpr int kTableAttributes = 9;    // read from the table
constexpr int kLocaleAttributes = 11;  // and two words that stay zero

// One accepted locale line of the table.
struct NlsLocale {
  NlsLocale *next;
  uint32_t langId;
  int32_t charSet;
  char *name;  // the platform's name of the locale (field 4)
  int32_t leadRangeCount;
  LeadRange leadRanges[kMaxLeadRanges];
  uint16_t attr[kLocaleAttributes];
  bool isDatabaseRow;
};

// One MBCHARMAP block of the table, read again on demand.
struct NlsMbCharMap {
  char *name;
  char *tablePath;
  uint32_t length;  // bytes of the block's lines, the END line included
  NlsMbCharMap *next;
};

constexpr size_t kLocaleNameSize = 80;

struct State {
  bool initialised = false;
  NlsLocale *locales = nullptr;  // in file order
  NlsLocale *current = nullptr;
  uint32_t langId = 0;
  int32_t charSet = 0;
  char localeName[kLocaleNameSize] = {};
  uint32_t lineNumber = 0;  // lines read from the table so far, never reset
  char *tablePath = nullptr;
  intptr_t charSetObject = 0;
  void *servicesMessageSet = nullptr;
  NlsMbCharMap *mbCharMaps = nullptr;  // in file order
  // Per slot: the heap copy of the name (null before the first nlsInit:
  // the built-in name is in force), and a map and extension list that a
  // CHARMAP block put in place of the built-in ones (null: none).
  char *names[kCharSetSlots] = {};
  uint16_t *replacedMaps[kCharSetSlots] = {};
  ExtensionPair *replacedExtensions[kCharSetSlots] = {};
};

State &state();

// Counts the changes of state().charSetObject: a cache of texts made in the
// current character set (the catalogs keep one) is good while the count it
// was made at still stands. An object that is destroyed and a new one that
// lands at the same address never look alike.
extern std::atomic<uint32_t> charSetObjectGeneration;

// Sets state().charSetObject and counts the change.
void setCharSetObject(intptr_t object);

// The name, Unicode map and extension list of a slot as they now stand
// (null map or list: the slot has none).
const char *charSetName(int id);
const uint16_t *unicodeMap(int id);
const ExtensionPair *extensionList(int id);

// The current locale record, or null.
inline const NlsLocale *currentLocale() { return state().current; }

// --- The multi-byte length of a byte ----------------------------------------
//
// nlsStrmblen is asked for every character the library walks, so the answer
// for each byte value is kept in a table, rebuilt whenever the current
// locale or character set changes.

extern std::atomic<uint8_t> charLengths[256];

inline int charLength(unsigned char firstByte) {
  return charLengths[firstByte].load(std::memory_order_relaxed);
}

// The length of the character at p, which never runs past the terminating
// NUL: a lead byte directly before the NUL is a character of its own.
inline int charLengthAt(const unsigned char *p) {
  int n = charLength(*p);
  return n > 1 && p[1] == 0 ? 1 : n;
}
inline int charLengthAt(const char *p) { return charLengthAt(reinterpret_cast<const unsigned char *>(p)); }

// Recomputes the table from the current record and character set.
void rebuildCharLengths();

// The answer of the multi-byte test, computed from the state (what the
// table holds for each byte).
int computeCharLength(unsigned char firstByte);

// --- Set-up helpers shared by the nls files ----------------------------------

// Copies the built-in names into heap strings (the first nlsInit). False when
// memory runs out.
bool copyCharSetNames();

// Frees everything the table put in place: names, locale records, multi-byte
// map records, replaced maps and lists, and the table path. The line counter
// stays.
void releaseTableState();

}  // namespace nls

#endif

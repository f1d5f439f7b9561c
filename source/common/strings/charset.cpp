// Character-set records: made from a set's definition in the NLS table,
// shared by name in a process-wide list and counted.
//
// Each record holds two tables of the set's entries: one by Unicode value
// and one by native code. A table is direct (indexed by value - lowest, with
// empty slots) when the span of its values is smaller than twice the number
// of entries, and otherwise the entries sorted by that value and searched by
// bisection. When a value is defined twice, the first definition counts.
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <mutex>

#include "common/nls/nls_alloc.h"
#include "common/nls/nls_table.h"
#include "common/nls/nls_util.h"
#include "common/strings/charset_internal.h"

namespace charsets {

namespace {

// The process-wide list of records, newest first.
std::mutex listLock;
CharSetRecord *loaded = nullptr;

struct Span {
  uint32_t low = 0xFFFFFFFFu;
  uint32_t high = 0;
  void add(uint32_t v) {
    low = std::min(low, v);
    high = std::max(high, v);
  }
};

// Makes one table: direct or sorted by key. Null when memory runs out.
template <class Key>
CharMapEntry *makeTable(const ParsedDefinition &d, Key key, int32_t &sorted, uint32_t &base,
                        uint32_t &count) {
  Span span;
  for (uint32_t i = 0; i < d.count; ++i) {
    span.add(key(d.entries[i]));
  }
  const uint64_t width = static_cast<uint64_t>(span.high) - span.low;
  if (width < 2 * static_cast<uint64_t>(d.count)) {
    sorted = 0;
    base = span.low;
    count = static_cast<uint32_t>(width + 1);
    auto *table = static_cast<CharMapEntry *>(nls::allocate(count * sizeof(CharMapEntry)));
    if (table == nullptr) {
      return nullptr;
    }
    memset(table, 0, count * sizeof(CharMapEntry));
    for (uint32_t i = 0; i < d.count; ++i) {
      CharMapEntry &slot = table[key(d.entries[i]) - base];
      if (slot.length == 0) {
        slot = d.entries[i];
      }
    }
    return table;
  }
  sorted = 1;
  base = span.low;
  count = d.count;
  auto *table = static_cast<CharMapEntry *>(nls::allocate(count * sizeof(CharMapEntry)));
  if (table == nullptr) {
    return nullptr;
  }
  memcpy(table, d.entries, count * sizeof(CharMapEntry));
  // Stable: of entries with the same value, the one defined first is found.
  std::stable_sort(table, table + count,
                   [&](const CharMapEntry &a, const CharMapEntry &b) { return key(a) < key(b); });
  return table;
}

uint32_t unicodeKey(const CharMapEntry &e) { return e.unicode; }
uint32_t nativeKey(const CharMapEntry &e) { return e.native; }

template <class Key>
const CharMapEntry *lowerBound(const CharMapEntry *table, uint32_t count, uint32_t value, Key key) {
  uint32_t lo = 0;
  uint32_t hi = count;
  while (lo < hi) {
    uint32_t mid = lo + (hi - lo) / 2;
    if (key(table[mid]) < value) {
      lo = mid + 1;
    } else {
      hi = mid;
    }
  }
  return lo < count && key(table[lo]) == value ? table + lo : nullptr;
}

void freeFastIndex(FastIndex *fast) {
  if (fast == nullptr) {
    return;
  }
  for (int i = 0; i < 256; ++i) {
    free(fast->pairs[i]);
    free(fast->pages[i]);
  }
  free(fast);
}

// Builds the accelerators from the tables' own answers. False when memory
// runs out.
bool buildFastIndex(CharSetRecord *r, const ParsedDefinition &d) {
  auto *fast = static_cast<FastIndex *>(nls::allocate(sizeof(FastIndex)));
  if (fast == nullptr) {
    return false;
  }
  memset(fast, 0, sizeof *fast);
  r->fast = fast;
  for (uint32_t b = 0; b < 256; ++b) {
    if (const CharMapEntry *e = findByNative(r, b, 1)) {
      fast->single[b] = 0x10000u | e->unicode;
    }
  }
  for (uint32_t i = 0; i < d.count; ++i) {
    const CharMapEntry &entry = d.entries[i];
    if (entry.length == 2 && fast->pairs[entry.native & 0xFF] == nullptr) {
      const uint32_t lead = entry.native & 0xFF;
      auto *row = static_cast<uint32_t *>(nls::allocate(256 * sizeof(uint32_t)));
      if (row == nullptr) {
        return false;
      }
      for (uint32_t trail = 0; trail < 256; ++trail) {
        const CharMapEntry *e = findByNative(r, lead | trail << 8, 2);
        row[trail] = e != nullptr ? 0x10000u | e->unicode : 0;
      }
      fast->pairs[lead] = row;
    }
    const uint32_t u = entry.unicode;
    uint32_t *&page = fast->pages[u >> 8];
    if (page == nullptr) {
      page = static_cast<uint32_t *>(nls::allocate(256 * sizeof(uint32_t)));
      if (page == nullptr) {
        return false;
      }
      memset(page, 0, 256 * sizeof(uint32_t));
    }
    if (page[u & 0xFF] == 0) {
      const CharMapEntry *e = findByUnicode(r, u);
      page[u & 0xFF] = 0x80000000u | static_cast<uint32_t>(e->length) << 24 | e->native;
    }
  }
  return true;
}

}  // namespace

const CharMapEntry *findByUnicode(const CharSetRecord *r, uint32_t unicode) {
  if (r->byUnicodeSorted == 0) {
    if (unicode < r->unicodeBase || unicode - r->unicodeBase >= r->unicodeCount) {
      return nullptr;
    }
    const CharMapEntry *e = r->unicodeTable + (unicode - r->unicodeBase);
    return e->length != 0 ? e : nullptr;
  }
  return lowerBound(r->unicodeTable, r->unicodeCount, unicode, unicodeKey);
}

const CharMapEntry *findByNative(const CharSetRecord *r, uint32_t native, int length) {
  if (r->byNativeSorted == 0) {
    if (native < r->nativeBase || native - r->nativeBase >= r->nativeCount) {
      return nullptr;
    }
    const CharMapEntry *e = r->nativeTable + (native - r->nativeBase);
    return e->length == length ? e : nullptr;
  }
  const CharMapEntry *e = lowerBound(r->nativeTable, r->nativeCount, native, nativeKey);
  for (const CharMapEntry *end = r->nativeTable + r->nativeCount;
       e != nullptr && e < end && e->native == native; ++e) {
    if (e->length == length) {
      return e;
    }
  }
  return nullptr;
}

void freeRecord(CharSetRecord *record) {
  if (record == nullptr) {
    return;
  }
  free(record->name);
  free(record->unicodeTable);
  free(record->nativeTable);
  freeFastIndex(record->fast);
  free(record);
}

CharSetRecord *buildRecord(const char *name, const ParsedDefinition &d) {
  auto *r = static_cast<CharSetRecord *>(nls::allocate(sizeof(CharSetRecord)));
  if (r == nullptr) {
    return nullptr;
  }
  memset(r, 0, sizeof *r);
  r->name = nls::duplicate(name);
  r->refCount = 1;
  r->entryCount = static_cast<int32_t>(d.count);
  r->maxLength = 0;
  r->minLength = 4;
  for (uint32_t i = 0; i < d.count; ++i) {
    r->maxLength = std::max<int32_t>(r->maxLength, d.entries[i].length);
    r->minLength = std::min<int32_t>(r->minLength, d.entries[i].length);
  }
  r->unicodeTable = makeTable(d, unicodeKey, r->byUnicodeSorted, r->unicodeBase, r->unicodeCount);
  r->nativeTable = makeTable(d, nativeKey, r->byNativeSorted, r->nativeBase, r->nativeCount);
  if (r->name == nullptr || r->unicodeTable == nullptr || r->nativeTable == nullptr ||
      (r->maxLength <= 2 && !buildFastIndex(r, d))) {
    freeRecord(r);
    return nullptr;
  }
  return r;
}

CharSetRecord *findLoaded(const char *name) {
  for (CharSetRecord *r = loaded; r != nullptr; r = r->next) {
    if (nls::equalsNoCase(r->name, name)) {
      return r;
    }
  }
  return nullptr;
}

}  // namespace charsets

using charsets::CharSetRecord;

extern "C" {

ORV_API orvCharSet orvCharacterSetCreate(const char *name, int *error) {
  int ignored = 0;
  int &err = error != nullptr ? *error : ignored;
  err = 0;
  if (name == nullptr) {
    err = ORV_CHARSET_ERR_NO_DEFINITION;
    return 0;
  }
  if (nls::equalsNoCase(name, "ASCII")) {
    return ORV_CHARSET_ASCII;
  }
  if (nls::equalsNoCase(name, "UNICODE")) {
    return ORV_CHARSET_UNICODE;
  }
  std::lock_guard<std::mutex> guard(charsets::listLock);
  if (CharSetRecord *r = charsets::findLoaded(name)) {
    ++r->refCount;
    return reinterpret_cast<orvCharSet>(r);
  }
  bool noMemory = false;
  char *text = nls::readMbCharMap(name, &noMemory);
  if (text == nullptr) {
    err = noMemory ? ORV_CHARSET_ERR_NO_MEMORY : ORV_CHARSET_ERR_NO_DEFINITION;
    return 0;
  }
  charsets::ParsedDefinition definition;
  int rc = charsets::parseDefinition(text, definition);
  free(text);
  CharSetRecord *r = nullptr;
  if (rc == 0) {
    r = charsets::buildRecord(name, definition);
    if (r == nullptr) {
      rc = ORV_CHARSET_ERR_NO_MEMORY;
    }
  }
  free(definition.entries);
  if (rc != 0) {
    err = rc;
    return 0;
  }
  r->next = charsets::loaded;
  charsets::loaded = r;
  return reinterpret_cast<orvCharSet>(r);
}

ORV_API void orvCharacterSetDestroy(orvCharSet charSet) {
  if (charSet == 0 || charSet == ORV_CHARSET_ASCII || charSet == ORV_CHARSET_UNICODE) {
    return;
  }
  std::lock_guard<std::mutex> guard(charsets::listLock);
  // Only a record of the list is released: an unknown handle is ignored.
  for (CharSetRecord **link = &charsets::loaded; *link != nullptr; link = &(*link)->next) {
    CharSetRecord *r = *link;
    if (reinterpret_cast<orvCharSet>(r) == charSet) {
      if (--r->refCount == 0) {
        *link = r->next;
        charsets::freeRecord(r);
      }
      return;
    }
  }
}

}  // extern "C"

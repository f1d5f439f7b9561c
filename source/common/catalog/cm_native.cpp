// Texts of a catalog already made in the current character set.
//
// cmGetRawMessage hands the caller a heap copy of a message in the current
// character set. Turning the stored UTF-16 units into that set (and finding
// where the leading field ends) is the same work every time a message is
// asked for, so each catalog keeps, per character-set object, a table with
// one entry per message: the finished text with its size, made the first
// time the message is asked for. A lookup then costs the table's load, one
// allocation and one copy.
//
// Entries are published with a compare-and-swap, so threads that look up
// messages of one catalog at once never see half an entry; two threads that
// make the same entry at once keep the first and free the other. A change
// of the current character set (a new locale, nlsInit after nlsTerminate)
// starts a new table; the old ones stay until the catalog is closed, since
// another thread may still be reading them. After kMaxTables tables the
// catalog stops making new ones and converts each text as it is asked for.
#include <atomic>
#include <cstdlib>
#include <cstring>

#include "common/catalog/cm_internal.h"
#include "common/nls/nls_alloc.h"
#include "common/nls/nls_state.h"

struct cmNativeTexts {
  uint32_t generation;  // nls::charSetObjectGeneration when made
  orvCharSet set;
  cmNativeTexts *older;
  uint32_t count;
  // count entries: 0 while not made, else a block holding the text's size
  // (a uint32_t) followed by the text.
  char **entries;
};

namespace catalog {

namespace {

constexpr int kMaxTables = 4;

std::atomic_ref<cmNativeTexts *> tablesOf(const cmCatalog *c) {
  return std::atomic_ref<cmNativeTexts *>(const_cast<cmCatalog *>(c)->nativeTexts);
}

std::atomic_ref<char *> entryOf(cmNativeTexts *t, uint32_t i) {
  return std::atomic_ref<char *>(t->entries[i]);
}

// The table for the character-set object now current, made when there is
// none yet; null when memory runs out or the catalog has made its last.
cmNativeTexts *currentTable(const cmCatalog *c) {
  const uint32_t generation = nls::charSetObjectGeneration.load(std::memory_order_acquire);
  cmNativeTexts *head = tablesOf(c).load(std::memory_order_acquire);
  int tables = 0;
  for (cmNativeTexts *t = head; t != nullptr; t = t->older) {
    if (t->generation == generation) {
      return t;
    }
    ++tables;
  }
  if (tables >= kMaxTables || c->messageCount == 0) {
    return nullptr;
  }
  auto *table = static_cast<cmNativeTexts *>(nls::allocate(sizeof(cmNativeTexts)));
  if (table == nullptr) {
    return nullptr;
  }
  table->entries = static_cast<char **>(nls::allocate(sizeof(char *) * c->messageCount));
  if (table->entries == nullptr) {
    free(table);
    return nullptr;
  }
  memset(table->entries, 0, sizeof(char *) * c->messageCount);
  table->generation = generation;
  table->set = currentCharSet();
  table->count = c->messageCount;
  table->older = head;
  while (!tablesOf(c).compare_exchange_weak(table->older, table, std::memory_order_acq_rel,
                                            std::memory_order_acquire)) {
    // Another thread published a table first: use it when it is the one
    // wanted, otherwise chain behind it.
    for (cmNativeTexts *t = table->older; t != nullptr; t = t->older) {
      if (t->generation == generation) {
        free(table->entries);
        free(table);
        return t;
      }
    }
  }
  return table;
}

// Makes the entry of message i: null when memory runs out.
char *makeEntry(const cmCatalog *c, cmNativeTexts *table, uint32_t i) {
  const unsigned char *p = nullptr;
  uint32_t units = 0;
  textSpan(c, i, c->ids[i], &p, &units);
  uint32_t size = 0;
  char *text = convertUnits(p, units, table->set, &size);
  if (text == nullptr) {
    return nullptr;
  }
  auto *entry = static_cast<char *>(nls::allocate(sizeof(uint32_t) + size));
  if (entry == nullptr) {
    free(text);
    return nullptr;
  }
  memcpy(entry, &size, sizeof size);
  memcpy(entry + sizeof size, text, size);
  free(text);
  char *expected = nullptr;
  if (!entryOf(table, i).compare_exchange_strong(expected, entry, std::memory_order_acq_rel,
                                                 std::memory_order_acquire)) {
    free(entry);
    return expected;
  }
  return entry;
}

}  // namespace

char *cachedNative(const cmCatalog *c, uint32_t i, bool *usable) {
  *usable = false;
  cmNativeTexts *table = currentTable(c);
  if (table == nullptr) {
    return nullptr;
  }
  char *entry = entryOf(table, i).load(std::memory_order_acquire);
  if (entry == nullptr) {
    entry = makeEntry(c, table, i);
    if (entry == nullptr) {
      return nullptr;
    }
  }
  uint32_t size = 0;
  memcpy(&size, entry, sizeof size);
  auto *copy = static_cast<char *>(nls::allocate(size));
  if (copy == nullptr) {
    // The table served; only the caller's block could not be had.
    *usable = true;
    return nullptr;
  }
  memcpy(copy, entry + sizeof size, size);
  *usable = true;
  return copy;
}

void releaseNativeTexts(cmCatalog *c) {
  cmNativeTexts *t = c->nativeTexts;
  while (t != nullptr) {
    cmNativeTexts *older = t->older;
    for (uint32_t i = 0; i < t->count; ++i) {
      free(t->entries[i]);
    }
    free(t->entries);
    free(t);
    t = older;
  }
  c->nativeTexts = nullptr;
}

}  // namespace catalog

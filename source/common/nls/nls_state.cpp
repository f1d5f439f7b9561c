// The national-language state: character-set names and the built-in
// extension lists, language ids, the multi-byte length table, and the
// simple queries of the state.
#include "common/nls/nls_state.h"

#include <stdlib.h>
#include <string.h>

#include "common/nls/nls_alloc.h"
#include "common/nls/nls_util.h"
#include "orvane/nls.h"

namespace nls {

namespace {

State theState;

// Slots 0 and 1 hold the empty string and never match a name.
const char *const kBuiltinNames[kCharSetSlots] = {
    "",      "",          "binary8",   "ascii7",   "8859-1",   "roman8",   "decMCS",  "dg",
    "pc850", "sco8859-1", "sbSpare1",  "sbSpare2", "sbSpare3", "s-jis",    "euc-j",   "korean",
    "big5",  "dec-kanji", "s-chinese", "mbSpare1", "mbSpare2", "mbSpare3", "unicode",
};

// Built-in extension lists: substitutes for characters a set lacks.
const ExtensionPair kAscii7Extensions[] = {
    {0x0192, 0x66}, {0x0300, 0x60}, {0x0178, 0x59}, {0x0302, 0x5E}, {0x0303, 0x7E},
    {0x20A4, 0x23}, {0x0160, 0x53}, {0x0161, 0x73}, {0, 0},
};
const ExtensionPair kLatin1Extensions[] = {
    {0x0192, 0x66}, {0x0300, 0x60}, {0x0178, 0x59}, {0x0302, 0x5E}, {0x0303, 0x7E},
    {0x20A4, 0xA3}, {0x0160, 0x53}, {0x0161, 0x73}, {0, 0},
};
const ExtensionPair kRoman8Extensions[] = {{0x20A4, 0xAF}, {0, 0}};
const ExtensionPair kDecMcsExtensions[] = {
    {0x0192, 0x66}, {0x0300, 0x60}, {0x0302, 0x5E}, {0x0303, 0x7E},
    {0x20A4, 0xA3}, {0x0160, 0x53}, {0x0161, 0x73}, {0, 0},
};
const ExtensionPair kDgExtensions[] = {
    {0x0192, 0x66}, {0x0178, 0x59}, {0x0302, 0x5E}, {0x0303, 0x7E},
    {0x20A4, 0xA3}, {0x0160, 0x53}, {0x0161, 0x73}, {0, 0},
};
const ExtensionPair kPc850Extensions[] = {
    {0x0300, 0x60}, {0x0178, 0x59}, {0x0302, 0x5E}, {0x0303, 0x7E},
    {0x20A4, 0x9C}, {0x0160, 0x53}, {0x0161, 0x73}, {0, 0},
};

const ExtensionPair *builtinExtensions(int id) {
  switch (id) {
    case 3:
      return kAscii7Extensions;
    case 4:
    case 9:
      return kLatin1Extensions;
    case 5:
      return kRoman8Extensions;
    case 6:
      return kDecMcsExtensions;
    case 7:
      return kDgExtensions;
    case 8:
      return kPc850Extensions;
    default:
      return nullptr;
  }
}

bool validSlot(int id) { return id >= 0 && id < kCharSetSlots; }

template <class T>
void freeList(T *&head) {
  while (head != nullptr) {
    T *next = head->next;
    free(head->name);
    if constexpr (requires { head->tablePath; }) {
      free(head->tablePath);
    }
    free(head);
    head = next;
  }
}

}  // namespace

std::atomic<uint8_t> charLengths[256] = {};

std::atomic<uint32_t> charSetObjectGeneration{1};

void setCharSetObject(intptr_t object) {
  state().charSetObject = object;
  charSetObjectGeneration.fetch_add(1, std::memory_order_release);
}

namespace {
// Until the first nlsInit every byte is a character of its own.
struct CharLengthsAtStart {
  CharLengthsAtStart() {
    for (auto &n : charLengths) {
      n.store(1, std::memory_order_relaxed);
    }
  }
} charLengthsAtStart;
}  // namespace

State &state() { return theState; }

const char *charSetName(int id) {
  if (!validSlot(id)) {
    return "";
  }
  return theState.names[id] != nullptr ? theState.names[id] : kBuiltinNames[id];
}

const uint16_t *unicodeMap(int id) {
  if (!validSlot(id)) {
    return nullptr;
  }
  if (theState.replacedMaps[id] != nullptr) {
    return theState.replacedMaps[id];
  }
  if (id >= kFirstBuiltinMap && id < kFirstBuiltinMap + kBuiltinMapCount) {
    return kBuiltinMaps[id - kFirstBuiltinMap];
  }
  return nullptr;
}

const ExtensionPair *extensionList(int id) {
  if (!validSlot(id)) {
    return nullptr;
  }
  if (theState.replacedExtensions[id] != nullptr) {
    return theState.replacedExtensions[id];
  }
  return builtinExtensions(id);
}

int computeCharLength(unsigned char firstByte) {
  const NlsLocale *record = theState.current;
  if (record == nullptr || !isMultiByte(theState.charSet) || record->leadRangeCount <= 0) {
    return 1;
  }
  for (int i = 0; i < record->leadRangeCount && i < kMaxLeadRanges; ++i) {
    const LeadRange &r = record->leadRanges[i];
    if (r.low <= firstByte && firstByte <= r.high) {
      return r.length;
    }
  }
  return 1;
}

void rebuildCharLengths() {
  for (int c = 0; c < 256; ++c) {
    charLengths[c].store(static_cast<uint8_t>(computeCharLength(static_cast<unsigned char>(c))),
                         std::memory_order_relaxed);
  }
}

bool copyCharSetNames() {
  for (int id = 0; id < kCharSetSlots; ++id) {
    if (theState.names[id] == nullptr) {
      theState.names[id] = duplicate(kBuiltinNames[id]);
      if (theState.names[id] == nullptr) {
        return false;
      }
    }
  }
  return true;
}

void releaseTableState() {
  for (int id = 0; id < kCharSetSlots; ++id) {
    free(theState.names[id]);
    theState.names[id] = nullptr;
    free(theState.replacedMaps[id]);
    theState.replacedMaps[id] = nullptr;
    free(theState.replacedExtensions[id]);
    theState.replacedExtensions[id] = nullptr;
  }
  freeList(theState.locales);
  freeList(theState.mbCharMaps);
  theState.current = nullptr;
  free(theState.tablePath);
  theState.tablePath = nullptr;
}

}  // namespace nls

extern "C" {

ORV_API uint32_t nlsPackLangId(const char *localeName) {
  if (localeName == nullptr) {
    return 0;
  }
  if (nls::equalsNoCase(localeName, "POSIX") || nls::equalsNoCase(localeName, "C")) {
    return NLS_LANGID_C;
  }
  uint32_t id = 0;
  int n = 0;
  for (; n < 4 && localeName[n] != '\0'; ++n) {
    unsigned char c = static_cast<unsigned char>(localeName[n]);
    if (c >= 'a' && c <= 'z') {
      c = static_cast<unsigned char>(c - 'a' + 'A');
    }
    id = id << 8 | c;
  }
  return n == 0 ? 0 : id << (8 * (4 - n));
}

ORV_API int32_t nlsCharSetIdFromName(const char *name) {
  if (name == nullptr) {
    return 0;
  }
  for (int id = nls::kCharSetBinary8; id < nls::kCharSetSlots; ++id) {
    if (nls::equalsNoCase(name, nls::charSetName(id))) {
      return id;
    }
  }
  return 0;
}

ORV_API uint32_t nlsGetLangId(void) { return nls::state().langId; }

ORV_API int32_t nlsGetCharSet(void) { return nls::state().charSet; }

ORV_API uint32_t nlsGetErrorLineNumber(void) { return nls::state().lineNumber; }

ORV_API int nlsCharmaxsiz(void) { return 2; }

ORV_API int nlsStrmblen(int firstByte) {
  return nls::charLength(static_cast<unsigned char>(firstByte & 0xFF));
}

ORV_API char *nlsGetenv(const char *name) { return name != nullptr ? getenv(name) : nullptr; }

}  // extern "C"

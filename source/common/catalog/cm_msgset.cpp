// The cm message set: a bounded list of pending messages (catalog ids with
// their parameters, or literal strings) that is composed when read back
// with cmGetMessage: lookup, part selection, parameter substitution.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "common/catalog/cm_internal.h"
#include "common/nls/nls_alloc.h"
#include "common/nls/nls_state.h"
#include "orvane/nls.h"
#include "orvane/nls_format.h"

namespace {

constexpr uint16_t kParmString = 1;
constexpr uint16_t kParmNumber = 2;
constexpr uint16_t kParmReleased = 3;
constexpr uint16_t kParmMessage = 4;

constexpr uint16_t kEntryMessage = 1;
constexpr uint16_t kEntryString = 2;

struct Parm {
  uint16_t kind;
  uintptr_t value;  // owned string pointer, number or id
};

struct Entry {
  uint16_t kind;
  uint32_t id;
  char *text;  // kind 2: owned copy
  uint32_t a, b;
  Parm *parms;  // owned array
  int16_t parmCount;
  Entry *towardLast;
  Entry *towardFirst;
};

}  // namespace

struct cmMsgSet {
  uint32_t changed;
  uint32_t capacity;
  uint32_t count;
  uint32_t cursor;
  Parm pending[CM_MAX_PARAMETERS];
  int16_t pendingCount;
  Entry *first;
  Entry *last;
};

namespace {

void releaseParm(Parm *p) {
  if (p->kind == kParmString) {
    free(reinterpret_cast<char *>(p->value));
  }
  p->kind = kParmReleased;
  p->value = 0;
}

void releasePending(cmMsgSet *set) {
  for (int i = 0; i < set->pendingCount; ++i) {
    releaseParm(&set->pending[i]);
  }
  set->pendingCount = 0;
}

void freeEntry(Entry *e) {
  for (int i = 0; i < e->parmCount; ++i) {
    releaseParm(&e->parms[i]);
  }
  free(e->parms);
  free(e->text);
  free(e);
}

void unlink(cmMsgSet *set, Entry *e) {
  if (e->towardFirst != nullptr) {
    e->towardFirst->towardLast = e->towardLast;
  } else {
    set->first = e->towardLast;
  }
  if (e->towardLast != nullptr) {
    e->towardLast->towardFirst = e->towardFirst;
  } else {
    set->last = e->towardFirst;
  }
  --set->count;
}

void linkFront(cmMsgSet *set, Entry *e) {
  e->towardFirst = nullptr;
  e->towardLast = set->first;
  if (set->first != nullptr) {
    set->first->towardFirst = e;
  } else {
    set->last = e;
  }
  set->first = e;
  ++set->count;
}

void linkBack(cmMsgSet *set, Entry *e) {
  e->towardLast = nullptr;
  e->towardFirst = set->last;
  if (set->last != nullptr) {
    set->last->towardLast = e;
  } else {
    set->first = e;
  }
  set->last = e;
  ++set->count;
}

// Makes room for a new entry: at the front a full set drops its last entry;
// at the end a full set refuses (false).
bool makeRoom(cmMsgSet *set, bool atEnd) {
  if (set->count < set->capacity) {
    return true;
  }
  if (atEnd) {
    return false;
  }
  Entry *e = set->last;
  unlink(set, e);
  freeEntry(e);
  return true;
}

int addMessage(cmMsgSet *set, uint32_t id, bool atEnd) {
  if (set == nullptr) {
    return 0;
  }
  set->changed = 1;
  if (atEnd && set->count >= set->capacity) {
    releasePending(set);  // the message is dropped with its parameters
    return 0;
  }
  auto *e = static_cast<Entry *>(nls::allocate(sizeof(Entry)));
  if (e == nullptr) {
    return CM_ERR_NO_MEMORY;
  }
  memset(e, 0, sizeof *e);
  e->kind = kEntryMessage;
  e->id = id;
  if (set->pendingCount > 0) {
    e->parms = static_cast<Parm *>(nls::allocate(sizeof(Parm) * static_cast<size_t>(set->pendingCount)));
    if (e->parms == nullptr) {
      free(e);
      return CM_ERR_NO_MEMORY;
    }
    memcpy(e->parms, set->pending, sizeof(Parm) * static_cast<size_t>(set->pendingCount));
    e->parmCount = set->pendingCount;
    set->pendingCount = 0;  // handed to the entry
  }
  makeRoom(set, atEnd);
  if (atEnd) {
    linkBack(set, e);
  } else {
    linkFront(set, e);
  }
  return 0;
}

int addString(cmMsgSet *set, const char *text, uint32_t id, uint32_t a, uint32_t b, bool atEnd) {
  if (set == nullptr) {
    return 0;
  }
  set->changed = 1;
  releasePending(set);
  if (atEnd && set->count >= set->capacity) {
    return 0;
  }
  auto *e = static_cast<Entry *>(nls::allocate(sizeof(Entry)));
  if (e == nullptr) {
    return CM_ERR_NO_MEMORY;
  }
  memset(e, 0, sizeof *e);
  e->kind = kEntryString;
  e->id = id;
  e->a = a;
  e->b = b;
  e->text = nls::duplicate(text != nullptr ? text : "");
  if (e->text == nullptr) {
    free(e);
    return CM_ERR_NO_MEMORY;
  }
  makeRoom(set, atEnd);
  if (atEnd) {
    linkBack(set, e);
  } else {
    linkFront(set, e);
  }
  return 0;
}

int addPending(cmMsgSet *set, uint16_t kind, uintptr_t value) {
  if (set->pendingCount >= CM_MAX_PARAMETERS) {
    if (kind == kParmString) {
      free(reinterpret_cast<char *>(value));
    }
    return 0;  // an eleventh parameter is ignored
  }
  set->pending[set->pendingCount].kind = kind;
  set->pending[set->pendingCount].value = value;
  ++set->pendingCount;
  return 0;
}

// Bytes of the character at p in the current character set (1 for NUL).
int charLength(const char *p) { return *p == '\0' ? 1 : nls::charLengthAt(p); }

// The position of sep (ASCII) in text from byte start, on a character
// boundary; -1 when absent.
int findAt(const char *text, int start, const char *sep) {
  const size_t n = strlen(sep);
  for (int i = start; text[i] != '\0'; i += charLength(text + i)) {
    if (strncmp(text + i, sep, n) == 0) {
      return i;
    }
  }
  return -1;
}

// Cuts whole to the parts selected: "A-B-C, D" split at the first "-", the
// second "-" and then ", ". Missing separators leave the later parts empty.
char *selectParts(const char *whole, uint32_t parts) {
  const int len = static_cast<int>(strlen(whole));
  int aEnd = len, bStart = len, bEnd = len, cStart = len, cEnd = len, dStart = len;
  const int d1 = findAt(whole, 0, "-");
  if (d1 >= 0) {
    aEnd = d1;
    bStart = d1 + 1;
    const int d2 = findAt(whole, bStart, "-");
    if (d2 >= 0) {
      bEnd = d2;
      cStart = d2 + 1;
      const int cs = findAt(whole, cStart, ", ");
      if (cs >= 0) {
        cEnd = cs;
        dStart = cs + 2;
      }
    } else {
      bEnd = len;
    }
  } else {
    // No "-": the text is all A (a "," splits off D).
    const int cs = findAt(whole, 0, ", ");
    if (cs >= 0) {
      aEnd = cs;
      dStart = cs + 2;
    }
  }
  // The parts never hold more than the text; the joiners may add up to four
  // bytes where a separator was missing.
  char *out = static_cast<char *>(nls::allocate(static_cast<size_t>(len) + 5));
  if (out == nullptr) {
    return nullptr;
  }
  size_t n = 0;
  auto add = [&](int from, int to, const char *joiner) {
    if (n > 0) {
      const size_t j = strlen(joiner);
      memcpy(out + n, joiner, j);
      n += j;
    }
    memcpy(out + n, whole + from, static_cast<size_t>(to - from));
    n += static_cast<size_t>(to - from);
  };
  if ((parts & CM_PART_A) != 0) {
    add(0, aEnd, "-");
  }
  if ((parts & CM_PART_B) != 0) {
    add(bStart, bEnd, "-");
  }
  if ((parts & CM_PART_C) != 0) {
    add(cStart, cEnd, "-");
  }
  if ((parts & CM_PART_D) != 0) {
    add(dStart, len, ", ");
  }
  out[n] = '\0';
  return out;
}

// Scans text as the substitution does (with "\" escapes, whole characters)
// and reports the markers: how many, whether every one is followed by a digit
// 1 to 9, and which digits follow them.
struct MarkerScan {
  int markers = 0;
  bool allNumbered = true;
  int digitsSeen = 0;  // bit per digit
  bool digitTwice = false;
};

MarkerScan scanMarkers(const char *t) {
  MarkerScan s;
  const char marker = CM_PARAMETER_MARKER[0];
  for (const char *p = t; *p != '\0';) {
    const int n = charLength(p);
    if (n == 1 && *p == '\\') {
      ++p;
      if (*p != '\0') {
        p += charLength(p);
      }
      continue;
    }
    if (n == 1 && *p == marker) {
      ++s.markers;
      const char d = p[1];
      if (d >= '0' && d <= '9') {
        const int bit = 1 << (d - '0');
        s.digitTwice = s.digitTwice || (s.digitsSeen & bit) != 0;
        s.digitsSeen |= bit;
      }
      if (d < '1' || d > '9') {
        s.allNumbered = false;
      }
    }
    p += n;
  }
  return s;
}

// The text of an entry's parameters put into text. Returns a new block or
// null (memory).
char *substitute(const char *text, const Parm *parms, int count) {
  char *values[CM_MAX_PARAMETERS] = {};
  bool owned[CM_MAX_PARAMETERS] = {};
  bool ok = true;
  size_t longest = 0;
  for (int i = 0; i < count && ok; ++i) {
    char number[12];
    switch (parms[i].kind) {
      case kParmString:
        values[i] = reinterpret_cast<char *>(parms[i].value);
        break;
      case kParmNumber:
        snprintf(number, sizeof number, "%ld", static_cast<long>(static_cast<int32_t>(parms[i].value)));
        values[i] = nls::duplicate(number);
        owned[i] = true;
        break;
      case kParmMessage:
        values[i] = cmGetRawMessage(static_cast<uint32_t>(parms[i].value));
        owned[i] = true;
        break;
      default:
        values[i] = nls::duplicate("");
        owned[i] = true;
        break;
    }
    if (values[i] == nullptr) {
      ok = false;
    } else if (strlen(values[i]) > longest) {
      longest = strlen(values[i]);
    }
  }
  char *out = nullptr;
  if (ok) {
    const MarkerScan scan = scanMarkers(text);
    const size_t size = strlen(text) + static_cast<size_t>(scan.markers) * longest + 1;
    out = static_cast<char *>(nls::allocate(size));
    if (out != nullptr) {
      if (!scan.allNumbered && scan.digitsSeen == 0x3FF && !scan.digitTwice) {
        // Markers followed by all ten digits would make the substitution
        // read the text as numbered, with a marker "&0" that it cannot
        // take: such a text is left as it is.
        memcpy(out, text, strlen(text) + 1);
      } else {
        // Unused slots stay null: a marker beyond the parameters given
        // writes itself (sequential) or its digit (numbered).
        nlsSubstituteParameters(out, static_cast<int>(size), text, CM_PARAMETER_MARKER,
                                scan.allNumbered ? 1 : 0, CM_MAX_PARAMETERS, 0, values);
      }
    }
  }
  for (int i = 0; i < count; ++i) {
    if (owned[i]) {
      free(values[i]);
    }
  }
  return out;
}

char *compose(const Entry *e, uint32_t parts) {
  if (e->kind == kEntryString) {
    return nls::duplicate(e->text);
  }
  char *whole = cmGetRawMessage(e->id);
  if (whole == nullptr) {
    return nullptr;
  }
  const uint32_t kind = (e->id >> 20) & 0xFu;
  char *text = whole;
  if (parts != CM_PARTS_ALL && kind != 7 && kind != 8) {
    text = selectParts(whole, parts);
    free(whole);
    if (text == nullptr) {
      return nullptr;
    }
  }
  if (e->parmCount == 0) {
    return text;
  }
  char *filled = substitute(text, e->parms, e->parmCount);
  free(text);
  return filled;
}

}  // namespace

extern "C" {

ORV_API int cmCreateMsgSet(cmMsgSet **out, uint32_t capacity) {
  if (out == nullptr) {
    return CM_ERR_NO_MEMORY;
  }
  auto *set = static_cast<cmMsgSet *>(nls::allocate(sizeof(cmMsgSet)));
  *out = set;
  if (set == nullptr) {
    return CM_ERR_NO_MEMORY;
  }
  memset(set, 0, sizeof *set);
  set->capacity = capacity < 2 ? 2 : capacity;
  return 0;
}

ORV_API int cmDestroyMsgSet(cmMsgSet *set) {
  if (set == nullptr) {
    return 0;
  }
  set->changed = 1;
  cmResetMsgSet(set);
  releasePending(set);
  free(set);
  return 0;
}

ORV_API int cmResetMsgSet(cmMsgSet *set) {
  if (set == nullptr) {
    return 0;
  }
  if (set->changed != 0) {
    while (set->first != nullptr) {
      Entry *e = set->first;
      unlink(set, e);
      freeEntry(e);
    }
  }
  set->count = 0;
  set->cursor = 0;
  set->changed = 0;
  return 0;
}

ORV_API int cmResetCursor(cmMsgSet *set) {
  if (set != nullptr) {
    set->cursor = 0;
  }
  return 0;
}

ORV_API uint32_t cmCount(cmMsgSet *set) { return set != nullptr ? set->count : 0; }

ORV_API int cmAddMsgParm(cmMsgSet *set, uint32_t id) {
  return set != nullptr ? addPending(set, kParmMessage, id) : 0;
}

ORV_API int cmAddNumericParm(cmMsgSet *set, int32_t value) {
  return set != nullptr ? addPending(set, kParmNumber, static_cast<uint32_t>(value)) : 0;
}

ORV_API int cmAddStringParm(cmMsgSet *set, const char *text) {
  if (set == nullptr) {
    return 0;
  }
  if (set->pendingCount >= CM_MAX_PARAMETERS) {
    return 0;
  }
  char *copy = nls::duplicate(text != nullptr ? text : "");
  if (copy == nullptr) {
    return CM_ERR_NO_MEMORY;
  }
  return addPending(set, kParmString, reinterpret_cast<uintptr_t>(copy));
}

ORV_API int cmAddMsg(cmMsgSet *set, uint32_t id) { return addMessage(set, id, false); }

ORV_API int cmAddMsgLast(cmMsgSet *set, uint32_t id) { return addMessage(set, id, true); }

ORV_API int cmAddString(cmMsgSet *set, const char *text, uint32_t id, uint32_t a, uint32_t b) {
  return addString(set, text, id, a, b, false);
}

ORV_API int cmAddStringLast(cmMsgSet *set, const char *text, uint32_t id, uint32_t a, uint32_t b) {
  return addString(set, text, id, a, b, true);
}

ORV_API int cmGetMessage(cmMsgSet *set, uint32_t parts, char **text, uint32_t *a, uint32_t *b) {
  if (text != nullptr) {
    *text = nullptr;
  }
  if (set == nullptr || text == nullptr) {
    return CM_ERR_NO_MORE;
  }
  Entry *e = set->first;
  for (uint32_t i = 0; i < set->cursor && e != nullptr; ++i) {
    e = e->towardLast;
  }
  if (e == nullptr) {
    return CM_ERR_NO_MORE;
  }
  char *built = compose(e, parts);
  if (built == nullptr) {
    return CM_ERR_NO_MEMORY;
  }
  *text = built;
  if (a != nullptr) {
    *a = e->kind == kEntryString ? e->a : 0;
  }
  if (b != nullptr) {
    *b = e->kind == kEntryString ? e->b : 0;
  }
  ++set->cursor;
  return 0;
}

ORV_API uint32_t cmGetMessageId(cmMsgSet *set) {
  return set != nullptr && set->first != nullptr ? set->first->id : 0;
}

}  // extern "C"

// Message sets: finished texts built at once from a catalog message and
// typed parameters, kept as string objects in a list used as a stack or a
// queue.
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "common/catalog/cm_internal.h"
#include "common/nls/nls_alloc.h"
#include "common/strings/string_object.h"
#include "orvane/msgset.h"

namespace {

struct Node {
  orvString *message;
  Node *next;
};

}  // namespace

struct orvMessageSet {
  cmCatalog *catalog;
  orvMessageSource alternateSource;
  uint32_t status;
  uint32_t count;
  Node *first;
  Node *last;
};

namespace {

orvString *asciiString(const char *text) {
  const size_t n = strlen(text);
  orvString *s = strings::makeString(nullptr, static_cast<uint32_t>(n), catalog::currentCharSet());
  if (s != nullptr) {
    for (size_t i = 0; i < n; ++i) {
      s->units[i] = static_cast<unsigned char>(text[i]);
    }
  }
  return s;
}

orvString *emptyString() { return strings::makeString(nullptr, 0, catalog::currentCharSet()); }

// The text of id from the set's catalog, then its alternate source; null
// when neither has it.
orvString *sourceText(const orvMessageSet *set, uint32_t id, bool *noMemory) {
  *noMemory = false;
  if (set->catalog != nullptr) {
    orvString *text = nullptr;
    const int found = catalog::lookup(set->catalog, id, &text);
    if (found > 0) {
      return text;
    }
    if (found < 0) {
      *noMemory = true;
      return nullptr;
    }
  }
  if (set->alternateSource != nullptr) {
    return set->alternateSource(id);
  }
  return nullptr;
}

orvString *hexText(uint32_t id) {
  char buffer[12];
  snprintf(buffer, sizeof buffer, "%lX", static_cast<unsigned long>(id));
  return asciiString(buffer);
}

// Reads the tagged parameters up to the closing tag; keeps the first nine
// as strings. An unknown tag ends the list (its value cannot be skipped).
// Returns false when memory ran out (every string made is destroyed).
bool readParameters(const orvMessageSet *set, va_list args, orvString **parms, int *count) {
  *count = 0;
  bool ok = true;
  for (;;) {
    const int tag = va_arg(args, int);
    orvString *value = nullptr;
    char buffer[40];
    switch (tag) {
      case ORV_MSG_INT:
        snprintf(buffer, sizeof buffer, "%ld", static_cast<long>(va_arg(args, int32_t)));
        value = asciiString(buffer);
        break;
      case ORV_MSG_HEX:
        snprintf(buffer, sizeof buffer, "%lX",
                 static_cast<unsigned long>(static_cast<uint32_t>(va_arg(args, int32_t))));
        value = asciiString(buffer);
        break;
      case ORV_MSG_DOUBLE:
        snprintf(buffer, sizeof buffer, "%g", va_arg(args, double));
        value = asciiString(buffer);
        break;
      case ORV_MSG_STRING: {
        const orvString *s = va_arg(args, const orvString *);
        value = s != nullptr ? strings::makeString(strings::unitsOf(s), s->length, catalog::currentCharSet())
                             : emptyString();
        break;
      }
      case ORV_MSG_TEXT: {
        const char *t = va_arg(args, const char *);
        value = t != nullptr ? orvStringCreate(catalog::currentCharSet(), t) : emptyString();
        break;
      }
      case ORV_MSG_ID: {
        const uint32_t id = va_arg(args, uint32_t);
        bool noMemory = false;
        value = sourceText(set, id, &noMemory);
        if (value == nullptr && !noMemory) {
          value = hexText(id);
        }
        break;
      }
      default:
        return ok;  // ORV_MSG_END, or a tag that ends the list
    }
    if (value == nullptr) {
      ok = false;
    } else if (*count < ORV_MSG_MAX_PARAMETERS) {
      parms[(*count)++] = value;
    } else {
      orvStringDestroy(value);  // the tenth and later are ignored
    }
  }
}

// Replaces the placeholders of text (unit 1 and a digit 1 to count).
orvString *fillPlaceholders(const orvString *text, orvString *const *parms, int count) {
  const uint16_t *u = strings::unitsOf(text);
  const uint32_t n = text->length;
  // Work in a growing buffer; the original text is read, the output built.
  size_t capacity = static_cast<size_t>(n) + 16;
  auto *out = static_cast<uint16_t *>(nls::allocate(capacity * sizeof(uint16_t)));
  if (out == nullptr) {
    return nullptr;
  }
  size_t used = 0;
  auto reserve = [&](size_t more) {
    if (used + more <= capacity) {
      return true;
    }
    size_t next = capacity * 2;
    while (next < used + more) {
      next *= 2;
    }
    auto *grown = static_cast<uint16_t *>(nls::reallocate(out, next * sizeof(uint16_t)));
    if (grown == nullptr) {
      return false;
    }
    out = grown;
    capacity = next;
    return true;
  };
  // The scan runs over the output: after an insertion it goes on at the
  // inserted text's last unit, so that unit (and only it) is seen again.
  // Units still to scan come from the source text.
  uint32_t src = 0;
  auto pull = [&]() -> bool {  // appends the next source unit to out
    if (src >= n || !reserve(1)) {
      return false;
    }
    out[used++] = u[src++];
    return true;
  };
  size_t i = 0;  // scan position in out
  for (;;) {
    if (i >= used && !pull()) {
      break;
    }
    if (out[i] != ORV_MSG_PLACEHOLDER) {
      ++i;
      continue;
    }
    if (i + 1 >= used && !pull()) {
      break;  // unit 1 at the end stays
    }
    const uint16_t d = out[i + 1];
    const int limit = count < 9 ? count : 9;
    if (d >= '1' && d <= static_cast<uint16_t>('0' + limit)) {
      const orvString *p = parms[d - '1'];
      const uint32_t pl = p->length;
      // out[i], out[i + 1] are replaced by the parameter's units; anything
      // pulled after them does not exist yet (i + 1 is the last pulled).
      used = i;
      if (!reserve(pl)) {
        free(out);
        return nullptr;
      }
      memcpy(out + used, strings::unitsOf(p), pl * sizeof(uint16_t));
      used += pl;
      i = pl > 0 ? used - 1 : used;
    } else {
      i += 2;  // unit 1 and the unit after it stay as they are
    }
  }
  orvString *result = strings::makeString(out, static_cast<uint32_t>(used), catalog::currentCharSet());
  free(out);
  return result;
}

// Builds a message; null when memory ran out.
orvString *build(orvMessageSet *set, uint32_t id, va_list args) {
  set->status = 0;
  orvString *parms[ORV_MSG_MAX_PARAMETERS] = {};
  int count = 0;
  const bool ok = readParameters(set, args, parms, &count);
  orvString *text = nullptr;
  orvString *const *used = parms;
  int usedCount = count;
  if (ok) {
    if (id == ORV_MSG_LITERAL) {
      text = count > 0 ? strings::makeString(strings::unitsOf(parms[0]), parms[0]->length,
                                             catalog::currentCharSet())
                       : emptyString();
      used = parms + 1;
      usedCount = count > 0 ? count - 1 : 0;
    } else {
      bool noMemory = false;
      text = sourceText(set, id, &noMemory);
      if (text == nullptr && !noMemory) {
        text = hexText(id);
        set->status = ORV_MSG_STATUS_UNKNOWN;
      }
    }
  }
  orvString *result = text;
  if (text != nullptr && set->status == 0 && usedCount > 0) {
    result = fillPlaceholders(text, used, usedCount);
    orvStringDestroy(text);
  }
  for (int i = 0; i < count; ++i) {
    orvStringDestroy(parms[i]);
  }
  return result;
}

void store(orvMessageSet *set, orvString *message, bool atEnd) {
  if (message == nullptr) {
    return;  // not reported: the message is dropped
  }
  auto *node = static_cast<Node *>(nls::allocate(sizeof(Node)));
  if (node == nullptr) {
    orvStringDestroy(message);
    return;
  }
  node->message = message;
  node->next = nullptr;
  if (atEnd) {
    if (set->last != nullptr) {
      set->last->next = node;
    } else {
      set->first = node;
    }
    set->last = node;
  } else {
    node->next = set->first;
    set->first = node;
    if (set->last == nullptr) {
      set->last = node;
    }
  }
  ++set->count;
}

orvMessageSet *makeSet(const char *name) {
  auto *set = static_cast<orvMessageSet *>(nls::allocate(sizeof(orvMessageSet)));
  if (set == nullptr) {
    return nullptr;
  }
  memset(set, 0, sizeof *set);
  set->status = static_cast<uint32_t>(cmOpenCatalog(&set->catalog, name));
  return set;
}

}  // namespace

const cmCatalog *catalog::catalogOf(const orvMessageSet *set) {
  return set != nullptr ? set->catalog : nullptr;
}

extern "C" {

ORV_API orvMessageSet *orvMessageSetCreate(const orvString *catalogName) {
  char *name = catalogName != nullptr ? catalog::toCurrent(catalogName) : nullptr;
  if (catalogName != nullptr && name == nullptr) {
    return nullptr;
  }
  orvMessageSet *set = makeSet(name);
  free(name);
  return set;
}

ORV_API orvMessageSet *orvMessageSetCreateNLS(const char *catalogName) { return makeSet(catalogName); }

ORV_API void orvMessageSetDestroy(orvMessageSet *set) {
  if (set == nullptr) {
    return;
  }
  orvMessageSetReset(set);
  cmCloseCatalog(set->catalog);
  free(set);
}

ORV_API int orvMessageSetReset(orvMessageSet *set) {
  if (set == nullptr) {
    return 0;
  }
  while (set->first != nullptr) {
    Node *node = set->first;
    set->first = node->next;
    orvStringDestroy(node->message);
    free(node);
  }
  set->last = nullptr;
  set->count = 0;
  set->status = 0;
  return 1;
}

ORV_API uint32_t orvMessageSetCount(const orvMessageSet *set) { return set != nullptr ? set->count : 0; }

ORV_API uint32_t orvMessageSetGetStatus(const orvMessageSet *set) { return set != nullptr ? set->status : 0; }

ORV_API int orvMessageSetPush(orvMessageSet *set, uint32_t id, ...) {
  if (set == nullptr) {
    return 0;
  }
  va_list args;
  va_start(args, id);
  orvString *message = build(set, id, args);
  va_end(args);
  store(set, message, false);
  return 1;
}

ORV_API int orvMessageSetAddLast(orvMessageSet *set, uint32_t id, ...) {
  if (set == nullptr) {
    return 0;
  }
  va_list args;
  va_start(args, id);
  orvString *message = build(set, id, args);
  va_end(args);
  store(set, message, true);
  return 1;
}

ORV_API orvString *orvMessageSetPop(orvMessageSet *set) {
  if (set == nullptr) {
    return nullptr;
  }
  Node *node = set->first;
  if (node == nullptr) {
    set->status = ORV_MSG_STATUS_EMPTY;
    return nullptr;
  }
  set->first = node->next;
  if (set->first == nullptr) {
    set->last = nullptr;
  }
  --set->count;
  orvString *message = node->message;
  free(node);
  return message;
}

ORV_API char *orvMessageSetPopNLS(orvMessageSet *set) {
  orvString *message = orvMessageSetPop(set);
  if (message == nullptr) {
    return nullptr;
  }
  char *text = catalog::toCurrent(message);
  orvStringDestroy(message);
  return text;
}

ORV_API int orvMessageSetAlternateSource(orvMessageSet *set, orvMessageSource source) {
  if (set == nullptr || source == nullptr) {
    return 0;
  }
  orvString *answer = source(0);
  if (answer == nullptr) {
    return 0;
  }
  const char *expected = ORV_MSG_SOURCE_HANDSHAKE;
  const size_t n = strlen(expected);
  bool same = answer->length == n;
  const uint16_t *u = strings::unitsOf(answer);
  for (size_t i = 0; same && i < n; ++i) {
    same = u[i] == static_cast<unsigned char>(expected[i]);
  }
  orvStringDestroy(answer);
  if (!same) {
    return 0;
  }
  set->alternateSource = source;
  return 1;
}

}  // extern "C"

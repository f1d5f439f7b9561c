// Catalog files: opening with every check, sharing by name, closing, and the
// lookups by id (cmGetRawMessage, cmGetError, cmSetDlgText).
//
// An open reads the whole file once, in 4096-byte blocks, while it computes
// the checksum; the header, the index and every later lookup then work on
// that copy, so a lookup never reads outside the file and costs one probe
// of a hash of the ids (texts already made in the current character set
// come from cm_native.cpp). The file itself stays open for the catalog's
// life.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "common/catalog/cm_internal.h"
#include "common/nls/nls_alloc.h"
#include "common/nls/nls_state.h"
#include "common/strings/string_object.h"
#include "orvane/charsets.h"
#include "orvane/frame.h"
#include "orvane/nls.h"
#include "platform/pal.h"
#include "platform/pal_window.h"

namespace catalog {

namespace {

cmCatalog *g_first = nullptr;
const char *g_problem = "";

constexpr uint32_t kBlock = 4096;
constexpr int kOpenFlags = ORV_FILE_READ | ORV_FILE_MUST_EXIST | 0x20;  // 41

struct Crc16Table {
  uint16_t t[8][256];
  Crc16Table() {
    for (uint32_t i = 0; i < 256; ++i) {
      uint32_t c = i;
      for (int k = 0; k < 8; ++k) {
        c = (c & 1u) != 0 ? (c >> 1) ^ 0xA001u : c >> 1;
      }
      t[0][i] = static_cast<uint16_t>(c);
    }
    for (uint32_t i = 0; i < 256; ++i) {
      for (int k = 1; k < 8; ++k) {
        const uint16_t prev = t[k - 1][i];
        t[k][i] = static_cast<uint16_t>((prev >> 8) ^ t[0][prev & 0xFFu]);
      }
    }
  }
};

const Crc16Table &crcTable() {
  static const Crc16Table table;
  return table;
}

uint32_t be32(const unsigned char *p) {
  return (static_cast<uint32_t>(p[0]) << 24) | (static_cast<uint32_t>(p[1]) << 16) |
         (static_cast<uint32_t>(p[2]) << 8) | p[3];
}

// A string of count big-endian UTF-16 units at p.
orvString *unitsString(const unsigned char *p, uint32_t count) {
  orvString *s = strings::makeString(nullptr, count, currentCharSet());
  if (s == nullptr) {
    return nullptr;
  }
  for (uint32_t i = 0; i < count; ++i) {
    s->units[i] =
        static_cast<uint16_t>((p[static_cast<size_t>(i) * 2] << 8) | p[static_cast<size_t>(i) * 2 + 1]);
  }
  return s;
}

void freeCatalog(cmCatalog *c) {
  if (c == nullptr) {
    return;
  }
  if (c->file != nullptr) {
    orvFileClose(c->file, 0);
  }
  orvStringDestroy(c->name);
  orvStringDestroy(c->title);
  orvStringDestroy(c->version1.text);
  orvStringDestroy(c->version2.text);
  free(c->ids);
  free(c->offsets);
  free(c->hashSlots);
  free(c->bytes);
  releaseNativeTexts(c);
  free(c);
}

// Reads one version record at *pos: 0, 1 (memory) or 5 (cut short).
int readVersion(const unsigned char *b, uint32_t size, uint32_t *pos, cmVersion *v) {
  if (size - *pos < 16) {
    g_problem = "a version record is cut short";
    return CM_ERR_BAD_VERSION;
  }
  for (int i = 0; i < 3; ++i) {
    v->numbers[i] = be32(b + *pos + static_cast<size_t>(i) * 4);
  }
  const uint32_t units = be32(b + *pos + 12);
  *pos += 16;
  if (units > (size - *pos) / 2) {
    g_problem = "the text of a version record runs past the end of the file";
    return CM_ERR_BAD_VERSION;
  }
  v->text = unitsString(b + *pos, units);
  if (v->text == nullptr) {
    return CM_ERR_NO_MEMORY;
  }
  *pos += units * 2;
  return 0;
}

uint32_t hashOf(uint32_t id, uint32_t mask) { return ((id * 0x9E3779B1u) >> 7) & mask; }

// The hash of the ids: 0 or 1 (memory).
int buildHash(cmCatalog *c) {
  size_t slots = 16;
  while (slots < static_cast<size_t>(c->messageCount) * 2) {
    slots *= 2;
  }
  c->hashSlots = static_cast<uint32_t *>(nls::allocate(slots * sizeof(uint32_t)));
  if (c->hashSlots == nullptr) {
    return CM_ERR_NO_MEMORY;
  }
  memset(c->hashSlots, 0, slots * sizeof(uint32_t));
  c->hashMask = static_cast<uint32_t>(slots - 1);
  for (uint32_t i = 0; i < c->messageCount; ++i) {
    uint32_t h = hashOf(c->ids[i], c->hashMask);
    while (c->hashSlots[h] != 0) {
      h = (h + 1) & c->hashMask;
    }
    c->hashSlots[h] = i + 1;
  }
  return 0;
}

// The checks and the parsing of a catalog whose bytes are read.
int parse(cmCatalog *c) {
  const unsigned char *b = c->bytes;
  const uint32_t size = c->fileSize;
  if (size < 12) {
    g_problem = "the file ends before the title length";
    return CM_ERR_DAMAGED;
  }
  uint32_t pos = 8;
  const uint32_t titleUnits = be32(b + pos);
  pos += 4;
  if (titleUnits > (size - pos) / 2) {
    g_problem = "the title runs past the end of the file";
    return CM_ERR_SHORT_READ;
  }
  c->title = unitsString(b + pos, titleUnits);
  if (c->title == nullptr) {
    return CM_ERR_NO_MEMORY;
  }
  pos += titleUnits * 2;
  if (int rc = readVersion(b, size, &pos, &c->version1); rc != 0) {
    return rc;
  }
  if (int rc = readVersion(b, size, &pos, &c->version2); rc != 0) {
    return rc;
  }
  if (size - pos < 4) {
    g_problem = "the file ends before the message count";
    return CM_ERR_DAMAGED;
  }
  const uint32_t count = be32(b + pos);
  pos += 4;
  if (count > (size - pos) / 8) {
    g_problem = "the index runs past the end of the file";
    return CM_ERR_DAMAGED;
  }
  c->messageCount = count;
  c->ids = static_cast<uint32_t *>(nls::allocate((static_cast<size_t>(count) + 1) * sizeof(uint32_t)));
  c->offsets = static_cast<uint32_t *>(nls::allocate((static_cast<size_t>(count) + 1) * sizeof(uint32_t)));
  if (c->ids == nullptr || c->offsets == nullptr) {
    return CM_ERR_NO_MEMORY;
  }
  const uint32_t indexEnd = pos + count * 8;
  for (uint32_t i = 0; i < count; ++i) {
    c->ids[i] = be32(b + pos + static_cast<size_t>(i) * 8);
    c->offsets[i] = be32(b + pos + static_cast<size_t>(i) * 8 + 4);
  }
  c->offsets[count] = size;
  for (uint32_t i = 0; i < count; ++i) {
    if (i > 0 && c->ids[i] <= c->ids[i - 1]) {
      g_problem = "the index ids are not ascending";
      return CM_ERR_DAMAGED;
    }
    if (c->offsets[i] < indexEnd) {
      g_problem = "an index offset points into the header";
      return CM_ERR_DAMAGED;
    }
    if (c->offsets[i] > size) {
      g_problem = "an index offset points past the end of the file";
      return CM_ERR_DAMAGED;
    }
    if (c->offsets[i + 1] < c->offsets[i]) {
      g_problem = "the index offsets are not ascending";
      return CM_ERR_DAMAGED;
    }
    if (((c->offsets[i + 1] - c->offsets[i]) & 1u) != 0) {
      g_problem = "a message has an odd length in bytes";
      return CM_ERR_DAMAGED;
    }
  }
  return buildHash(c);
}

// Opens the file of name, or the same name in the executable's directory.
orvFile *openFile(const char *name, char **finalName, bool *noMemory) {
  *finalName = nullptr;
  *noMemory = false;
  orvFile *file = orvFileOpen(kOpenFlags, ORV_FILE_TAG_PATH, name, ORV_FILE_TAG_END);
  if (file == nullptr && orvFileError() == ORV_FILE_E_NO_MEMORY) {
    *noMemory = true;
    return nullptr;
  }
  if (file != nullptr) {
    *finalName = nls::duplicate(name);
    if (*finalName == nullptr) {
      orvFileClose(file, 0);
      *noMemory = true;
      return nullptr;
    }
    return file;
  }
  char dir[260];
  const uint32_t n = pal::executablePath(dir, sizeof dir);
  if (n == 0) {
    return nullptr;
  }
  // Cut after the last separator ("\", and "/" for POSIX paths).
  size_t cut = 0;
  for (size_t i = 0; dir[i] != '\0'; ++i) {
    if (dir[i] == '\\' || dir[i] == '/') {
      cut = i + 1;
    }
  }
  const size_t nameLength = strlen(name);
  char *path = static_cast<char *>(nls::allocate(cut + nameLength + 1));
  if (path == nullptr) {
    *noMemory = true;
    return nullptr;
  }
  memcpy(path, dir, cut);
  memcpy(path + cut, name, nameLength + 1);
  file = orvFileOpen(kOpenFlags, ORV_FILE_TAG_PATH, path, ORV_FILE_TAG_END);
  if (file == nullptr) {
    *noMemory = orvFileError() == ORV_FILE_E_NO_MEMORY;
    free(path);
    return nullptr;
  }
  *finalName = path;
  return file;
}

// Reads the whole file into c->bytes and checks its size and checksum.
int readAndCheck(cmCatalog *c) {
  unsigned char head[8];
  if (orvFileRead(c->file, head, 4) != 4) {
    g_problem = "the file is shorter than its size field";
    return CM_ERR_DAMAGED;
  }
  c->fileSize = be32(head);
  if (orvFileSeek(c->file, 0, ORV_FILE_SEEK_END) != 1) {
    g_problem = "the file cannot be measured";
    return CM_ERR_DAMAGED;
  }
  const int64_t real = orvFileTell(c->file);
  if (real < 0 || static_cast<uint64_t>(real) != c->fileSize) {
    g_problem = "the size field does not match the file's size";
    return CM_ERR_DAMAGED;
  }
  if (c->fileSize < 8) {
    g_problem = "the file ends before the checksum";
    return CM_ERR_DAMAGED;
  }
  c->bytes = static_cast<unsigned char *>(nls::allocate(c->fileSize));
  if (c->bytes == nullptr) {
    return CM_ERR_NO_MEMORY;
  }
  if (orvFileSeek(c->file, 0, ORV_FILE_SEEK_SET) != 1) {
    g_problem = "the file cannot be read";
    return CM_ERR_DAMAGED;
  }
  uint32_t done = 0;
  while (done < c->fileSize) {
    const uint32_t want = c->fileSize - done < kBlock ? c->fileSize - done : kBlock;
    if (orvFileRead(c->file, c->bytes + done, want) != want) {
      g_problem = "the file came up short while it was read";
      return CM_ERR_DAMAGED;
    }
    done += want;
  }
  orvFileSeek(c->file, 0, ORV_FILE_SEEK_SET);
  return 0;
}

int checkCrc(cmCatalog *c) {
  c->checksum = be32(c->bytes + 4);
  const uint16_t crc = crc16(0, c->bytes + 8, c->fileSize - 8);
  if (crc != (c->checksum & 0xFFFFu)) {
    g_problem = "the checksum does not match the contents";
    return CM_ERR_DAMAGED;
  }
  return 0;
}

// A string of ASCII text.
orvString *asciiString(const char *text) {
  const size_t n = strlen(text);
  orvString *s = strings::makeString(nullptr, static_cast<uint32_t>(n), currentCharSet());
  if (s == nullptr) {
    return nullptr;
  }
  for (size_t i = 0; i < n; ++i) {
    s->units[i] = static_cast<unsigned char>(text[i]);
  }
  return s;
}

orvString *copyString(const orvString *s) {
  return strings::makeString(strings::unitsOf(s), s->length, currentCharSet());
}

int pseudo(const cmCatalog *c, uint32_t id, orvString **out) {
  char buffer[16];
  const orvString *text = nullptr;
  uint32_t number = 0;
  bool hex = false;
  switch (id) {
    case CM_ID_FILE_SIZE:
      number = c->fileSize;
      break;
    case CM_ID_CHECKSUM:
      number = c->checksum;
      hex = true;
      break;
    case CM_ID_TITLE:
      text = c->title;
      break;
    case 4:
    case 5:
    case 6:
      number = c->version1.numbers[id - 4];
      break;
    case CM_ID_VERSION1_TEXT:
      text = c->version1.text;
      break;
    case 8:
    case 9:
    case 10:
      number = c->version2.numbers[id - 8];
      break;
    case CM_ID_VERSION2_TEXT:
      text = c->version2.text;
      break;
    case CM_ID_MESSAGE_COUNT:
      number = c->messageCount;
      break;
    default:
      text = c->name;
      break;
  }
  if (text != nullptr) {
    *out = copyString(text);
  } else {
    snprintf(buffer, sizeof buffer, hex ? "%lX" : "%lu", static_cast<unsigned long>(number));
    *out = asciiString(buffer);
  }
  return *out != nullptr ? 1 : -1;
}

}  // namespace

uint16_t crc16(uint16_t crc, const unsigned char *data, size_t size) {
  const Crc16Table &tb = crcTable();
  uint32_t c = crc;
  while (size >= 8) {
    const uint32_t lo = c ^ (static_cast<uint32_t>(data[0]) | (static_cast<uint32_t>(data[1]) << 8));
    c = tb.t[7][lo & 0xFFu] ^ tb.t[6][(lo >> 8) & 0xFFu] ^ tb.t[5][data[2]] ^ tb.t[4][data[3]] ^
        tb.t[3][data[4]] ^ tb.t[2][data[5]] ^ tb.t[1][data[6]] ^ tb.t[0][data[7]];
    data += 8;
    size -= 8;
  }
  while (size-- > 0) {
    c = (c >> 8) ^ tb.t[0][(c ^ *data++) & 0xFFu];
  }
  return static_cast<uint16_t>(c);
}

cmCatalog *firstCatalog() { return g_first; }

int checkContents(cmCatalog *c) {
  g_problem = "";
  if (c->fileSize < 8) {
    g_problem = "the file ends before the checksum";
    return CM_ERR_DAMAGED;
  }
  const int rc = checkCrc(c);
  return rc != 0 ? rc : parse(c);
}

void releaseContents(cmCatalog *c) {
  orvStringDestroy(c->title);
  orvStringDestroy(c->version1.text);
  orvStringDestroy(c->version2.text);
  free(c->ids);
  free(c->offsets);
  free(c->hashSlots);
  c->title = c->version1.text = c->version2.text = nullptr;
  c->ids = c->offsets = c->hashSlots = nullptr;
}

const char *lastOpenProblem() { return g_problem; }

orvCharSet currentCharSet() {
  const intptr_t object = nls::state().charSetObject;
  return object != 0 ? object : ORV_CHARSET_ASCII;
}

char *toCurrent(const orvString *text) {
  uint32_t length = text->length;
  uint32_t size = 0;
  if (length == 0) {
    char *empty = static_cast<char *>(nls::allocate(1));
    if (empty != nullptr) {
      empty[0] = '\0';
    }
    return empty;
  }
  char *native = orvCharacterSetConvertFromUnicode(currentCharSet(), strings::unitsOf(text), &length, &size);
  if (native == nullptr) {
    return nullptr;
  }
  // A plain heap block that the caller frees, whatever the converter used.
  char *copy = nls::duplicate(native);
  free(native);
  return copy;
}

char *fallbackText(uint32_t id) {
  char ascii[24];
  snprintf(ascii, sizeof ascii, "MSG: %lx", static_cast<unsigned long>(id));
  const int n = static_cast<int>(strlen(ascii));
  const int size = n * 4 + 1;
  char *out = static_cast<char *>(nls::allocate(static_cast<size_t>(size)));
  if (out == nullptr) {
    return nullptr;
  }
  if (!nls::state().initialised ||
      nlsStrTranslate(out, size, NLS_CHARSET_CURRENT, ascii, n, NLS_CHARSET_ASCII7) < 0) {
    memcpy(out, ascii, static_cast<size_t>(n) + 1);
  }
  return out;
}

// The index position of id, or messageCount when absent: one probe of the
// hash in the common case.
uint32_t find(const cmCatalog *c, uint32_t id) {
  for (uint32_t h = hashOf(id, c->hashMask);; h = (h + 1) & c->hashMask) {
    const uint32_t slot = c->hashSlots[h];
    if (slot == 0) {
      return c->messageCount;
    }
    if (c->ids[slot - 1] == id) {
      return slot - 1;
    }
  }
}

// The units of message i after the leading field (unless id keeps it).
void textSpan(const cmCatalog *c, uint32_t i, uint32_t id, const unsigned char **p, uint32_t *units) {
  const uint32_t start = c->offsets[i];
  uint32_t n = (c->offsets[i + 1] - start) / 2;
  const unsigned char *q = c->bytes + start;
  uint32_t skip = 0;
  if ((id & CM_KEEP_LEAD) == 0) {
    // The text begins two characters after the first comma; a text without
    // a comma loses its first character.
    uint32_t comma = 0;
    while (comma < n &&
           !(q[static_cast<size_t>(comma) * 2] == 0 && q[static_cast<size_t>(comma) * 2 + 1] == ',')) {
      ++comma;
    }
    skip = comma < n ? comma + 2 : 1;
    if (skip > n) {
      skip = n;
    }
  }
  *p = q + static_cast<size_t>(skip) * 2;
  *units = n - skip;
}

char *convertUnits(const unsigned char *p, uint32_t units, orvCharSet set, uint32_t *size) {
  if (units == 0) {
    *size = 1;
    return nls::duplicate("");
  }
  if (set == ORV_CHARSET_ASCII) {
    // The built-in set keeps the low byte of each unit, as its converter
    // does: straight from the stored bytes.
    char *out = static_cast<char *>(nls::allocate(static_cast<size_t>(units) + 1));
    if (out != nullptr) {
      for (uint32_t k = 0; k < units; ++k) {
        out[k] = static_cast<char>(p[static_cast<size_t>(k) * 2 + 1]);
      }
      out[units] = '\0';
      *size = units + 1;
    }
    return out;
  }
  uint16_t local[512] = {};
  uint16_t *buffer = units <= 512 ? local : static_cast<uint16_t *>(nls::allocate(units * sizeof(uint16_t)));
  if (buffer == nullptr) {
    return nullptr;
  }
  for (uint32_t k = 0; k < units; ++k) {
    buffer[k] =
        static_cast<uint16_t>((p[static_cast<size_t>(k) * 2] << 8) | p[static_cast<size_t>(k) * 2 + 1]);
  }
  uint32_t length = units;
  char *native = orvCharacterSetConvertFromUnicode(set, buffer, &length, size);
  if (buffer != local) {
    free(buffer);
  }
  return native;
}

char *lookupNative(const cmCatalog *c, uint32_t id, int *found) {
  const uint32_t i = find(c, id);
  if (i == c->messageCount) {
    *found = 0;
    return nullptr;
  }
  *found = 1;
  if ((id & CM_KEEP_LEAD) == 0) {
    bool usable = false;
    char *text = cachedNative(c, i, &usable);
    if (usable) {
      return text;
    }
  }
  const unsigned char *p = nullptr;
  uint32_t units = 0;
  textSpan(c, i, id, &p, &units);
  uint32_t size = 0;
  return convertUnits(p, units, currentCharSet(), &size);
}

int lookup(const cmCatalog *c, uint32_t id, orvString **out) {
  *out = nullptr;
  if (id >= 1 && id <= 13) {
    return pseudo(c, id, out);
  }
  const uint32_t i = find(c, id);
  if (i == c->messageCount) {
    return 0;
  }
  const unsigned char *p = nullptr;
  uint32_t units = 0;
  textSpan(c, i, id, &p, &units);
  *out = unitsString(p, units);
  return *out != nullptr ? 1 : -1;
}

}  // namespace catalog

using catalog::g_first;

extern "C" {

ORV_API int cmOpenCatalog(cmCatalog **out, const char *name) {
  if (out == nullptr) {
    return CM_ERR_NOT_FOUND;
  }
  *out = nullptr;
  catalog::g_problem = "";
  if (name == nullptr) {
    catalog::g_problem = "no file name";
    return CM_ERR_NOT_FOUND;
  }
  char *setting = orvResourceGetNLSStr(name);
  const char *effective = setting != nullptr && setting[0] != '\0' ? setting : name;
  orvString *key = orvStringCreate(catalog::currentCharSet(), effective);
  if (key == nullptr) {
    free(setting);
    return CM_ERR_NO_MEMORY;
  }
  for (cmCatalog *c = g_first; c != nullptr; c = c->next) {
    if (orvStringSame(c->name, key)) {
      ++c->refCount;
      orvStringDestroy(key);
      free(setting);
      *out = c;
      return CM_OK;
    }
  }
  orvStringDestroy(key);
  auto *c = static_cast<cmCatalog *>(nls::allocate(sizeof(cmCatalog)));
  if (c == nullptr) {
    free(setting);
    return CM_ERR_NO_MEMORY;
  }
  memset(c, 0, sizeof *c);
  char *finalName = nullptr;
  bool noMemory = false;
  c->file = catalog::openFile(effective, &finalName, &noMemory);
  free(setting);
  if (c->file == nullptr) {
    catalog::freeCatalog(c);
    catalog::g_problem = noMemory ? "out of memory" : "the file cannot be opened";
    return noMemory ? CM_ERR_NO_MEMORY : CM_ERR_NOT_FOUND;
  }
  c->name = orvStringCreate(catalog::currentCharSet(), finalName);
  free(finalName);
  int rc = c->name == nullptr ? CM_ERR_NO_MEMORY : catalog::readAndCheck(c);
  if (rc == 0) {
    rc = catalog::checkContents(c);
  }
  if (rc != 0) {
    if (rc == CM_ERR_NO_MEMORY) {
      catalog::g_problem = "out of memory";
    }
    catalog::freeCatalog(c);
    return rc;
  }
  c->refCount = 1;
  c->next = g_first;
  g_first = c;
  *out = c;
  return CM_OK;
}

ORV_API int cmCloseCatalog(cmCatalog *catalog) {
  if (catalog == nullptr) {
    return 0;
  }
  if (catalog->refCount > 1) {
    --catalog->refCount;
    return 0;
  }
  for (cmCatalog **link = &g_first; *link != nullptr; link = &(*link)->next) {
    if (*link == catalog) {
      *link = catalog->next;
      break;
    }
  }
  catalog::freeCatalog(catalog);
  return 0;
}

ORV_API char *cmGetRawMessage(uint32_t id) {
  for (cmCatalog *c = g_first; c != nullptr; c = c->next) {
    if (id > 13) {
      // The common case without a string object: the stored units go
      // straight to the current character set.
      int found = 0;
      char *native = catalog::lookupNative(c, id, &found);
      if (found != 0) {
        return native;
      }
      continue;
    }
    orvString *text = nullptr;
    const int found = catalog::lookup(c, id, &text);
    if (found < 0) {
      return nullptr;
    }
    if (found > 0) {
      char *native = catalog::toCurrent(text);
      orvStringDestroy(text);
      return native;
    }
  }
  return catalog::fallbackText(id);
}

ORV_API char *cmGetError(int code) {
  uint32_t id;
  switch (code) {
    case CM_OK:
      id = CM_MSG_NO_ERROR;
      break;
    case CM_ERR_NO_MEMORY:
      id = CM_MSG_NO_MEMORY;
      break;
    case CM_ERR_SHORT_READ:
      id = CM_MSG_SHORT_READ;
      break;
    case CM_ERR_NOT_FOUND:
      id = CM_MSG_NOT_FOUND;
      break;
    case CM_ERR_NO_MORE:
      id = CM_MSG_NO_MORE;
      break;
    case CM_ERR_DAMAGED:
      id = CM_MSG_DAMAGED;
      break;
    default:
      id = CM_MSG_OTHER;
      break;
  }
  return cmGetRawMessage(id);
}

ORV_API int cmSetDlgText(orvHandle window, const uint32_t *table) {
  if (table == nullptr) {
    return 0;
  }
  char *caption = cmGetRawMessage(table[1]);
  if (caption == nullptr) {
    return CM_ERR_NO_MEMORY;
  }
  pal::setWindowText(window, caption);
  free(caption);
  for (const uint32_t *p = table + 2; *p != 0; p += 2) {
    char *text = cmGetRawMessage(p[1]);
    if (text == nullptr) {
      return CM_ERR_NO_MEMORY;
    }
    pal::setDlgItemText(window, static_cast<int>(p[0]), text);
    free(text);
  }
  return 0;
}

}  // extern "C"

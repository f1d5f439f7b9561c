// The NLS table file: the search for it, the line reader, and the loader of
// locale lines, CHARMAP blocks, MBCHARMAP records and LCCOLLATE blocks.
#include "common/nls/nls_table.h"
#include "common/frame/frame_internal.h"

#include <errno.h>
#include <stdlib.h>
#include <string.h>

#include <new>
#include <string>

#include "common/nls/nls_alloc.h"
#include "common/nls/nls_state.h"
#include "common/nls/nls_util.h"
#include "orvane/frame.h"
#include "orvane/nls.h"
#include "platform/pal.h"
#include "platform/pal_locale.h"

namespace nls {

// --- Line reader ----------------------------------------------------------------

TableReader::TableReader(FILE *file, uint32_t &lineCounter) : file_(file), counter_(lineCounter) {
  line_[0] = '\0';
}

bool TableReader::refill() {
  if (eof_) {
    return false;
  }
  pos_ = 0;
  end_ = fread(block_, 1, sizeof block_, file_);
  if (end_ == 0) {
    eof_ = true;
    return false;
  }
  return true;
}

TableReader::Result TableReader::next(size_t bufferSize) {
  if (bufferSize < 2) {
    bufferSize = 2;
  }
  if (bufferSize > sizeof line_) {
    bufferSize = sizeof line_;
  }
  size_t length = 0;  // characters of the line, its newline not counted
  size_t kept = 0;    // of which the first ones are in line_
  bool newline = false;
  bool significantSeen = false;
  comment_ = true;
  for (;;) {
    if (pos_ == end_ && !refill()) {
      break;
    }
    const char *start = block_ + pos_;
    const char *nl = static_cast<const char *>(memchr(start, '\n', end_ - pos_));
    size_t n = nl != nullptr ? static_cast<size_t>(nl - start) : end_ - pos_;
    if (kept < sizeof line_ - 1) {
      size_t take = n < sizeof line_ - 1 - kept ? n : sizeof line_ - 1 - kept;
      memcpy(line_ + kept, start, take);
      kept += take;
    }
    for (size_t i = 0; i < n && !significantSeen; ++i) {
      if (!isTableBlank(start[i])) {
        significantSeen = true;
        comment_ = start[i] == '#';
      }
    }
    length += n;
    pos_ += n;
    if (nl != nullptr) {
      ++pos_;
      newline = true;
      break;
    }
  }
  if (length == 0 && !newline) {
    line_[0] = '\0';
    raw_ = 0;
    return kEnd;
  }
  ++counter_;
  raw_ = length + (newline ? 1 : 0);
  // A carriage return before the newline is part of the line ending.
  size_t textLength = length;
  if (newline && textLength > 0 && kept >= textLength && line_[textLength - 1] == '\r') {
    --textLength;
  }
  size_t visible = textLength < bufferSize - 1 ? textLength : bufferSize - 1;
  if (visible > kept) {
    visible = kept;
  }
  line_[visible] = '\0';
  // fgets fits at most bufferSize - 1 characters, the newline among them.
  if (!newline || textLength + 1 > bufferSize - 1) {
    return kOverlong;
  }
  return kLine;
}

namespace {

// --- Tokens and numbers -----------------------------------------------------------

// The next token of p separated by any of delimiters, as strtok gives it:
// empty tokens collapse. Null at the end.
char *nextToken(char *&p, const char *delimiters) {
  while (*p != '\0' && strchr(delimiters, *p) != nullptr) {
    ++p;
  }
  if (*p == '\0') {
    return nullptr;
  }
  char *token = p;
  while (*p != '\0' && strchr(delimiters, *p) == nullptr) {
    ++p;
  }
  if (*p != '\0') {
    *p++ = '\0';
  }
  return token;
}

char *trimBlanks(char *token) {
  while (isTableBlank(*token)) {
    ++token;
  }
  size_t n = strlen(token);
  while (n > 0 && isTableBlank(token[n - 1])) {
    token[--n] = '\0';
  }
  return token;
}

// A whole token read as strtol reads it with base (0: decimal, 0x
// hexadecimal or leading-0 octal), within low..high.
bool readNumber(const char *token, int base, long low, long high, long &value) {
  if (*token == '\0') {
    return false;
  }
  char *end = nullptr;
  errno = 0;
  long v = strtol(token, &end, base);
  if (errno != 0 || end == token || *end != '\0' || v < low || v > high) {
    return false;
  }
  value = v;
  return true;
}

constexpr char kNumberDelimiters[] = " \t\r\n\f\v";

// Copies text into a bounded buffer for tokenising, cutting it at a "#"
// when cutComment is set.
void copyForTokens(char *dst, size_t size, const char *text, bool cutComment) {
  size_t n = 0;
  while (n < size - 1 && text[n] != '\0' && !(cutComment && text[n] == '#')) {
    dst[n] = text[n];
    ++n;
  }
  dst[n] = '\0';
}

// --- Locale lines ------------------------------------------------------------------

// Field 5: up to four groups "low,high,length" separated by ";".
int parseLeadRanges(char *field, NlsLocale &record) {
  char *p = field;
  int count = 0;
  while (char *group = nextToken(p, ";")) {
    if (count == kMaxLeadRanges) {
      return NLS_ERR_SYNTAX;
    }
    long values[3];
    int n = 0;
    char *q = group;
    while (char *number = nextToken(q, ",")) {
      if (n == 3 || !readNumber(trimBlanks(number), 10, 0, 255, values[n])) {
        return NLS_ERR_SYNTAX;
      }
      ++n;
    }
    // A character is one or two bytes wide in this library.
    if (n != 3 || values[0] > values[1] || values[2] < 1 || values[2] > 2) {
      return NLS_ERR_SYNTAX;
    }
    record.leadRanges[count].low = static_cast<uint16_t>(values[0]);
    record.leadRanges[count].high = static_cast<uint16_t>(values[1]);
    record.leadRanges[count].length = static_cast<uint16_t>(values[2]);
    ++count;
  }
  record.leadRangeCount = count;
  return 0;
}

// Field 6: up to ten numbers separated by ","; the first nine are kept.
int parseAttributes(char *field, NlsLocale &record) {
  char *p = field;
  int count = 0;
  while (char *number = nextToken(p, ",")) {
    long value = 0;
    if (count == kTableAttributes + 1 || !readNumber(trimBlanks(number), 10, 0, 0xFFFF, value)) {
      return NLS_ERR_SYNTAX;
    }
    if (count < kTableAttributes) {
      record.attr[count] = static_cast<uint16_t>(value);
    }
    ++count;
  }
  return 0;
}

class Loader {
 public:
  Loader(FILE *file, const char *path) : reader_(file, state().lineNumber), path_(path) {
    for (NlsLocale *r = state().locales; r != nullptr; r = r->next) {
      localeTail_ = r;
    }
    for (NlsMbCharMap *m = state().mbCharMaps; m != nullptr; m = m->next) {
      mapTail_ = m;
    }
  }

  int run() {
    for (;;) {
      TableReader::Result r = reader_.next(kLineBufferSize);
      if (r == TableReader::kEnd) {
        return 0;
      }
      if (r == TableReader::kOverlong) {
        if (!reader_.isComment()) {
          return NLS_ERR_LINE_TOO_LONG;
        }
        continue;
      }
      const char *text = skipBlanks(reader_.text());
      if (*text == '\0' || *text == '#') {
        continue;
      }
      int rc;
      if (startsWithNoCase(text, "CHARMAP")) {
        rc = charMapBlock(text + 7);
      } else if (startsWithNoCase(text, "LCCOLLATE")) {
        rc = skipCollationBlock();
      } else if (startsWithNoCase(text, "MBCHARMAP")) {
        rc = mbCharMapBlock(text + 9);
      } else {
        rc = localeLine(text);
      }
      if (rc != 0) {
        return rc;
      }
    }
  }

 private:
  // A content line of a block: the line's text, or an error for an overlong
  // line that is not a comment or for the end of the file.
  int blockLine(size_t bufferSize, const char *&text) {
    for (;;) {
      TableReader::Result r = reader_.next(bufferSize);
      if (r == TableReader::kEnd) {
        return NLS_ERR_END_OF_FILE;
      }
      if (r == TableReader::kOverlong && !reader_.isComment()) {
        return NLS_ERR_LINE_TOO_LONG;
      }
      if (r == TableReader::kOverlong) {
        text = "#";
        return 0;
      }
      text = reader_.text();
      return 0;
    }
  }

  int localeLine(const char *text) {
    char line[kLineBufferSize];
    copyForTokens(line, sizeof line, text, false);
    char *fields[7];
    int count = 0;
    char *p = line;
    while (char *field = nextToken(p, ":")) {
      field = trimBlanks(field);
      if (*field == '\0') {
        continue;
      }
      if (count == 7) {
        return NLS_ERR_SYNTAX;
      }
      fields[count++] = field;
    }
    if (count < 3) {
      return NLS_ERR_SYNTAX;
    }
    const bool database = fields[2][0] == '-';
    if (!database && !equalsNoCase(fields[2], "winnt")) {
      return 0;  // another platform's line: skipped whole
    }
    if (count < 4 || count > 6) {
      return NLS_ERR_SYNTAX;
    }
    int32_t charSet = nlsCharSetIdFromName(fields[1]);
    if (charSet == 0) {
      return NLS_ERR_UNKNOWN_CHARSET;
    }
    NlsLocale record{};
    if (count >= 5) {
      if (int rc = parseLeadRanges(fields[4], record); rc != 0) {
        return rc;
      }
    }
    if (count >= 6) {
      if (int rc = parseAttributes(fields[5], record); rc != 0) {
        return rc;
      }
    }
    record.langId = nlsPackLangId(fields[0]);
    if (record.langId == 0) {
      return 0;
    }
    record.charSet = charSet;
    record.isDatabaseRow = database;
    auto *stored = static_cast<NlsLocale *>(allocate(sizeof(NlsLocale)));
    char *name = duplicate(fields[3]);
    if (stored == nullptr || name == nullptr) {
      free(stored);
      free(name);
      return NLS_ERR_NO_MEMORY;
    }
    *stored = record;
    stored->name = name;
    stored->next = nullptr;
    (localeTail_ != nullptr ? localeTail_->next : state().locales) = stored;
    localeTail_ = stored;
    return 0;
  }

  // "CHARMAP name AS charset", 256 Unicode values, an optional
  // "EXTCHARMAP count" with count pairs, "END".
  int charMapBlock(const char *rest) {
    char header[kLineBufferSize];
    copyForTokens(header, sizeof header, rest, false);
    char *p = header;
    char *name = nextToken(p, kNumberDelimiters);
    char *as = name != nullptr ? nextToken(p, kNumberDelimiters) : nullptr;
    char *setName = as != nullptr ? nextToken(p, kNumberDelimiters) : nullptr;
    if (setName == nullptr || !equalsNoCase(as, "AS")) {
      return NLS_ERR_SYNTAX;
    }
    const int32_t id = nlsCharSetIdFromName(setName);
    if (id == 0) {
      return NLS_ERR_UNKNOWN_CHARSET;
    }
    uint16_t values[256];
    long valueCount = 0;
    bool inExtension = false;
    long pairsExpected = 0;
    long pairCount = 0;
    ExtensionPair *pairs = nullptr;
    int rc = 0;
    for (;;) {
      const char *text = nullptr;
      rc = blockLine(kCharMapLineBufferSize, text);
      if (rc != 0) {
        break;
      }
      const char *t = skipSpaces(text);
      if (startsWith(t, "END")) {
        break;
      }
      if (startsWith(t, "EXTCHARMAP")) {
        long count = 0;
        if (inExtension || !isTableBlank(t[10]) || !readNumber(trimCopy(t + 11), 10, 0, 0xFFFF, count)) {
          rc = NLS_ERR_SYNTAX;
          break;
        }
        inExtension = true;
        pairsExpected = count;
        pairs =
            static_cast<ExtensionPair *>(allocate(sizeof(ExtensionPair) * static_cast<size_t>(count + 1)));
        if (pairs == nullptr) {
          rc = NLS_ERR_NO_MEMORY;
          break;
        }
        continue;
      }
      char line[kCharMapLineBufferSize];
      copyForTokens(line, sizeof line, t, true);
      char *q = line;
      long numbers[2];
      int onLine = 0;
      while (char *token = nextToken(q, kNumberDelimiters)) {
        long value = 0;
        if (!readNumber(token, 0, 0, 0xFFFF, value)) {
          rc = NLS_ERR_SYNTAX;
          break;
        }
        if (!inExtension) {
          if (valueCount < 256) {
            values[valueCount] = static_cast<uint16_t>(value);
          }
          ++valueCount;
        } else if (onLine < 2) {
          numbers[onLine] = value;
        }
        ++onLine;
      }
      if (rc != 0) {
        break;
      }
      if (inExtension && onLine != 0) {
        if (onLine != 2 || numbers[1] > 0xFF) {
          rc = NLS_ERR_SYNTAX;
          break;
        }
        if (pairCount < pairsExpected) {
          pairs[pairCount].unicode = static_cast<uint16_t>(numbers[0]);
          pairs[pairCount].byte = static_cast<uint16_t>(numbers[1]);
        }
        ++pairCount;
      }
    }
    if (rc == 0 && valueCount != 256) {
      rc = NLS_ERR_CHARMAP_SIZE;
    }
    if (rc == 0 && inExtension && pairCount != pairsExpected) {
      rc = NLS_ERR_EXTCHARMAP;
    }
    if (rc != 0) {
      free(pairs);
      return rc;
    }
    return installCharMap(id, name, values, pairs, inExtension ? pairsExpected : 0);
  }

  // A trimmed copy of the rest of a line for readNumber.
  const char *trimCopy(const char *text) {
    copyForTokens(scratch_, sizeof scratch_, text, false);
    return trimBlanks(scratch_);
  }

  // Puts the map and the list (whose block it takes over) in place of the
  // slot's and renames the slot.
  int installCharMap(int32_t id, const char *name, const uint16_t *values, ExtensionPair *pairs,
                     long pairCount) {
    State &s = state();
    auto *map = static_cast<uint16_t *>(allocate(256 * sizeof(uint16_t)));
    if (pairs == nullptr) {
      pairs = static_cast<ExtensionPair *>(allocate(sizeof(ExtensionPair)));
    }
    char *newName = duplicate(name);
    if (map == nullptr || pairs == nullptr || newName == nullptr) {
      free(map);
      free(newName);
      free(pairs);
      return NLS_ERR_NO_MEMORY;
    }
    memcpy(map, values, 256 * sizeof(uint16_t));
    pairs[pairCount].unicode = 0;
    pairs[pairCount].byte = 0;
    free(s.replacedMaps[id]);
    s.replacedMaps[id] = map;
    free(s.replacedExtensions[id]);
    s.replacedExtensions[id] = pairs;
    free(s.names[id]);
    s.names[id] = newName;
    return 0;
  }

  // "MBCHARMAP charset", content lines, a line containing "END": only the
  // record is made; the content is read again when a character-set object
  // of that name is made.
  int mbCharMapBlock(const char *rest) {
    char header[kLineBufferSize];
    copyForTokens(header, sizeof header, rest, false);
    char *p = header;
    char *name = nextToken(p, kNumberDelimiters);
    if (name == nullptr) {
      return NLS_ERR_SYNTAX;
    }
    uint64_t length = 0;
    for (;;) {
      const char *text = nullptr;
      if (int rc = blockLine(kLineBufferSize, text); rc != 0) {
        return rc;
      }
      length += reader_.rawBytes();
      if (strstr(text, "END") != nullptr) {
        break;
      }
    }
    if (length > 0x7FFFFFFF) {
      return NLS_ERR_NO_MEMORY;
    }
    auto *record = static_cast<NlsMbCharMap *>(allocate(sizeof(NlsMbCharMap)));
    char *storedName = duplicate(name);
    char *storedPath = duplicate(path_);
    if (record == nullptr || storedName == nullptr || storedPath == nullptr) {
      free(record);
      free(storedName);
      free(storedPath);
      return NLS_ERR_NO_MEMORY;
    }
    record->name = storedName;
    record->tablePath = storedPath;
    record->length = static_cast<uint32_t>(length);
    record->next = nullptr;
    (mapTail_ != nullptr ? mapTail_->next : state().mbCharMaps) = record;
    mapTail_ = record;
    return 0;
  }

  // "LCCOLLATE name" up to a line beginning with "END" (any case): read by
  // nlsSetCollSeq, skipped here.
  int skipCollationBlock() {
    for (;;) {
      const char *text = nullptr;
      if (int rc = blockLine(kCollationLineBufferSize, text); rc != 0) {
        return rc;
      }
      if (startsWithNoCase(skipSpaces(text), "END")) {
        return 0;
      }
    }
  }

  TableReader reader_;
  const char *path_;
  NlsLocale *localeTail_ = nullptr;
  NlsMbCharMap *mapTail_ = nullptr;
  char scratch_[kLineBufferSize] = {};
};

bool opensAsTable(const std::string &path, FILE **file) {
  if (path.empty() || pal::isDirectory(path.c_str())) {
    return false;  // a directory is no table, though fopen may open it
  }
  *file = fopen(path.c_str(), "r");
  return *file != nullptr;
}

int searchTable(const char *value, FILE **file) {
  std::string candidates[3];
  std::string cwd = pal::currentDirectory();
  if (!cwd.empty()) {
    candidates[0] = cwd + pal::kPathSeparator + value;
  }
  candidates[1] = value;
  char exe[pal::kMaxPath];
  uint32_t n = pal::executablePath(exe, sizeof exe);
  if (n > 0) {
    std::string dir(exe, n);
    size_t cut = dir.find_last_of(pal::kPathSeparator);
    if (cut != std::string::npos) {
      candidates[2] = dir.substr(0, cut + 1) + value;
    }
  }
  for (const std::string &candidate : candidates) {
    if (opensAsTable(candidate, file)) {
      char *path = duplicate(candidate.c_str());
      if (path == nullptr) {
        fclose(*file);
        *file = nullptr;
        return NLS_ERR_NO_MEMORY;
      }
      state().tablePath = path;
      return 0;
    }
  }
  return NLS_ERR_NOT_FOUND;
}

}  // namespace

int openTable(FILE **file) {
  *file = nullptr;
  State &s = state();
  if (s.tablePath != nullptr) {
    *file = fopen(s.tablePath, "r");
    return *file != nullptr ? 0 : NLS_ERR_NOT_FOUND;
  }
  bool outOfMemory = false;
  char *value = frame::resourceText("ORVNLSTAB", &outOfMemory);
  if (outOfMemory) {
    return NLS_ERR_NO_MEMORY;
  }
  if (value == nullptr || value[0] == '\0') {
    free(value);
    return NLS_ERR_NOT_CONFIGURED;  // an empty setting names no table
  }
  int rc;
  try {
    rc = searchTable(value, file);
  } catch (const std::bad_alloc &) {
    rc = NLS_ERR_NO_MEMORY;
  }
  free(value);
  return rc;
}

int loadTable(FILE *file, const char *path) {
  State &s = state();
  // An earlier locale list goes; records are appended in file order.
  while (s.locales != nullptr) {
    NlsLocale *next = s.locales->next;
    free(s.locales->name);
    free(s.locales);
    s.locales = next;
  }
  s.current = nullptr;
  Loader loader(file, path);
  return loader.run();
}

char *readMbCharMap(const char *name, bool *noMemory) {
  if (noMemory != nullptr) {
    *noMemory = false;
  }
  if (name == nullptr) {
    return nullptr;
  }
  const NlsMbCharMap *record = state().mbCharMaps;
  while (record != nullptr && !equalsNoCase(record->name, name)) {
    record = record->next;
  }
  if (record == nullptr) {
    return nullptr;
  }
  FILE *file = fopen(record->tablePath, "r");
  if (file == nullptr) {
    return nullptr;
  }
  const size_t capacity = record->length;
  char *buffer = static_cast<char *>(allocate(capacity + 1));
  auto *reader = new (std::nothrow) TableReader(file, state().lineNumber);
  bool ok = buffer != nullptr && reader != nullptr;
  if (!ok && noMemory != nullptr) {
    *noMemory = true;
  }
  bool found = false;
  while (ok) {
    TableReader::Result r = reader->next(kLineBufferSize);
    if (r == TableReader::kEnd) {
      break;
    }
    if (r == TableReader::kLine && strstr(reader->text(), "MBCHARMAP") != nullptr &&
        strstr(reader->text(), record->name) != nullptr) {
      found = true;
      break;
    }
  }
  ok = ok && found;
  size_t used = 0;
  while (ok) {
    TableReader::Result r = reader->next(kLineBufferSize);
    if (r == TableReader::kEnd || (r == TableReader::kOverlong && !reader->isComment())) {
      ok = false;  // the block has no end, or the file changed since it was loaded
      break;
    }
    // An overlong comment line counts as a bare comment, as when loading.
    const char *text = r == TableReader::kOverlong ? "#" : reader->text();
    if (strstr(text, "END") != nullptr) {
      break;
    }
    size_t n = strlen(text);
    if (used + n + 1 > capacity) {
      ok = false;  // the file is not the one that was loaded
      break;
    }
    memcpy(buffer + used, text, n);
    used += n;
    buffer[used++] = '\n';
  }
  delete reader;
  fclose(file);
  if (!ok) {
    free(buffer);
    return nullptr;
  }
  buffer[used] = '\0';
  return buffer;
}

}  // namespace nls

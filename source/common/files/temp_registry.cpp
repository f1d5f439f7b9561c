// The registry of temporary files shared by the processes of an
// installation: UTF-16 text in host order, one line per file ("path;stamp"
// and a line feed), followed by one 0 unit. It is read whole as a string
// object, changed, and written back whole, under the temp mutex within the
// process and a LockFile range between processes.
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <string>
#include <utility>

#include "common/files/file_internal.h"
#include "common/files/temp_state.h"
#include "common/nls/nls_state.h"
#include "common/strings/string_object.h"
#include "platform/pal_file.h"

namespace files::temp {

namespace {

constexpr uint16_t kLineFeed = 10;
constexpr uint16_t kSemicolon = ';';
// The registry is locked as a whole: every offset a file can have.
constexpr uint32_t kWholeFileLow = 0xFFFFFFFFu;
constexpr uint32_t kWholeFileHigh = 0xFFFFFFFFu;
// A registry larger than this is not a registry.
constexpr int64_t kLargestRegistry = int64_t{256} * 1024 * 1024;

// A failed lock waits a second (tempState().attemptMilliseconds) before the
// next attempt, looking again every few milliseconds meanwhile so that a
// lock freed by another process is taken at once.
constexpr uint32_t kPollMilliseconds = 5;

// The registry file, opened and locked for one access.
class RegistryFile {
 public:
  RegistryFile() = default;
  ~RegistryFile() { close(); }
  RegistryFile(const RegistryFile &) = delete;
  RegistryFile &operator=(const RegistryFile &) = delete;

  // Opens (creating it when missing) and locks the registry, with up to 16
  // attempts one second apart.
  bool open() {
    const char *path = tempState().registryPath;
    if (path == nullptr) {
      return false;
    }
    for (int attempt = 1;; ++attempt) {
      if (file_ == nullptr) {
        int32_t code = 0;
        file_ = openRecord(path, ORV_FILE_READ | ORV_FILE_WRITE, &code);
        if (file_ == nullptr && code != codeFromWin32Error(pal::kErrorSharingViolation)) {
          setError(code);
          return false;
        }
      }
      if (file_ != nullptr && tryLock()) {
        return true;
      }
      if (attempt == kRegistryAttempts) {
        setSystemError(pal::kErrorLockViolation);
        return false;
      }
      if (waitForLock()) {
        return true;
      }
    }
  }

  // The whole text as a string in the registry's character set.
  orvString *read() {
    int64_t size = sizeChain(file_);
    if (size < 0 || size > kLargestRegistry || !seekChain(file_, 0, ORV_FILE_SEEK_SET)) {
      return nullptr;
    }
    auto count = static_cast<uint32_t>(size / 2);
    auto *units = static_cast<uint16_t *>(malloc((static_cast<size_t>(count) + 1) * 2));
    if (units == nullptr) {
      setError(kCodeOutOfMemory);
      return nullptr;
    }
    uint32_t got = readChain(file_, reinterpret_cast<uint8_t *>(units), count * 2) / 2;
    units[got] = 0;
    uint32_t length = 0;
    while (length < got && units[length] != 0) {
      ++length;  // the text ends at its 0 unit
    }
    orvString *text = strings::makeString(units, length, registryCharSet());
    free(units);
    if (text == nullptr) {
      setError(kCodeOutOfMemory);
    }
    return text;
  }

  // Writes text and its 0 unit from offset 0, cuts the file after them, and
  // flushes.
  bool write(const orvString *text) {
    uint32_t bytes = (orvStringLength(text) + 1) * 2;
    const auto *units = reinterpret_cast<const uint8_t *>(strings::unitsOf(text));
    return seekChain(file_, 0, ORV_FILE_SEEK_SET) && writeChain(file_, units, bytes) == bytes &&
           setEofChain(file_) && flushChain(file_);
  }

 private:
  bool tryLock() {
    locked_ = pal::lockFile(file_->handle, 0, 0, kWholeFileLow, kWholeFileHigh);
    return locked_;
  }

  // One second between attempts; the lock is tried again meanwhile.
  bool waitForLock() {
    for (uint32_t waited = 0; waited < tempState().attemptMilliseconds; waited += kPollMilliseconds) {
      pal::sleepMs(kPollMilliseconds);
      if (file_ != nullptr && tryLock()) {
        return true;
      }
    }
    return false;
  }

  void close() {
    if (file_ == nullptr) {
      return;
    }
    if (locked_) {
      pal::unlockFile(file_->handle, 0, 0, kWholeFileLow, kWholeFileHigh);
    }
    closeHandleOf(file_);
    freeRecord(file_);
    file_ = nullptr;
  }

  orvFile *file_ = nullptr;
  bool locked_ = false;
};

orvString *makeText(const std::string &native) { return orvStringCreate(registryCharSet(), native.c_str()); }

// Puts the units of replacement into text (which the caller keeps).
void replaceText(orvString *text, orvString *replacement) {
  std::swap(text->units, replacement->units);
  std::swap(text->length, replacement->length);
  orvStringDestroy(replacement);
}

// Position of the line that starts with pattern ("path;"), or 0.
uint32_t findLine(const orvString *text, const orvString *pattern) {
  uint32_t pos = 1;
  while ((pos = orvStringFind(pos, pattern, text)) != 0) {
    if (pos == 1 || orvStringGetCharacter(text, pos - 1) == kLineFeed) {
      return pos;
    }
    ++pos;
  }
  return 0;
}

// Position of the line feed that ends the line at from, or the length when
// the last line has none.
uint32_t lineEnd(const orvString *text, uint32_t from) {
  uint32_t length = orvStringLength(text);
  const uint16_t *units = strings::unitsOf(text);
  for (uint32_t pos = from; pos <= length; ++pos) {
    if (units[pos - 1] == kLineFeed) {
      return pos;
    }
  }
  return length;
}

std::string lineFor(const char *path, uint32_t stamp) {
  char number[16];
  snprintf(number, sizeof number, "%u", stamp);
  return std::string(path) + ";" + number + "\n";
}

// The stamp of a line from its digits (units from, to inclusive); false when
// they are not a number.
bool parseStamp(const uint16_t *units, uint32_t from, uint32_t to, uint32_t &stamp) {
  if (from > to || to - from >= 10) {
    return false;
  }
  uint64_t value = 0;
  for (uint32_t pos = from; pos <= to; ++pos) {
    uint16_t unit = units[pos - 1];
    if (unit < '0' || unit > '9') {
      return false;
    }
    value = value * 10 + (unit - '0');
  }
  if (value > 0xFFFFFFFFu) {
    return false;
  }
  stamp = static_cast<uint32_t>(value);
  return true;
}

bool libraryExists(const char *path) { return orvFileAccess(path, 0) != 0; }
bool libraryRemove(const char *path) { return orvFileDelete(path) != 0; }

}  // namespace

orvCharSet registryCharSet() {
  intptr_t current = nls::state().charSetObject;
  return current != 0 ? current : ORV_CHARSET_ASCII;
}

uint32_t lineAge(uint32_t stamp, uint32_t now) {
  int64_t taken = stamp;
  if (taken > static_cast<int64_t>(now)) {
    taken -= kSecondsPerDay;  // stamped before midnight
  }
  return static_cast<uint32_t>(static_cast<int64_t>(now) - taken);
}

bool replaceStamp(orvString *text, const char *path, uint32_t stamp) {
  orvString *pattern = makeText(std::string(path) + ";");
  if (pattern == nullptr) {
    return false;
  }
  uint32_t pos = findLine(text, pattern);
  uint32_t semicolon = pos + orvStringLength(pattern) - 1;
  orvStringDestroy(pattern);
  if (pos == 0) {
    return false;
  }
  uint32_t end = lineEnd(text, pos);
  bool hasLineFeed = orvStringGetCharacter(text, end) == kLineFeed;
  orvString *head = orvStringExtract(text, 1, semicolon);
  orvString *number = orvStringFromInteger(static_cast<int32_t>(stamp), registryCharSet());
  orvString *tail = hasLineFeed ? orvStringExtract(text, end, orvStringLength(text)) : makeText("\n");
  orvString *joined = head != nullptr && number != nullptr && tail != nullptr
                          ? orvStringJoin(head, number, tail, static_cast<orvString *>(nullptr))
                          : nullptr;
  orvStringDestroy(head);
  orvStringDestroy(number);
  orvStringDestroy(tail);
  if (joined == nullptr) {
    return false;
  }
  replaceText(text, joined);
  return true;
}

bool removeLine(orvString *text, const char *path) {
  orvString *pattern = makeText(std::string(path) + ";");
  if (pattern == nullptr) {
    return false;
  }
  uint32_t pos = findLine(text, pattern);
  orvStringDestroy(pattern);
  if (pos == 0) {
    return false;
  }
  return orvStringRemove(text, pos, lineEnd(text, pos)) != 0;
}

void walkLines(orvString *text, uint32_t now, uint32_t timeout, const FileChecks &checks) {
  uint32_t pos = 1;
  while (pos <= orvStringLength(text)) {
    const uint16_t *units = strings::unitsOf(text);
    uint32_t end = lineEnd(text, pos);
    // The line's own units run from pos to last (its line feed excluded).
    uint32_t last = units[end - 1] == kLineFeed ? end - 1 : end;
    uint32_t semicolon = 0;
    for (uint32_t i = pos; i <= last; ++i) {
      if (units[i - 1] == kSemicolon) {
        semicolon = i;
        break;
      }
    }
    uint32_t stamp = 0;
    bool wellFormed = semicolon > pos && parseStamp(units, semicolon + 1, last, stamp);
    if (wellFormed) {
      if (lineAge(stamp, now) <= timeout) {
        pos = end + 1;
        continue;
      }
      orvString *pathText = orvStringExtract(text, pos, semicolon - 1);
      char *path = pathText != nullptr ? orvStringNative(pathText) : nullptr;
      orvStringDestroy(pathText);
      bool deleted = path != nullptr && checks.exists(path) && checks.remove(path);
      free(path);
      if (deleted) {
        pos = end + 1;  // the line stays until the next pass finds the file gone
        continue;
      }
    }
    // The file is gone (or its delete failed, or the line is not a
    // registry line): the text is cut from its very start through this
    // line, and the walk starts again.
    if (orvStringRemove(text, 1, end) == 0) {
      return;
    }
    pos = 1;
  }
}

bool registryProbe() {
  RegistryFile registry;
  if (!registry.open()) {
    return false;
  }
  orvString *text = registry.read();
  orvStringDestroy(text);
  return text != nullptr;
}

bool registryAdd(const char *path) {
  RegistryFile registry;
  orvString *text = registry.open() ? registry.read() : nullptr;
  if (text == nullptr) {
    return false;
  }
  orvString *line = makeText(lineFor(path, timeOfDayStamp()));
  orvString *joined =
      line != nullptr ? orvStringJoin(text, line, static_cast<orvString *>(nullptr)) : nullptr;
  bool ok = joined != nullptr && registry.write(joined);
  orvStringDestroy(joined);
  orvStringDestroy(line);
  orvStringDestroy(text);
  return ok;
}

bool registryRemove(const char *path) {
  RegistryFile registry;
  orvString *text = registry.open() ? registry.read() : nullptr;
  if (text == nullptr) {
    return false;
  }
  bool ok = !removeLine(text, path) || registry.write(text);
  orvStringDestroy(text);
  return ok;
}

namespace {

// One pass over the open, locked registry: now is the time of day of the
// pass, or, when takeNow is set, read here, once the registry is locked.
// Every line that another process wrote before the lock was granted then
// carries a stamp no later than now. A time read before waiting for the lock
// could be older than a line written meanwhile, which the midnight rule
// would then take for a day old, deleting a live process's file.
bool cleanPass(uint32_t now, bool takeNow) {
  RegistryFile registry;
  orvString *text = registry.open() ? registry.read() : nullptr;
  if (text == nullptr) {
    return false;
  }
  if (takeNow) {
    now = timeOfDayStamp();
  }
  for (OpenNode *node = tempState().openList; node != nullptr; node = node->next) {
    replaceStamp(text, node->file->name, now);
  }
  walkLines(text, now, tempState().timeout, FileChecks{libraryExists, libraryRemove});
  bool ok = registry.write(text);
  orvStringDestroy(text);
  return ok;
}

}  // namespace

bool registryCleanPass(uint32_t now) { return cleanPass(now, false); }

bool registryCleanPassNow() { return cleanPass(0, true); }

char *registryText() {
  RegistryFile registry;
  orvString *text = registry.open() ? registry.read() : nullptr;
  if (text == nullptr) {
    return nullptr;
  }
  char *native = orvStringNative(text);
  orvStringDestroy(text);
  return native;
}

}  // namespace files::temp

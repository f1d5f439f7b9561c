// Characters and lines: orvFileGetc and orvFileGets, orvFilePutc and
// orvFilePuts. In text mode a CR LF pair reads as LF and LF writes as CR LF;
// orvFileRead and orvFileWrite move bytes as they are.
#include <string.h>

#include <array>

#include "common/files/file_internal.h"

using files::ChainLock;

namespace {

constexpr uint8_t kCR = 13;
constexpr uint8_t kLF = 10;

// CR and Ctrl-Z, the bytes that text mode reads specially, as a table:
// ORV_FILE_TEXT at those bytes, so that one AND with the open flags tells
// whether a byte needs text-mode handling.
constexpr auto kTextModeSpecial = [] {
  std::array<uint8_t, 256> table{};
  table[kCR] = ORV_FILE_TEXT;
  table[files::kCtrlZ] = ORV_FILE_TEXT;
  return table;
}();

// The next byte, or ORV_FILE_EOF. A lone record with bytes in its buffer is
// served from it directly, with the same Ctrl-Z rule as a read.
uint16_t nextByte(orvFile *file) {
  if (file->next == nullptr && file->bufDirty == 0 && file->bufPos < file->bufCount) {
    uint8_t c = file->buffer[file->bufPos];
    if (files::isTextMode(file)) {
      if (file->eofSeen != 0) {
        return ORV_FILE_EOF;
      }
      if (c == files::kCtrlZ) {
        file->eofSeen = 1;
        return ORV_FILE_EOF;
      }
    }
    ++file->bufPos;
    return c;
  }
  uint8_t c = 0;
  if (files::readChain(file, &c, 1) != 1) {
    return ORV_FILE_EOF;
  }
  return c;
}

// Puts back the byte just read. The standard files, which may be pipes,
// keep it in their buffer; any other record steps back one byte.
void stepBack(orvFile *file, uint8_t byte) {
  if (files::isStdFile(file) && file->bufPos == file->bufCount) {
    file->buffer[0] = byte;
    file->bufPos = 0;
    file->bufCount = 1;
    file->bufDirty = 0;
    return;
  }
  files::seekChain(file, -1, ORV_FILE_SEEK_CUR);
}

uint16_t getCharacter(orvFile *file) {
  uint16_t c = nextByte(file);
  if (c != kCR || !files::isTextMode(file)) {
    return c;
  }
  uint16_t following = nextByte(file);
  if (following == kLF) {
    return kLF;
  }
  if (following != ORV_FILE_EOF) {
    stepBack(file, static_cast<uint8_t>(following));
  }
  return kCR;
}

bool putCharacter(orvFile *file, int character) {
  uint8_t bytes[2] = {static_cast<uint8_t>(character), 0};
  uint32_t length = 1;
  if (files::isTextMode(file) && bytes[0] == kLF) {
    bytes[0] = kCR;
    bytes[1] = kLF;
    length = 2;
  }
  return files::writeChain(file, bytes, length) == length;
}

// orvFileGetc past its fast path: checked, locked, through the chain.
[[gnu::noinline]] uint16_t getcLocked(orvFile *file) {
  // checkRecord rejects a null record and records the error; the second
  // test only says so to the static analyser.
  if (!files::checkRecord(file) || file == nullptr) {
    return ORV_FILE_EOF;
  }
  ChainLock lock(file);
  if (!lock.ok()) {
    return ORV_FILE_EOF;
  }
  return getCharacter(file);
}

}  // namespace

extern "C" {

ORV_API uint16_t orvFileGetc(orvFile *file) {
  // A lone, unlocked record with the next byte in its buffer, a byte that
  // needs no translation. (A buffer of written bytes has its position at its
  // end, so the position test also keeps it out; the Ctrl-Z flag is only
  // ever set in text mode.) The record tests are combined with bitwise
  // operators so that the common case takes few branches.
  if (file != nullptr) {
    const uintptr_t notPlain = static_cast<uintptr_t>(file->magic ^ ORV_FILE_MAGIC) |
                               (files::loadLockState(file) & files::kLockThreadSafe) | file->eofSeen |
                               reinterpret_cast<uintptr_t>(file->next);
    const uint32_t pos = file->bufPos;
    if (notPlain == 0 && pos < file->bufCount) {
      const uint8_t c = file->buffer[pos];
      if ((kTextModeSpecial[c] & file->openFlags) == 0) {
        file->bufPos = pos + 1;
        return c;
      }
    }
  }
  return getcLocked(file);
}

ORV_API char *orvFileGets(orvFile *file, char *buffer, int size) {
  if (!files::checkRecord(file)) {
    return nullptr;
  }
  if (buffer == nullptr || size <= 0) {
    files::setError(files::kCodeInvalidParameter);
    return nullptr;
  }
  ChainLock lock(file);
  if (!lock.ok()) {
    return nullptr;
  }
  int n = 0;
  while (n < size - 1) {
    uint16_t c = getCharacter(file);
    if (c == ORV_FILE_EOF) {
      break;
    }
    buffer[n++] = static_cast<char>(c);
    if (c == kLF) {
      break;
    }
  }
  buffer[n] = '\0';
  if (n == 0 && size > 1) {
    return nullptr;  // nothing left to read
  }
  return buffer;
}

ORV_API uint16_t orvFilePutc(orvFile *file, int character) {
  if (!files::checkRecord(file)) {
    return ORV_FILE_EOF;
  }
  ChainLock lock(file);
  if (!lock.ok() || !putCharacter(file, character)) {
    return ORV_FILE_EOF;
  }
  return static_cast<uint8_t>(character);
}

ORV_API int orvFilePuts(orvFile *file, const char *text) {
  if (!files::checkRecord(file)) {
    return -1;
  }
  if (text == nullptr) {
    files::setError(files::kCodeInvalidParameter);
    return -1;
  }
  ChainLock lock(file);
  if (!lock.ok()) {
    return -1;
  }
  size_t length = strlen(text);
  if (files::isTextMode(file)) {
    for (size_t i = 0; i < length; ++i) {
      if (!putCharacter(file, static_cast<unsigned char>(text[i]))) {
        return -1;
      }
    }
  } else if (files::writeChain(file, reinterpret_cast<const uint8_t *>(text),
                               static_cast<uint32_t>(length)) != length) {
    return -1;
  }
  return static_cast<int>(length);
}

}  // extern "C"

// One segment's reads, writes and seeks through its 4096-byte buffer.
//
// The buffer holds either bytes read ahead (bufCount valid, bufPos the next
// to hand out, the system position just after them) or bytes written and
// not yet sent to the system (bufDirty set, bufPos == bufCount, the system
// position where they belong). segmentPos mirrors the system position, so
// that a seek inside the buffer and a position query need no system call.
#include <string.h>

#include <algorithm>

#include "common/files/file_internal.h"
#include "platform/pal_file.h"

namespace files {

namespace {

// The standard files are never buffered (their handles may be terminals and
// pipes that other processes share).
bool isBuffered(const orvFile *file) { return !isStdFile(file); }

// SetFilePointer with a 64-bit distance; the new position in *position.
bool movePointer(orvFile *file, int64_t distance, uint32_t method, int64_t *position) {
  auto high = static_cast<int32_t>(static_cast<uint64_t>(distance) >> 32);
  auto low = static_cast<int32_t>(static_cast<uint32_t>(static_cast<uint64_t>(distance)));
  pal::setLastError(pal::kErrorSuccess);
  uint32_t result = pal::setFilePointer(file->handle, low, &high, method);
  if (result == pal::kInvalidSetFilePointer && pal::getLastError() != pal::kErrorSuccess) {
    setLastSystemError();
    return false;
  }
  *position = static_cast<int64_t>((static_cast<uint64_t>(static_cast<uint32_t>(high)) << 32) | result);
  return true;
}

void emptyBuffer(orvFile *file) {
  file->bufPos = 0;
  file->bufCount = 0;
  file->bufDirty = 0;
}

// The segment length grows with every byte that reaches the system.
void noteWritten(orvFile *file) {
  if (tracksLimit(file) && file->segmentPos > file->segmentLimit) {
    file->segmentLimit = file->segmentPos;
  }
}

// WriteFile straight from the caller's memory: in pieces of at most one
// buffer to pipes and devices (a write of up to 4096 bytes to a pipe is not
// interleaved with other writers'), in one call to a disk file, where the
// size of the pieces would only count system calls.
void writeDirect(orvFile *file, const uint8_t *source, uint32_t size, WriteOutcome &outcome) {
  const bool disk = pal::getFileType(file->handle) == pal::kFileTypeDisk;
  while (size > 0) {
    uint32_t piece = disk ? size : std::min(size, kBufferSize);
    uint32_t written = 0;
    bool ok = systemIo().writeFile(file->handle, source, piece, &written);
    uint32_t error = ok ? 0 : pal::getLastError();
    if (ok && written < piece) {
      ok = false;
      error = pal::kErrorDiskFull;
    }
    written = std::min(written, piece);
    file->segmentPos += written;
    noteWritten(file);
    outcome.accepted += written;
    if (!ok) {
      outcome.failed = true;
      outcome.systemError = error;
      setSystemError(error);
      return;
    }
    source += written;
    size -= written;
  }
}

// Copies size bytes into the buffer, writing it out whenever it fills.
void writeBuffered(orvFile *file, const uint8_t *source, uint32_t size, WriteOutcome &outcome) {
  while (size > 0) {
    uint32_t room = kBufferSize - file->bufCount;
    uint32_t n = std::min(room, size);
    memcpy(file->buffer + file->bufCount, source, n);
    file->bufCount += n;
    file->bufPos = file->bufCount;
    file->bufDirty = 1;
    outcome.accepted += n;
    source += n;
    size -= n;
    if (file->bufCount == kBufferSize && !flushBuffer(file, outcome)) {
      return;
    }
  }
}

// Reads into target straight from the system; in text mode the count is
// cut at a Ctrl-Z, and the system position is put back on it.
uint32_t readDirect(orvFile *file, uint8_t *target, uint32_t size, bool &failed) {
  uint32_t got = 0;
  if (!systemIo().readFile(file->handle, target, size, &got)) {
    setLastSystemError();
    failed = true;
    return 0;
  }
  got = std::min(got, size);
  file->segmentPos += got;
  if (isTextMode(file)) {
    const void *z = memchr(target, static_cast<int>(kCtrlZ), got);
    if (z != nullptr) {
      auto kept = static_cast<uint32_t>(static_cast<const uint8_t *>(z) - target);
      file->eofSeen = 1;
      int64_t position = 0;
      if (movePointer(file, -static_cast<int64_t>(got - kept), pal::kFileCurrent, &position)) {
        file->segmentPos = position;
      }
      return kept;
    }
  }
  return got;
}

// Fills the empty buffer from the system; the bytes read.
uint32_t fillBuffer(orvFile *file, bool &failed) {
  uint32_t got = 0;
  if (!systemIo().readFile(file->handle, file->buffer, kBufferSize, &got)) {
    setLastSystemError();
    failed = true;
    return 0;
  }
  got = std::min(got, kBufferSize);
  file->bufPos = 0;
  file->bufCount = got;
  file->bufDirty = 0;
  file->segmentPos += got;
  return got;
}

// Hands out up to size buffered bytes; in text mode they end before a
// Ctrl-Z, which stays in the buffer with the flag set.
uint32_t takeBuffered(orvFile *file, uint8_t *target, uint32_t size) {
  uint32_t n = std::min(size, file->bufCount - file->bufPos);
  const uint8_t *from = file->buffer + file->bufPos;
  if (isTextMode(file)) {
    const void *z = memchr(from, static_cast<int>(kCtrlZ), n);
    if (z != nullptr) {
      n = static_cast<uint32_t>(static_cast<const uint8_t *>(z) - from);
      file->eofSeen = 1;
    }
  }
  memcpy(target, from, n);
  file->bufPos += n;
  return n;
}

}  // namespace

// The system position of a segment: the kept one, or, for the standard
// files whose handles other processes move too, the system's own.
bool systemPosition(orvFile *file, int64_t &position) {
  if (!isStdFile(file)) {
    position = file->segmentPos;
    return true;
  }
  int32_t high = 0;
  pal::setLastError(pal::kErrorSuccess);
  uint32_t low = pal::setFilePointer(file->handle, 0, &high, pal::kFileCurrent);
  if (low == pal::kInvalidSetFilePointer && pal::getLastError() != pal::kErrorSuccess) {
    setLastSystemError();
    return false;
  }
  position = static_cast<int64_t>((static_cast<uint64_t>(static_cast<uint32_t>(high)) << 32) | low);
  file->segmentPos = position;
  return true;
}

bool setSystemPosition(orvFile *file, int64_t position) {
  int64_t now = 0;
  if (!movePointer(file, position, pal::kFileBegin, &now)) {
    return false;
  }
  file->segmentPos = now;
  return true;
}

bool flushBuffer(orvFile *file, WriteOutcome &outcome) {
  if (file->bufDirty == 0) {
    return true;
  }
  uint32_t held = file->bufCount;
  uint32_t written = 0;
  bool ok = systemIo().writeFile(file->handle, file->buffer, held, &written);
  uint32_t error = ok ? 0 : pal::getLastError();
  if (ok && written < held) {
    ok = false;
    error = pal::kErrorDiskFull;
  }
  written = std::min(written, held);
  file->segmentPos += written;
  noteWritten(file);
  if (ok) {
    emptyBuffer(file);
    return true;
  }
  // The rest stays for the next attempt.
  memmove(file->buffer, file->buffer + written, held - written);
  file->bufCount = held - written;
  file->bufPos = file->bufCount;
  file->bufDirty = file->bufCount != 0 ? 1 : 0;
  outcome.failed = true;
  outcome.systemError = error;
  setSystemError(error);
  return false;
}

bool dropReadBuffer(orvFile *file) {
  if (file->bufDirty != 0 || file->bufCount == 0) {
    return true;
  }
  uint32_t unread = file->bufCount - file->bufPos;
  if (unread != 0) {
    int64_t position = 0;
    if (!movePointer(file, -static_cast<int64_t>(unread), pal::kFileCurrent, &position)) {
      return false;
    }
    file->segmentPos = position;
  }
  emptyBuffer(file);
  return true;
}

WriteOutcome writeSegment(orvFile *file, const uint8_t *source, uint32_t size) {
  WriteOutcome outcome;
  if (size == 0) {
    return outcome;
  }
  if (!isBuffered(file)) {
    if (!dropReadBuffer(file)) {
      outcome.failed = true;
      return outcome;
    }
    writeDirect(file, source, size, outcome);
    return outcome;
  }
  if (file->bufDirty == 0 && !dropReadBuffer(file)) {
    outcome.failed = true;
    outcome.systemError = pal::getLastError();
    return outcome;
  }
  if (size < kBufferSize || file->bufDirty != 0) {
    writeBuffered(file, source, size, outcome);
  } else {
    writeDirect(file, source, size, outcome);
  }
  return outcome;
}

uint32_t readSegment(orvFile *file, uint8_t *target, uint32_t size) {
  if (isTextMode(file) && file->eofSeen != 0) {
    return 0;
  }
  WriteOutcome flushed;
  if (!flushBuffer(file, flushed)) {
    return 0;
  }
  uint32_t total = 0;
  bool failed = false;
  while (total < size && !failed) {
    if (file->bufPos < file->bufCount) {
      total += takeBuffered(file, target + total, size - total);
      if (file->eofSeen != 0 && isTextMode(file)) {
        break;
      }
      continue;
    }
    uint32_t remaining = size - total;
    if (!isBuffered(file) || remaining >= kBufferSize) {
      // Straight into the caller's memory: all of it up to one buffer,
      // else whole buffers only.
      uint32_t request =
          !isBuffered(file) || remaining <= kBufferSize ? remaining : remaining & ~(kBufferSize - 1);
      uint32_t got = readDirect(file, target + total, request, failed);
      total += got;
      if (got < request) {
        break;  // short read: end of data, Ctrl-Z or failure
      }
      continue;
    }
    if (fillBuffer(file, failed) == 0) {
      break;
    }
    uint32_t got = takeBuffered(file, target + total, remaining);
    total += got;
    if (got < remaining) {
      break;  // short read or Ctrl-Z
    }
  }
  return total;
}

bool seekSegment(orvFile *file, int64_t offset, int origin, int64_t *position) {
  WriteOutcome flushed;
  if (!flushBuffer(file, flushed)) {
    return false;
  }
  if (origin != ORV_FILE_SEEK_SET && origin != ORV_FILE_SEEK_CUR && origin != ORV_FILE_SEEK_END) {
    setSystemError(pal::kErrorInvalidParameter);
    return false;
  }
  uint32_t unread = file->bufCount - file->bufPos;
  if (origin != ORV_FILE_SEEK_END && file->bufCount != 0 && !isStdFile(file)) {
    int64_t end = file->segmentPos;
    int64_t start = end - file->bufCount;
    int64_t target = origin == ORV_FILE_SEEK_SET ? offset : start + file->bufPos + offset;
    if (target >= start && target <= end) {
      // Inside the buffered bytes: no system call.
      auto newPos = static_cast<uint32_t>(target - start);
      if (isTextMode(file)) {
        if (file->eofSeen != 0) {
          if (target < end) {
            file->eofSeen = 0;
          }
        } else if (memchr(file->buffer, static_cast<int>(kCtrlZ), newPos) != nullptr) {
          file->eofSeen = 1;
        }
      }
      file->bufPos = newPos;
      if (position != nullptr) {
        *position = target;
      }
      return true;
    }
  }
  int64_t distance = offset;
  if (origin == ORV_FILE_SEEK_CUR) {
    distance -= unread;  // the system is ahead by the bytes not yet handed out
  }
  static const uint32_t kMethods[3] = {pal::kFileBegin, pal::kFileCurrent, pal::kFileEnd};
  int64_t now = 0;
  if (!movePointer(file, distance, kMethods[origin], &now)) {
    return false;
  }
  file->segmentPos = now;
  emptyBuffer(file);
  file->eofSeen = 0;
  if (position != nullptr) {
    *position = now;
  }
  return true;
}

bool segmentFileSize(orvFile *file, int64_t &size) {
  int64_t here = 0;
  if (!systemPosition(file, here)) {
    return false;
  }
  int64_t end = 0;
  if (!movePointer(file, 0, pal::kFileEnd, &end)) {
    return false;
  }
  int64_t back = 0;
  if (!movePointer(file, here, pal::kFileBegin, &back)) {
    return false;
  }
  size = end;
  return true;
}

}  // namespace files

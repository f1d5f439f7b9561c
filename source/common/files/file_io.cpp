// The public reads, writes and positions of file records. Each call checks
// its record, holds the record's chain for its whole length, and works on
// the chain (file_chain.cpp).
#include <string.h>

#include "common/files/file_internal.h"

using files::ChainLock;

namespace {

bool checkBuffer(const void *buffer, uint32_t size) {
  if (buffer == nullptr && size != 0) {
    files::setError(files::kCodeInvalidParameter);
    return false;
  }
  return true;
}

// orvFileRead and orvFileWrite past their fast paths: checked, locked,
// through the chain.
[[gnu::noinline]] uint32_t readLocked(orvFile *file, void *buffer, uint32_t size) {
  if (!files::checkRecord(file) || !checkBuffer(buffer, size)) {
    return 0;
  }
  ChainLock lock(file);
  if (!lock.ok()) {
    return 0;
  }
  return files::readChain(file, static_cast<uint8_t *>(buffer), size);
}

[[gnu::noinline]] uint32_t writeLocked(orvFile *file, const void *buffer, uint32_t size) {
  if (!files::checkRecord(file) || !checkBuffer(buffer, size)) {
    return 0;
  }
  ChainLock lock(file);
  if (!lock.ok()) {
    return 0;
  }
  return files::writeChain(file, static_cast<const uint8_t *>(buffer), size);
}

}  // namespace

extern "C" {

ORV_API uint32_t orvFileRead(orvFile *file, void *buffer, uint32_t size) {
  if (files::isPlainRecord(file) && file->bufDirty == 0 && size <= file->bufCount - file->bufPos &&
      buffer != nullptr) {
    // All of it is in the buffer (before any Ctrl-Z in text mode).
    const uint8_t *from = file->buffer + file->bufPos;
    if (!files::isTextMode(file) ||
        (file->eofSeen == 0 && memchr(from, static_cast<int>(files::kCtrlZ), size) == nullptr)) {
      memcpy(buffer, from, size);
      file->bufPos += size;
      return size;
    }
  }
  return readLocked(file, buffer, size);
}

ORV_API uint32_t orvFileWrite(orvFile *file, const void *buffer, uint32_t size) {
  if (files::isPlainRecord(file) && size != 0 && size < files::kBufferSize - file->bufCount &&
      (file->bufDirty != 0 || file->bufCount == 0) && buffer != nullptr) {
    // It fits the buffer without filling it.
    memcpy(file->buffer + file->bufCount, buffer, size);
    file->bufCount += size;
    file->bufPos = file->bufCount;
    file->bufDirty = 1;
    return size;
  }
  return writeLocked(file, buffer, size);
}

ORV_API uint32_t orvFileSeekRead(orvFile *file, int64_t offset, int origin, void *buffer, uint32_t size) {
  if (!files::checkRecord(file) || !checkBuffer(buffer, size)) {
    return 0;
  }
  ChainLock lock(file);
  if (!lock.ok() || !files::seekChain(file, offset, origin)) {
    return 0;
  }
  return files::readChain(file, static_cast<uint8_t *>(buffer), size);
}

ORV_API uint32_t orvFileSeekWrite(orvFile *file, int64_t offset, int origin, const void *buffer,
                                  uint32_t size) {
  if (!files::checkRecord(file) || !checkBuffer(buffer, size)) {
    return 0;
  }
  ChainLock lock(file);
  if (!lock.ok() || !files::seekChain(file, offset, origin)) {
    return 0;
  }
  return files::writeChain(file, static_cast<const uint8_t *>(buffer), size);
}

ORV_API int orvFileSeek(orvFile *file, int64_t offset, int origin) {
  if (!files::checkRecord(file)) {
    return 0;
  }
  ChainLock lock(file);
  if (!lock.ok()) {
    return 0;
  }
  return files::seekChain(file, offset, origin) ? 1 : 0;
}

ORV_API int64_t orvFileTell(orvFile *file) {
  if (!files::checkRecord(file)) {
    return -1;
  }
  ChainLock lock(file);
  if (!lock.ok()) {
    return -1;
  }
  return files::tellChain(file);
}

ORV_API int64_t orvFileSize(orvFile *file) {
  if (!files::checkRecord(file)) {
    return -1;
  }
  ChainLock lock(file);
  if (!lock.ok()) {
    return -1;
  }
  return files::sizeChain(file);
}

ORV_API int orvFileSetEOF(orvFile *file) {
  if (!files::checkRecord(file)) {
    return 0;
  }
  ChainLock lock(file);
  if (!lock.ok()) {
    return 0;
  }
  return files::setEofChain(file) ? 1 : 0;
}

ORV_API int orvFileFlush(orvFile *file) {
  if (!files::checkRecord(file)) {
    return 0;
  }
  ChainLock lock(file);
  if (!lock.ok()) {
    return 0;
  }
  return files::flushChain(file) ? 1 : 0;
}

ORV_API int orvFileEOF(orvFile *file) {
  if (!files::checkRecord(file)) {
    return 1;
  }
  ChainLock lock(file);
  if (!lock.ok()) {
    return 1;
  }
  return files::eofChain(file);
}

ORV_API int orvFileClearEOF(orvFile *file) {
  if (!files::checkRecord(file)) {
    return 0;
  }
  ChainLock lock(file);
  if (!lock.ok()) {
    return 0;
  }
  files::clearEofChain(file);
  return 1;
}

}  // extern "C"

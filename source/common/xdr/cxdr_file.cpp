// XDR file streams: the stream record over a file of the buffered file
// layer. Units follow each other with no alignment; every get and put goes
// straight to the file layer, scrambled or unscrambled piece by piece.
#include <errno.h>
#include <stdlib.h>

#include "common/xdr/cxdr_internal.h"
#include "orvane/files.h"

namespace {

// The open file, or null.
orvFile *openFile(const CXDR *s) {
  auto *cell = static_cast<orvFile **>(s->ownedStorage);
  return cell != nullptr ? *cell : nullptr;
}

int readBytes(CXDR *s, void *buffer, uint32_t count) {
  if (count == 0) {
    return 1;
  }
  orvFile *file = openFile(s);
  if (file == nullptr) {
    CXDR_TRACE("cxdrfile_read", "File Not Open");
    return 0;
  }
  if (orvFileEOF(file) != 0) {
    CXDR_TRACE("cxdrfile_read", "End-of-File!");
    return 0;
  }
  uint32_t n = orvFileRead(file, buffer, count);
  if (n == 0) {
    s->lastError = static_cast<uint32_t>(orvFileError());
    CXDR_TRACE("cxdrfile_read", "Read Failed! Reason code = %d", static_cast<int>(s->lastError));
    return 0;
  }
  if (s->decryptFlag != 0 && s->decryptState != nullptr) {
    CXDR_TRACE("cxdrfile_read", "Decrypt %lu bytes", static_cast<unsigned long>(n));
    deTranslate(s->decryptState, 2, static_cast<uint8_t *>(buffer), n);
  }
  return 1;
}

// Writes count bytes of buffer, scrambling them in place first when the
// encrypt flag is set (the caller's own buffer for the sequence puts).
int writeBytes(CXDR *s, void *buffer, uint32_t count) {
  orvFile *file = openFile(s);
  if (file == nullptr) {
    CXDR_TRACE("cxdrfile_write", "File Not Open");
    return 0;
  }
  if (s->encryptFlag != 0 && s->encryptState != nullptr) {
    CXDR_TRACE("cxdrfile_write", "Encrypt %u bytes", count);
    deTranslate(s->encryptState, 1, static_cast<uint8_t *>(buffer), count);
  }
  if (orvFileWrite(file, buffer, count) != count) {
    s->lastError = static_cast<uint32_t>(orvFileError());
    CXDR_TRACE("cxdrfile_write", "Write Failed! Reason code = %d", static_cast<int>(s->lastError));
    return 0;
  }
  return 1;
}

}  // namespace

extern "C" {

ORV_API int cxdrfile_getUInt8(CXDR *stream, uint8_t *value) {
  uint8_t b = 0;
  if (readBytes(stream, &b, 1) == 0) {
    return 0;
  }
  *value = b;
  CXDR_TRACE("cxdrfile_getUInt8", "Read 0x%x", static_cast<unsigned>(b));
  return 1;
}

ORV_API int cxdrfile_putUInt8(CXDR *stream, const uint8_t *value) {
  uint8_t b = *value;
  CXDR_TRACE("cxdrfile_putUInt8", "Writing 0x%x", static_cast<unsigned>(b));
  return writeBytes(stream, &b, 1);
}

ORV_API int cxdrfile_getUInt16(CXDR *stream, uint16_t *value) {
  uint16_t wire = 0;
  if (readBytes(stream, &wire, 2) == 0) {
    return 0;
  }
  *value = cxdr::swap16(wire);
  CXDR_TRACE("cxdrfile_getUInt16", "Read 0x%x", static_cast<unsigned>(*value));
  return 1;
}

ORV_API int cxdrfile_putUInt16(CXDR *stream, const uint16_t *value) {
  uint16_t wire = cxdr::swap16(*value);
  CXDR_TRACE("cxdrfile_putUInt16", "Writing 0x%x", static_cast<unsigned>(wire));
  return writeBytes(stream, &wire, 2);
}

ORV_API int cxdrfile_getUInt32(CXDR *stream, uint32_t *value) {
  uint32_t wire = 0;
  if (readBytes(stream, &wire, 4) == 0) {
    return 0;
  }
  *value = cxdr::swap32(wire);
  CXDR_TRACE("cxdrfile_getUInt32", "Read 0x%lx", static_cast<unsigned long>(*value));
  return 1;
}

ORV_API int cxdrfile_putUInt32(CXDR *stream, const uint32_t *value) {
  uint32_t wire = cxdr::swap32(*value);
  CXDR_TRACE("cxdrfile_putUInt32", "Writing 0x%lx", static_cast<unsigned long>(wire));
  return writeBytes(stream, &wire, 4);
}

ORV_API int cxdrfile_getUInt8s(CXDR *stream, uint8_t *buffer, uint32_t count) {
  CXDR_TRACE("cxdrfile_getUInt8s", "Reading %lu bytes", static_cast<unsigned long>(count));
  if (readBytes(stream, buffer, count) == 0) {
    return 0;
  }
  cxdr::traceDump("cxdrfile_getUInt8s", buffer, count);
  return 1;
}

ORV_API int cxdrfile_putUInt8s(CXDR *stream, uint8_t *buffer, uint32_t count) {
  cxdr::traceDump("cxdrfile_putUInt8s", buffer, count);
  return writeBytes(stream, buffer, count);
}

ORV_API int cxdrfile_getCHARs(CXDR *stream, char *buffer, uint32_t count) {
  CXDR_TRACE("cxdrfile_getCHARs", "Reading %lu characters", static_cast<unsigned long>(count));
  if (readBytes(stream, buffer, count) == 0) {
    return 0;
  }
  cxdr::traceDump("cxdrfile_getCHARs", buffer, count);
  return 1;
}

ORV_API int cxdrfile_putCHARs(CXDR *stream, char *buffer, uint32_t count) {
  CXDR_TRACE("cxdrfile_putCHARs", "Writing %lu characters", static_cast<unsigned long>(count));
  cxdr::traceDump("cxdrfile_putCHARs", buffer, count);
  return writeBytes(stream, buffer, count);
}

ORV_API int cxdrfile_getpos(CXDR *stream, uint32_t *position) {
  orvFile *file = openFile(stream);
  if (file == nullptr) {
    CXDR_TRACE("cxdrfile_getpos", "File Not Open");
    return 0;
  }
  int64_t at = orvFileTell(file);
  if (at < 0) {
    stream->lastError = static_cast<uint32_t>(errno);
    CXDR_TRACE("cxdrfile_getpos", "Get Position Failed! Reason code = %d",
               static_cast<int>(stream->lastError));
    return 0;
  }
  *position = static_cast<uint32_t>(at);
  CXDR_TRACE("cxdrfile_getpos", "Position %ld", static_cast<long>(*position));
  return 1;
}

ORV_API int cxdrfile_putpos(CXDR *stream, uint32_t position) {
  orvFile *file = openFile(stream);
  if (file == nullptr) {
    CXDR_TRACE("cxdrfile_getpos", "File Not Open");  // the label of getpos, as it always was
    return 0;
  }
  CXDR_TRACE("cxdrfile_putpos", "Set Position to %lu", static_cast<unsigned long>(position));
  // The file layer returns 1 when the seek succeeds.
  if (orvFileSeek(file, static_cast<int64_t>(position), ORV_FILE_SEEK_SET) != 1) {
    stream->lastError = static_cast<uint32_t>(errno);
    CXDR_TRACE("cxdrfile_putpos", "Set Position Failed! Reason code = %d",
               static_cast<int>(stream->lastError));
    return 0;
  }
  return 1;
}

ORV_API int cxdrfio_create(CXDR *stream, orvFile *file, uint32_t direction) {
  CXDR_TRACE("cxdrfio_create", "Create %s stream", cxdr::directionName(direction));
  stream->lastError = 0;
  auto *cell = static_cast<orvFile **>(malloc(sizeof(orvFile *)));
  if (cell == nullptr) {
    stream->ownedStorage = nullptr;
    return 0;
  }
  *cell = file;
  stream->ownedStorage = cell;
  stream->encryptFlag = 0;
  stream->encryptState = nullptr;
  stream->decryptFlag = 0;
  stream->decryptState = nullptr;
  stream->overflowMode = 0;
  stream->decodeHook = nullptr;
  stream->encodeHook = nullptr;
  stream->buffer = nullptr;
  stream->size = 0;
  stream->limit = 0;
  stream->position = 0;
  stream->unicode = 0;
  stream->direction = direction;
  stream->getUInt8 = cxdrfile_getUInt8;
  stream->putUInt8 = cxdrfile_putUInt8;
  stream->getUInt16 = cxdrfile_getUInt16;
  stream->putUInt16 = cxdrfile_putUInt16;
  stream->getUInt32 = cxdrfile_getUInt32;
  stream->putUInt32 = cxdrfile_putUInt32;
  stream->getUInt8s = cxdrfile_getUInt8s;
  stream->putUInt8s = cxdrfile_putUInt8s;
  stream->getCHARs = cxdrfile_getCHARs;
  stream->putCHARs = cxdrfile_putCHARs;
  stream->getpos = cxdrfile_getpos;
  stream->putpos = cxdrfile_putpos;
  stream->destroy = cxdrfile_destroy;
  stream->encryptinit = cxdrmem_encryptinit;
  stream->decryptinit = cxdrmem_decryptinit;
  return 1;
}

ORV_API orvFile *cxdrfile_open(CXDR *stream, const char *path, int flags) {
  CXDR_TRACE("cxdrfile_open", "Create stream over '%s' file '%s'", cxdr::directionName(stream->direction),
             path != nullptr ? path : "");
  cxdrfile_close(stream);
  stream->lastError = 0;
  errno = 0;
  orvFile *file = orvFileOpen(flags, ORV_FILE_TAG_PATH, path, ORV_FILE_TAG_END);
  if (file == nullptr) {
    stream->lastError = static_cast<uint32_t>(errno);
    CXDR_TRACE("cxdrfile_open", "File open error.  Code = %d", static_cast<int>(stream->lastError));
    return nullptr;
  }
  auto *cell = static_cast<orvFile **>(stream->ownedStorage);
  if (cell == nullptr) {
    cell = static_cast<orvFile **>(malloc(sizeof(orvFile *)));
    if (cell == nullptr) {
      orvFileClose(file, ORV_FILE_CLOSE_KEEP);
      return nullptr;
    }
    stream->ownedStorage = cell;
  }
  *cell = file;
  return file;
}

ORV_API int cxdrfile_create(CXDR *stream, uint32_t direction, const char *path, int flags) {
  CXDR_TRACE("cxdrfile_create", "Create %s stream", cxdr::directionName(direction));
  if (direction != CXDR_ENCODE && direction != CXDR_DECODE) {
    return cxdrfio_create(stream, nullptr, direction);
  }
  // The record may hold anything before create: no file is open yet.
  stream->ownedStorage = nullptr;
  stream->direction = direction;
  orvFile *file = cxdrfile_open(stream, path, flags);
  uint32_t openError = stream->lastError;
  free(stream->ownedStorage);
  stream->ownedStorage = nullptr;
  if (cxdrfio_create(stream, file, direction) == 0) {
    if (file != nullptr) {
      orvFileClose(file, ORV_FILE_CLOSE_KEEP);
    }
    return 0;
  }
  stream->lastError = openError;
  return file != nullptr ? 1 : 0;
}

ORV_API int cxdrfile_close(CXDR *stream) {
  auto *cell = static_cast<orvFile **>(stream->ownedStorage);
  if (cell != nullptr && *cell != nullptr) {
    orvFileClose(*cell, ORV_FILE_CLOSE_KEEP);
    *cell = nullptr;
  }
  return 1;
}

ORV_API int cxdrfio_destroy(CXDR *stream) {
  free(stream->ownedStorage);
  stream->ownedStorage = nullptr;
  free(stream->encryptState);
  stream->encryptState = nullptr;
  free(stream->decryptState);
  stream->decryptState = nullptr;
  return 1;
}

ORV_API int cxdrfile_destroy(CXDR *stream) {
  cxdrfile_close(stream);
  return cxdrfio_destroy(stream);
}

ORV_API int cxdrfile_encryptinit(CXDR *stream, uint32_t key) { return cxdrmem_encryptinit(stream, key); }

ORV_API int cxdrfile_decryptinit(CXDR *stream, uint32_t key) { return cxdrmem_decryptinit(stream, key); }

}  // extern "C"

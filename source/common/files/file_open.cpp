// Opening and closing file records: the tag list of orvFileOpen, the mapping
// of open flags to CreateFileA, further segments and reopening in place.
#include <stdarg.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>

#include "common/files/file_internal.h"
#include "common/files/temp_internal.h"
#include "orvane/sync.h"
#include "platform/pal_file.h"

namespace files {

namespace {

// A tag list longer than this is taken for one without its end tag.
constexpr int kMaxTags = 64;

struct OpenRequest {
  uint32_t flags = 0;
  const char *path = nullptr;
  const char *prefix = nullptr;
  char **nameOut = nullptr;
  int *errorOut = nullptr;
  const char *directory = nullptr;
  orvFile *segmentOf = nullptr;
  bool badList = false;
};

// Reads the tag list; an unknown tag ends it (its value cannot be told from
// the next tag) and makes the request bad.
void readTags(OpenRequest &request, int tag, va_list values) {
  for (int count = 0; tag != ORV_FILE_TAG_END; tag = va_arg(values, int)) {
    if (++count > kMaxTags) {
      request.badList = true;
      return;
    }
    switch (tag) {
      case ORV_FILE_TAG_PATH:
        request.path = va_arg(values, const char *);
        break;
      case ORV_FILE_TAG_PREFIX:
        request.prefix = va_arg(values, const char *);
        break;
      case ORV_FILE_TAG_NAME_OUT:
        request.nameOut = va_arg(values, char **);
        break;
      case ORV_FILE_TAG_ERROR_OUT:
        request.errorOut = va_arg(values, int *);
        break;
      case ORV_FILE_TAG_DIRECTORY:
        request.directory = va_arg(values, const char *);
        break;
      case ORV_FILE_TAG_SEGMENT_OF:
        request.segmentOf = va_arg(values, orvFile *);
        break;
      default:
        request.badList = true;
        return;
    }
  }
}

// CreateFileA's access, disposition and flags for open flags.
struct CreateArguments {
  uint32_t access = 0;
  uint32_t disposition = 0;
  uint32_t attributes = 0;
};

CreateArguments createArgumentsFor(uint32_t flags) {
  CreateArguments a;
  if ((flags & ORV_FILE_READ) != 0) {
    a.access |= pal::kGenericRead;
  }
  if ((flags & ORV_FILE_WRITE) != 0) {
    a.access |= pal::kGenericWrite;
  }
  a.disposition = (flags & ORV_FILE_CREATE) != 0 ? pal::kCreateAlways : pal::kOpenAlways;
  bool readOnly = a.access == pal::kGenericRead;
  if ((flags & (ORV_FILE_COMPRESSED | ORV_FILE_TEMPORARY)) == 0 && !readOnly) {
    a.attributes = pal::kFileAttributeNormal;
  } else {
    if ((flags & ORV_FILE_COMPRESSED) != 0) {
      a.attributes |= pal::kFileAttributeCompressed;
    }
    if ((flags & ORV_FILE_TEMPORARY) != 0) {
      a.attributes |= pal::kFileAttributeTemporary;
    }
    if (readOnly) {
      a.attributes |= pal::kFileAttributeReadonly;
    }
  }
  a.attributes |= (flags & ORV_FILE_RANDOM) != 0 ? pal::kFileFlagRandomAccess : pal::kFileFlagSequentialScan;
  return a;
}

// Opens the handle for path; the system's error number on failure.
pal::Handle createHandle(const char *path, uint32_t flags, uint32_t disposition) {
  CreateArguments a = createArgumentsFor(flags);
  if (disposition != 0) {
    a.disposition = disposition;
  }
  return pal::createFileA(path, a.access, pal::kFileShareRead | pal::kFileShareWrite, a.disposition,
                          a.attributes);
}

// Fills a record for an open handle.
void setOpened(orvFile *file, pal::Handle handle, uint32_t flags) {
  file->magic = ORV_FILE_MAGIC;
  file->isOpen = 1;
  file->openFlags = flags;
  file->modeBits = modeBitsFor(flags);
  file->bufferOwner = 1;
  file->handle = handle;
  file->segmentPos = 0;
  file->bufPos = 0;
  file->bufCount = 0;
  file->bufDirty = 0;
  file->eofSeen = 0;
}

// With the spill-over flag the size at open is the segment's length.
bool recordSizeAsLimit(orvFile *file, int32_t *code) {
  if ((file->openFlags & ORV_FILE_SPILL) == 0) {
    return true;
  }
  int64_t size = 0;
  if (!segmentFileSize(file, size)) {
    *code = codeFromWin32Error(pal::getLastError());
    return false;
  }
  file->segmentLimit = size;
  return true;
}

bool makeMutex(orvFile *file, int32_t *code) {
  if ((file->openFlags & ORV_FILE_THREAD_SAFE) == 0 || file->mutex != 0) {
    return true;
  }
  if (orvMutexCreate(&file->mutex) != ORV_OK) {
    file->mutex = 0;
    *code = kCodeLockFailed;
    return false;
  }
  setLockBits(file, kLockThreadSafe);
  return true;
}

void reportFailure(const OpenRequest &request, int32_t code) {
  setError(code);
  if (request.errorOut != nullptr) {
    *request.errorOut = code;
  }
}

// Adds a further segment behind file (open), or reopens file (closed) in
// place. The caller holds the chain.
bool extendOrReopen(orvFile *file, const OpenRequest &request, int32_t *code) {
  if (file->isOpen == 0) {
    return reopenRecord(file, request.flags, code);
  }
  orvFile *segment = nullptr;
  if ((request.flags & ORV_FILE_TEMPORARY) != 0) {
    temp::MakeRequest make;
    make.flags = request.flags;
    make.prefix = request.prefix;
    make.nameOut = request.nameOut;
    make.directory = request.directory;
    segment = temp::make(make, code);
  } else {
    segment = openRecord(request.path, request.flags, code);
  }
  if (segment == nullptr) {
    return false;
  }
  appendSegment(file, segment);
  return true;
}

}  // namespace

orvFile *openRecord(const char *path, uint32_t flags, int32_t *code, uint32_t disposition) {
  if (path == nullptr) {
    *code = kCodeInvalidParameter;
    return nullptr;
  }
  if ((flags & ORV_FILE_MUST_EXIST) != 0 && !pal::fileAccess(path, 0)) {
    *code = kCodeFileMissing;
    return nullptr;
  }
  auto *file = static_cast<orvFile *>(calloc(1, sizeof(orvFile)));
  char *name = file != nullptr ? strdup(path) : nullptr;
  if (name == nullptr) {
    free(file);
    *code = kCodeOutOfMemory;
    return nullptr;
  }
  pal::Handle handle = createHandle(path, flags, disposition);
  if (handle == pal::kInvalidHandleValue) {
    *code = codeFromWin32Error(pal::getLastError());
    free(name);
    free(file);
    return nullptr;
  }
  file->name = name;
  file->head = file;
  setOpened(file, handle, flags);
  if (!makeMutex(file, code) || !recordSizeAsLimit(file, code)) {
    pal::closeHandle(handle);
    freeRecord(file);
    return nullptr;
  }
  return file;
}

bool reopenRecord(orvFile *file, uint32_t flags, int32_t *code) {
  // A temporary file comes back readable, and is not cut again.
  uint32_t newFlags = ((flags | ORV_FILE_READ) & ~static_cast<uint32_t>(ORV_FILE_CREATE)) |
                      (file->openFlags & ORV_FILE_TEMPORARY);
  for (orvFile *seg = file; seg != nullptr; seg = seg->next) {
    if (seg->isOpen != 0) {
      continue;
    }
    pal::Handle handle = createHandle(seg->name, newFlags, 0);
    if (handle == pal::kInvalidHandleValue) {
      *code = codeFromWin32Error(pal::getLastError());
      return false;
    }
    setOpened(seg, handle, newFlags);
    if (!makeMutex(seg, code)) {
      return false;
    }
    if (seg->next == nullptr && !recordSizeAsLimit(seg, code)) {
      return false;
    }
  }
  return true;
}

void appendSegment(orvFile *file, orvFile *segment) {
  orvFile *tail = file;
  while (tail->next != nullptr) {
    tail = tail->next;
  }
  // The segment that had been the end now keeps its length.
  int64_t size = 0;
  if (segmentFileSize(tail, size)) {
    tail->segmentLimit = std::max(tail->segmentLimit, std::max<int64_t>(size, segmentPosition(tail)));
  }
  segment->head = file->head;
  tail->next = segment;
}

bool closeHandleOf(orvFile *file) {
  bool ok = true;
  if (file->isOpen != 0) {
    WriteOutcome outcome;
    ok = flushBuffer(file, outcome);
    if (!pal::closeHandle(file->handle)) {
      setLastSystemError();
      ok = false;
    }
  }
  file->isOpen = 0;
  file->handle = 0;
  file->bufPos = 0;
  file->bufCount = 0;
  file->bufDirty = 0;
  return ok;
}

void freeRecord(orvFile *file) {
  if (file->mutex != 0) {
    orvMutexDestroy(&file->mutex);
  }
  free(file->name);
  file->magic = 0;
  free(file);
}

}  // namespace files

using files::OpenRequest;

extern "C" {

ORV_API orvFile *orvFileOpen(int flags, int tag, ...) {
  OpenRequest request;
  va_list values;
  va_start(values, tag);
  files::readTags(request, tag, values);
  va_end(values);
  if (request.badList) {
    files::reportFailure(request, files::kCodeInvalidParameter);
    return nullptr;
  }
  request.flags = static_cast<uint32_t>(flags);
  if ((request.flags & files::kAccessFlags) == 0) {
    request.flags |= ORV_FILE_CREATE | files::kFlagCreatedByDefault;
  }
  int32_t code = 0;
  orvFile *result = nullptr;
  if (request.segmentOf != nullptr) {
    if (!files::checkRecord(request.segmentOf)) {
      files::reportFailure(request, files::kCodeInvalidHandle);
      return nullptr;
    }
    files::ChainLock lock(request.segmentOf);
    if (!lock.ok()) {
      files::reportFailure(request, files::kCodeLockFailed);
      return nullptr;
    }
    if (files::extendOrReopen(request.segmentOf, request, &code)) {
      result = request.segmentOf;
    }
  } else if ((request.flags & ORV_FILE_TEMPORARY) != 0) {
    files::temp::MakeRequest make;
    make.flags = request.flags;
    make.prefix = request.prefix;
    make.nameOut = request.nameOut;
    make.directory = request.directory;
    result = files::temp::make(make, &code);
  } else {
    result = files::openRecord(request.path, request.flags, &code);
  }
  if (result == nullptr) {
    files::reportFailure(request, code);
  }
  return result;
}

ORV_API int orvFileClose(orvFile *file, int options) {
  if (!files::checkRecord(file)) {
    return 0;
  }
  files::ChainLock lock(file);
  if (!lock.ok()) {
    return 0;
  }
  if (files::isStdFile(file)) {
    // The standard records live as long as the process: closing one only
    // writes what it holds.
    return files::flushChain(file) ? 1 : 0;
  }
  if (files::isTemporary(file)) {
    return files::temp::close(file, options, &lock) ? 1 : 0;
  }
  bool ok = files::flushChain(file);
  ok = files::closeHandleOf(file) && ok;
  lock.release();
  // The segments behind it close with it: temporary ones (spill-over) are
  // deleted, since nothing else can reach them any more.
  orvFile *seg = file->next;
  file->next = nullptr;
  while (seg != nullptr) {
    orvFile *next = seg->next;
    seg->next = nullptr;
    seg->head = seg;
    if (files::isTemporary(seg)) {
      ok = files::temp::close(seg, ORV_FILE_CLOSE_DELETE, nullptr) && ok;
    } else {
      ok = files::closeHandleOf(seg) && ok;
      files::freeRecord(seg);
    }
    seg = next;
  }
  files::freeRecord(file);
  return ok ? 1 : 0;
}

}  // extern "C"

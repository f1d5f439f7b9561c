// Memory maps of file records: system file mappings, or, for files that may
// spill over into chained segments (which the system cannot map as one), a
// heap buffer read from the file and written back to it.
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <optional>

#include "common/files/file_internal.h"
#include "orvane/sync.h"
#include "platform/pal_file.h"
#include "platform/pal_mapping.h"

namespace files {

namespace {

constexpr uint32_t kErrorHandleEof = 38;  // a view's bytes could not all be read
constexpr uint64_t kLargestMapping = 0xFFFFFFFFu;

bool checkMap(const orvFileMap *map) {
  if (map == nullptr || map->magic != ORV_FILE_MAP_MAGIC || !checkRecord(map->file)) {
    setError(kCodeInvalidHandle);
    return false;
  }
  return true;
}

bool isWritable(const orvFile *file) { return (file->openFlags & ORV_FILE_WRITE) != 0; }

// Holds the map record (when it is thread-safe) and then its file's chain.
class MapLock {
 public:
  explicit MapLock(orvFileMap *map) : map_(map) {
    if ((map->lockState & kLockThreadSafe) != 0 && map->mutex != 0) {
      if (orvMutexLock(&map->mutex) != ORV_OK) {
        setError(kCodeLockFailed);
        return;
      }
      held_ = true;
    }
    chain_.emplace(map->file);
    ok_ = chain_->ok();
  }
  ~MapLock() { release(); }
  MapLock(const MapLock &) = delete;
  MapLock &operator=(const MapLock &) = delete;

  bool ok() const { return ok_; }
  void release() {
    chain_.reset();
    if (held_) {
      held_ = false;
      orvMutexUnlock(&map_->mutex);
    }
  }

 private:
  orvFileMap *map_;
  bool held_ = false;
  bool ok_ = false;
  std::optional<ChainLock> chain_;
};

// The mapping size for a request: the file's own size for a read-only file
// that holds the bytes asked for; else two granules, or, beyond that, the
// granules that hold size and one more.
uint64_t mappingSizeFor(uint64_t size, uint64_t fileSize, bool writable) {
  const uint64_t g = allocationGranularity();
  if (!writable && size <= fileSize) {
    return fileSize;
  }
  if (size > 2 * g) {
    return (size / g + 1) * g;
  }
  return 2 * g;
}

bool createSystemMap(orvFileMap *map, uint32_t size) {
  orvFile *file = map->file;
  int64_t fileSize = 0;
  if (!flushChain(file) || !segmentFileSize(file, fileSize)) {
    return false;
  }
  uint64_t wanted = size != 0 ? size : static_cast<uint64_t>(fileSize);
  bool writable = isWritable(file);
  uint64_t mappingSize = mappingSizeFor(wanted, static_cast<uint64_t>(fileSize), writable);
  if (mappingSize > kLargestMapping) {
    setError(kCodeInvalidParameter);  // the high size word is always 0
    return false;
  }
  uint32_t protect = (writable ? pal::kPageReadwrite : pal::kPageReadonly) | pal::kSecCommit;
  pal::Handle mapping = pal::createFileMappingA(file->handle, protect, 0, static_cast<uint32_t>(mappingSize));
  if (mapping == pal::kNullHandle) {
    setLastSystemError();
    return false;
  }
  map->mapping = mapping;
  map->size = static_cast<uint32_t>(mappingSize);
  return true;
}

// Grows a spill-over file to size bytes with zeros written at its end.
bool extendWithZeros(orvFile *file, int64_t fileSize, uint64_t size) {
  int64_t here = tellChain(file);
  if (here < 0 || !seekChain(file, 0, ORV_FILE_SEEK_END)) {
    return false;
  }
  static const uint8_t kZeros[kBufferSize] = {};
  uint64_t missing = size - static_cast<uint64_t>(fileSize);
  while (missing > 0) {
    auto piece = static_cast<uint32_t>(std::min<uint64_t>(missing, kBufferSize));
    if (writeChain(file, kZeros, piece) != piece) {
      return false;
    }
    missing -= piece;
  }
  return seekChain(file, here, ORV_FILE_SEEK_SET);
}

bool createBufferMap(orvFileMap *map, uint32_t size) {
  orvFile *file = map->file;
  int64_t fileSize = sizeChain(file);
  if (fileSize < 0) {
    return false;
  }
  uint64_t wanted = size != 0 ? size : static_cast<uint64_t>(fileSize);
  uint64_t bufferSize = wanted;
  if (isWritable(file)) {
    if (static_cast<uint64_t>(fileSize) < wanted && !extendWithZeros(file, fileSize, wanted)) {
      return false;
    }
  } else {
    bufferSize = std::min<uint64_t>(wanted, static_cast<uint64_t>(fileSize));
  }
  if (bufferSize > kLargestMapping) {
    setError(kCodeInvalidParameter);
    return false;
  }
  void *buffer = malloc(bufferSize != 0 ? bufferSize : 1);
  if (buffer == nullptr) {
    setError(kCodeOutOfMemory);
    return false;
  }
  map->view = buffer;
  map->size = static_cast<uint32_t>(bufferSize);
  return true;
}

void *openSystemView(orvFileMap *map, int access, uint32_t offsetLow, uint32_t offsetHigh, uint32_t length) {
  if (offsetHigh != 0) {
    setError(kCodeInvalidParameter);  // views start below 4 GiB
    return nullptr;
  }
  const uint64_t g = allocationGranularity();
  uint64_t aligned = offsetLow - offsetLow % g;
  uint64_t delta = offsetLow - aligned;
  uint64_t span = delta + length;
  uint64_t viewLength = span <= g ? g : (span / g + 1) * g;
  if (aligned + viewLength > map->size) {
    viewLength = aligned < map->size ? map->size - aligned : 0;  // cut at the end of the file
  }
  if (span > viewLength) {
    setSystemError(pal::kErrorInvalidParameter);  // the bytes asked for are not all in the file
    return nullptr;
  }
  if (map->view != nullptr) {
    pal::unmapViewOfFile(map->view);
    map->view = nullptr;
  }
  uint32_t desired = (access & ORV_FILE_MAP_WRITE) != 0 ? pal::kFileMapAllAccess : pal::kFileMapRead;
  void *base = pal::mapViewOfFile(map->mapping, desired, 0, static_cast<uint32_t>(aligned),
                                  static_cast<size_t>(viewLength));
  if (base == nullptr) {
    setLastSystemError();
    return nullptr;
  }
  map->view = base;
  map->viewLength = static_cast<uint32_t>(viewLength);
  map->viewOffset = static_cast<int64_t>(aligned);
  return static_cast<uint8_t *>(base) + delta;
}

void *openBufferView(orvFileMap *map, uint32_t offsetLow, uint32_t offsetHigh, uint32_t length) {
  if (length > map->size) {
    setError(kCodeInvalidParameter);
    return nullptr;
  }
  orvFile *file = map->file;
  auto offset = static_cast<int64_t>((static_cast<uint64_t>(offsetHigh) << 32) | offsetLow);
  int64_t here = tellChain(file);
  if (here < 0 || !seekChain(file, offset, ORV_FILE_SEEK_SET)) {
    return nullptr;
  }
  uint32_t got = readChain(file, static_cast<uint8_t *>(map->view), length);
  bool back = seekChain(file, here, ORV_FILE_SEEK_SET);
  if (got < length) {
    setSystemError(kErrorHandleEof);
    return nullptr;
  }
  if (!back) {
    return nullptr;
  }
  map->viewOffset = offset;
  map->viewLength = length;
  return map->view;
}

bool closeSystemView(orvFileMap *map) {
  if (map->view == nullptr) {
    return true;
  }
  bool ok = pal::unmapViewOfFile(map->view);
  if (!ok) {
    setLastSystemError();
  }
  map->view = nullptr;
  map->viewLength = 0;
  return ok;
}

// Writes the view back (files opened for writing).
bool closeBufferView(orvFileMap *map) {
  orvFile *file = map->file;
  uint32_t length = map->viewLength;
  map->viewLength = 0;
  if (!isWritable(file) || length == 0) {
    return true;
  }
  int64_t here = tellChain(file);
  if (here < 0 || !seekChain(file, map->viewOffset, ORV_FILE_SEEK_SET)) {
    return false;
  }
  uint32_t written = writeChain(file, static_cast<const uint8_t *>(map->view), length);
  bool back = seekChain(file, here, ORV_FILE_SEEK_SET);
  return written == length && back;
}

bool isBufferMap(const orvFileMap *map) { return map->mapping == pal::kNullHandle; }

void freeMap(orvFileMap *map) {
  if (map->mutex != 0) {
    orvMutexDestroy(&map->mutex);
  }
  map->magic = 0;
  free(map);
}

}  // namespace

}  // namespace files

using files::MapLock;

extern "C" {

ORV_API orvFileMap *orvFileMemoryMapCreate(orvFile *file, uint32_t size) {
  if (!files::checkRecord(file)) {
    return nullptr;
  }
  files::ChainLock lock(file);
  if (!lock.ok()) {
    return nullptr;
  }
  if (file->mapCount == 0xFFFF) {
    files::setError(files::kCodeInvalidParameter);
    return nullptr;
  }
  auto *map = static_cast<orvFileMap *>(calloc(1, sizeof(orvFileMap)));
  if (map == nullptr) {
    files::setError(files::kCodeOutOfMemory);
    return nullptr;
  }
  map->magic = ORV_FILE_MAP_MAGIC;
  map->file = file;
  // A map of a thread-safe file is thread-safe too.
  if ((file->openFlags & ORV_FILE_THREAD_SAFE) != 0) {
    if (orvMutexCreate(&map->mutex) != ORV_OK) {
      map->mutex = 0;
      files::setError(files::kCodeLockFailed);
      files::freeMap(map);
      return nullptr;
    }
    map->lockState = files::kLockThreadSafe;
  }
  bool made = files::canSpill(file) ? files::createBufferMap(map, size) : files::createSystemMap(map, size);
  if (!made) {
    files::freeMap(map);
    return nullptr;
  }
  ++file->mapCount;
  return map;
}

ORV_API void *orvFileMemoryMapOpen(orvFileMap *map, int access, uint32_t offsetLow, uint32_t offsetHigh,
                                   uint32_t length) {
  if (!files::checkMap(map)) {
    return nullptr;
  }
  MapLock lock(map);
  if (!lock.ok()) {
    return nullptr;
  }
  if (files::isBufferMap(map)) {
    return files::openBufferView(map, offsetLow, offsetHigh, length);
  }
  return files::openSystemView(map, access, offsetLow, offsetHigh, length);
}

ORV_API int orvFileMemoryMapClose(orvFileMap *map) {
  if (!files::checkMap(map)) {
    return 0;
  }
  MapLock lock(map);
  if (!lock.ok()) {
    return 0;
  }
  bool ok = files::isBufferMap(map) ? files::closeBufferView(map) : files::closeSystemView(map);
  return ok ? 1 : 0;
}

ORV_API int orvFileMemoryMapDestroy(orvFileMap *map) {
  if (!files::checkMap(map)) {
    return 0;
  }
  MapLock lock(map);
  if (!lock.ok()) {
    return 0;
  }
  bool ok = true;
  if (files::isBufferMap(map)) {
    // A view still open is written back as its close would.
    ok = files::closeBufferView(map);
    free(map->view);
  } else {
    ok = files::closeSystemView(map);
    if (!pal::closeHandle(map->mapping)) {
      files::setLastSystemError();
      ok = false;
    }
  }
  map->view = nullptr;
  if (map->file->mapCount > 0) {
    --map->file->mapCount;
  }
  lock.release();
  files::freeMap(map);
  return ok ? 1 : 0;
}

}  // extern "C"

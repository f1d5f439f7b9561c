// POSIX half of the platform layer's files: CreateFileA and the calls on
// file handles, reproduced over open(2), read(2), write(2), lseek(2),
// ftruncate(2) and open-file-description locks.
#include "platform/pal_file.h"

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <pthread.h>
#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <new>

#include "platform/posix/errno_map.h"
#include "platform/posix/file_object.h"
#include "platform/posix/never_destroyed.h"

static_assert(sizeof(off_t) == 8, "files need 64-bit offsets");

namespace pal::posix {

// --- The open file -----------------------------------------------------------

namespace {

// Open files whose handle is closed and whose calls have all left, for reuse.
struct OpenFilePool {
  std::mutex guard;
  OpenFile *idle = nullptr;
};

OpenFilePool &openFilePool() { return neverDestroyed<OpenFilePool>(); }

}  // namespace

OpenFile *OpenFile::make(int fd, bool canRead, bool canWrite, bool ownsDescriptor, uint32_t fileType) {
  OpenFile *file = nullptr;
  {
    OpenFilePool &pool = openFilePool();
    std::lock_guard<std::mutex> lock(pool.guard);
    if (pool.idle != nullptr) {
      file = pool.idle;
      pool.idle = file->nextIdle;
      file->nextIdle = nullptr;
    }
  }
  if (file == nullptr) {
    file = new (std::nothrow) OpenFile;
    if (file == nullptr) {
      return nullptr;
    }
  }
  // A reused file is closed with no call in it: a stale handle's enter()
  // keeps failing until the store below opens it for its new owner.
  file->fd_ = fd;
  file->canRead_ = canRead;
  file->canWrite_ = canWrite;
  file->ownsDescriptor_ = ownsDescriptor;
  file->fileType_ = fileType;
  file->lockFd = -1;
  file->owner_.store(kNullHandle, std::memory_order_relaxed);
  file->useState_.store(0, std::memory_order_release);
  return file;
}

bool OpenFile::enter() {
  uint32_t state = useState_.load(std::memory_order_acquire);
  do {
    if ((state & 1u) != 0) {
      return false;
    }
  } while (!useState_.compare_exchange_weak(state, state + 2u, std::memory_order_acq_rel));
  return true;
}

void OpenFile::leave() {
  uint32_t before = useState_.fetch_sub(2u, std::memory_order_acq_rel);
  if (before == 3u) {  // closed, and this was the last call in flight
    finish();
  }
}

void OpenFile::close() {
  uint32_t before = useState_.fetch_or(1u, std::memory_order_acq_rel);
  if ((before >> 1) == 0) {
    finish();
  }
}

void OpenFile::finish() {
  {
    // Closing a handle releases its locks, also when a forked child still
    // holds a copy of the descriptor.
    std::lock_guard<std::mutex> guard(lockGuard);
    if (!locks.empty()) {
      struct flock whole = {};
      whole.l_type = F_UNLCK;
      whole.l_whence = SEEK_SET;
      fcntl(fd_, F_OFD_SETLK, &whole);
      if (lockFd >= 0) {
        fcntl(lockFd, F_OFD_SETLK, &whole);
      }
      locks.clear();
    }
    if (lockFd >= 0) {
      ::close(lockFd);
      lockFd = -1;
    }
  }
  if (ownsDescriptor_) {
    ::close(fd_);
  }
  fd_ = -1;
  OpenFilePool &pool = openFilePool();
  std::lock_guard<std::mutex> lock(pool.guard);
  nextIdle = pool.idle;
  pool.idle = this;
}

FileUse::FileUse(Handle handle) {
  FileObject *object = lookup<FileObject>(handle);
  if (object == nullptr) {
    return;
  }
  OpenFile *file = object->openFile();
  if (!file->enter()) {
    setLastError(kErrorInvalidHandle);
    return;
  }
  // The handle may have been closed between the lookup and enter(), and the
  // open file given to another handle: it must still belong to this one.
  // (The entry itself is not read again: once the call is registered, the
  // handle's close is ordered after it, and so is the entry's reuse.)
  if (file->owner() != handle) {
    file->leave();
    setLastError(kErrorInvalidHandle);
    return;
  }
  file_ = file;
}

FileUse::~FileUse() {
  if (file_ != nullptr) {
    file_->leave();
  }
}

}  // namespace pal::posix

namespace pal {

using posix::FileObject;
using posix::FileUse;
using posix::IoDirection;
using posix::OpenFile;

namespace {

// read(2) and write(2) move at most this much per call on Linux.
constexpr size_t kMaxTransfer = 0x40000000;

// How often an open that races with another process's create or delete of
// the same name is retried.
constexpr int kOpenAttempts = 16;

constexpr uint32_t kFileReadData = 0x1;
constexpr uint32_t kFileWriteData = 0x2;
constexpr uint32_t kFileAppendData = 0x4;
constexpr uint32_t kGenericExecute = 0x20000000u;
constexpr uint32_t kGenericAll = 0x10000000u;

// Flags whose meaning the POSIX half cannot give.
constexpr uint32_t kUnsupportedFlags = kFileFlagOverlapped | kFileFlagNoBuffering | kFileFlagDeleteOnClose |
                                       kFileFlagBackupSemantics | 0x01000000u /* POSIX semantics */ |
                                       0x00200000u /* open reparse point */;

bool isEmpty(const char *path) { return path == nullptr || path[0] == '\0'; }

// A file whose mode has no write bit carries the read-only attribute.
bool hasReadOnlyAttribute(const struct stat &st) { return S_ISREG(st.st_mode) && (st.st_mode & 0222) == 0; }

// Win32 tells a missing file (2) from a missing directory on its path (3);
// ENOENT covers both.
uint32_t missingPathError(const char *path) {
  const char *slash = strrchr(path, '/');
  if (slash == nullptr || slash == path) {
    return kErrorFileNotFound;
  }
  auto length = static_cast<size_t>(slash - path);
  char parent[PATH_MAX];
  if (length >= sizeof parent) {
    return kErrorPathNotFound;
  }
  memcpy(parent, path, length);
  parent[length] = '\0';
  struct stat st;
  if (::stat(parent, &st) != 0 || !S_ISDIR(st.st_mode)) {
    return kErrorPathNotFound;
  }
  return kErrorFileNotFound;
}

// Sets the last error for a failed call on path.
void setPathError(const char *path, int error) {
  if (error == ENOENT) {
    setLastError(missingPathError(path));
  } else {
    posix::setLastErrorFromErrno(error);
  }
}

uint32_t fileTypeOf(int fd, const struct stat &st) {
  if (S_ISREG(st.st_mode) || S_ISDIR(st.st_mode) || S_ISBLK(st.st_mode)) {
    return kFileTypeDisk;
  }
  if (isatty(fd) || S_ISCHR(st.st_mode)) {
    return kFileTypeChar;
  }
  if (S_ISFIFO(st.st_mode) || S_ISSOCK(st.st_mode)) {
    return kFileTypePipe;
  }
  return kFileTypeUnknown;
}

int closeKeepingErrno(int fd) {
  int saved = errno;
  ::close(fd);
  errno = saved;
  return -1;
}

// --- CreateFileA -------------------------------------------------------------

struct OpenRequest {
  const char *path;
  int flags;    // access mode and the flags every open takes
  mode_t mode;  // for a file this call creates
  uint32_t disposition;
};

struct OpenResult {
  int fd = -1;
  bool created = false;
};

// One attempt at the disposition's open; errno EAGAIN asks for another when
// the name appeared or vanished between two opens.
OpenResult openOnce(const OpenRequest &request) {
  OpenResult result;
  const int excl = request.flags | O_CREAT | O_EXCL;
  switch (request.disposition) {
    case kCreateNew:
      result.fd = ::open(request.path, excl, request.mode);
      result.created = result.fd >= 0;
      break;
    case kCreateAlways:
      result.fd = ::open(request.path, excl, request.mode);
      result.created = result.fd >= 0;
      if (result.fd < 0 && errno == EEXIST) {
        result.fd = ::open(request.path, request.flags);
        if (result.fd < 0 && errno == ENOENT) {
          errno = EAGAIN;
        }
      }
      break;
    case kOpenAlways:
      result.fd = ::open(request.path, request.flags);
      if (result.fd < 0 && errno == ENOENT) {
        result.fd = ::open(request.path, excl, request.mode);
        result.created = result.fd >= 0;
        if (result.fd < 0 && errno == EEXIST) {
          errno = EAGAIN;
        }
      }
      break;
    default:  // kOpenExisting, kTruncateExisting
      result.fd = ::open(request.path, request.flags);
      break;
  }
  return result;
}

OpenResult openWithRetries(const OpenRequest &request) {
  OpenResult result;
  for (int attempt = 0; attempt < kOpenAttempts; ++attempt) {
    result = openOnce(request);
    if (result.fd >= 0 || (errno != EAGAIN && errno != EINTR)) {
      break;
    }
  }
  if (result.fd < 0 && errno == EAGAIN) {
    errno = ENOENT;
  }
  return result;
}

// The checks Windows makes on a file it opens, and the truncation of the
// truncating dispositions. Returns 0, or the Win32 error that fails the open.
uint32_t finishOpen(int fd, const struct stat &st, bool created, bool wantWrite, uint32_t disposition,
                    uint32_t flagsAndAttributes) {
  if (S_ISDIR(st.st_mode)) {
    return kErrorAccessDenied;
  }
  bool truncating = disposition == kCreateAlways || disposition == kTruncateExisting;
  if (created || !S_ISREG(st.st_mode)) {
    return kErrorSuccess;
  }
  if ((wantWrite || truncating) && hasReadOnlyAttribute(st)) {
    return kErrorAccessDenied;
  }
  if (!truncating) {
    return kErrorSuccess;
  }
  if (posix::largestLiveSection(st.st_dev, st.st_ino) > 0) {
    return kErrorUserMappedFile;
  }
  int rc;
  do {
    rc = ::ftruncate(fd, 0);
  } while (rc != 0 && errno == EINTR);
  if (rc != 0) {
    return posix::win32ErrorFromErrno(errno, IoDirection::Write);
  }
  if (disposition == kCreateAlways && (flagsAndAttributes & kFileAttributeReadonly) != 0) {
    ::fchmod(fd, st.st_mode & 07555);
  }
  return kErrorSuccess;
}

void applyAccessHints(int fd, uint32_t flagsAndAttributes) {
  if ((flagsAndAttributes & kFileFlagRandomAccess) != 0) {
    posix_fadvise(fd, 0, 0, POSIX_FADV_RANDOM);
  } else if ((flagsAndAttributes & kFileFlagSequentialScan) != 0) {
    posix_fadvise(fd, 0, 0, POSIX_FADV_SEQUENTIAL);
  }
}

// Puts a file object for fd in the handle table; closes fd on failure.
Handle insertFile(int fd, bool canRead, bool canWrite, bool ownsDescriptor, uint32_t fileType) {
  OpenFile *file = OpenFile::make(fd, canRead, canWrite, ownsDescriptor, fileType);
  if (file == nullptr) {
    if (ownsDescriptor) {
      ::close(fd);
    }
    setLastError(kErrorNotEnoughMemory);
    return kNullHandle;
  }
  FileObject *object = posix::newObject<FileObject>(file);
  if (object == nullptr) {
    file->close();
    setLastError(kErrorNotEnoughMemory);
    return kNullHandle;
  }
  Handle handle = posix::insertOrRelease(object);
  if (handle == kNullHandle) {
    return kNullHandle;
  }
  file->setOwner(handle);
  return handle;
}

// --- Locks -------------------------------------------------------------------

constexpr uint64_t kMaxOffset = static_cast<uint64_t>(INT64_MAX);

bool rangesConflict(uint64_t offset, uint64_t length, const posix::LockedRange &held) {
  if (length == 0 && held.length == 0) {
    return false;
  }
  if (length == 0) {  // a zero-length lock conflicts with a range strictly around it
    return held.offset < offset && offset - held.offset < held.length;
  }
  if (held.length == 0) {
    return offset < held.offset && held.offset - offset < length;
  }
  uint64_t end = offset + (length - 1);
  uint64_t heldEnd = held.offset + (held.length - 1);
  return offset <= heldEnd && held.offset <= end;
}

struct flock kernelRange(short type, uint64_t offset, uint64_t length) {
  struct flock fl = {};
  fl.l_type = type;
  fl.l_whence = SEEK_SET;
  fl.l_start = static_cast<off_t>(offset);
  // A range that runs past the largest offset locks everything from its start.
  fl.l_len = length - 1 > kMaxOffset - offset ? 0 : static_cast<off_t>(length);
  return fl;
}

// A zero-length lock takes no kernel lock; it fails when another handle holds
// a range around its offset.
bool zeroLengthBlocked(int fd, uint64_t offset) {
  if (offset == 0 || offset > kMaxOffset) {
    return false;
  }
  struct flock probe = kernelRange(F_WRLCK, offset - 1, 1);
  if (fcntl(fd, F_OFD_GETLK, &probe) != 0 || probe.l_type == F_UNLCK) {
    return false;
  }
  uint64_t start = static_cast<uint64_t>(probe.l_start);
  return probe.l_len == 0 || start + static_cast<uint64_t>(probe.l_len) > offset;
}

// The descriptor on which a handle's kernel locks go, and the lock type. A
// write lock needs a descriptor open for writing: a read-only handle locks
// through a read-write description of the same file when it may have one,
// else takes read locks (which do not exclude each other).
int lockDescriptor(OpenFile &file, short &type) {
  type = F_WRLCK;
  if (file.canWrite()) {
    return file.fd();
  }
  int mode = fcntl(file.fd(), F_GETFL);
  if (mode >= 0 && (mode & O_ACCMODE) == O_RDWR) {
    return file.fd();
  }
  if (file.lockFd < 0) {
    char path[64];
    snprintf(path, sizeof path, "/proc/self/fd/%d", file.fd());
    file.lockFd = ::open(path, O_RDWR | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
  }
  if (file.lockFd >= 0) {
    return file.lockFd;
  }
  type = F_RDLCK;
  return file.fd();
}

uint64_t combine(uint32_t low, uint32_t high) { return (static_cast<uint64_t>(high) << 32) | low; }

// --- Standard handles --------------------------------------------------------

struct StdHandles {
  std::mutex guard;
  Handle handles[3] = {kNullHandle, kNullHandle, kNullHandle};
};

StdHandles &stdHandles() { return posix::neverDestroyed<StdHandles>(); }

// Writes with SIGPIPE held back: a pipe without a reader fails the write as
// on Windows instead of ending the process.
ssize_t writeWithoutSigpipe(int fd, const void *data, size_t size) {
  sigset_t pipeSet;
  sigset_t previous;
  sigset_t pending;
  sigemptyset(&pipeSet);
  sigaddset(&pipeSet, SIGPIPE);
  sigpending(&pending);
  bool wasPending = sigismember(&pending, SIGPIPE) == 1;
  pthread_sigmask(SIG_BLOCK, &pipeSet, &previous);
  ssize_t n = ::write(fd, data, size);
  int saved = errno;
  if (n < 0 && saved == EPIPE && !wasPending) {
    struct timespec none = {0, 0};
    while (sigtimedwait(&pipeSet, nullptr, &none) < 0 && errno == EINTR) {
    }
  }
  pthread_sigmask(SIG_SETMASK, &previous, nullptr);
  errno = saved;
  return n;
}

}  // namespace

namespace posix {

void forgetStdHandles() {
  StdHandles &table = stdHandles();
  std::lock_guard<std::mutex> guard(table.guard);
  for (Handle &handle : table.handles) {
    if (handle != kNullHandle) {
      closeHandle(handle);
      handle = kNullHandle;
    }
  }
}

}  // namespace posix

Handle createFileA(const char *path, uint32_t access, uint32_t /*shareMode: not enforced*/,
                   uint32_t disposition, uint32_t flagsAndAttributes) {
  if (isEmpty(path)) {
    setLastError(kErrorPathNotFound);
    return kInvalidHandleValue;
  }
  if (disposition < kCreateNew || disposition > kTruncateExisting) {
    setLastError(kErrorInvalidParameter);
    return kInvalidHandleValue;
  }
  if ((flagsAndAttributes & kUnsupportedFlags) != 0) {
    setLastError(kErrorNotSupported);
    return kInvalidHandleValue;
  }
  bool wantRead = (access & (kGenericRead | kGenericAll | kGenericExecute | kFileReadData)) != 0;
  bool wantWrite = (access & (kGenericWrite | kGenericAll | kFileWriteData | kFileAppendData)) != 0;
  bool truncating = disposition == kCreateAlways || disposition == kTruncateExisting;

  OpenRequest request;
  request.path = path;
  // Truncation needs write permission whatever the handle is opened for.
  int accessMode = O_RDONLY;
  if (wantWrite) {
    accessMode = wantRead ? O_RDWR : O_WRONLY;
  } else if (truncating) {
    accessMode = O_RDWR;
  }
  // O_NONBLOCK keeps the open of a FIFO without a peer from hanging; it is
  // cleared once the file is open.
  request.flags = accessMode | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
  if ((flagsAndAttributes & kFileFlagWriteThrough) != 0) {
    request.flags |= O_DSYNC;
  }
  request.mode = (flagsAndAttributes & kFileAttributeReadonly) != 0 ? 0444 : 0666;
  request.disposition = disposition;

  OpenResult opened = openWithRetries(request);
  if (opened.fd < 0) {
    setPathError(path, errno);
    return kInvalidHandleValue;
  }
  int fd = opened.fd;
  struct stat st;
  if (::fstat(fd, &st) != 0) {
    closeKeepingErrno(fd);
    posix::setLastErrorFromErrno(errno);
    return kInvalidHandleValue;
  }
  uint32_t refused = finishOpen(fd, st, opened.created, wantWrite, disposition, flagsAndAttributes);
  if (refused != kErrorSuccess) {
    ::close(fd);
    setLastError(refused);
    return kInvalidHandleValue;
  }
  int statusFlags = fcntl(fd, F_GETFL);
  if (statusFlags >= 0) {
    fcntl(fd, F_SETFL, statusFlags & ~O_NONBLOCK);
  }
  applyAccessHints(fd, flagsAndAttributes);

  bool existed = !opened.created;
  Handle handle = insertFile(fd, wantRead, wantWrite, true, fileTypeOf(fd, st));
  if (handle == kNullHandle) {
    return kInvalidHandleValue;
  }
  bool reportsExisting = disposition == kCreateAlways || disposition == kOpenAlways;
  setLastError(reportsExisting && existed ? kErrorAlreadyExists : kErrorSuccess);
  return handle;
}

bool readFile(Handle file, void *buffer, uint32_t size, uint32_t *transferred) {
  if (transferred != nullptr) {
    *transferred = 0;
  }
  FileUse use(file);
  if (!use) {
    return false;
  }
  if (!use->canRead()) {
    setLastError(kErrorAccessDenied);
    return false;
  }
  if (buffer == nullptr && size > 0) {
    setLastError(kErrorNoAccess);
    return false;
  }
  auto *bytes = static_cast<unsigned char *>(buffer);
  uint32_t total = 0;
  while (total < size) {
    size_t chunk = std::min<size_t>(size - total, kMaxTransfer);
    ssize_t n = ::read(use->fd(), bytes + total, chunk);
    if (n < 0) {
      if (errno == EINTR) {
        continue;
      }
      if (total > 0) {
        break;  // the bytes read count; the error comes back on the next call
      }
      posix::setLastErrorFromErrno(errno, IoDirection::Read);
      return false;
    }
    if (n == 0) {
      break;
    }
    total += static_cast<uint32_t>(n);
    if (use->fileType() != kFileTypeDisk) {
      break;  // pipes and terminals return what is there
    }
  }
  if (transferred != nullptr) {
    *transferred = total;
  }
  return true;
}

bool writeFile(Handle file, const void *buffer, uint32_t size, uint32_t *transferred) {
  if (transferred != nullptr) {
    *transferred = 0;
  }
  FileUse use(file);
  if (!use) {
    return false;
  }
  if (!use->canWrite()) {
    setLastError(kErrorAccessDenied);
    return false;
  }
  if (buffer == nullptr && size > 0) {
    setLastError(kErrorNoAccess);
    return false;
  }
  const auto *bytes = static_cast<const unsigned char *>(buffer);
  bool stream = use->fileType() == kFileTypePipe;
  uint32_t total = 0;
  while (total < size) {
    size_t chunk = std::min<size_t>(size - total, kMaxTransfer);
    ssize_t n = stream ? writeWithoutSigpipe(use->fd(), bytes + total, chunk)
                       : ::write(use->fd(), bytes + total, chunk);
    if (n < 0 && errno == EINTR) {
      continue;
    }
    if (n <= 0) {
      // A short write: what did reach the file is reported with the error.
      int error = n == 0 ? ENOSPC : errno;
      if (transferred != nullptr) {
        *transferred = total;
      }
      posix::setLastErrorFromErrno(error, IoDirection::Write);
      return false;
    }
    total += static_cast<uint32_t>(n);
  }
  if (transferred != nullptr) {
    *transferred = total;
  }
  return true;
}

uint32_t setFilePointer(Handle file, int32_t distanceLow, int32_t *distanceHigh, uint32_t moveMethod) {
  FileUse use(file);
  if (!use) {
    return kInvalidSetFilePointer;
  }
  int whence;
  switch (moveMethod) {
    case kFileBegin:
      whence = SEEK_SET;
      break;
    case kFileCurrent:
      whence = SEEK_CUR;
      break;
    case kFileEnd:
      whence = SEEK_END;
      break;
    default:
      setLastError(kErrorInvalidParameter);
      return kInvalidSetFilePointer;
  }
  int64_t distance = distanceHigh != nullptr
                         ? static_cast<int64_t>(combine(static_cast<uint32_t>(distanceLow),
                                                        static_cast<uint32_t>(*distanceHigh)))
                         : static_cast<int64_t>(distanceLow);
  if (whence == SEEK_SET && distance < 0) {
    setLastError(kErrorNegativeSeek);
    return kInvalidSetFilePointer;
  }
  off_t position = ::lseek(use->fd(), static_cast<off_t>(distance), whence);
  if (position < 0) {
    // lseek refuses a position before the start (and one past the largest
    // offset) with EINVAL.
    if (errno == EINVAL) {
      setLastError(distance < 0 ? kErrorNegativeSeek : kErrorInvalidParameter);
    } else {
      posix::setLastErrorFromErrno(errno);
    }
    return kInvalidSetFilePointer;
  }
  auto newPosition = static_cast<uint64_t>(position);
  if (distanceHigh != nullptr) {
    *distanceHigh = static_cast<int32_t>(newPosition >> 32);
  }
  auto low = static_cast<uint32_t>(newPosition);
  if (low == kInvalidSetFilePointer) {
    setLastError(kErrorSuccess);
  }
  return low;
}

bool setEndOfFile(Handle file) {
  FileUse use(file);
  if (!use) {
    return false;
  }
  if (!use->canWrite()) {
    setLastError(kErrorAccessDenied);
    return false;
  }
  off_t position = ::lseek(use->fd(), 0, SEEK_CUR);
  struct stat st;
  if (position < 0 || ::fstat(use->fd(), &st) != 0) {
    posix::setLastErrorFromErrno(errno);
    return false;
  }
  // Cutting a file under a live mapping would leave its views over missing
  // pages (SIGBUS on POSIX); Windows refuses it.
  if (S_ISREG(st.st_mode) && position < st.st_size &&
      posix::largestLiveSection(st.st_dev, st.st_ino) > static_cast<uint64_t>(position)) {
    setLastError(kErrorUserMappedFile);
    return false;
  }
  int rc;
  do {
    rc = ::ftruncate(use->fd(), position);
  } while (rc != 0 && errno == EINTR);
  if (rc != 0) {
    posix::setLastErrorFromErrno(errno, IoDirection::Write);
    return false;
  }
  return true;
}

bool flushFileBuffers(Handle file) {
  FileUse use(file);
  if (!use) {
    return false;
  }
  if (!use->canWrite()) {
    setLastError(kErrorAccessDenied);
    return false;
  }
  int rc;
  do {
    rc = ::fsync(use->fd());
  } while (rc != 0 && errno == EINTR);
  if (rc != 0) {
    posix::setLastErrorFromErrno(errno, IoDirection::Write);
    return false;
  }
  return true;
}

bool lockFile(Handle file, uint32_t offsetLow, uint32_t offsetHigh, uint32_t lengthLow, uint32_t lengthHigh) {
  FileUse use(file);
  if (!use) {
    return false;
  }
  uint64_t offset = combine(offsetLow, offsetHigh);
  uint64_t length = combine(lengthLow, lengthHigh);
  if (length > 0 && offset + (length - 1) < offset) {
    setLastError(kErrorInvalidParameter);
    return false;
  }
  OpenFile &object = use.file();
  std::lock_guard<std::mutex> guard(object.lockGuard);
  for (const posix::LockedRange &held : object.locks) {
    if (rangesConflict(offset, length, held)) {
      setLastError(kErrorLockViolation);
      return false;
    }
  }
  posix::LockedRange range = {offset, length, -1};
  if (length == 0) {
    if (zeroLengthBlocked(object.fd(), offset)) {
      setLastError(kErrorLockViolation);
      return false;
    }
  } else if (offset <= kMaxOffset) {
    short type;
    int fd = lockDescriptor(object, type);
    struct flock fl = kernelRange(type, offset, length);
    if (fcntl(fd, F_OFD_SETLK, &fl) != 0) {
      if (errno == EAGAIN || errno == EACCES) {
        setLastError(kErrorLockViolation);
      } else {
        posix::setLastErrorFromErrno(errno);
      }
      return false;
    }
    range.fd = fd;
  }
  // Ranges wholly past the largest offset hold no file bytes: no kernel lock.
  try {
    object.locks.push_back(range);
  } catch (const std::bad_alloc &) {
    if (range.fd >= 0) {
      struct flock undo = kernelRange(F_UNLCK, offset, length);
      fcntl(range.fd, F_OFD_SETLK, &undo);
    }
    setLastError(kErrorNotEnoughMemory);
    return false;
  }
  return true;
}

bool unlockFile(Handle file, uint32_t offsetLow, uint32_t offsetHigh, uint32_t lengthLow,
                uint32_t lengthHigh) {
  FileUse use(file);
  if (!use) {
    return false;
  }
  uint64_t offset = combine(offsetLow, offsetHigh);
  uint64_t length = combine(lengthLow, lengthHigh);
  OpenFile &object = use.file();
  std::lock_guard<std::mutex> guard(object.lockGuard);
  auto held = std::find_if(object.locks.begin(), object.locks.end(), [&](const posix::LockedRange &r) {
    return r.offset == offset && r.length == length;
  });
  if (held == object.locks.end()) {
    setLastError(kErrorNotLocked);
    return false;
  }
  if (held->fd >= 0) {
    struct flock fl = kernelRange(F_UNLCK, offset, length);
    if (fcntl(held->fd, F_OFD_SETLK, &fl) != 0) {
      posix::setLastErrorFromErrno(errno);
      return false;
    }
  }
  object.locks.erase(held);
  return true;
}

bool deleteFileA(const char *path) {
  if (isEmpty(path)) {
    setLastError(kErrorPathNotFound);
    return false;
  }
  struct stat st;
  if (::lstat(path, &st) != 0) {
    setPathError(path, errno);
    return false;
  }
  if (S_ISDIR(st.st_mode) || hasReadOnlyAttribute(st)) {
    setLastError(kErrorAccessDenied);
    return false;
  }
  if (::unlink(path) != 0) {
    setPathError(path, errno);
    return false;
  }
  return true;
}

uint32_t getFileType(Handle file) {
  FileUse use(file);
  if (!use) {
    return kFileTypeUnknown;
  }
  return use->fileType();
}

Handle getStdHandle(uint32_t which) {
  if (which != kStdInputHandle && which != kStdOutputHandle && which != kStdErrorHandle) {
    setLastError(kErrorInvalidHandle);
    return kInvalidHandleValue;
  }
  int fd = static_cast<int>(kStdInputHandle - which);  // 0, 1, 2
  StdHandles &table = stdHandles();
  std::lock_guard<std::mutex> guard(table.guard);
  if (table.handles[fd] != kNullHandle) {
    return table.handles[fd];  // also once closed, as on Windows
  }
  int mode = fcntl(fd, F_GETFL);
  struct stat st;
  if (mode < 0 || ::fstat(fd, &st) != 0) {
    return kNullHandle;  // the process has no such handle
  }
  int accessMode = mode & O_ACCMODE;
  // The standard handle borrows the descriptor: closing the handle leaves
  // descriptor 0, 1 or 2 open, so that the next file opened cannot take its
  // number and receive the process's standard output.
  Handle handle = insertFile(fd, accessMode != O_WRONLY, accessMode != O_RDONLY, false, fileTypeOf(fd, st));
  table.handles[fd] = handle;
  return handle;
}

uint32_t getCurrentDirectoryA(uint32_t size, char *buffer) {
  char directory[PATH_MAX];
  if (::getcwd(directory, sizeof directory) == nullptr) {
    posix::setLastErrorFromErrno(errno);
    return 0;
  }
  auto length = static_cast<uint32_t>(strlen(directory));
  if (buffer == nullptr || size <= length) {
    return length + 1;
  }
  memcpy(buffer, directory, length + 1);
  return length;
}

bool fileAccess(const char *path, int mode) {
  if (path == nullptr || (mode & ~6) != 0) {
    setLastError(kErrorInvalidParameter);
    return false;
  }
  if (path[0] == '\0') {
    setLastError(kErrorPathNotFound);
    return false;
  }
  int amode = F_OK;
  if ((mode & 4) != 0) {
    amode |= R_OK;
  }
  if ((mode & 2) != 0) {
    amode |= W_OK;
  }
  if (::access(path, amode) != 0) {
    setPathError(path, errno);
    return false;
  }
  struct stat st;
  if ((mode & 2) != 0 && ::stat(path, &st) == 0 && hasReadOnlyAttribute(st)) {
    setLastError(kErrorAccessDenied);
    return false;
  }
  return true;
}

}  // namespace pal

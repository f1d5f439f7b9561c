// The POSIX file object: what a file handle names in the handle table.
//
// A file handle's table entry (FileObject) points to the state of the open
// file (OpenFile): one descriptor (the standard handles borrow 0, 1 and 2),
// what the Win32 handle was opened for, so that the calls check access as
// Windows does rather than as the descriptor would, and the handle's locks.
//
// Calls in flight keep the open file alive: closing the handle while another
// thread is still inside ReadFile on it (a caller error, which Windows
// survives because the kernel counts references) closes the descriptor only
// when that call leaves, so its number cannot be reused by another file while
// the call still reads or writes through it. The handle table gives a closed
// entry's storage to the next file at once; the open file therefore lives
// apart from the entry, in storage of its own that is reused only once no
// call is left in it, and never freed.
#ifndef ORVANE_PLATFORM_POSIX_FILE_OBJECT_H
#define ORVANE_PLATFORM_POSIX_FILE_OBJECT_H

#include <sys/types.h>

#include <atomic>
#include <cstdint>
#include <mutex>
#include <vector>

#include "platform/posix/handle_table.h"

namespace pal::posix {

// One LockFile range held through a handle.
struct LockedRange {
  uint64_t offset;
  uint64_t length;
  int fd;  // the descriptor the kernel lock was taken on, or -1 (no kernel lock)
};

class OpenFile {
 public:
  // An open file for fd, in a state that no call uses yet; null when memory
  // runs out.
  static OpenFile *make(int fd, bool canRead, bool canWrite, bool ownsDescriptor, uint32_t fileType);

  OpenFile(const OpenFile &) = delete;
  OpenFile &operator=(const OpenFile &) = delete;

  // Registers a call in flight; false once the handle is closed.
  bool enter();
  // Ends a call; the last one out after a close finishes the file.
  void leave();
  // The handle is closed: the file finishes now, or when its last call leaves.
  void close();

  // The handle that names this open file (set once the handle exists).
  Handle owner() const { return owner_.load(std::memory_order_acquire); }
  void setOwner(Handle handle) { owner_.store(handle, std::memory_order_release); }

  int fd() const { return fd_; }
  bool canRead() const { return canRead_; }
  bool canWrite() const { return canWrite_; }
  uint32_t fileType() const { return fileType_; }
  uint32_t callsInFlight() const { return useState_.load(std::memory_order_acquire) >> 1; }

  // LockFile state, guarded by lockGuard.
  std::mutex lockGuard;
  std::vector<LockedRange> locks;
  int lockFd = -1;  // a read-write description for the locks of a read-only handle

  // The next idle file of the pool while this one waits for reuse (the pool
  // runs through its files, so that closing never allocates).
  OpenFile *nextIdle = nullptr;

 private:
  OpenFile() = default;
  // Releases the locks, closes the descriptors, and gives the storage back.
  void finish();

  int fd_ = -1;
  bool canRead_ = false;
  bool canWrite_ = false;
  bool ownsDescriptor_ = false;
  uint32_t fileType_ = 0;
  std::atomic<uint32_t> useState_{0};  // bit 0: closed; bits 1 and up: calls in flight
  std::atomic<Handle> owner_{kNullHandle};
};

class FileObject final : public KernelObject {
 public:
  static constexpr ObjectKind kKind = ObjectKind::File;

  // Takes over file.
  explicit FileObject(OpenFile *file) : KernelObject(kKind), file_(file) {}

  bool release() override {
    file_.load(std::memory_order_acquire)->close();
    return true;
  }

  OpenFile *openFile() const { return file_.load(std::memory_order_acquire); }

 private:
  std::atomic<OpenFile *> file_;
};

// A file handle made usable for one call: looks the handle up and registers
// the call on its open file, or fails with last error 6.
class FileUse {
 public:
  explicit FileUse(Handle handle);
  ~FileUse();
  FileUse(const FileUse &) = delete;
  FileUse &operator=(const FileUse &) = delete;

  explicit operator bool() const { return file_ != nullptr; }
  OpenFile *operator->() const { return file_; }
  OpenFile &file() const { return *file_; }

 private:
  OpenFile *file_ = nullptr;
};

// Closes and forgets the standard handles, so that the next getStdHandle
// looks at descriptors 0, 1 and 2 again (for tests that change them).
void forgetStdHandles();

// The size of the largest mapping of the file (device, inode) that is still
// alive in this process (through its handle or a view), or 0.
uint64_t largestLiveSection(dev_t device, ino_t inode);

}  // namespace pal::posix

#endif

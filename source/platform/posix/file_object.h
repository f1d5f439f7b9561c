// The POSIX file object: what a file handle names in the handle table.
//
// A file object owns one descriptor (the standard handles borrow 0, 1 and 2)
// and remembers what the Win32 handle was opened for, so that the calls
// check access as Windows does rather than as the descriptor would.
//
// Calls in flight keep the descriptor open: closing the handle while another
// thread is still inside ReadFile on it (a caller error, which Windows
// survives because the kernel counts references) closes the descriptor only
// when that call leaves, so its number cannot be reused by another file
// while the call still writes to it.
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

class FileObject final : public KernelObject {
 public:
  static constexpr ObjectKind kKind = ObjectKind::File;

  FileObject(int fd, bool canRead, bool canWrite, bool ownsDescriptor, uint32_t fileType);

  bool release() override;

  // Registers a call in flight; false once the handle is closed.
  bool enter();
  // Ends a call; the last one out after a close closes the descriptor.
  void leave();

  int fd() const { return fd_; }
  bool canRead() const { return canRead_; }
  bool canWrite() const { return canWrite_; }
  uint32_t fileType() const { return fileType_; }
  uint32_t callsInFlight() const { return useState_.load(std::memory_order_acquire) >> 1; }

  // LockFile state, guarded by lockGuard.
  std::mutex lockGuard;
  std::vector<LockedRange> locks;
  int lockFd = -1;  // a read-write description for the locks of a read-only handle

 private:
  void closeDescriptors();

  int fd_;
  bool canRead_;
  bool canWrite_;
  bool ownsDescriptor_;
  uint32_t fileType_;
  std::atomic<uint32_t> useState_{0};  // bit 0: closed; bits 1 and up: calls in flight
};

// A file handle made usable for one call: looks the handle up and registers
// the call, or fails with last error 6.
class FileUse {
 public:
  explicit FileUse(Handle handle);
  ~FileUse();
  FileUse(const FileUse &) = delete;
  FileUse &operator=(const FileUse &) = delete;

  explicit operator bool() const { return object_ != nullptr; }
  FileObject *operator->() const { return object_; }
  FileObject &object() const { return *object_; }

 private:
  FileObject *object_ = nullptr;
};

// Closes and forgets the standard handles, so that the next getStdHandle
// looks at descriptors 0, 1 and 2 again (for tests that change them).
void forgetStdHandles();

// The size of the largest mapping of the file (device, inode) that is still
// alive in this process (through its handle or a view), or 0.
uint64_t largestLiveSection(dev_t device, ino_t inode);

}  // namespace pal::posix

#endif

// POSIX half of the platform layer's file mappings, over mmap(2).
//
// A mapping handle names a section: a descriptor of its own on the mapped
// file (or on an anonymous memory file) and the mapping's size. Every view
// holds the section too, so the section lives, as on Windows, while its
// handle is open or any of its views is mapped. Live sections of a file are
// remembered by device and inode so that SetEndOfFile and the truncating
// opens refuse to cut a file under them.
#include "platform/pal_mapping.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <iterator>
#include <map>
#include <mutex>
#include <new>
#include <utility>

#include "platform/pal_file.h"
#include "platform/posix/errno_map.h"
#include "platform/posix/file_object.h"
#include "platform/posix/handle_table.h"
#include "platform/posix/never_destroyed.h"

namespace pal::posix {

namespace {

constexpr uint32_t kGranularity = 65536;

// Library-internal types throughout: standard templates instantiated only
// on built-in types would be exported from the shared library.
struct FileId {
  dev_t device;
  ino_t inode;
  bool operator<(const FileId &other) const {
    return device != other.device ? device < other.device : inode < other.inode;
  }
};

class Section;

struct View {
  void *base;
  size_t length;
  Section *section;  // a reference held by the view
};

// The process's live sections of files and its mapped views.
struct MappingRegistry {
  std::mutex guard;
  std::multimap<FileId, uint64_t> liveSections;  // file -> size of one live section
  std::map<uintptr_t, View> views;               // base address -> view
};

MappingRegistry &registry() { return neverDestroyed<MappingRegistry>(); }

// A section, counted: one reference for the mapping handle and one per view.
class Section {
 public:
  // Takes fd; null (fd closed, last error 8) when memory runs out.
  static Section *make(int fd, uint64_t size, bool writable, bool fileBacked, FileId file) {
    auto *section = new (std::nothrow) Section(fd, size, writable, fileBacked, file);
    if (section == nullptr || (fileBacked && !section->enterRegistry())) {
      if (section != nullptr) {
        section->fileBacked_ = false;
        delete section;
      } else {
        ::close(fd);
      }
      setLastError(kErrorNotEnoughMemory);
      return nullptr;
    }
    return section;
  }

  Section(const Section &) = delete;
  Section &operator=(const Section &) = delete;

  void retain() { references_.fetch_add(1, std::memory_order_relaxed); }

  // Must not be called with the registry locked: the last reference leaves it.
  void drop() {
    if (references_.fetch_sub(1, std::memory_order_acq_rel) == 1) {
      delete this;
    }
  }

  int fd() const { return fd_; }
  uint64_t size() const { return size_; }
  bool writable() const { return writable_; }

 private:
  Section(int fd, uint64_t size, bool writable, bool fileBacked, FileId file)
      : fd_(fd), size_(size), writable_(writable), fileBacked_(fileBacked), file_(file) {}

  ~Section() {
    if (fileBacked_) {
      MappingRegistry &r = registry();
      std::lock_guard<std::mutex> lock(r.guard);
      r.liveSections.erase(entry_);
    }
    ::close(fd_);
  }

  bool enterRegistry() {
    MappingRegistry &r = registry();
    try {
      std::lock_guard<std::mutex> lock(r.guard);
      entry_ = r.liveSections.emplace(file_, size_);
      return true;
    } catch (const std::bad_alloc &) {
      return false;
    }
  }

  std::atomic<uint32_t> references_{1};
  int fd_;
  uint64_t size_;
  bool writable_;
  bool fileBacked_;
  FileId file_;
  std::multimap<FileId, uint64_t>::iterator entry_;
};

class MappingObject final : public KernelObject {
 public:
  static constexpr ObjectKind kKind = ObjectKind::Mapping;

  // Takes over the caller's reference to section.
  explicit MappingObject(Section *section) : KernelObject(kKind), section_(section) {}

  bool release() override {
    Section *dropped;
    {
      std::lock_guard<std::mutex> lock(guard_);
      dropped = section_;
      section_ = nullptr;
    }
    if (dropped != nullptr) {
      dropped->drop();  // the section ends with its last view
    }
    return true;
  }

  // A new reference to the section, or null once the handle is closed.
  Section *section() {
    std::lock_guard<std::mutex> lock(guard_);
    if (section_ != nullptr) {
      section_->retain();
    }
    return section_;
  }

 private:
  std::mutex guard_;
  Section *section_;
};

uint64_t combine(uint32_t low, uint32_t high) { return (static_cast<uint64_t>(high) << 32) | low; }

// A descriptor of the section's own on the file behind fd: a new open file
// description, so that the section keeps no lock of the file handle alive
// after that handle is closed. A duplicate when the file cannot be reopened.
int sectionDescriptor(int fd, bool writable) {
  char path[64];
  snprintf(path, sizeof path, "/proc/self/fd/%d", fd);
  int own = ::open(path, (writable ? O_RDWR : O_RDONLY) | O_CLOEXEC | O_NOCTTY);
  if (own < 0) {
    own = fcntl(fd, F_DUPFD_CLOEXEC, 0);
  }
  return own;
}

bool growFile(int fd, uint64_t size) {
  int rc;
  do {
    rc = ::ftruncate(fd, static_cast<off_t>(size));
  } while (rc != 0 && errno == EINTR);
  return rc == 0;
}

// A section over memory that no file backs (the paging file on Windows).
Section *memorySection(uint64_t size, bool writable) {
  if (size == 0) {
    setLastError(kErrorInvalidParameter);
    return nullptr;
  }
  int fd = memfd_create("orvane-section", MFD_CLOEXEC);
  if (fd < 0) {
    setLastError(kErrorNotEnoughMemory);
    return nullptr;
  }
  if (!growFile(fd, size)) {
    ::close(fd);
    setLastError(kErrorNotEnoughMemory);
    return nullptr;
  }
  return Section::make(fd, size, writable, false, FileId{});
}

Section *fileSection(Handle file, uint64_t size, bool writable) {
  FileUse use(file);
  if (!use) {
    return nullptr;
  }
  if (!use->canRead() || (writable && !use->canWrite())) {
    setLastError(kErrorAccessDenied);
    return nullptr;
  }
  struct stat st;
  if (::fstat(use->fd(), &st) != 0) {
    setLastErrorFromErrno(errno);
    return nullptr;
  }
  if (!S_ISREG(st.st_mode)) {
    setLastError(kErrorInvalidParameter);
    return nullptr;
  }
  auto fileSize = static_cast<uint64_t>(st.st_size);
  if (size == 0) {
    if (fileSize == 0) {
      setLastError(kErrorFileInvalid);
      return nullptr;
    }
    size = fileSize;
  } else if (size > fileSize) {
    // A writable mapping extends its file; a read-only one cannot.
    if (!writable) {
      setLastError(kErrorNotEnoughMemory);
      return nullptr;
    }
    if (size > static_cast<uint64_t>(INT64_MAX) || !growFile(use->fd(), size)) {
      setLastErrorFromErrno(size > static_cast<uint64_t>(INT64_MAX) ? EFBIG : errno, IoDirection::Write);
      return nullptr;
    }
  }
  int fd = sectionDescriptor(use->fd(), writable);
  if (fd < 0) {
    setLastErrorFromErrno(errno);
    return nullptr;
  }
  return Section::make(fd, size, writable, true, FileId{st.st_dev, st.st_ino});
}

// Maps a view of section; the registry keeps the caller's reference to the
// section with the view. Null with a last error on failure.
void *mapSection(Section &section, uint32_t desiredAccess, uint64_t offset, size_t bytes) {
  if (offset % kGranularity != 0) {
    setLastError(kErrorMappedAlignment);
    return nullptr;
  }
  bool copy = (desiredAccess & 0x1Fu) == kFileMapCopy;
  bool write = (desiredAccess & kFileMapWrite) != 0;
  if (write && !section.writable()) {
    setLastError(kErrorAccessDenied);
    return nullptr;
  }
  if (offset >= section.size()) {
    setLastError(kErrorInvalidParameter);
    return nullptr;
  }
  uint64_t available = section.size() - offset;
  if (bytes > available) {
    setLastError(kErrorAccessDenied);
    return nullptr;
  }
  if (bytes == 0) {
    if (available > SIZE_MAX) {
      setLastError(kErrorNotEnoughMemory);
      return nullptr;
    }
    bytes = static_cast<size_t>(available);
  }
  int prot = PROT_READ | (write || copy ? PROT_WRITE : 0);
  void *base =
      ::mmap(nullptr, bytes, prot, copy ? MAP_PRIVATE : MAP_SHARED, section.fd(), static_cast<off_t>(offset));
  if (base == MAP_FAILED) {
    setLastErrorFromErrno(errno);
    return nullptr;
  }
  MappingRegistry &r = registry();
  try {
    std::lock_guard<std::mutex> lock(r.guard);
    r.views.emplace(reinterpret_cast<uintptr_t>(base), View{base, bytes, &section});
  } catch (const std::bad_alloc &) {
    ::munmap(base, bytes);
    setLastError(kErrorNotEnoughMemory);
    return nullptr;
  }
  return base;
}

}  // namespace

uint64_t largestLiveSection(dev_t device, ino_t inode) {
  MappingRegistry &r = registry();
  std::lock_guard<std::mutex> lock(r.guard);
  uint64_t largest = 0;
  auto range = r.liveSections.equal_range(FileId{device, inode});
  for (auto it = range.first; it != range.second; ++it) {
    if (it->second > largest) {
      largest = it->second;
    }
  }
  return largest;
}

}  // namespace pal::posix

namespace pal {

using posix::MappingObject;
using posix::Section;

Handle createFileMappingA(Handle file, uint32_t protect, uint32_t maximumSizeHigh, uint32_t maximumSizeLow) {
  uint32_t page = protect & ~kSecCommit;
  if (page != kPageReadonly && page != kPageReadwrite) {
    setLastError(kErrorInvalidParameter);
    return kNullHandle;
  }
  bool writable = page == kPageReadwrite;
  uint64_t size = posix::combine(maximumSizeLow, maximumSizeHigh);
  Section *section = file == kInvalidHandleValue ? posix::memorySection(size, writable)
                                                 : posix::fileSection(file, size, writable);
  if (section == nullptr) {
    return kNullHandle;
  }
  MappingObject *object = posix::newObject<MappingObject>(section);
  if (object == nullptr) {
    section->drop();
    setLastError(kErrorNotEnoughMemory);
    return kNullHandle;
  }
  Handle handle = posix::insertOrRelease(object);
  if (handle == kNullHandle) {
    return kNullHandle;
  }
  setLastError(kErrorSuccess);
  return handle;
}

void *mapViewOfFile(Handle mapping, uint32_t desiredAccess, uint32_t offsetHigh, uint32_t offsetLow,
                    size_t bytes) {
  MappingObject *object = posix::lookup<MappingObject>(mapping);
  if (object == nullptr) {
    return nullptr;
  }
  Section *section = object->section();
  if (section == nullptr) {
    setLastError(kErrorInvalidHandle);  // closed meanwhile
    return nullptr;
  }
  void *view = posix::mapSection(*section, desiredAccess, posix::combine(offsetLow, offsetHigh), bytes);
  if (view == nullptr) {
    section->drop();
  }
  return view;  // the view keeps the reference
}

bool unmapViewOfFile(const void *base) {
  posix::View view = {};
  {
    posix::MappingRegistry &r = posix::registry();
    std::lock_guard<std::mutex> lock(r.guard);
    // The view that holds the address: Windows takes any address inside a
    // view, not only its base.
    auto address = reinterpret_cast<uintptr_t>(base);
    auto it = r.views.upper_bound(address);
    if (it == r.views.begin() || address - std::prev(it)->first >= std::prev(it)->second.length) {
      setLastError(kErrorInvalidAddress);
      return false;
    }
    --it;
    view = it->second;
    r.views.erase(it);
  }
  ::munmap(view.base, view.length);
  view.section->drop();
  return true;
}

uint32_t allocationGranularity() { return posix::kGranularity; }

}  // namespace pal

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

#include <map>
#include <memory>
#include <mutex>
#include <utility>

#include "platform/pal_file.h"
#include "platform/posix/errno_map.h"
#include "platform/posix/file_object.h"
#include "platform/posix/handle_table.h"

namespace pal::posix {

namespace {

constexpr uint32_t kGranularity = 65536;

using FileId = std::pair<dev_t, ino_t>;

class Section;

struct View {
  size_t length;
  std::shared_ptr<Section> section;
};

// The process's live sections of files and its mapped views.
struct MappingRegistry {
  std::mutex guard;
  std::multimap<FileId, uint64_t> liveSections;  // file -> size of one live section
  std::map<uintptr_t, View> views;               // base address -> view
};

MappingRegistry &registry() {
  static MappingRegistry *instance = new MappingRegistry;  // never destroyed: views outlive statics
  return *instance;
}

class Section {
 public:
  Section(int fd, uint64_t size, bool writable, bool fileBacked, FileId file)
      : fd_(fd), size_(size), writable_(writable), fileBacked_(fileBacked), file_(file) {
    if (fileBacked_) {
      MappingRegistry &r = registry();
      std::lock_guard<std::mutex> lock(r.guard);
      entry_ = r.liveSections.emplace(file_, size_);
    }
  }

  ~Section() {
    if (fileBacked_) {
      MappingRegistry &r = registry();
      std::lock_guard<std::mutex> lock(r.guard);
      r.liveSections.erase(entry_);
    }
    ::close(fd_);
  }

  Section(const Section &) = delete;
  Section &operator=(const Section &) = delete;

  int fd() const { return fd_; }
  uint64_t size() const { return size_; }
  bool writable() const { return writable_; }

 private:
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

  explicit MappingObject(std::shared_ptr<Section> section)
      : KernelObject(kKind), section_(std::move(section)) {}

  bool release() override {
    std::shared_ptr<Section> dropped;
    {
      std::lock_guard<std::mutex> lock(guard_);
      dropped.swap(section_);
    }
    return true;  // the section ends with its last view
  }

  std::shared_ptr<Section> section() {
    std::lock_guard<std::mutex> lock(guard_);
    return section_;
  }

 private:
  std::mutex guard_;
  std::shared_ptr<Section> section_;
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
std::shared_ptr<Section> memorySection(uint64_t size, bool writable) {
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
  auto section = std::make_shared<Section>(fd, size, writable, false, FileId{});
  return section;
}

std::shared_ptr<Section> fileSection(Handle file, uint64_t size, bool writable) {
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
  return std::make_shared<Section>(fd, size, writable, true, FileId{st.st_dev, st.st_ino});
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
  std::shared_ptr<Section> section;
  try {
    section = file == kInvalidHandleValue ? posix::memorySection(size, writable)
                                          : posix::fileSection(file, size, writable);
  } catch (const std::bad_alloc &) {
    setLastError(kErrorNotEnoughMemory);
    return kNullHandle;
  }
  if (section == nullptr) {
    return kNullHandle;
  }
  MappingObject *object = posix::newObject<MappingObject>(std::move(section));
  if (object == nullptr) {
    setLastError(kErrorNotEnoughMemory);
    return kNullHandle;
  }
  Handle handle = posix::insertObject(object);
  if (handle == kNullHandle) {
    object->release();
    posix::discardObject(object);
    setLastError(kErrorNotEnoughMemory);
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
  std::shared_ptr<Section> section = object->section();
  if (section == nullptr || posix::lookup<MappingObject>(mapping) != object) {
    setLastError(kErrorInvalidHandle);  // closed meanwhile
    return nullptr;
  }
  uint64_t offset = posix::combine(offsetLow, offsetHigh);
  if (offset % posix::kGranularity != 0) {
    setLastError(kErrorMappedAlignment);
    return nullptr;
  }
  bool copy = (desiredAccess & 0x1Fu) == kFileMapCopy;
  bool write = (desiredAccess & kFileMapWrite) != 0;
  if (write && !section->writable()) {
    setLastError(kErrorAccessDenied);
    return nullptr;
  }
  if (offset >= section->size()) {
    setLastError(kErrorInvalidParameter);
    return nullptr;
  }
  uint64_t available = section->size() - offset;
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
  void *base = ::mmap(nullptr, bytes, prot, copy ? MAP_PRIVATE : MAP_SHARED, section->fd(),
                      static_cast<off_t>(offset));
  if (base == MAP_FAILED) {
    posix::setLastErrorFromErrno(errno);
    return nullptr;
  }
  posix::MappingRegistry &r = posix::registry();
  try {
    std::lock_guard<std::mutex> lock(r.guard);
    r.views[reinterpret_cast<uintptr_t>(base)] = posix::View{bytes, std::move(section)};
  } catch (const std::bad_alloc &) {
    ::munmap(base, bytes);
    setLastError(kErrorNotEnoughMemory);
    return nullptr;
  }
  return base;
}

bool unmapViewOfFile(const void *base) {
  posix::View view;
  {
    posix::MappingRegistry &r = posix::registry();
    std::lock_guard<std::mutex> lock(r.guard);
    auto it = r.views.find(reinterpret_cast<uintptr_t>(base));
    if (it == r.views.end()) {
      setLastError(kErrorInvalidAddress);
      return false;
    }
    view = std::move(it->second);
    r.views.erase(it);
  }
  ::munmap(const_cast<void *>(base), view.length);
  return true;  // the view's hold on its section ends here
}

uint32_t allocationGranularity() { return posix::kGranularity; }

}  // namespace pal

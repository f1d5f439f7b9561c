// Internals shared by the file layer's source files: the layer's state, the
// per-thread error, record checks and locking, and the segment and chain
// operations that the public functions are built from.
#ifndef ORVANE_FILES_FILE_INTERNAL_H
#define ORVANE_FILES_FILE_INTERNAL_H

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "common/files/file_errors.h"
#include "orvane/files.h"
#include "orvane/threads.h"
#include "platform/pal.h"

namespace files {

constexpr uint32_t kBufferSize = ORV_FILE_BUFFER_SIZE;
constexpr uint32_t kCtrlZ = 26;

// Open flags beyond the public ones.
constexpr uint32_t kFlagCreatedByDefault = 0x20;  // added with CREATE when no access was asked for
constexpr uint32_t kAccessFlags = ORV_FILE_READ | ORV_FILE_WRITE | ORV_FILE_CREATE;

// lockState bits.
constexpr uint32_t kLockThreadSafe = 0x1;
constexpr uint32_t kLockHeld = 0x2;

// modeBits of the standard files (read, write, and read/write/text shifted).
constexpr uint32_t kStdModeBits = 39;
constexpr uint32_t kStdOpenFlags = 19;  // read, write, text

// The directory index of a temporary file made in the caller's directory.
constexpr uint16_t kCallerDirectory = 65535;

// Error codes of the table that the layer raises directly.
constexpr int32_t kCodeInvalidParameter = -21;  // system error 87
constexpr int32_t kCodeInvalidHandle = -25;     // system error 6

// --- Layer state ------------------------------------------------------------

struct LayerState {
  bool ready = false;                // errors are recorded from here on
  bool stdFilesInitialized = false;  // orvFileInitializeStdFiles ran
  orvThreadKey *errorKey = nullptr;  // the per-thread last error
  uint32_t granularity = 0;          // the system's allocation granularity
  uint32_t doubleGranularity = 0;    // twice that, the smallest writable map
};

LayerState &layer();

// The system's allocation granularity (read now when the layer has not
// started).
uint32_t allocationGranularity();

// The three standard records, and whether a record is one of them.
orvFile *stdFiles();
bool isStdFile(const orvFile *file);

// --- Errors -----------------------------------------------------------------

// Records code as the calling thread's last error (once the layer is ready).
void setError(int32_t code);
// Records the code of a system error number.
void setSystemError(uint32_t win32Error);
// Records the code of the platform layer's last error.
void setLastSystemError();

// --- The system calls the layer makes for reads and writes ----------------------

// The platform layer's ReadFile and WriteFile by default; white-box tests
// replace them to make writes come up short on any platform.
struct SystemIo {
  bool (*readFile)(pal::Handle file, void *buffer, uint32_t size, uint32_t *transferred);
  bool (*writeFile)(pal::Handle file, const void *buffer, uint32_t size, uint32_t *transferred);
};
SystemIo &systemIo();

// --- Records and locks -------------------------------------------------------

// A record that the public functions accept: not null, and open (magic).
// Otherwise records error -25 and returns false.
bool checkRecord(const orvFile *file);

inline bool isTextMode(const orvFile *file) { return (file->openFlags & ORV_FILE_TEXT) != 0; }
inline bool isTemporary(const orvFile *file) { return (file->openFlags & ORV_FILE_TEMPORARY) != 0; }
inline bool canSpill(const orvFile *file) { return (file->openFlags & ORV_FILE_SPILL) != 0; }

// The mode bits of a record opened with flags: bit 0 read, bit 1 write, and
// the flags shifted left by one.
uint32_t modeBitsFor(uint32_t flags);

// lockState is read by calls that look for the fast path while the thread
// that holds the record sets and clears its held bit: it is accessed
// atomically (the record keeps its plain layout).
inline uint32_t loadLockState(const orvFile *file) {
  return std::atomic_ref<uint32_t>(const_cast<uint32_t &>(file->lockState)).load(std::memory_order_relaxed);
}
inline void setLockBits(orvFile *file, uint32_t bits) {
  std::atomic_ref<uint32_t>(file->lockState).fetch_or(bits, std::memory_order_relaxed);
}
inline void clearLockBits(orvFile *file, uint32_t bits) {
  std::atomic_ref<uint32_t>(file->lockState).fetch_and(~bits, std::memory_order_relaxed);
}

// An open record that is alone (no chain) and not thread-safe: a call that
// stays inside its buffer needs neither locks nor the chain's walk.
inline bool isPlainRecord(const orvFile *file) {
  return file != nullptr && file->magic == ORV_FILE_MAGIC && (loadLockState(file) & kLockThreadSafe) == 0 &&
         file->next == nullptr;
}

// Locks a record and every record behind it in its chain, head to tail, for
// the length of one public call; unlocks them in the same order. Records
// without a mutex (not thread-safe, or a standard file before the layer
// made its mutexes) are not locked. A lock that fails unlocks what was taken
// and records -33.
class ChainLock {
 public:
  explicit ChainLock(orvFile *file);
  ~ChainLock();
  ChainLock(const ChainLock &) = delete;
  ChainLock &operator=(const ChainLock &) = delete;

  bool ok() const { return ok_; }
  // Unlocks now (before the records are freed); the destructor then does
  // nothing.
  void release();

 private:
  orvFile *file_;
  bool ok_;
};

// Locks and unlocks one record's mutex (when it has one), marking it held.
bool lockRecord(orvFile *file);
void unlockRecord(orvFile *file);

// --- One segment ------------------------------------------------------------
//
// segmentPos is the system's file position of the segment's handle, kept so
// that positions are known without asking the system. The logical position
// in the segment follows from it and the buffer.

inline int64_t segmentPosition(const orvFile *file) {
  if (file->bufDirty != 0) {
    return file->segmentPos + file->bufPos;
  }
  return file->segmentPos - file->bufCount + file->bufPos;
}

// Whether the record's segment length is kept (spill-over files and chained
// segments).
inline bool tracksLimit(const orvFile *file) {
  return canSpill(file) || file->next != nullptr || file->head != file;
}

// The outcome of a write to one segment.
struct WriteOutcome {
  uint32_t accepted = 0;     // bytes taken (written or buffered)
  bool failed = false;       // a system write failed or came up short
  uint32_t systemError = 0;  // its error number
};

// Writes the buffer's pending bytes. A write that comes up short keeps the
// rest and fails.
bool flushBuffer(orvFile *file, WriteOutcome &outcome);
// Writes size bytes to the segment under the buffer rules.
WriteOutcome writeSegment(orvFile *file, const uint8_t *source, uint32_t size);
// Reads up to size bytes from the segment under the buffer and text rules;
// fewer bytes mean end of data, a Ctrl-Z or a failure.
uint32_t readSegment(orvFile *file, uint8_t *target, uint32_t size);
// Moves the segment's position; the new logical position in *position.
bool seekSegment(orvFile *file, int64_t offset, int origin, int64_t *position = nullptr);
// Discards read-ahead bytes, moving the system position back to the logical
// one.
bool dropReadBuffer(orvFile *file);
// The system size of the segment's file (seek to the end and back).
bool segmentFileSize(orvFile *file, int64_t &size);
// Sets the system position of the segment (FILE_BEGIN) and updates the cache.
bool setSystemPosition(orvFile *file, int64_t position);
// The system position of the segment: the kept one, or, for a standard
// file, the system's own (which other processes may move too).
bool systemPosition(orvFile *file, int64_t &position);

// --- The chain ---------------------------------------------------------------

// The segment that holds the logical position: the first whose position is
// before its limit, or the last.
orvFile *currentSegment(orvFile *file);

bool flushChain(orvFile *file);
uint32_t readChain(orvFile *file, uint8_t *target, uint32_t size);
uint32_t writeChain(orvFile *file, const uint8_t *source, uint32_t size);
bool seekChain(orvFile *file, int64_t offset, int origin);
int64_t tellChain(orvFile *file);
int64_t sizeChain(orvFile *file);
int eofChain(orvFile *file);
bool setEofChain(orvFile *file);
void clearEofChain(orvFile *file);

// --- Records ---------------------------------------------------------------

// Opens path as a new record with (already adjusted) flags; null with the
// error code in *code. disposition 0 takes it from the flags.
orvFile *openRecord(const char *path, uint32_t flags, int32_t *code, uint32_t disposition = 0);
// Reopens a closed record in place with flags.
bool reopenRecord(orvFile *file, uint32_t flags, int32_t *code);
// Appends segment at the tail of file's chain.
void appendSegment(orvFile *file, orvFile *segment);
// Flushes and closes the record's handle; false with an error when either
// failed (the handle is closed all the same).
bool closeHandleOf(orvFile *file);
// Destroys the record's mutex, frees its name and the record.
void freeRecord(orvFile *file);

}  // namespace files

#endif

// Temporary files: generated names in the directory list, the open list,
// deletion at close, spill-over into a new file, and the layer's set-up and
// tear-down.
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <atomic>
#include <new>
#include <string>

#include "common/files/file_internal.h"
#include "common/files/temp_internal.h"
#include "common/files/temp_state.h"
#include "orvane/frame.h"
#include "orvane/sync.h"
#include "platform/pal_file.h"
#include "platform/pal_thread.h"

namespace files::temp {

namespace {

TempState state;

// Random parts of names. Each directory tried starts a sequence from the
// time-of-day stamp mixed with the calling thread's identifier (unique
// across processes) and a count of sequences, so that processes and calls
// that start in the same second do not walk the same names.
class NameSequence {
 public:
  explicit NameSequence(uint32_t stamp) {
    static std::atomic<uint32_t> sequences{0};
    state_ =
        stamp ^ (static_cast<uint64_t>(pal::currentThreadId()) << 32) ^
        (static_cast<uint64_t>(sequences.fetch_add(1, std::memory_order_relaxed)) * 0x9E3779B97F4A7C15u) ^
        reinterpret_cast<uintptr_t>(&sequences);
  }
  uint32_t next() {
    uint64_t z = (state_ += 0x9E3779B97F4A7C15u);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9u;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBu;
    return static_cast<uint32_t>(z ^ (z >> 31)) & 0x7FFFFFFFu;
  }

 private:
  uint64_t state_;
};

bool endsWithSeparator(const char *path) {
  size_t n = strlen(path);
  return n > 0 && (path[n - 1] == '/' || path[n - 1] == '\\');
}

// Tries up to 1025 names in directory; null with *code when none opened
// (-36 stops at once).
orvFile *tryDirectoryNames(const char *directory, const char *prefix, uint32_t flags, int32_t *code) {
  NameSequence sequence(timeOfDayStamp());
  std::string base = directory;
  if (!endsWithSeparator(directory)) {
    base += pal::kPathSeparator;
  }
  if (prefix != nullptr) {
    base += prefix;
  }
  char number[16];
  for (int attempt = 0; attempt < kNamesPerDirectory; ++attempt) {
    snprintf(number, sizeof number, "%x", sequence.next());
    std::string name = base + number;
    if (pal::fileAccess(name.c_str(), 0)) {
      continue;  // taken
    }
    // Created new, so that two processes can never share a name.
    orvFile *file = openRecord(name.c_str(), flags, code, pal::kCreateNew);
    if (file != nullptr) {
      return file;
    }
    if (*code == kCodeOutOfMemory) {
      return nullptr;
    }
  }
  return nullptr;
}

orvFile *tryDirectory(const char *directory, const char *prefix, uint32_t flags, int32_t *code) {
  try {
    return tryDirectoryNames(directory, prefix, flags, code);
  } catch (const std::bad_alloc &) {
    *code = kCodeOutOfMemory;  // no name could be made
    return nullptr;
  }
}

// Drops a file that was made but cannot be handed out.
void discard(orvFile *file) {
  closeHandleOf(file);
  pal::deleteFileA(file->name);
  freeRecord(file);
}

bool unlinkNode(orvFile *file) {
  for (OpenNode **link = &state.openList; *link != nullptr; link = &(*link)->next) {
    if ((*link)->file == file) {
      OpenNode *node = *link;
      *link = node->next;
      free(node);
      return true;
    }
  }
  return false;
}

bool pushNode(orvFile *file) {
  auto *node = static_cast<OpenNode *>(malloc(sizeof(OpenNode)));
  if (node == nullptr) {
    return false;
  }
  node->file = file;
  node->next = state.openList;
  state.openList = node;
  return true;
}

// Deletes one file: off the list, handle closed, file deleted, its
// directory no longer full, its registry line removed. A file that cannot
// be deleted stays listed (-10).
bool deleteOne(orvFile *file) {
  bool listed = unlinkNode(file);
  file->bufDirty = 0;  // bytes of a file about to go are not written
  file->bufCount = 0;
  file->bufPos = 0;
  closeHandleOf(file);
  if (!pal::deleteFileA(file->name)) {
    setError(kCodeCannotDelete);
    if (listed) {
      pushNode(file);
    }
    return false;
  }
  if (file->tempIndex < state.directoryCount) {
    state.directories[file->tempIndex].full = 0;
  }
  if (state.registryEnabled) {
    registryRemove(file->name);
  }
  return true;
}

// Deletes file and the segments behind it (segments first). Deleted
// segments are unlocked and freed; the record itself is freed when it was
// deleted too, after lock (if any) is released.
bool deleteChain(orvFile *file, ChainLock *lock) {
  bool ok = true;
  orvFile *prev = file;
  for (orvFile *seg = file->next; seg != nullptr;) {
    orvFile *next = seg->next;
    // A segment that is an ordinary file (added with a path) is closed, not
    // deleted.
    bool gone = true;
    if (isTemporary(seg)) {
      gone = deleteOne(seg);
    } else {
      closeHandleOf(seg);
    }
    if (gone) {
      prev->next = next;
      unlockRecord(seg);
      freeRecord(seg);
    } else {
      ok = false;
      prev = seg;
    }
    seg = next;
  }
  if (!ok || !deleteOne(file)) {
    return false;
  }
  if (lock != nullptr) {
    lock->release();
  }
  freeRecord(file);
  return true;
}

// Closes the handles of file and its segments; the records stay listed.
bool keepChain(orvFile *file) {
  bool ok = flushChain(file);
  for (orvFile *seg = file; seg != nullptr; seg = seg->next) {
    ok = closeHandleOf(seg) && ok;
  }
  return ok;
}

// Takes a segment out of the chain of the record it was added to.
void detachFromHead(orvFile *segment) {
  orvFile *head = segment->head;
  if (head == segment || head == nullptr) {
    return;
  }
  for (orvFile *f = head; f != nullptr; f = f->next) {
    if (f->next == segment) {
      f->next = segment->next;
      break;
    }
  }
  segment->head = segment;
  segment->next = nullptr;
}

// Forgets a chain whose files could not be deleted at tear-down.
void forgetChain(orvFile *file) {
  for (orvFile *seg = file; seg != nullptr;) {
    orvFile *next = seg->next;
    unlinkNode(seg);
    closeHandleOf(seg);
    freeRecord(seg);
    seg = next;
  }
}

OpenNode *firstListedHead() {
  for (OpenNode *node = state.openList; node != nullptr; node = node->next) {
    if (node->file->head == node->file) {
      return node;
    }
  }
  return nullptr;
}

// Closes and deletes every file still listed.
void closeListedFiles() {
  while (OpenNode *node = firstListedHead()) {
    orvFile *file = node->file;
    if (!deleteChain(file, nullptr)) {
      forgetChain(file);
    }
  }
  // What remains are segments of ordinary files.
  while (state.openList != nullptr) {
    orvFile *seg = state.openList->file;
    detachFromHead(seg);
    if (!deleteOne(seg)) {
      unlinkNode(seg);
    }
    freeRecord(seg);
  }
}

uint32_t readTimeout() {
  char *value = readSetting("TEMPFILETIMEOUT");
  if (value == nullptr) {
    return kDefaultTimeout;
  }
  long seconds = atol(value);
  free(value);
  return seconds < static_cast<long>(kMinimumTimeout) ? kMinimumTimeout : static_cast<uint32_t>(seconds);
}

void releaseState() {
  freeDirectoryList();
  free(state.registryPath);
  state.registryPath = nullptr;
  state.registryEnabled = false;
  state.timeout = kDefaultTimeout;
  if (state.mutex != 0) {
    orvMutexDestroy(&state.mutex);
    state.mutex = 0;
  }
  state.ready = false;
}

}  // namespace

TempState &tempState() { return state; }

TempLock::TempLock() : ok_(state.mutex != 0 && orvMutexLock(&state.mutex) == ORV_OK) {}

TempLock::~TempLock() {
  if (ok_) {
    orvMutexUnlock(&state.mutex);
  }
}

uint32_t timeOfDayStamp() {
  orvClock clock{};
  orvClockReset(&clock);
  return static_cast<uint32_t>(clock.hour * 3600 + clock.minute * 60 + clock.second);
}

char *readSetting(const char *name) {
  char *value = orvResourceGetNLSStr(name);
  if (value != nullptr && value[0] == '\0') {
    free(value);  // an empty setting counts as none
    return nullptr;
  }
  return value;
}

orvFile *make(const MakeRequest &request, int32_t *code) {
  if (!state.ready) {
    *code = kCodeNoTemporaryFile;
    return nullptr;
  }
  TempLock lock;
  if (!lock.ok()) {
    *code = kCodeLockFailed;
    return nullptr;
  }
  // The name is new by construction: "must exist" cannot hold.
  uint32_t flags = (request.flags | ORV_FILE_TEMPORARY) & ~static_cast<uint32_t>(ORV_FILE_MUST_EXIST);
  orvFile *file = nullptr;
  uint16_t index = kCallerDirectory;
  if (request.directory != nullptr) {
    file = tryDirectory(request.directory, request.prefix, flags, code);
  } else {
    for (uint16_t i = 0; i < state.directoryCount && file == nullptr && *code != kCodeOutOfMemory; ++i) {
      if (state.directories[i].full == 0) {
        file = tryDirectory(state.directories[i].path, request.prefix, flags, code);
        index = i;
      }
    }
  }
  if (file == nullptr) {
    if (*code != kCodeOutOfMemory) {
      *code = kCodeNoTemporaryFile;
    }
    return nullptr;
  }
  file->tempIndex = index;
  if (!pushNode(file)) {
    discard(file);
    *code = kCodeOutOfMemory;
    return nullptr;
  }
  if (request.nameOut != nullptr) {
    *request.nameOut = strdup(file->name);
    if (*request.nameOut == nullptr) {
      unlinkNode(file);
      discard(file);
      *code = kCodeOutOfMemory;
      return nullptr;
    }
  }
  if (state.registryEnabled) {
    registryAdd(file->name);
  }
  return file;
}

bool close(orvFile *file, int options, ChainLock *lock) {
  if (options != ORV_FILE_CLOSE_DELETE) {
    return keepChain(file);
  }
  TempLock tempLock;
  if (!tempLock.ok()) {
    setError(kCodeLockFailed);
    return false;
  }
  return deleteChain(file, lock);
}

orvFile *spill(orvFile *full, int32_t *code) {
  {
    TempLock lock;
    if (isTemporary(full) && full->tempIndex < state.directoryCount) {
      state.directories[full->tempIndex].full = 1;
    }
  }
  MakeRequest request;
  request.flags = full->openFlags | ORV_FILE_TEMPORARY;
  orvFile *segment = make(request, code);
  if (segment == nullptr) {
    return nullptr;
  }
  appendSegment(full, segment);
  return segment;
}

bool setUp() {
  if (state.ready) {
    return true;
  }
  if (orvMutexCreate(&state.mutex) != ORV_OK) {
    state.mutex = 0;
    return false;
  }
  if (!buildDirectoryList()) {
    releaseState();
    return false;
  }
  state.registryPath = readSetting("TEMPFILEREGISTRY");
  if (state.registryPath != nullptr) {
    bool read = false;
    {
      TempLock lock;
      read = lock.ok() && registryProbe();
    }
    if (!read) {
      releaseState();
      return false;
    }
    state.registryEnabled = true;
    state.timeout = readTimeout();
  }
  state.ready = true;
  if (state.registryPath != nullptr && !startCleanupThread()) {
    releaseState();
    return false;
  }
  return true;
}

void tearDown() {
  if (state.mutex == 0) {
    return;
  }
  stopCleanupThread();
  {
    TempLock lock;
    closeListedFiles();
  }
  releaseState();
}

}  // namespace files::temp

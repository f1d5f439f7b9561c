// The temporary-file layer's process-wide state and the pieces its source
// files share: the temp mutex, the directory list, the open list, the
// registry and the clean-up thread.
#ifndef ORVANE_FILES_TEMP_STATE_H
#define ORVANE_FILES_TEMP_STATE_H

#include <cstdint>

#include "orvane/files.h"
#include "orvane/strings.h"
#include "orvane/threads.h"

namespace files::temp {

// Default and smallest time-out of registered files, in seconds.
constexpr uint32_t kDefaultTimeout = 1800;
constexpr uint32_t kMinimumTimeout = 30;
// Names tried per directory.
constexpr int kNamesPerDirectory = 1025;
// Attempts to open and lock the registry, one second apart.
constexpr int kRegistryAttempts = 16;
// Seconds in a day: a stamp above the current one was taken before midnight.
constexpr int64_t kSecondsPerDay = 86400;

struct Directory {
  char *path;
  uint32_t full;  // set when a file in it came up short
};

struct OpenNode {
  orvFile *file;
  OpenNode *next;
};

struct TempState {
  orvHandle mutex = 0;  // the temp mutex: directories, open list, registry
  Directory *directories = nullptr;
  uint16_t directoryCount = 0;
  OpenNode *openList = nullptr;  // newest first
  char *registryPath = nullptr;  // null: no registry
  bool registryEnabled = false;  // the registry could be read at start
  uint32_t timeout = kDefaultTimeout;
  orvThread *cleanupThread = nullptr;
  orvHandle cleanupWake = 0;  // event that cuts the clean-up thread's sleep short
  bool ready = false;
  // The wait between two attempts at the registry's lock (white-box tests
  // shorten it).
  uint32_t attemptMilliseconds = 1000;
};

TempState &tempState();

// Holds the temp mutex for a scope.
class TempLock {
 public:
  TempLock();
  ~TempLock();
  TempLock(const TempLock &) = delete;
  TempLock &operator=(const TempLock &) = delete;
  bool ok() const { return ok_; }

 private:
  bool ok_;
};

// The local time of day in seconds: hour * 3600 + minute * 60 + second.
uint32_t timeOfDayStamp();

// A setting of the configuration chain (heap text, caller frees), or null.
char *readSetting(const char *name);

// --- Directory list (temp_directories.cpp) ---------------------------------

// Builds the list from the settings; false when memory runs out.
bool buildDirectoryList();
void freeDirectoryList();

// --- Registry (temp_registry.cpp); the caller holds the temp mutex ---------

// Reads the registry once (start-up): false when it cannot be opened, locked
// or read.
bool registryProbe();
// Adds path with the current stamp; removes path's line.
bool registryAdd(const char *path);
bool registryRemove(const char *path);
// One clean-up pass at stamp now: refresh this process's lines, delete the
// files of lines older than the time-out, cut the lines of files gone.
bool registryCleanPass(uint32_t now);
// The same pass with the time of day read once the registry is locked: what
// the clean-up thread and the maintenance call run.
bool registryCleanPassNow();
// The registry's text as native text (heap; caller frees), or null.
char *registryText();

// The pure pieces of a pass, on a registry string (tested directly).
// Replaces the stamp of path's line; false when path has no line.
bool replaceStamp(orvString *text, const char *path, uint32_t stamp);
// Removes path's line; false when it has none.
bool removeLine(orvString *text, const char *path);
// The walk of a pass: deletes old files and cuts lines; exists and remove
// are the file checks (orvFileAccess and orvFileDelete in the library).
struct FileChecks {
  bool (*exists)(const char *path);
  bool (*remove)(const char *path);
};
void walkLines(orvString *text, uint32_t now, uint32_t timeout, const FileChecks &checks);
// The age of a line stamped stamp at now, with the midnight rule.
uint32_t lineAge(uint32_t stamp, uint32_t now);

// The character set of paths in the registry.
orvCharSet registryCharSet();

// --- Clean-up thread (temp_cleanup.cpp) ------------------------------------

bool startCleanupThread();
void stopCleanupThread();

}  // namespace files::temp

#endif

// The clean-up thread: with a registry, it keeps this process's lines young
// and deletes the files of lines older than the time-out (the files of
// processes that died), one pass and then time-out seconds of sleep, until
// the file layer ends. Also the maintenance calls behind "orv tempfiles".
#include <stdlib.h>

#include "common/files/file_internal.h"
#include "common/files/temp_admin.h"
#include "common/files/temp_state.h"
#include "orvane/sync.h"

namespace files::temp {

namespace {

// One pass under the temp mutex.
void cleanOnce() {
  TempLock lock;
  if (lock.ok() && tempState().registryEnabled) {
    registryCleanPassNow();
  }
}

// Whether the layer asked the thread to end (its cancellation point).
bool cancelled() { return orvThreadState(nullptr) == static_cast<int>(ORV_THREAD_CANCELLED); }

void cleanupRoutine(void *) {
  TempState &s = tempState();
  while (!cancelled()) {
    cleanOnce();
    // One second at a time; the wake event cuts a second short when the
    // layer ends.
    for (uint32_t second = 0; second < s.timeout && !cancelled(); ++second) {
      orvEventTimedWait(&s.cleanupWake, 1000);
    }
  }
  orvThreadExit(0);
}

}  // namespace

bool startCleanupThread() {
  TempState &s = tempState();
  if (orvEventCreate(&s.cleanupWake, 0, 0) != ORV_OK) {
    s.cleanupWake = 0;
    return false;
  }
  if (orvThreadCreate(cleanupRoutine, nullptr, 1, &s.cleanupThread, nullptr) != ORV_OK ||
      s.cleanupThread == nullptr) {
    s.cleanupThread = nullptr;
    orvEventDestroy(&s.cleanupWake);
    s.cleanupWake = 0;
    return false;
  }
  return true;
}

void stopCleanupThread() {
  TempState &s = tempState();
  if (s.cleanupThread != nullptr) {
    orvThreadCancel(s.cleanupThread);
    orvEventSignal(&s.cleanupWake);
    uint32_t exitCode = 0;
    orvThreadJoin(s.cleanupThread, &exitCode);
    orvThreadDestroy(s.cleanupThread);
    s.cleanupThread = nullptr;
  }
  if (s.cleanupWake != 0) {
    orvEventDestroy(&s.cleanupWake);
    s.cleanupWake = 0;
  }
}

}  // namespace files::temp

using files::temp::tempState;

namespace files::admin {

const char *tempDirectory(int index) {
  files::temp::TempState &s = tempState();
  if (index < 0 || index >= s.directoryCount) {
    return nullptr;
  }
  return s.directories[index].path;
}

const char *tempRegistryPath() { return tempState().registryPath; }

uint32_t tempTimeout() { return tempState().timeout; }

char *tempRegistryList() {
  files::temp::TempLock lock;
  if (!lock.ok() || !tempState().registryEnabled) {
    return nullptr;
  }
  return files::temp::registryText();
}

int tempCleanupPass() {
  files::temp::TempLock lock;
  if (!lock.ok() || !tempState().registryEnabled) {
    return 0;
  }
  return files::temp::registryCleanPassNow() ? 1 : 0;
}

}  // namespace files::admin

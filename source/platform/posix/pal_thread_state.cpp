// Per-thread state of the POSIX platform layer.
#include "platform/posix/pal_thread_state.h"

#include <pthread.h>

#include <atomic>

#include "platform/posix/pal_sync_objects.h"

namespace pal::posix {

thread_local constinit ThreadState tlsThreadState __attribute__((tls_model("initial-exec"))) = {};

namespace {

std::atomic<uint32_t> nextThreadId{1};

// The exit hook of threads that the layer did not create.
pthread_key_t exitHookKey;
bool exitHookKeyReady = false;
pthread_once_t exitHookOnce = PTHREAD_ONCE_INIT;

void runExitHook(void *) { abandonOwnedMutexes(); }

void createExitHookKey() { exitHookKeyReady = pthread_key_create(&exitHookKey, runExitHook) == 0; }

}  // namespace

uint32_t allocateThreadId() {
  uint32_t id;
  do {
    id = nextThreadId.fetch_add(1, std::memory_order_relaxed);
  } while (id == 0);
  return id;
}

uint32_t adoptForeignThread() {
  ThreadState &t = tlsThreadState;
  t.id = allocateThreadId();
  if (!t.exitHookArmed) {
    t.exitHookArmed = true;
    pthread_once(&exitHookOnce, createExitHookKey);
    if (exitHookKeyReady) {
      // Any non-null value makes the destructor run at the thread's end.
      pthread_setspecific(exitHookKey, &tlsThreadState);
    }
  }
  return t.id;
}

void abandonOwnedMutexes() {
  ThreadState &t = tlsThreadState;
  if (t.ownedMutexes == 0) {
    return;
  }
  uint32_t error = getLastError();
  abandonMutexesOwnedBy(t.id);
  t.ownedMutexes = 0;
  setLastError(error);
}

}  // namespace pal::posix

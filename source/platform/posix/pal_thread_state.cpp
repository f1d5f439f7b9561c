// Per-thread state of the POSIX platform layer.
#include "platform/posix/pal_thread_state.h"

#include <pthread.h>
#include <stdlib.h>
#include <string.h>

#include <atomic>

#include "platform/posix/handle_table.h"
#include "platform/posix/pal_sync_objects.h"

namespace pal::posix {

namespace {

// Static TLS: reachable from a signal handler without allocation, and cheap
// on the mutex fast path.
__attribute__((tls_model("initial-exec"))) thread_local ThreadState tlsState;

std::atomic<uint32_t> nextThreadId{1};

// The exit hook of threads that the layer did not create.
pthread_key_t exitHookKey;
bool exitHookKeyReady = false;
pthread_once_t exitHookOnce = PTHREAD_ONCE_INIT;

void runExitHook(void *) { abandonOwnedMutexes(); }

void createExitHookKey() { exitHookKeyReady = pthread_key_create(&exitHookKey, runExitHook) == 0; }

void armExitHook(ThreadState &t) {
  t.exitHookArmed = true;
  pthread_once(&exitHookOnce, createExitHookKey);
  if (exitHookKeyReady) {
    // Any non-null value makes the destructor run at the thread's end.
    pthread_setspecific(exitHookKey, &tlsState);
  }
}

OwnedMutex *ownedItems(ThreadState &t) { return t.ownedCapacity == 0 ? t.ownedInline : t.ownedHeap; }

uint32_t ownedCapacity(const ThreadState &t) {
  return t.ownedCapacity == 0 ? static_cast<uint32_t>(sizeof t.ownedInline / sizeof t.ownedInline[0])
                              : t.ownedCapacity;
}

// Drops entries whose handle no longer names the mutex recorded with it (a
// mutex closed by another thread while this one owned it).
void compactOwned(ThreadState &t) {
  OwnedMutex *items = ownedItems(t);
  uint32_t kept = 0;
  for (uint32_t i = 0; i < t.ownedCount; ++i) {
    if (lookupObject(items[i].handle, ObjectKind::Mutex) == items[i].object) {
      items[kept++] = items[i];
    }
  }
  t.ownedCount = kept;
  setLastError(kErrorSuccess);
}

// Makes room for one more entry; false when memory is exhausted (the mutex
// is then still owned, only not released should this thread end holding it).
bool growOwned(ThreadState &t) {
  compactOwned(t);
  if (t.ownedCount < ownedCapacity(t)) {
    return true;
  }
  uint32_t capacity = ownedCapacity(t) * 2;
  auto *grown = static_cast<OwnedMutex *>(malloc(capacity * sizeof(OwnedMutex)));
  if (grown == nullptr) {
    return false;
  }
  memcpy(grown, ownedItems(t), t.ownedCount * sizeof(OwnedMutex));
  if (t.ownedCapacity != 0) {
    free(t.ownedHeap);
  }
  t.ownedHeap = grown;
  t.ownedCapacity = capacity;
  return true;
}

}  // namespace

ThreadState &threadState() { return tlsState; }

uint32_t allocateThreadId() {
  uint32_t id;
  do {
    id = nextThreadId.fetch_add(1, std::memory_order_relaxed);
  } while (id == 0);
  return id;
}

void rememberOwnedMutex(Handle handle, MutexObject *object) {
  ThreadState &t = tlsState;
  if (!t.exitHookArmed) {
    armExitHook(t);
  }
  if (t.ownedCount == ownedCapacity(t) && !growOwned(t)) {
    return;
  }
  ownedItems(t)[t.ownedCount++] = OwnedMutex{handle, object};
}

void forgetOwnedMutex(Handle handle) {
  ThreadState &t = tlsState;
  OwnedMutex *items = ownedItems(t);
  for (uint32_t i = t.ownedCount; i-- > 0;) {
    if (items[i].handle == handle) {
      items[i] = items[--t.ownedCount];
      return;
    }
  }
}

void abandonOwnedMutexes() {
  ThreadState &t = tlsState;
  uint32_t self = t.id;
  uint32_t error = getLastError();
  OwnedMutex *items = ownedItems(t);
  for (uint32_t i = 0; i < t.ownedCount; ++i) {
    auto *m = static_cast<MutexObject *>(lookupObject(items[i].handle, ObjectKind::Mutex));
    if (m == items[i].object && m->ownerId() == self) {
      m->abandon();
    }
  }
  t.ownedCount = 0;
  if (t.ownedCapacity != 0) {
    free(t.ownedHeap);
    t.ownedHeap = nullptr;
    t.ownedCapacity = 0;
  }
  setLastError(error);
}

}  // namespace pal::posix

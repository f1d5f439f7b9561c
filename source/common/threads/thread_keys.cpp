// Thread keys: one value per thread and key in a thread-local storage slot,
// with an optional destructor that runs for an exiting thread's non-null
// value.
//
// A key with a destructor links every thread that gave it a value through an
// association, listed both under the key and under the thread. The key's
// mutex guards its list; each association's own mutex serialises its
// detachment by a key destroy against its thread's exit. Whichever of the
// two comes second (it finds the other side already gone, under the
// association's mutex) frees the association.
#include <string.h>

#include "common/threads/thread_internal.h"
#include "common/threads/thread_trace.h"
#include "platform/pal.h"
#include "platform/pal_thread.h"

using threads::addr;
using threads::kSingle;
using threads::kTraceInternal;
using threads::kTraceKeys;
using threads::NestedCalls;

namespace {

// Association fields that the key's side and the thread's side clear.
std::atomic_ref<orvThreadKey *> keyOf(orvKeyAssoc *assoc) {
  return std::atomic_ref<orvThreadKey *>(assoc->key);
}
std::atomic_ref<orvThread *> threadOf(orvKeyAssoc *assoc) {
  return std::atomic_ref<orvThread *>(assoc->thread);
}

void destroyAssoc(orvThread *tracer, orvKeyAssoc *assoc, orvThread *thread, orvThreadKey *key) {
  THREADS_TRACE(tracer, kTraceInternal, "%-*s assoc  (" ORV_P ") (thread:" ORV_X ",key:" ORV_X ")", kSingle,
                "<tsAssocDestroy>", addr(assoc), addr(thread), addr(key));
  NestedCalls nested(tracer);
  orvMutexDestroy(&assoc->mutex);
  threads::freeBlock(assoc);
}

orvKeyAssoc *findAssoc(orvThread *self, orvThreadKey *key) {
  for (orvKeyAssoc *a = self->keyValues; a != nullptr; a = a->nextOfThread) {
    if (keyOf(a).load(std::memory_order_acquire) == key) {
      return a;
    }
  }
  return nullptr;
}

// Frees, under the key's mutex, the key's associations whose thread has let
// go of them. A thread that ends clears its side under the association's
// mutex and never looks at the association again while the key lives, so
// once its side is clear the key's side owns it. Without this, a key that
// lives as long as the process (the self key, for one) would keep one
// association, and its mutex, for every thread that ever set it.
void sweepReleasedAssocs(orvThreadKey *key) {
  orvKeyAssoc **link = &key->head;
  while (orvKeyAssoc *assoc = *link) {
    orvMutexLock(&assoc->mutex);
    bool released = threadOf(assoc).load(std::memory_order_acquire) == nullptr;
    orvMutexUnlock(&assoc->mutex);
    if (released) {
      *link = assoc->nextOfKey;
      orvMutexDestroy(&assoc->mutex);
      threads::freeBlock(assoc);
    } else {
      link = &assoc->nextOfKey;
    }
  }
}

// Creates the association of self and key: at the head of the key's list
// (under the key's mutex) and of the thread's.
int createAssoc(orvThread *self, orvThreadKey *key) {
  auto *assoc = static_cast<orvKeyAssoc *>(threads::allocZeroed(sizeof(orvKeyAssoc)));
  if (assoc == nullptr) {
    return ORV_NO_MEMORY;
  }
  NestedCalls nested(self);
  int r = orvMutexCreate(&assoc->mutex);
  if (r != ORV_OK) {
    threads::freeBlock(assoc);
    return r;
  }
  assoc->thread = self;
  assoc->key = key;
  orvMutexLock(&key->mutex);
  {
    // Housekeeping, not one of the key's traced steps: silent even when
    // nested calls are traced.
    TraceObj *saved = self->traceObj;
    self->traceObj = nullptr;
    sweepReleasedAssocs(key);
    self->traceObj = saved;
  }
  assoc->nextOfKey = key->head;
  key->head = assoc;
  orvMutexUnlock(&key->mutex);
  assoc->nextOfThread = self->keyValues;
  self->keyValues = assoc;
  nested.restore();
  THREADS_TRACE(self, kTraceInternal,
                "%-*s thread (" ORV_P ") key       (" ORV_P ") assoc (" ORV_P ") created", kSingle,
                "<tkAssocCreate>", addr(self), addr(key), addr(assoc));
  return ORV_OK;
}

void traceKeyValue(orvThread *self, const char *name, orvThreadKey *key, int result, void *value) {
  THREADS_TRACE(self, kTraceKeys,
                "%-*s thread (" ORV_P ") key       (" ORV_P ") result   (" ORV_D ") data   (" ORV_P ")",
                kSingle, name, addr(self), addr(key), result, addr(value));
}

void traceKey(orvThread *self, const char *name, orvThreadKey *key, int result) {
  THREADS_TRACE(self, kTraceKeys, "%-*s thread (" ORV_P ") key       (" ORV_P ") result   (" ORV_D ")",
                kSingle, name, addr(self), addr(key), result);
}

// Creates the key record; null and the failure status in result.
orvThreadKey *newKey(orvKeyDestructor destructor, int &result) {
  auto *key = static_cast<orvThreadKey *>(threads::allocZeroed(sizeof(orvThreadKey)));
  if (key == nullptr) {
    result = ORV_NO_MEMORY;
    return nullptr;
  }
  key->slot = pal::tlsAlloc();
  if (key->slot == pal::kTlsOutOfIndexes) {
    threads::freeBlock(key);
    result = ORV_NOTHING_TO_DO;
    return nullptr;
  }
  if (destructor != nullptr) {
    result = orvMutexCreate(&key->mutex);
    if (result != ORV_OK) {
      pal::tlsFree(key->slot);
      threads::freeBlock(key);
      return nullptr;
    }
  }
  key->destructor = destructor;
  result = ORV_OK;
  return key;
}

}  // namespace

namespace threads {

int setSpecific(orvThreadKey *key, void *value, orvThread *self) {
  int result = ORV_OK;
  if (self != nullptr && key->destructor != nullptr && value != nullptr && findAssoc(self, key) == nullptr) {
    result = createAssoc(self, key);
  }
  if (result == ORV_OK && !pal::tlsSetValue(key->slot, value)) {
    result = ORV_FAILED;
  }
  traceKeyValue(self, "orvThreadSetSpecific", key, result, value);
  return result;
}

void callUserDestroyRoutines(orvThread *self) {
  if (self == nullptr) {
    return;
  }
  while (orvKeyAssoc *assoc = self->keyValues) {
    {
      NestedCalls nested(self);
      orvMutexLock(&assoc->mutex);
    }
    orvThreadKey *key = keyOf(assoc).load(std::memory_order_acquire);
    if (key != nullptr) {
      void *value = pal::tlsGetValue(key->slot);
      if (value != nullptr && key->destructor != nullptr) {
        THREADS_TRACE(self, kTraceInternal,
                      "%-*s thread (" ORV_P ") key       (" ORV_P "): " ORV_X "(" ORV_X ")", kSingle,
                      "<callUserDestroyRoutines>", addr(self), addr(key),
                      addr(reinterpret_cast<void *>(key->destructor)), addr(value));
        key->destructor(value);
      }
    }
    self->keyValues = assoc->nextOfThread;
    threadOf(assoc).store(nullptr, std::memory_order_release);
    bool keyGone = keyOf(assoc).load(std::memory_order_acquire) == nullptr;
    NestedCalls nested(self);
    orvMutexUnlock(&assoc->mutex);
    if (keyGone) {
      nested.restore();
      destroyAssoc(self, assoc, self, nullptr);
    }
  }
}

}  // namespace threads

extern "C" {

ORV_API int orvThreadKeyCreate(orvThreadKey **key, orvKeyDestructor destructor) {
  orvThread *self = orvThreadSelf();
  int result = ORV_OK;
  orvThreadKey *made = nullptr;
  {
    NestedCalls nested(self);
    made = newKey(destructor, result);
  }
  *key = made;
  traceKey(self, "orvThreadKeyCreate", made, result);
  return result;
}

ORV_API int orvThreadKeyDestroy(orvThreadKey *key) {
  if (key == nullptr) {
    return ORV_OK;
  }
  orvThread *self = orvThreadSelf();
  traceKey(self, "orvThreadKeyDestroy", key, ORV_OK);
  NestedCalls nested(self);
  if (key->mutex != 0) {
    orvMutexLock(&key->mutex);
  }
  orvKeyAssoc *assoc = key->head;
  while (assoc != nullptr) {
    orvKeyAssoc *next = assoc->nextOfKey;
    orvMutexLock(&assoc->mutex);
    keyOf(assoc).store(nullptr, std::memory_order_release);
    assoc->nextOfKey = nullptr;
    bool threadGone = threadOf(assoc).load(std::memory_order_acquire) == nullptr;
    orvMutexUnlock(&assoc->mutex);
    if (threadGone) {
      destroyAssoc(self, assoc, nullptr, key);
    }
    assoc = next;
  }
  key->head = nullptr;
  if (key->mutex != 0) {
    orvMutexUnlock(&key->mutex);
  }
  pal::tlsFree(key->slot);
  if (key->mutex != 0) {
    orvMutexDestroy(&key->mutex);
  }
  memset(key, 0, sizeof *key);
  threads::freeBlock(key);
  return ORV_OK;
}

ORV_API int orvThreadSetSpecific(orvThreadKey *key, void *value) {
  if (key == nullptr) {
    threads::fail(threads::kLineNullKey);
  }
  return threads::setSpecific(key, value, orvThreadSelf());
}

ORV_API int orvThreadGetSpecific(orvThreadKey *key, void **value) {
  orvThread *self = orvThreadSelf();
  void *found = key != nullptr ? pal::tlsGetValue(key->slot) : nullptr;
  if (value != nullptr) {
    *value = found;
  }
  traceKeyValue(self, "orvThreadGetSpecific", key, ORV_OK, found);
  return ORV_OK;
}

}  // extern "C"

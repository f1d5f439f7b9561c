// The POSIX handle table.
#include "platform/posix/handle_table.h"

#include <atomic>
#include <mutex>

#include "platform/posix/never_destroyed.h"

namespace pal::posix {

namespace detail {

std::atomic<Slot *> slotChunks[kMaxChunks] = {};

KernelObject *lookupFailed() {
  setLastError(kErrorInvalidHandle);
  return nullptr;
}

}  // namespace detail

namespace {

using detail::decode;
using detail::kChunkSize;
using detail::kGenerationMask;
using detail::kIndexBits;
using detail::kMaxSlots;
using detail::matches;
using detail::Slot;

struct Table {
  std::atomic<Slot *> *chunks = detail::slotChunks;
  std::mutex lock;  // guards everything below and chunk creation
  uint32_t nextIndex = 0;
  uint32_t freeHead = 0;  // index + 1 of the first free slot, 0: none
  KernelObject *retired[static_cast<size_t>(ObjectKind::Count)] = {};
};

Table &table() { return neverDestroyed<Table>(); }

Slot *slotAt(Table &t, uint32_t index) {
  Slot *chunk = t.chunks[index / kChunkSize].load(std::memory_order_acquire);
  return chunk == nullptr ? nullptr : &chunk[index % kChunkSize];
}

Handle encode(uint32_t index, uint64_t generation) {
  return static_cast<Handle>(((generation & kGenerationMask) << kIndexBits) | (index + 1u));
}

}  // namespace

KernelObject *takeRetired(ObjectKind kind) {
  Table &t = table();
  std::lock_guard<std::mutex> guard(t.lock);
  KernelObject *&head = t.retired[static_cast<size_t>(kind)];
  KernelObject *object = head;
  if (object != nullptr) {
    head = object->nextRetired;
    object->nextRetired = nullptr;
  }
  return object;
}

namespace {

// Both under the table's lock.
void retire(Table &t, KernelObject *object) {
  KernelObject *&head = t.retired[static_cast<size_t>(object->kind())];
  object->nextRetired = head;
  head = object;
}

void freeSlot(Table &t, uint32_t index) {
  slotAt(t, index)->nextFree = t.freeHead;
  t.freeHead = index + 1;
}

}  // namespace

void discardObject(KernelObject *object) {
  if (object == nullptr) {
    return;
  }
  Table &t = table();
  std::lock_guard<std::mutex> guard(t.lock);
  retire(t, object);
}

Handle insertObject(KernelObject *object) {
  Table &t = table();
  std::lock_guard<std::mutex> guard(t.lock);
  uint32_t index;
  if (t.freeHead != 0) {
    index = t.freeHead - 1;
    t.freeHead = slotAt(t, index)->nextFree;
  } else {
    if (t.nextIndex >= kMaxSlots) {
      setLastError(kErrorNotEnoughMemory);
      return kNullHandle;
    }
    index = t.nextIndex;
    std::atomic<Slot *> &chunk = t.chunks[index / kChunkSize];
    if (chunk.load(std::memory_order_relaxed) == nullptr) {
      Slot *fresh = new (std::nothrow) Slot[kChunkSize];
      if (fresh == nullptr) {
        setLastError(kErrorNotEnoughMemory);
        return kNullHandle;
      }
      chunk.store(fresh, std::memory_order_release);
    }
    ++t.nextIndex;
  }
  Slot *slot = slotAt(t, index);
  uint64_t generation = slot->state.load(std::memory_order_relaxed) >> 1;
  slot->object.store(object, std::memory_order_relaxed);
  slot->state.store((generation << 1) | 1u, std::memory_order_release);
  return encode(index, generation);
}

Handle insertOrRelease(KernelObject *object) {
  Handle handle = insertObject(object);
  if (handle == kNullHandle) {
    object->release();
    discardObject(object);
    setLastError(kErrorNotEnoughMemory);
  }
  return handle;
}

bool closeObject(Handle handle) {
  uint32_t index;
  uintptr_t generation;
  Table &t = table();
  if (decode(handle, index, generation)) {
    if (Slot *slot = slotAt(t, index)) {
      uint64_t state = slot->state.load(std::memory_order_acquire);
      // Only one closer wins: the one whose exchange moves the slot on.
      while (matches(state, generation)) {
        uint64_t closed = ((state >> 1) + 1) << 1;
        if (slot->state.compare_exchange_weak(state, closed, std::memory_order_acq_rel)) {
          KernelObject *object = slot->object.exchange(nullptr, std::memory_order_acq_rel);
          bool released = object->release();
          uint32_t error = getLastError();
          {
            std::lock_guard<std::mutex> guard(t.lock);
            retire(t, object);
            freeSlot(t, index);
          }
          setLastError(error);
          return released;
        }
      }
    }
  }
  setLastError(kErrorInvalidHandle);
  return false;
}

}  // namespace pal::posix

namespace pal {

// Module and window handles are no kernel object handles: as CloseHandle
// does with them, refuse them (freeLibrary and destroyWindow close them).
bool closeHandle(Handle handle) {
  posix::KernelObject *object = posix::lookupObject(handle, posix::ObjectKind::None);
  if (object != nullptr &&
      (object->kind() == posix::ObjectKind::Module || object->kind() == posix::ObjectKind::Window)) {
    setLastError(kErrorInvalidHandle);
    return false;
  }
  return posix::closeObject(handle);
}

}  // namespace pal

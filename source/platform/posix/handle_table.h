// POSIX kernel objects and the handle table that names them.
//
// Win32 names every kernel object (mutex, semaphore, event, thread, file,
// file mapping) by a handle that any thread may wait on or close, and a
// closed or made-up handle fails with error 6 instead of crashing. The POSIX
// half reproduces that with one process-wide table:
//
// - A handle encodes a slot index and the slot's generation. Closing a handle
//   bumps the generation, so a stale handle no longer matches and fails with
//   error 6 (kErrorInvalidHandle).
// - Lookups take no lock and no atomic read-modify-write: they are plain
//   acquire loads, so an uncontended mutex or event operation stays in user
//   space and costs little more than the object's own atomic.
// - Object memory is type-stable: a closed object releases what it holds
//   (descriptors, mappings, thread references) at once, but its storage is
//   kept for the next object of the same kind. A thread that still uses a
//   closed handle's object (a caller error) therefore never touches freed
//   memory.
#ifndef ORVANE_PLATFORM_POSIX_HANDLE_TABLE_H
#define ORVANE_PLATFORM_POSIX_HANDLE_TABLE_H

#include <atomic>
#include <cstdint>
#include <new>
#include <utility>

#include "platform/pal.h"

namespace pal::posix {

enum class ObjectKind : uint32_t {
  None = 0,
  Mutex,
  Semaphore,
  Event,
  Thread,
  File,
  Mapping,
  Module,
  Window,
  Count
};

class KernelObject {
 public:
  explicit KernelObject(ObjectKind kind) : kind_(kind) {}
  virtual ~KernelObject() = default;
  KernelObject(const KernelObject &) = delete;
  KernelObject &operator=(const KernelObject &) = delete;

  ObjectKind kind() const { return kind_; }

  // Called once when the object's handle is closed: release what the object
  // holds. Returns false (with a last error) when releasing failed; the
  // handle is closed all the same.
  virtual bool release() { return true; }

  // The next closed object of the same kind while this one waits for reuse
  // (the table's retired lists run through the objects, so that closing a
  // handle never allocates).
  KernelObject *nextRetired = nullptr;

 private:
  ObjectKind kind_;
};

// Storage of a closed object of this kind, for reuse, or null.
KernelObject *takeRetired(ObjectKind kind);

// Puts object (from newObject) in the table and returns its handle; on
// failure (the table is full) destroys nothing, returns kNullHandle and sets
// last error 8. The caller then deletes the object with discardObject.
Handle insertObject(KernelObject *object);

// Gives an object that never got a handle back to its kind's pool.
void discardObject(KernelObject *object);

// insertObject for an object that already holds resources: when the table
// is full, the object's release() runs, its storage goes back to the pool,
// and the result is kNullHandle with last error 8.
Handle insertOrRelease(KernelObject *object);

// The table's slots, for the inline lookup below.
namespace detail {

// A handle is (generation << kIndexBits) | (slot index + 1); 0 is never a
// handle. On 32-bit targets the generation has 12 bits and wraps.
constexpr unsigned kIndexBits = 20;
constexpr uint32_t kChunkSize = 1024;
constexpr uint32_t kMaxChunks = (1u << kIndexBits) / kChunkSize;
constexpr uint32_t kMaxSlots = kMaxChunks * kChunkSize - 1;
constexpr uintptr_t kIndexMask = (uintptr_t{1} << kIndexBits) - 1;
constexpr uintptr_t kGenerationMask = ~uintptr_t{0} >> kIndexBits;

struct Slot {
  // Bit 0: open. Bits 1 and up: generation.
  std::atomic<uint64_t> state{0};
  std::atomic<KernelObject *> object{nullptr};
  // The next free slot's index + 1 while this one is free (0: none); the
  // table's free list runs through the slots, under the table's lock.
  uint32_t nextFree = 0;
};

// Chunks of slots, created on demand and never freed.
extern std::atomic<Slot *> slotChunks[kMaxChunks];

// Splits a handle; false when it cannot name a slot.
inline bool decode(Handle handle, uint32_t &index, uintptr_t &generation) {
  uintptr_t low = handle & kIndexMask;
  if (low == 0) {
    return false;
  }
  index = static_cast<uint32_t>(low - 1);
  generation = (handle >> kIndexBits) & kGenerationMask;
  return index < kMaxSlots;
}

inline bool matches(uint64_t state, uintptr_t generation) {
  return (state & 1u) != 0 && static_cast<uintptr_t>((state >> 1) & kGenerationMask) == generation;
}

// Sets last error 6 and returns null.
KernelObject *lookupFailed();

}  // namespace detail

// The open object behind handle when it is of the given kind (None: any
// kind); null with last error 6 otherwise. Inline: it sits on the fast path
// of every wait and release.
inline KernelObject *lookupObject(Handle handle, ObjectKind kind) {
  uint32_t index;
  uintptr_t generation;
  if (detail::decode(handle, index, generation)) {
    detail::Slot *chunk = detail::slotChunks[index / detail::kChunkSize].load(std::memory_order_acquire);
    if (chunk != nullptr) {
      detail::Slot &slot = chunk[index % detail::kChunkSize];
      if (detail::matches(slot.state.load(std::memory_order_acquire), generation)) {
        KernelObject *object = slot.object.load(std::memory_order_relaxed);
        if (object != nullptr && (kind == ObjectKind::None || object->kind() == kind)) {
          return object;
        }
      }
    }
  }
  return detail::lookupFailed();
}

// Closes the handle: the object's release() runs and its storage goes back
// to its kind's pool. False with last error 6 for a handle that is not open.
bool closeObject(Handle handle);

// Allocates an object of type T (which names its kind as T::kKind), reusing
// the storage of a closed one when there is one. Null when out of memory.
// Each kind has exactly one class, and its destructor must be safe on an
// object whose release() already ran.
template <class T, class... Args>
T *newObject(Args &&...args) {
  if (KernelObject *old = takeRetired(T::kKind)) {
    old->~KernelObject();
    return new (old) T(std::forward<Args>(args)...);
  }
  return new (std::nothrow) T(std::forward<Args>(args)...);
}

template <class T>
T *lookup(Handle handle) {
  return static_cast<T *>(lookupObject(handle, T::kKind));
}

}  // namespace pal::posix

#endif

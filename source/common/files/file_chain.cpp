// A chain of segments seen as one file.
//
// A record opened with the spill-over flag, or given a further segment,
// heads a chain: the logical file is the first segmentLimit bytes of each
// segment but the last, then the whole of the last. The segment that holds
// the logical position is the first whose position lies before its limit
// (or the last); the segments before it stand at their limits. A read or
// write that reaches a segment's limit continues in the next segment, which
// is rewound to 0 at that moment. A lone record is a chain of one, and every
// operation then comes down to the segment's own.
#include <string.h>

#include <algorithm>

#include "common/files/file_internal.h"
#include "common/files/temp_internal.h"
#include "platform/pal_file.h"

namespace files {

namespace {

// Whether a failed write to seg continues in a new temporary file: the last
// segment of a spill-over chain, and a disk that is full.
bool shouldSpill(const orvFile *seg, const WriteOutcome &outcome) {
  if (!canSpill(seg) || seg->next != nullptr || isStdFile(seg)) {
    return false;
  }
  return outcome.systemError == pal::kErrorDiskFull || outcome.systemError == 39;  // handle disk full
}

// Continues the full segment in a new one: the bytes still held in its
// buffer move into the new segment's buffer, and the full segment ends where
// its data ends.
orvFile *spillInto(orvFile *full) {
  int32_t code = 0;
  orvFile *next = temp::spill(full, &code);
  if (next == nullptr) {
    setError(code);
    return nullptr;
  }
  if (full->bufDirty != 0) {
    memcpy(next->buffer, full->buffer, full->bufCount);
    next->bufCount = full->bufCount;
    next->bufPos = full->bufCount;
    next->bufDirty = 1;
    full->bufPos = 0;
    full->bufCount = 0;
    full->bufDirty = 0;
  }
  full->segmentLimit = segmentPosition(full);
  return next;
}

// Writes out a segment's pending bytes; a spill-over segment whose disk is
// full continues in new segments until the bytes are written.
bool flushWithSpill(orvFile *seg) {
  for (;;) {
    WriteOutcome outcome;
    if (flushBuffer(seg, outcome)) {
      return true;
    }
    if (!shouldSpill(seg, outcome)) {
      return false;
    }
    seg = spillInto(seg);
    if (seg == nullptr) {
      return false;
    }
  }
}

// Leaves seg (at its limit) for the next segment, rewound to 0.
bool enterNext(orvFile *seg) {
  WriteOutcome outcome;
  if (!flushBuffer(seg, outcome)) {
    return false;
  }
  return seekSegment(seg->next, 0, ORV_FILE_SEEK_SET);
}

bool atLimit(const orvFile *seg) { return segmentPosition(seg) >= seg->segmentLimit; }

}  // namespace

orvFile *currentSegment(orvFile *file) {
  while (file->next != nullptr && atLimit(file)) {
    file = file->next;
  }
  return file;
}

bool flushChain(orvFile *file) {
  for (orvFile *seg = file; seg != nullptr; seg = seg->next) {
    if (seg->bufDirty != 0 && !flushWithSpill(seg)) {
      return false;
    }
  }
  return true;
}

uint32_t readChain(orvFile *file, uint8_t *target, uint32_t size) {
  if (!flushChain(file)) {
    return 0;
  }
  uint32_t total = 0;
  while (total < size) {
    orvFile *seg = currentSegment(file);
    if (isTextMode(seg) && seg->eofSeen != 0) {
      break;
    }
    uint32_t want = size - total;
    if (seg->next != nullptr) {
      want = static_cast<uint32_t>(std::min<int64_t>(want, seg->segmentLimit - segmentPosition(seg)));
    }
    uint32_t got = readSegment(seg, target + total, want);
    total += got;
    if (got < want) {
      break;  // end of data, a Ctrl-Z, or a failure
    }
    if (seg->next != nullptr && atLimit(seg) && !enterNext(seg)) {
      break;
    }
  }
  return total;
}

uint32_t writeChain(orvFile *file, const uint8_t *source, uint32_t size) {
  uint32_t total = 0;
  while (total < size) {
    orvFile *seg = currentSegment(file);
    uint32_t want = size - total;
    if (seg->next != nullptr) {
      // A segment inside the chain keeps its length.
      want = static_cast<uint32_t>(std::min<int64_t>(want, seg->segmentLimit - segmentPosition(seg)));
      WriteOutcome outcome = writeSegment(seg, source + total, want);
      total += outcome.accepted;
      if (outcome.failed || (atLimit(seg) && !enterNext(seg))) {
        break;
      }
      continue;
    }
    WriteOutcome outcome = writeSegment(seg, source + total, want);
    total += outcome.accepted;
    if (!outcome.failed) {
      continue;
    }
    if (!shouldSpill(seg, outcome) || spillInto(seg) == nullptr) {
      break;
    }
  }
  return total;
}

bool seekChain(orvFile *file, int64_t offset, int origin) {
  if (!flushChain(file)) {
    return false;
  }
  if (file->next == nullptr) {
    return seekSegment(file, offset, origin);
  }
  int64_t target = 0;
  switch (origin) {
    case ORV_FILE_SEEK_SET:
      target = offset;
      break;
    case ORV_FILE_SEEK_CUR:
      target = tellChain(file) + offset;
      break;
    case ORV_FILE_SEEK_END: {
      int64_t size = sizeChain(file);
      if (size < 0) {
        return false;
      }
      target = size + offset;
      break;
    }
    default:
      setSystemError(pal::kErrorInvalidParameter);
      return false;
  }
  if (target < 0) {
    setSystemError(pal::kErrorNegativeSeek);
    return false;
  }
  int64_t start = 0;
  for (orvFile *seg = file;; seg = seg->next) {
    if (seg->next != nullptr && target >= start + seg->segmentLimit) {
      if (!seekSegment(seg, seg->segmentLimit, ORV_FILE_SEEK_SET)) {
        return false;
      }
      start += seg->segmentLimit;
      continue;
    }
    return seekSegment(seg, target - start, ORV_FILE_SEEK_SET);
  }
}

int64_t tellChain(orvFile *file) {
  if (file->next == nullptr) {
    int64_t ignored = 0;
    if (!systemPosition(file, ignored)) {
      return -1;
    }
    return segmentPosition(file);
  }
  int64_t before = 0;
  orvFile *seg = file;
  while (seg->next != nullptr && atLimit(seg)) {
    before += seg->segmentLimit;
    seg = seg->next;
  }
  return before + segmentPosition(seg);
}

int64_t sizeChain(orvFile *file) {
  if (!flushChain(file)) {
    return -1;
  }
  int64_t before = 0;
  orvFile *seg = file;
  while (seg->next != nullptr) {
    before += seg->segmentLimit;
    seg = seg->next;
  }
  int64_t size = 0;
  if (!segmentFileSize(seg, size)) {
    return -1;
  }
  return before + size;
}

int eofChain(orvFile *file) {
  orvFile *seg = currentSegment(file);
  if (isTextMode(seg) && seg->eofSeen != 0) {
    return 1;
  }
  if (seg->next != nullptr) {
    return 0;  // bytes remain before the segment's limit
  }
  if (seg->bufDirty == 0 && seg->bufPos < seg->bufCount) {
    return 0;  // bytes remain in the buffer
  }
  if (!flushChain(file)) {
    return 1;
  }
  seg = currentSegment(file);
  int64_t size = 0;
  if (!segmentFileSize(seg, size)) {
    return 1;
  }
  return segmentPosition(seg) >= size ? 1 : 0;
}

bool setEofChain(orvFile *file) {
  if (!flushChain(file)) {
    return false;
  }
  orvFile *seg = currentSegment(file);
  if (!dropReadBuffer(seg)) {
    return false;
  }
  if (!pal::setEndOfFile(seg->handle)) {
    setLastSystemError();
    return false;
  }
  if (tracksLimit(seg)) {
    seg->segmentLimit = seg->segmentPos;
  }
  // The segments behind the new end are emptied.
  for (orvFile *s = seg->next; s != nullptr; s = s->next) {
    s->bufPos = 0;
    s->bufCount = 0;
    s->bufDirty = 0;
    if (!setSystemPosition(s, 0) || !pal::setEndOfFile(s->handle)) {
      setLastSystemError();
      return false;
    }
    s->segmentLimit = 0;
  }
  return true;
}

void clearEofChain(orvFile *file) {
  for (orvFile *seg = file; seg != nullptr; seg = seg->next) {
    seg->eofSeen = 0;
  }
}

}  // namespace files

// The temporary-file layer as the rest of the file layer sees it: making a
// temporary file, closing one, spilling a full file over into a new one,
// and the layer's set-up and tear-down.
#ifndef ORVANE_FILES_TEMP_INTERNAL_H
#define ORVANE_FILES_TEMP_INTERNAL_H

#include <cstdint>

#include "common/files/file_internal.h"
#include "orvane/files.h"

namespace files::temp {

struct MakeRequest {
  uint32_t flags = 0;               // open flags (ORV_FILE_TEMPORARY among them)
  const char *prefix = nullptr;     // name prefix, may be null
  char **nameOut = nullptr;         // receives a heap copy of the path
  const char *directory = nullptr;  // the caller's directory, or null for the list
};

// Makes a temporary file: a new name in a directory of the list (or the
// caller's), opened with the flags, listed and registered. Null with the
// error code in *code.
orvFile *make(const MakeRequest &request, int32_t *code);

// Closes a temporary file. Option 1 deletes it and frees the record (false
// with -10 when the file cannot be deleted; the record then stays); other
// options close the handle only. The segments behind it are closed first,
// with the same option. lock, when given, holds the chain and is released
// before any record is freed.
bool close(orvFile *file, int options, ChainLock *lock);

// A write to full (the last segment of its chain, opened with the spill-over
// flag) came up short: marks its directory full and makes a new temporary
// file with the same flags, chained behind it. Null with *code.
orvFile *spill(orvFile *full, int32_t *code);

// Set-up at file-layer start (configuration, directory list, registry and
// clean-up thread) and tear-down at its end.
bool setUp();
void tearDown();

}  // namespace files::temp

#endif

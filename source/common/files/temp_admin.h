// What the temporary-file layer found at start-up, and the registry's
// maintenance: internal calls for the orv tool ("orv info", "orv tempfiles"),
// which links the library's objects. They are not part of the exported
// interface.
#ifndef ORVANE_FILES_TEMP_ADMIN_H
#define ORVANE_FILES_TEMP_ADMIN_H

#include <cstdint>

namespace files::admin {

// The directory of the list at index (0 first), or null past the end.
const char *tempDirectory(int index);
// The registry file's path, or null when no registry is kept.
const char *tempRegistryPath();
// Seconds after which a registered file counts as abandoned.
uint32_t tempTimeout();
// The registry's lines as native text (heap; the caller frees), or null.
char *tempRegistryList();
// Runs one clean-up pass of the registry now: 1 done, 0 no registry or failure.
int tempCleanupPass();

}  // namespace files::admin

#endif

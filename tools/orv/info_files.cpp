// orv info: the files section: the temporary-file directories, the registry
// of temporary files and its time-out, and the standard files.
#include <stdio.h>

#include <string>

#include "common/files/temp_admin.h"
#include "orv_commands.h"
#include "orvane/files.h"

namespace orv {

namespace {

const char *kindOf(orvFile *file) { return orvFileIsATerminal(file) != 0 ? "terminal" : "file or pipe"; }

}  // namespace

void reportFiles() {
  printf("files\n");
  const char *first = files::admin::tempDirectory(0);
  if (first == nullptr) {
    row("temporary directories", "(none: temporary files cannot be made)");
  }
  for (int i = 0; const char *dir = files::admin::tempDirectory(i); ++i) {
    row(i == 0 ? "temporary directories" : "", std::to_string(i) + ": " + dir);
  }
  row("  (settings)",
      "TEMPFILEDIRS, Temporary, TEMP"
#if !defined(_WIN32)
      ", TMPDIR"
#endif
      ", else the current directory");
  const char *registry = files::admin::tempRegistryPath();
  row("registry file", registry != nullptr ? std::string(registry) + "  (TEMPFILEREGISTRY)"
                                           : "(TEMPFILEREGISTRY not set: no registry, no clean-up thread)");
  row("time-out", std::to_string(files::admin::tempTimeout()) + " seconds  (TEMPFILETIMEOUT" +
                      (registry != nullptr ? ")" : "; used only with a registry)"));
  row("standard input", kindOf(orvFileGetStdPtr(ORV_FILE_STDIN)));
  row("standard output", kindOf(orvFileGetStdPtr(ORV_FILE_STDOUT)));
  row("standard error", kindOf(orvFileGetStdPtr(ORV_FILE_STDERR)));
}

}  // namespace orv

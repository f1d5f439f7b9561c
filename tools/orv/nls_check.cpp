// orv nls check FILE: loads an NLS table as process start-up would and
// reports the first error with its line; a table that loads has each of its
// character-set definitions made into a character-set object.
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <string>

#include "nls_commands.h"
#include "orvane/charsets.h"
#include "orvane/frame.h"
#include "orvane/nls.h"

#if defined(_WIN32)
#include <windows.h>
#else
#include <unistd.h>
#endif

namespace orv {

namespace {

void setVariable(const char *name, const char *value) {
#if defined(_WIN32)
  _putenv_s(name, value);
  SetEnvironmentVariableA(name, value);
#else
  setenv(name, value, 1);
#endif
}

// An absolute path of file, so that the library's search opens just it.
std::string absolutePath(const char *file) {
#if defined(_WIN32)
  char full[MAX_PATH];
  DWORD n = GetFullPathNameA(file, sizeof full, full, nullptr);
  return n > 0 && n < sizeof full ? std::string(full, n) : std::string(file);
#else
  if (file[0] == '/') {
    return file;
  }
  char cwd[4096];
  return getcwd(cwd, sizeof cwd) != nullptr ? std::string(cwd) + "/" + file : std::string(file);
#endif
}

}  // namespace

int runNlsCheck(int argc, char **argv) {
  if (argc != 1) {
    fputs("usage: orv nls check FILE\n", stderr);
    return 2;
  }
  const std::string path = absolutePath(argv[0]);
  FILE *probe = fopen(path.c_str(), "rb");
  if (probe == nullptr) {
    fprintf(stderr, "orv nls check: %s does not open\n", path.c_str());
    return 1;
  }
  fclose(probe);
  setVariable("ORVNLSTAB", path.c_str());
#if !defined(_WIN32)
  // Profile files would come before the environment in the settings chain:
  // read none (an empty profile directory), so that FILE is the table.
  setVariable("ORVANE_PROFILE_DIR", "/nonexistent-orvane-profile-directory");
#endif
  if (char *resolved = orvResourceGetNLSStr("ORVNLSTAB")) {
    const bool same = path == resolved;
    if (!same) {
      fprintf(stderr,
              "orv nls check: ORVANE.INI sets ORVNLSTAB to %s, which the library reads before the "
              "environment; the check cannot point it at %s\n",
              resolved, path.c_str());
    }
    orvMemoryFreeFunc(resolved);
    if (!same) {
      return 2;
    }
  }
  const uint32_t before = nlsGetErrorLineNumber();
  const int status = nlsInit();
  const uint32_t line = nlsGetErrorLineNumber() - before;
  if (status != NLS_OK && status != NLS_ERR_CHARSET_OBJECT && status != NLS_ERR_MESSAGE_SET) {
    printf("%s: error %d at line %u: %s\n", path.c_str(), status, line, nlsStatusText(status));
    return 1;
  }
  printf("%s: loaded, %u lines\n", path.c_str(), line);
  int failures = 0;
  for (const std::string &name : definitionNames(path)) {
    int error = 0;
    orvCharSet set = orvCharacterSetCreate(name.c_str(), &error);
    if (set == 0) {
      printf("  definition %-12s error %d\n", name.c_str(), error);
      ++failures;
      continue;
    }
    printf("  definition %-12s ok\n", name.c_str());
    orvCharacterSetDestroy(set);
  }
  if (status == NLS_ERR_CHARSET_OBJECT) {
    printf("  the default locale's character set has no definition (status 12)\n");
    ++failures;
  }
  nlsTerminate();
  return failures == 0 ? 0 : 1;
}

}  // namespace orv

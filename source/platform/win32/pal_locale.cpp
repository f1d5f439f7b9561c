// Win32 half of the locale services: lstrcmpA, lstrcmpiA, the numeric
// locale's one candidate (the runtime's setlocale understands the Windows
// language abbreviations itself), GetCurrentDirectoryA and
// GetFileAttributesA.
#include <windows.h>

#include <ctype.h>

#include "platform/pal_locale.h"

namespace pal {

int compareLocale(const char *a, const char *b) { return lstrcmpA(a, b); }

int compareLocaleNoCase(const char *a, const char *b) { return lstrcmpiA(a, b); }

std::vector<std::string> numericLocaleCandidates(const char *name, int /*charSet*/) {
  return {name != nullptr ? name : ""};
}

std::string currentDirectory() {
  char dir[MAX_PATH];
  DWORD n = GetCurrentDirectoryA(sizeof dir, dir);
  return n > 0 && n < sizeof dir ? std::string(dir, n) : std::string();
}

bool isDirectory(const char *path) {
  DWORD attributes = GetFileAttributesA(path);
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

const void *classificationTable() { return __pctype_func(); }

}  // namespace pal

// The platform layer's locale services: the runtime's locale comparisons,
// the numeric locale of nlsGetLocaleInfo, and the two file-system queries
// of the NLS table's search.
#ifndef ORVANE_PLATFORM_PAL_LOCALE_H
#define ORVANE_PLATFORM_PAL_LOCALE_H

#include <string>
#include <vector>

namespace pal {

// lstrcmpA: the locale's comparison of two texts (POSIX: strcoll).
int compareLocale(const char *a, const char *b);

// lstrcmpiA: the locale's comparison of two texts without regard to case
// (POSIX: both texts as wide characters, each lowered with towlower, then
// wcscoll; a text that is not valid in the runtime's character set is
// compared bytewise with ASCII letters folded).
int compareLocaleNoCase(const char *a, const char *b);

// setlocale(LC_NUMERIC, name). On POSIX the Windows language abbreviations
// of the NLS table are tried in the spellings of POSIX systems as well, and
// "C" is the last resort. charSet is the NLS character-set id of the
// locale (it chooses the codeset of the POSIX spellings). Returns the name
// that took effect, or an empty string when none did.
std::string setNumericLocale(const char *name, int charSet);

// The names setNumericLocale tries, in order (POSIX: the name, its POSIX
// spellings with and without a codeset, "C"; Windows: the name alone).
std::vector<std::string> numericLocaleCandidates(const char *name, int charSet);

// An address that identifies the runtime's character-classification table
// in force for the calling thread (glibc: the thread's ctype table; Windows:
// the _pctype table of the current locale), or null when the platform
// offers none. While it stays the same, isalpha, isdigit and their kin
// answer the same, so a caller may keep answers it read before.
const void *classificationTable();

// GetCurrentDirectoryA: the process's current directory, or an empty string.
std::string currentDirectory();

// True when path names an existing directory (which is never a table, though
// POSIX fopen opens one).
bool isDirectory(const char *path);

}  // namespace pal

#endif

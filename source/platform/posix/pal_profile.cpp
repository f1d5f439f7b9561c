// POSIX profile files: the reader behind getPrivateProfileString.
//
// A bare profile name resolves in the user's profile directory:
// $ORVANE_PROFILE_DIR when set, else $XDG_CONFIG_HOME/orvane, else
// $HOME/.config/orvane. A key that the user's file lacks (or a file the user
// does not have) is then looked up in the system-wide profile directories, in
// order: <dir>/orvane for each absolute entry of $XDG_CONFIG_DIRS (/etc/xdg
// when unset or empty), then <sysconfdir>/orvane of the installation. The
// first file that has the key gives the value, key by key, as the Windows
// directory's profile serves the whole machine there. The file name is matched
// without regard to case inside each directory. Sections and keys are matched
// without regard to case, the first match wins, lines that begin with ';' are
// comments, and a value loses its surrounding blanks and one pair of
// surrounding quotes.
#include <dirent.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>

#include <new>
#include <string>
#include <utility>
#include <vector>

#include "orvane_build_config.h"
#include "platform/pal.h"
#include "platform/posix/profile_path.h"

namespace pal {

namespace {

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

// Trims blanks at both ends of [begin, end).
void trim(const char *&begin, const char *&end) {
  while (begin < end && isBlank(*begin)) {
    ++begin;
  }
  while (end > begin && isBlank(end[-1])) {
    --end;
  }
}

bool equalsNoCase(const char *begin, const char *end, const char *name) {
  size_t n = static_cast<size_t>(end - begin);
  return strlen(name) == n && strncasecmp(begin, name, n) == 0;
}

uint32_t copyOut(const char *begin, const char *end, char *out, uint32_t size) {
  uint32_t n = static_cast<uint32_t>(end - begin);
  if (n > size - 1) {
    n = size - 1;
  }
  memcpy(out, begin, n);
  out[n] = '\0';
  return n;
}

// Looks key up in section of the open file; on a hit stores the value's
// bounds in value and returns true.
bool findValue(FILE *file, const char *section, const char *key, std::string &value) {
  bool inSection = false;
  std::string line;
  char chunk[512];
  while (fgets(chunk, sizeof chunk, file) != nullptr) {
    line.append(chunk);
    if (line.back() != '\n' && !feof(file)) {
      continue;  // a long line: read the rest of it first
    }
    const char *begin = line.data();
    const char *end = begin + line.size();
    trim(begin, end);
    if (begin == end || *begin == ';') {
      line.clear();
      continue;
    }
    if (*begin == '[') {
      const char *close = static_cast<const char *>(memchr(begin, ']', static_cast<size_t>(end - begin)));
      if (close != nullptr) {
        const char *nb = begin + 1;
        const char *ne = close;
        trim(nb, ne);
        if (inSection) {
          return false;  // the first matching section ends here
        }
        inSection = equalsNoCase(nb, ne, section);
      }
      line.clear();
      continue;
    }
    if (inSection) {
      const char *eq = static_cast<const char *>(memchr(begin, '=', static_cast<size_t>(end - begin)));
      if (eq != nullptr) {
        const char *kb = begin;
        const char *ke = eq;
        trim(kb, ke);
        if (equalsNoCase(kb, ke, key)) {
          const char *vb = eq + 1;
          const char *ve = end;
          trim(vb, ve);
          if (ve - vb >= 2 && (*vb == '"' || *vb == '\'') && ve[-1] == *vb) {
            ++vb;
            --ve;
          }
          value.assign(vb, ve);
          return true;
        }
      }
    }
    line.clear();
  }
  return false;
}

// The installation's configuration directory; tests may replace it.
std::string &systemConfigDirectory() {
  static std::string dir = ORVANE_SYSCONFDIR;
  return dir;
}

// Looks key up in the file at path; false when the file does not open or
// lacks the key.
bool findInFile(const std::string &path, const char *section, const char *key, std::string &value) {
  if (path.empty()) {
    return false;
  }
  FILE *file = fopen(path.c_str(), "r");
  if (file == nullptr) {
    return false;
  }
  bool found = findValue(file, section, key, value);
  fclose(file);
  return found;
}

}  // namespace

void setSystemConfigDirectory(const char *dir) {
  systemConfigDirectory() = dir != nullptr ? dir : ORVANE_SYSCONFDIR;
}

namespace {

uint32_t copyProfileDirectory(char *buffer, uint32_t size) {
  std::string dir = profileDirectoryPath();
  if (buffer == nullptr || size == 0) {
    return 0;
  }
  if (dir.size() >= size) {
    buffer[0] = '\0';
    setLastError(kErrorInsufficientBuffer);
    return 0;
  }
  memcpy(buffer, dir.c_str(), dir.size() + 1);
  return static_cast<uint32_t>(dir.size());
}

uint32_t readProfileString(const char *section, const char *key, const char *defaultValue, char *out,
                           uint32_t size, const char *fileName) {
  if (out == nullptr || size == 0) {
    return 0;
  }
  out[0] = '\0';
  const char *def = defaultValue != nullptr ? defaultValue : "";
  const char *defEnd = def + strlen(def);
  if (section == nullptr || key == nullptr || fileName == nullptr) {
    setLastError(kErrorInvalidParameter);
    return 0;
  }
  std::string value;
  bool found = false;
  if (strchr(fileName, '/') != nullptr) {
    found = findInFile(fileName, section, key, value);  // a path is used as it stands
  } else {
    found = findInFile(resolveProfileFileIn(profileDirectoryPath(), fileName), section, key, value);
    if (!found) {
      for (const std::string &dir : systemProfileDirectories()) {
        if (findInFile(resolveProfileFileIn(dir, fileName), section, key, value)) {
          found = true;
          break;
        }
      }
    }
  }
  if (!found) {
    setLastError(kErrorFileNotFound);
    return copyOut(def, defEnd, out, size);
  }
  return copyOut(value.data(), value.data() + value.size(), out, size);
}

}  // namespace

uint32_t profileDirectory(char *buffer, uint32_t size) {
  try {
    return copyProfileDirectory(buffer, size);
  } catch (const std::bad_alloc &) {
    if (buffer != nullptr && size > 0) {
      buffer[0] = '\0';
    }
    setLastError(kErrorNotEnoughMemory);
    return 0;
  }
}

// Without memory for the paths or the value the setting reads as missing:
// the default is copied, with last error 8.
uint32_t getPrivateProfileString(const char *section, const char *key, const char *defaultValue, char *out,
                                 uint32_t size, const char *fileName) {
  try {
    return readProfileString(section, key, defaultValue, out, size, fileName);
  } catch (const std::bad_alloc &) {
    if (out == nullptr || size == 0) {
      return 0;
    }
    const char *def = defaultValue != nullptr ? defaultValue : "";
    const uint32_t n = copyOut(def, def + strlen(def), out, size);
    setLastError(kErrorNotEnoughMemory);
    return n;
  }
}

std::string profileDirectoryPath() {
  const char *dir = getenv("ORVANE_PROFILE_DIR");
  if (dir != nullptr && dir[0] != '\0') {
    return dir;
  }
  const char *xdg = getenv("XDG_CONFIG_HOME");
  if (xdg != nullptr && xdg[0] != '\0') {
    return std::string(xdg) + "/orvane";
  }
  const char *home = getenv("HOME");
  if (home != nullptr && home[0] != '\0') {
    return std::string(home) + "/.config/orvane";
  }
  return std::string();
}

std::vector<std::string> systemProfileDirectories() {
  std::vector<std::string> dirs;
  auto add = [&dirs](std::string dir) {
    while (dir.size() > 1 && dir.back() == '/') {
      dir.pop_back();
    }
    dir += dir == "/" ? "orvane" : "/orvane";
    for (const std::string &seen : dirs) {
      if (seen == dir) {
        return;
      }
    }
    dirs.push_back(std::move(dir));
  };
  const char *xdg = getenv("XDG_CONFIG_DIRS");
  if (xdg == nullptr || xdg[0] == '\0') {
    xdg = "/etc/xdg";
  }
  for (const char *p = xdg;;) {
    const char *colon = strchr(p, ':');
    std::string entry = colon != nullptr ? std::string(p, colon) : std::string(p);
    if (!entry.empty() && entry[0] == '/') {
      add(entry);  // a relative entry is not valid there, and is skipped
    }
    if (colon == nullptr) {
      break;
    }
    p = colon + 1;
  }
  const std::string &sysconf = systemConfigDirectory();
  if (!sysconf.empty() && sysconf[0] == '/') {
    add(sysconf);
  }
  return dirs;
}

std::string resolveProfileFileIn(const std::string &dir, const char *fileName) {
  if (dir.empty()) {
    return std::string();
  }
  DIR *d = opendir(dir.c_str());
  if (d == nullptr) {
    return std::string();
  }
  std::string match;
  while (struct dirent *entry = readdir(d)) {
    if (strcasecmp(entry->d_name, fileName) == 0) {
      // An exact spelling wins over another case of the same name.
      if (match.empty() || strcmp(entry->d_name, fileName) == 0) {
        match = entry->d_name;
      }
    }
  }
  closedir(d);
  return match.empty() ? std::string() : dir + "/" + match;
}

std::string resolveProfileFile(const char *fileName) {
  if (strchr(fileName, '/') != nullptr) {
    return fileName;  // a path is used as it stands
  }
  return resolveProfileFileIn(profileDirectoryPath(), fileName);
}

}  // namespace pal

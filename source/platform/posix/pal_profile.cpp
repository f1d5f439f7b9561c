// POSIX profile files: the reader behind getPrivateProfileString.
//
// A bare profile name resolves in the profile directory: $ORVANE_PROFILE_DIR
// when set, else $XDG_CONFIG_HOME/orvane, else $HOME/.config/orvane. The file
// name is matched without regard to case inside that directory. Sections and
// keys are matched without regard to case, the first match wins, lines that
// begin with ';' are comments, and a value loses its surrounding blanks and
// one pair of surrounding quotes.
#include <dirent.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>

#include <string>

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

}  // namespace

uint32_t profileDirectory(char *buffer, uint32_t size) {
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

uint32_t getPrivateProfileString(const char *section, const char *key, const char *defaultValue,
                                 char *out, uint32_t size, const char *fileName) {
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
  std::string path = resolveProfileFile(fileName);
  FILE *file = path.empty() ? nullptr : fopen(path.c_str(), "r");
  if (file == nullptr) {
    setLastError(kErrorFileNotFound);
    return copyOut(def, defEnd, out, size);
  }
  std::string value;
  bool found = findValue(file, section, key, value);
  fclose(file);
  if (!found) {
    setLastError(kErrorFileNotFound);
    return copyOut(def, defEnd, out, size);
  }
  return copyOut(value.data(), value.data() + value.size(), out, size);
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

std::string resolveProfileFile(const char *fileName) {
  if (strchr(fileName, '/') != nullptr) {
    return fileName;  // a path is used as it stands
  }
  std::string dir = profileDirectoryPath();
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

}  // namespace pal

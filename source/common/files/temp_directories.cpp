// The list of directories for temporary files, from the first setting that
// names at least one directory that exists.
#include <stdlib.h>
#include <string.h>

#include <memory>
#include <string>
#include <vector>

#include "common/files/temp_state.h"
#include "platform/pal_file.h"

namespace files::temp {

namespace {

// The settings consulted in order. POSIX systems name the same setting
// TMPDIR; it comes after TEMP there.
const char *const kDirectorySettings[] = {
    "TEMPFILEDIRS",
    "Temporary",
    "TEMP",
#if !defined(_WIN32)
    "TMPDIR",
#endif
};

// The parts of value between ";" that name existing directories.
std::vector<std::string> existingParts(const char *value) {
  std::vector<std::string> parts;
  const char *p = value;
  for (;;) {
    const char *end = strchr(p, ';');
    std::string part = end != nullptr ? std::string(p, end) : std::string(p);
    if (!part.empty() && pal::fileAccess(part.c_str(), 0)) {
      parts.push_back(part);
    }
    if (end == nullptr) {
      break;
    }
    p = end + 1;
  }
  return parts;
}

bool storeList(const std::vector<std::string> &parts) {
  TempState &s = tempState();
  if (parts.empty()) {
    return true;
  }
  auto *list = static_cast<Directory *>(calloc(parts.size(), sizeof(Directory)));
  if (list == nullptr) {
    return false;
  }
  for (size_t i = 0; i < parts.size(); ++i) {
    list[i].path = strdup(parts[i].c_str());
    if (list[i].path == nullptr) {
      for (size_t j = 0; j < i; ++j) {
        free(list[j].path);
      }
      free(list);
      return false;
    }
  }
  s.directories = list;
  s.directoryCount = static_cast<uint16_t>(parts.size());
  return true;
}

}  // namespace

namespace {

struct FreeText {
  void operator()(char *text) const { free(text); }
};
using HeapText = std::unique_ptr<char, FreeText>;

}  // namespace

bool buildDirectoryList() {
  freeDirectoryList();
  try {
    for (const char *name : kDirectorySettings) {
      // Heap texts are held so that a failure half-way releases them.
      const HeapText value(readSetting(name));
      if (value == nullptr) {
        continue;
      }
      std::vector<std::string> parts = existingParts(value.get());
      if (parts.size() > 65534) {
        parts.resize(65534);  // indexes are 16 bits, and 65535 marks the caller's directory
      }
      if (!parts.empty()) {
        return storeList(parts);
      }
    }
    // The current directory, taken without a check.
    char *current = nullptr;
    if (orvFileGetCurrentDirectory(&current) == 0) {
      return true;  // no directory at all
    }
    const HeapText held(current);
    return storeList({std::string(held.get())});
  } catch (...) {
    return false;  // out of memory
  }
}

void freeDirectoryList() {
  TempState &s = tempState();
  for (uint16_t i = 0; i < s.directoryCount; ++i) {
    free(s.directories[i].path);
  }
  free(s.directories);
  s.directories = nullptr;
  s.directoryCount = 0;
}

}  // namespace files::temp

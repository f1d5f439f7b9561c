// Helpers of the platform layer's file and mapping tests.
#ifndef ORVANE_TESTS_PAL_FILE_SUPPORT_H
#define ORVANE_TESTS_PAL_FILE_SUPPORT_H

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>

#include <gtest/gtest.h>

#include "platform/pal_file.h"
#include "support/test_support.h"

#if defined(_WIN32)
#include <windows.h>
#else
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace paltest {

// Wine differs from Windows in a few documented places; the tests name them.
inline bool underWine() {
#if defined(_WIN32)
  HMODULE ntdll = GetModuleHandleA("ntdll.dll");
  return ntdll != nullptr && GetProcAddress(ntdll, "wine_get_version") != nullptr;
#else
  return false;
#endif
}

// A scratch directory for one test, removed (read-only files included) at
// the end.
class Scratch {
 public:
  explicit Scratch(const std::string &tag) : dir_(testsupport::makeScratchDir(tag)) {}
  ~Scratch() {
    std::error_code ec;
    for (auto &entry : std::filesystem::recursive_directory_iterator(dir_, ec)) {
      std::filesystem::permissions(entry.path(), std::filesystem::perms::owner_write,
                                   std::filesystem::perm_options::add, ec);
    }
    testsupport::removeTree(dir_);
  }
  Scratch(const Scratch &) = delete;
  Scratch &operator=(const Scratch &) = delete;

  const std::string &dir() const { return dir_; }
  std::string path(const std::string &name) const { return dir_ + testsupport::kSep + name; }

 private:
  std::string dir_;
};

inline pal::Handle openFile(const std::string &path, uint32_t access = pal::kGenericRead | pal::kGenericWrite,
                            uint32_t disposition = pal::kOpenAlways,
                            uint32_t flags = pal::kFileAttributeNormal) {
  return pal::createFileA(path.c_str(), access, pal::kFileShareRead | pal::kFileShareWrite, disposition,
                          flags);
}

inline bool writeText(pal::Handle file, const std::string &text) {
  uint32_t written = 0;
  return pal::writeFile(file, text.data(), static_cast<uint32_t>(text.size()), &written) &&
         written == text.size();
}

// Reads up to size bytes at the current position.
inline std::string readText(pal::Handle file, uint32_t size) {
  std::string text(size, '\0');
  uint32_t got = 0;
  if (!pal::readFile(file, text.data(), size, &got)) {
    return "<read failed>";
  }
  text.resize(got);
  return text;
}

inline uint64_t position(pal::Handle file) {
  int32_t high = 0;
  uint32_t low = pal::setFilePointer(file, 0, &high, pal::kFileCurrent);
  return (static_cast<uint64_t>(static_cast<uint32_t>(high)) << 32) | low;
}

inline uint64_t seekTo(pal::Handle file, uint64_t offset, uint32_t method = pal::kFileBegin) {
  auto high = static_cast<int32_t>(offset >> 32);
  uint32_t low =
      pal::setFilePointer(file, static_cast<int32_t>(static_cast<uint32_t>(offset)), &high, method);
  return (static_cast<uint64_t>(static_cast<uint32_t>(high)) << 32) | low;
}

inline uint64_t fileSize(pal::Handle file) {
  uint64_t here = position(file);
  uint64_t end = seekTo(file, 0, pal::kFileEnd);
  seekTo(file, here);
  return end;
}

#if !defined(_WIN32)
using testsupport::runInChild;
#endif

}  // namespace paltest

#endif

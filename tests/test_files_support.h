// Helpers of the file layer's tests: a fixture that starts the services with
// a scratch directory, and small readers and writers that go around the
// library.
#ifndef ORVANE_TESTS_FILES_SUPPORT_H
#define ORVANE_TESTS_FILES_SUPPORT_H

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>

#include <gtest/gtest.h>

#include "orvane/files.h"
#include "orvane/frame.h"
#include "support/test_support.h"

#if defined(_WIN32)
#include <windows.h>
#else
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace filestest {

inline bool underWine() {
#if defined(_WIN32)
  HMODULE ntdll = GetModuleHandleA("ntdll.dll");
  return ntdll != nullptr && GetProcAddress(ntdll, "wine_get_version") != nullptr;
#else
  return false;
#endif
}

// Makes every file under dir writable again (read-only files block removal
// on Windows), then removes it.
inline void removeScratch(const std::string &dir) {
  std::error_code ec;
  for (auto &entry : std::filesystem::recursive_directory_iterator(dir, ec)) {
    std::filesystem::permissions(entry.path(), std::filesystem::perms::owner_all,
                                 std::filesystem::perm_options::add, ec);
  }
  testsupport::removeTree(dir);
}

inline uint64_t diskSize(const std::string &path) {
  std::error_code ec;
  auto size = std::filesystem::file_size(path, ec);
  return ec ? 0 : static_cast<uint64_t>(size);
}

inline std::string pattern(size_t size, unsigned seed = 1) {
  std::string s(size, '\0');
  uint32_t x = seed * 2654435761u + 1;
  for (size_t i = 0; i < size; ++i) {
    x = x * 1103515245u + 12345u;
    s[i] = static_cast<char>(x >> 16);
  }
  return s;
}

// The services started for each test, with the temporary files in a
// directory of the test's own.
class FilesTest : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = testsupport::makeScratchDir("files");
    tempDir_ = dir_ + testsupport::kSep + "temp";
    std::filesystem::create_directories(tempDir_);
    testsupport::setEnv("TEMPFILEDIRS", tempDir_);
    configure();
    ASSERT_EQ(0, servicesProcessInitialize(0));
  }
  void TearDown() override {
    servicesProcessTerminate(0);
    testsupport::unsetEnv("TEMPFILEDIRS");
    removeScratch(dir_);
  }
  // Further settings before start-up.
  virtual void configure() {}

  std::string path(const std::string &name) const { return dir_ + testsupport::kSep + name; }
  orvFile *open(int flags, const std::string &name) {
    return orvFileOpen(flags, ORV_FILE_TAG_PATH, path(name).c_str(), ORV_FILE_TAG_END);
  }
  orvFile *create(const std::string &name, const std::string &contents,
                  int flags = ORV_FILE_READ | ORV_FILE_WRITE) {
    testsupport::writeFile(path(name), contents);
    return open(flags, name);
  }
  static std::string readAll(orvFile *f, uint32_t size) {
    std::string s(size, '\0');
    uint32_t got = orvFileRead(f, s.data(), size);
    s.resize(got);
    return s;
  }
  static bool writeAll(orvFile *f, const std::string &s) {
    return orvFileWrite(f, s.data(), static_cast<uint32_t>(s.size())) == s.size();
  }
  std::string contents(const std::string &name) const { return testsupport::readFile(path(name)); }

  std::string dir_;
  std::string tempDir_;
};

#if !defined(_WIN32)
// Runs body in a forked child; its result, or -1 when it died of a signal.
inline int runInChild(const std::function<int()> &body) {
  fflush(nullptr);
  pid_t pid = fork();
  if (pid == 0) {
    int code = 99;
    try {
      code = body();
    } catch (...) {
    }
    _exit(code);
  }
  if (pid < 0) {
    return -2;
  }
  int status = 0;
  while (waitpid(pid, &status, 0) < 0) {
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}
#endif

}  // namespace filestest

#endif

// Helpers of the file layer's tests: a fixture that starts the services with
// a scratch directory, and small readers and writers that go around the
// library.
#ifndef ORVANE_TESTS_FILES_SUPPORT_H
#define ORVANE_TESTS_FILES_SUPPORT_H

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "orvane/files.h"
#include "orvane/frame.h"
#include "support/test_support.h"

#if defined(_WIN32)
#include <windows.h>
#else
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>
#endif
#include <time.h>

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

// The lines of a registry file (UTF-16 in host order up to its 0 unit;
// the tests' paths are ASCII), each without its line feed.
inline std::vector<std::string> registryLines(const std::string &file, bool *wellEnded = nullptr) {
  std::string bytes = testsupport::readFile(file);
  std::string text;
  size_t i = 0;
  bool terminated = false;
  for (; i + 1 < bytes.size(); i += 2) {
    uint16_t unit = 0;
    memcpy(&unit, bytes.data() + i, 2);
    if (unit == 0) {
      terminated = true;
      break;
    }
    text += unit < 128 ? static_cast<char>(unit) : '?';
  }
  if (wellEnded != nullptr) {
    // One 0 unit, and nothing after it.
    *wellEnded = terminated && i + 2 == bytes.size();
  }
  std::vector<std::string> lines;
  size_t start = 0;
  for (size_t pos = 0; pos < text.size(); ++pos) {
    if (text[pos] == '\n') {
      lines.push_back(text.substr(start, pos - start));
      start = pos + 1;
    }
  }
  if (start < text.size()) {
    lines.push_back(text.substr(start) + "<no line feed>");
  }
  return lines;
}

// Writes a registry file holding lines (each followed by a line feed) and
// the 0 unit.
inline void writeRegistry(const std::string &file, const std::vector<std::string> &lines) {
  std::string bytes;
  auto put = [&bytes](uint16_t unit) { bytes.append(reinterpret_cast<const char *>(&unit), 2); };
  for (const std::string &line : lines) {
    for (char c : line) {
      put(static_cast<uint8_t>(c));
    }
    put('\n');
  }
  put(0);
  testsupport::writeFile(file, bytes);
}

// The local time of day in seconds, as the registry stamps it.
inline uint32_t stampNow() {
  time_t now = time(nullptr);
  struct tm local {};
#if defined(_WIN32)
  localtime_s(&local, &now);
#else
  localtime_r(&now, &local);
#endif
  return static_cast<uint32_t>(local.tm_hour * 3600 + local.tm_min * 60 + local.tm_sec);
}

// The age of a stamp at now, a day added when the stamp is ahead.
inline uint32_t lineAgeForTest(uint32_t stamp, uint32_t now) {
  return stamp > now ? now + 86400 - stamp : now - stamp;
}

// Another process running this test program on one test.
struct ChildProcess {
#if defined(_WIN32)
  HANDLE process = nullptr;
#else
  pid_t pid = -1;
#endif
};

inline ChildProcess spawnSelf(const std::string &filter) {
  ChildProcess child;
  std::string exe = testsupport::executablePath();
  std::string filterArg = "--gtest_filter=" + filter;
#if defined(_WIN32)
  std::string command = "\"" + exe + "\" " + filterArg;
  STARTUPINFOA startup{};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION info{};
  if (CreateProcessA(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                     &info)) {
    CloseHandle(info.hThread);
    child.process = info.hProcess;
  }
#else
  fflush(nullptr);
  child.pid = fork();
  if (child.pid == 0) {
    execl(exe.c_str(), exe.c_str(), filterArg.c_str(), static_cast<char *>(nullptr));
    _exit(127);
  }
#endif
  return child;
}

inline bool spawned(const ChildProcess &child) {
#if defined(_WIN32)
  return child.process != nullptr;
#else
  return child.pid > 0;
#endif
}

// The child's exit code (-1 when it was killed or could not be waited for).
inline int waitChild(ChildProcess &child) {
#if defined(_WIN32)
  if (child.process == nullptr) {
    return -1;
  }
  WaitForSingleObject(child.process, INFINITE);
  DWORD code = 0;
  GetExitCodeProcess(child.process, &code);
  CloseHandle(child.process);
  child.process = nullptr;
  return static_cast<int>(code);
#else
  int status = 0;
  while (waitpid(child.pid, &status, 0) < 0) {
  }
  child.pid = -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
#endif
}

inline void killChild(ChildProcess &child) {
#if defined(_WIN32)
  TerminateProcess(child.process, 9);
#else
  kill(child.pid, SIGKILL);
#endif
  waitChild(child);
}

// Waits until path exists (polling); false after the time-out.
inline bool waitForFile(const std::string &path, int milliseconds = 60000) {
  for (int waited = 0; waited < milliseconds; waited += 10) {
    if (testsupport::fileExists(path)) {
      return true;
    }
#if defined(_WIN32)
    Sleep(10);
#else
    usleep(10000);
#endif
  }
  return testsupport::fileExists(path);
}

#if !defined(_WIN32)
using testsupport::runInChild;
#endif

}  // namespace filestest

#endif

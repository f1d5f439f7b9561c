#include "support/test_support.h"

#include <stdio.h>
#include <stdlib.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <sstream>

#if defined(_WIN32)
#include <windows.h>
#else
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace fs = std::filesystem;

namespace testsupport {

namespace {
std::string profileDir;
#if !defined(_WIN32)
std::string systemConfigDir;
#endif
}  // namespace

std::string makeScratchDir(const std::string &tag) {
  static std::atomic<int> counter{0};
#if defined(_WIN32)
  unsigned long pid = GetCurrentProcessId();
#else
  unsigned long pid = static_cast<unsigned long>(getpid());
#endif
  fs::path dir = fs::temp_directory_path() /
                 ("orvane-" + tag + "-" + std::to_string(pid) + "-" + std::to_string(counter++));
  fs::remove_all(dir);
  fs::create_directories(dir);
  return dir.string();
}

void removeTree(const std::string &path) {
  std::error_code ec;
  fs::remove_all(path, ec);
}

void writeFile(const std::string &path, const std::string &contents) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << contents;
}

std::string readFile(const std::string &path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream s;
  s << in.rdbuf();
  return s.str();
}

bool fileExists(const std::string &path) {
  std::error_code ec;
  return fs::exists(path, ec);
}

std::string useScratchProfileDir() {
#if defined(_WIN32)
  // Every test program shares the Windows directory: hold a named mutex for
  // the rest of this process so that test processes that CTest runs side by
  // side take turns with the profile files in it.
  static HANDLE profileLock = [] {
    HANDLE lock = CreateMutexA(nullptr, FALSE, "Local\\orvane-tests-profile-directory");
    if (lock != nullptr) {
      WaitForSingleObject(lock, INFINITE);
    }
    return lock;
  }();
  (void)profileLock;
  char dir[MAX_PATH];
  UINT n = GetWindowsDirectoryA(dir, sizeof dir);
  profileDir.assign(dir, n);
#else
  if (profileDir.empty()) {
    profileDir = makeScratchDir("profile");
  }
  setEnv("ORVANE_PROFILE_DIR", profileDir);
  if (systemConfigDir.empty()) {
    systemConfigDir = makeScratchDir("xdg");
    fs::create_directories(systemConfigDir + "/orvane");
  }
  setEnv("XDG_CONFIG_DIRS", systemConfigDir);
#endif
  return profileDir;
}

#if !defined(_WIN32)
std::string scratchSystemConfigDir() {
  if (systemConfigDir.empty()) {
    useScratchProfileDir();
  }
  return systemConfigDir;
}

void writeSystemProfile(const std::string &name, const std::string &contents) {
  writeFile(scratchSystemConfigDir() + "/orvane/" + name, contents);
}

void removeSystemProfile(const std::string &name) {
  std::error_code ec;
  fs::remove(scratchSystemConfigDir() + "/orvane/" + name, ec);
}
#endif

void writeProfile(const std::string &name, const std::string &contents) {
  if (profileDir.empty()) {
    useScratchProfileDir();
  }
  writeFile(profileDir + kSep + name, contents);
#if defined(_WIN32)
  // Drop the system's cached copy of the profile.
  WritePrivateProfileStringA(nullptr, nullptr, nullptr, name.c_str());
#endif
}

void removeProfile(const std::string &name) {
  if (profileDir.empty()) {
    return;
  }
  std::error_code ec;
  fs::remove(profileDir + kSep + name, ec);
#if defined(_WIN32)
  WritePrivateProfileStringA(nullptr, nullptr, nullptr, name.c_str());
#endif
}

std::string executablePath() {
#if defined(_WIN32)
  char path[MAX_PATH];
  DWORD n = GetModuleFileNameA(nullptr, path, sizeof path);
  return std::string(path, n);
#else
  return fs::read_symlink("/proc/self/exe").string();
#endif
}

void setEnv(const std::string &name, const std::string &value) {
#if defined(_WIN32)
  _putenv_s(name.c_str(), value.c_str());
  SetEnvironmentVariableA(name.c_str(), value.c_str());
#else
  setenv(name.c_str(), value.c_str(), 1);
#endif
}

void unsetEnv(const std::string &name) {
#if defined(_WIN32)
  _putenv_s(name.c_str(), "");
  SetEnvironmentVariableA(name.c_str(), nullptr);
#else
  unsetenv(name.c_str());
#endif
}

// Runs the orv tool beside the test programs; its standard output, or
// "<no orv>" when the build has no tool.
std::string runOrv(const std::string &arguments, int *status) {
  std::string exe = testsupport::executablePath();
  std::string dir = exe.substr(0, exe.find_last_of(testsupport::kSep) + 1);
#if defined(_WIN32)
  std::string orv = dir + "orv.exe";
#else
  std::string orv = dir + "orv";
#endif
  if (!testsupport::fileExists(orv)) {
    return "<no orv>";
  }
#if defined(_WIN32)
  // cmd.exe drops the outermost pair of quotes: one more pair keeps the
  // quoted program and arguments as they are.
  FILE *pipe = _popen(("\"\"" + orv + "\" " + arguments + "\"").c_str(), "r");
#else
  FILE *pipe = popen(("'" + orv + "' " + arguments).c_str(), "r");
#endif
  std::string out;
  char chunk[512];
  size_t n;
  while (pipe != nullptr && (n = fread(chunk, 1, sizeof chunk, pipe)) > 0) {
    out.append(chunk, n);
  }
#if defined(_WIN32)
  int rc = pipe != nullptr ? _pclose(pipe) : -1;
#else
  int rc = pipe != nullptr ? pclose(pipe) : -1;
  rc = rc >= 0 && WIFEXITED(rc) ? WEXITSTATUS(rc) : -1;
#endif
  *status = rc;
  return out;
}

#if !defined(_WIN32)
int runInChild(const std::function<int()> &body) {
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

}  // namespace testsupport

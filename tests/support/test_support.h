// Helpers shared by the tests: scratch directories, the profile directory,
// and the platform's path conventions.
#ifndef ORVANE_TESTS_SUPPORT_H
#define ORVANE_TESTS_SUPPORT_H

#include <functional>
#include <string>

#include <gtest/gtest.h>

namespace testsupport {

#if defined(_WIN32)
constexpr char kSep = '\\';
#else
constexpr char kSep = '/';
#endif

// A fresh, empty directory for this test, removed by the caller with
// removeTree when done.
std::string makeScratchDir(const std::string &tag);
void removeTree(const std::string &path);

// Writes (replacing) a whole file.
void writeFile(const std::string &path, const std::string &contents);
std::string readFile(const std::string &path);
bool fileExists(const std::string &path);

// The directory where bare profile names resolve for the library: on POSIX
// a scratch directory that ORVANE_PROFILE_DIR now points to; on Windows the
// Windows directory.
std::string useScratchProfileDir();

// Writes a profile file (such as "ORVANE.INI") into that directory.
void writeProfile(const std::string &name, const std::string &contents);
void removeProfile(const std::string &name);

#if !defined(_WIN32)
// The system-wide profile directories of POSIX: useScratchProfileDir also
// points $XDG_CONFIG_DIRS at a scratch directory, so that no profile of the
// machine's /etc/xdg takes part in a test. writeSystemProfile writes
// <that directory>/orvane/<name>; removeSystemProfile removes it.
std::string scratchSystemConfigDir();
void writeSystemProfile(const std::string &name, const std::string &contents);
void removeSystemProfile(const std::string &name);
#endif

// Full path of the running test program.
std::string executablePath();

// Sets or clears an environment variable.
void setEnv(const std::string &name, const std::string &value);
void unsetEnv(const std::string &name);

// Runs the orv tool that lies beside the test programs with arguments
// (already quoted as a shell would need them); returns its standard output
// and stores its exit status, or returns "<no orv>" when the build has no
// tool.
std::string runOrv(const std::string &arguments, int *status);

#if !defined(_WIN32)
// Runs body in a forked child and returns its exit status (body's result),
// -1 when the child died of a signal, -2 when no child could be made. The
// child may call into the library only when no library thread runs in this
// process: a lock held by another thread at the fork is never released there.
int runInChild(const std::function<int()> &body);
#endif

}  // namespace testsupport

#endif

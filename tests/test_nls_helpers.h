// Helpers of the language-support tests: NLS tables written for a test, the
// setting that points at them, and the Windows language setting.
#ifndef ORVANE_TESTS_NLS_HELPERS_H
#define ORVANE_TESTS_NLS_HELPERS_H

#include <stdlib.h>

#include <string>

#include <gtest/gtest.h>

#include "orvane/nls.h"
#include "support/test_support.h"

#if defined(_WIN32)
#include <windows.h>
#endif

namespace nlstest {

// The shipped table beside the test programs.
inline std::string shippedTable() {
  std::string exe = testsupport::executablePath();
  return exe.substr(0, exe.find_last_of(testsupport::kSep) + 1) + "orvane.nls";
}

// The locale rows every test table needs ("enu" must exist).
inline std::string minimalRows() { return "en_US:8859-1:winnt:enu\n"; }

// Points ORVNLSTAB at a path for the life of the object, then restores it.
class TableSetting {
 public:
  explicit TableSetting(const std::string &value) {
    if (const char *old = getenv("ORVNLSTAB")) {
      had_ = true;
      old_ = old;
    }
    testsupport::setEnv("ORVNLSTAB", value);
  }
  ~TableSetting() {
    if (had_) {
      testsupport::setEnv("ORVNLSTAB", old_);
    } else {
      testsupport::unsetEnv("ORVNLSTAB");
    }
  }
  TableSetting(const TableSetting &) = delete;
  TableSetting &operator=(const TableSetting &) = delete;

 private:
  bool had_ = false;
  std::string old_;
};

// A table file written for one test, in a scratch directory of its own.
class TableFile {
 public:
  explicit TableFile(const std::string &contents, const std::string &name = "table.nls")
      : dir_(testsupport::makeScratchDir("nls")), path_(dir_ + testsupport::kSep + name) {
    testsupport::writeFile(path_, contents);
  }
  ~TableFile() { testsupport::removeTree(dir_); }
  TableFile(const TableFile &) = delete;
  TableFile &operator=(const TableFile &) = delete;

  const std::string &path() const { return path_; }
  const std::string &dir() const { return dir_; }

 private:
  std::string dir_;
  std::string path_;
};

// Sets "sLanguage" of section "intl" of win.ini for the life of the object
// (an empty value removes it). POSIX writes the win.ini of the profile
// directory; Windows changes the one key and restores it afterwards.
class LanguageSetting {
 public:
  explicit LanguageSetting(const std::string &value) {
#if defined(_WIN32)
    char old[64];
    DWORD n = GetPrivateProfileStringA("intl", "sLanguage", "\x01", old, sizeof old, "win.ini");
    had_ = !(n == 1 && old[0] == '\x01');
    old_.assign(old, n);
    WritePrivateProfileStringA("intl", "sLanguage", value.empty() ? nullptr : value.c_str(), "win.ini");
#else
    testsupport::useScratchProfileDir();
    if (value.empty()) {
      testsupport::removeProfile("win.ini");
    } else {
      testsupport::writeProfile("win.ini", "[intl]\nsLanguage=" + value + "\n");
    }
#endif
  }
  ~LanguageSetting() {
#if defined(_WIN32)
    WritePrivateProfileStringA("intl", "sLanguage", had_ ? old_.c_str() : nullptr, "win.ini");
#else
    testsupport::removeProfile("win.ini");
#endif
  }
  LanguageSetting(const LanguageSetting &) = delete;
  LanguageSetting &operator=(const LanguageSetting &) = delete;

 private:
#if defined(_WIN32)
  bool had_ = false;
  std::string old_;
#endif
};

// nlsInit with the table at path; returns its status and the number of lines
// it read.
struct InitResult {
  int status;
  uint32_t lines;
};

inline InitResult initWith(const std::string &path) {
  TableSetting setting(path);
  uint32_t before = nlsGetErrorLineNumber();
  int status = nlsInit();
  return InitResult{status, nlsGetErrorLineNumber() - before};
}

// A test fixture in a locale of the shipped table: initIn chooses the
// locale by its Windows name and initialises language support; the state
// ends with the test.
class LocaleTest : public ::testing::Test {
 protected:
  void SetUp() override { testsupport::useScratchProfileDir(); }
  void TearDown() override { nlsTerminate(); }
  void initIn(const std::string &language) {
    LanguageSetting setting(language);
    ASSERT_EQ(0, initWith(shippedTable()).status);
  }
};

}  // namespace nlstest

#endif

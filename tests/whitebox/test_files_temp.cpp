// Temporary files: names in the directory list, the open list, deletion at
// close, reopening in place, the directory settings, and the registry with
// its clean-up pass.
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "common/files/temp_admin.h"
#include "orvane/files.h"
#include "orvane/frame.h"
#include "support/test_support.h"
#include "test_files_support.h"

using filestest::FilesTest;

namespace {

constexpr int kReadWrite = ORV_FILE_READ | ORV_FILE_WRITE;
constexpr int kTemp = kReadWrite | ORV_FILE_TEMPORARY;

orvFile *makeTemp(int flags = kTemp, const char *prefix = nullptr, char **name = nullptr) {
  if (prefix != nullptr && name != nullptr) {
    return orvFileOpen(flags, ORV_FILE_TAG_PREFIX, prefix, ORV_FILE_TAG_NAME_OUT, name, ORV_FILE_TAG_END);
  }
  if (name != nullptr) {
    return orvFileOpen(flags, ORV_FILE_TAG_NAME_OUT, name, ORV_FILE_TAG_END);
  }
  return orvFileOpen(flags, ORV_FILE_TAG_END);
}

bool startsWith(const std::string &s, const std::string &prefix) {
  return s.compare(0, prefix.size(), prefix) == 0;
}

bool isHex(const std::string &s) {
  return !s.empty() && s.size() <= 8 && s.find_first_not_of("0123456789abcdef") == std::string::npos;
}

size_t filesIn(const std::string &dir) {
  size_t n = 0;
  std::error_code ec;
  for (auto it = std::filesystem::directory_iterator(dir, ec);
       !ec && it != std::filesystem::directory_iterator(); it.increment(ec)) {
    ++n;
  }
  return n;
}

}  // namespace

// --- Making and closing ----------------------------------------------------------

TEST_F(FilesTest, ATemporaryFileIsMadeUnderAGeneratedNameInTheFirstDirectory) {
  char *name = nullptr;
  orvFile *f = makeTemp(kTemp, "pfx", &name);
  ASSERT_NE(nullptr, f);
  ASSERT_NE(nullptr, name);
  std::string expectedStart = tempDir_ + testsupport::kSep + "pfx";
  EXPECT_TRUE(startsWith(name, expectedStart)) << name;
  EXPECT_TRUE(isHex(std::string(name).substr(expectedStart.size()))) << name;
  EXPECT_EQ(std::string(name), std::string(f->name));
  EXPECT_NE(name, f->name);  // a copy of its own
  EXPECT_TRUE(testsupport::fileExists(name));
  EXPECT_EQ(0u, f->tempIndex);
  EXPECT_NE(0u, f->openFlags & ORV_FILE_TEMPORARY);
  EXPECT_NE(0u, f->modeBits & 0x100u);
  EXPECT_EQ(tempDir_, std::string(files::admin::tempDirectory(0)));
  EXPECT_EQ(nullptr, files::admin::tempDirectory(1));
  EXPECT_EQ(1, orvFileClose(f, ORV_FILE_CLOSE_DELETE));
  EXPECT_FALSE(testsupport::fileExists(name));
  orvMemoryFreeFunc(name);
}

TEST_F(FilesTest, NamesDifferFromOneFileToTheNext) {
  std::vector<orvFile *> files;
  std::vector<std::string> names;
  for (int i = 0; i < 50; ++i) {
    orvFile *f = makeTemp();
    ASSERT_NE(nullptr, f);
    files.push_back(f);
    names.emplace_back(f->name);
  }
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names.end(), std::adjacent_find(names.begin(), names.end()));
  EXPECT_EQ(50u, filesIn(tempDir_));
  for (orvFile *f : files) {
    EXPECT_EQ(1, orvFileClose(f, ORV_FILE_CLOSE_DELETE));
  }
  EXPECT_EQ(0u, filesIn(tempDir_));
}

TEST_F(FilesTest, ATemporaryFileInTheCallersDirectoryHasIndex65535) {
  std::string own = path("own");
  std::filesystem::create_directories(own);
  char *name = nullptr;
  orvFile *f =
      orvFileOpen(kTemp, ORV_FILE_TAG_DIRECTORY, own.c_str(), ORV_FILE_TAG_NAME_OUT, &name, ORV_FILE_TAG_END);
  ASSERT_NE(nullptr, f);
  EXPECT_EQ(65535u, f->tempIndex);
  EXPECT_TRUE(startsWith(name, own + testsupport::kSep)) << name;
  EXPECT_EQ(1, orvFileClose(f, ORV_FILE_CLOSE_DELETE));
  EXPECT_EQ(0u, filesIn(own));
  orvMemoryFreeFunc(name);
}

TEST_F(FilesTest, AGivenDirectoryIsNeverLeft) {
  int error = 0;
  std::string missing = path("missing-dir");
  orvFile *f = orvFileOpen(kTemp, ORV_FILE_TAG_DIRECTORY, missing.c_str(), ORV_FILE_TAG_ERROR_OUT, &error,
                           ORV_FILE_TAG_END);
  EXPECT_EQ(nullptr, f);
  EXPECT_EQ(-13, error);
  EXPECT_EQ(-13, orvFileError());
  EXPECT_EQ(0u, filesIn(tempDir_));
}

TEST_F(FilesTest, ATemporaryFileClosedWithOption1IsGoneFromTheDisk) {
  char *name = nullptr;
  orvFile *f = makeTemp(kTemp, nullptr, &name);
  ASSERT_NE(nullptr, f);
  ASSERT_TRUE(writeAll(f, "bytes"));
  EXPECT_EQ(1, orvFileClose(f, 1));
  EXPECT_FALSE(testsupport::fileExists(name));
  orvMemoryFreeFunc(name);
}

TEST_F(FilesTest, ATemporaryFileClosedWithOption2IsKeptAndReopenedInPlace) {
  char *name = nullptr;
  orvFile *f = makeTemp(kTemp, nullptr, &name);
  ASSERT_NE(nullptr, f);
  ASSERT_TRUE(writeAll(f, "keep these bytes"));
  EXPECT_EQ(1, orvFileClose(f, ORV_FILE_CLOSE_KEEP));
  EXPECT_EQ(0u, f->isOpen);  // the record stays
  EXPECT_EQ(ORV_FILE_MAGIC, f->magic);
  EXPECT_EQ("keep these bytes", testsupport::readFile(name));
  // Reopened in place: read access added, create removed.
  orvFile *g = orvFileOpen(ORV_FILE_WRITE | ORV_FILE_CREATE | ORV_FILE_TEMPORARY, ORV_FILE_TAG_SEGMENT_OF, f,
                           ORV_FILE_TAG_END);
  EXPECT_EQ(f, g);
  EXPECT_EQ(1u, f->isOpen);
  EXPECT_NE(0u, f->openFlags & ORV_FILE_READ);
  EXPECT_EQ(0u, f->openFlags & ORV_FILE_CREATE);
  EXPECT_EQ("keep these bytes", readAll(f, 100));
  EXPECT_EQ(1, orvFileClose(f, ORV_FILE_CLOSE_DELETE));
  EXPECT_FALSE(testsupport::fileExists(name));
  orvMemoryFreeFunc(name);
}

TEST_F(FilesTest, ATemporaryFileClosedWithOption0KeepsItsRecordToo) {
  orvFile *f = makeTemp();
  ASSERT_NE(nullptr, f);
  std::string name = f->name;
  EXPECT_EQ(1, orvFileClose(f, 0));
  EXPECT_TRUE(testsupport::fileExists(name));
  EXPECT_EQ(1, orvFileClose(f, ORV_FILE_CLOSE_DELETE));  // deleting a closed one
  EXPECT_FALSE(testsupport::fileExists(name));
}

TEST_F(FilesTest, AFileThatCannotBeDeletedFailsWithMinus10AndStays) {
  orvFile *f = makeTemp();
  ASSERT_NE(nullptr, f);
  std::string name = f->name;
  // A read-only file cannot be deleted (on POSIX too, by the platform's rule).
  std::filesystem::permissions(name, std::filesystem::perms::owner_read | std::filesystem::perms::group_read |
                                         std::filesystem::perms::others_read);
  EXPECT_EQ(0, orvFileClose(f, ORV_FILE_CLOSE_DELETE));
  EXPECT_EQ(-10, orvFileError());
  EXPECT_TRUE(testsupport::fileExists(name));
  EXPECT_EQ(ORV_FILE_MAGIC, f->magic);  // the record stays
  std::filesystem::permissions(name, std::filesystem::perms::owner_all, std::filesystem::perm_options::add);
  EXPECT_EQ(1, orvFileClose(f, ORV_FILE_CLOSE_DELETE));
  EXPECT_FALSE(testsupport::fileExists(name));
}

TEST_F(FilesTest, ShutDownDeletesTheTemporaryFilesStillOpen) {
  orvFile *a = makeTemp();
  orvFile *b = makeTemp();
  ASSERT_NE(nullptr, a);
  ASSERT_NE(nullptr, b);
  ASSERT_EQ(1, orvFileClose(b, ORV_FILE_CLOSE_KEEP));
  EXPECT_EQ(2u, filesIn(tempDir_));
  servicesProcessTerminate(0);
  EXPECT_EQ(0u, filesIn(tempDir_));
  ASSERT_EQ(0, servicesProcessInitialize(0));  // for TearDown
}

TEST_F(FilesTest, MustExistIsIgnoredForATemporaryFile) {
  orvFile *f = makeTemp(kTemp | ORV_FILE_MUST_EXIST);
  ASSERT_NE(nullptr, f);
  orvFileClose(f, ORV_FILE_CLOSE_DELETE);
}

TEST_F(FilesTest, ATextModeTemporaryFile) {
  orvFile *f = makeTemp(kTemp | ORV_FILE_TEXT);
  ASSERT_NE(nullptr, f);
  EXPECT_EQ(3, orvFilePuts(f, "a\nb"));
  ASSERT_EQ(1, orvFileSeek(f, 0, ORV_FILE_SEEK_SET));
  EXPECT_EQ("a\r\nb", readAll(f, 10));
  orvFileClose(f, ORV_FILE_CLOSE_DELETE);
}

// --- The directory settings ---------------------------------------------------------

namespace {

// Starts the services inside each test, after it set its variables.
class TempSettingsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = testsupport::makeScratchDir("tempsettings");
    for (const char *name : kNames) {
      const char *value = getenv(name);
      saved_.emplace_back(value != nullptr ? value : "");
      had_.push_back(value != nullptr);
      testsupport::unsetEnv(name);
    }
  }
  void TearDown() override {
    if (started_) {
      servicesProcessTerminate(0);
    }
    for (size_t i = 0; i < kNames.size(); ++i) {
      if (had_[i]) {
        testsupport::setEnv(kNames[i], saved_[i]);
      } else {
        testsupport::unsetEnv(kNames[i]);
      }
    }
    filestest::removeScratch(dir_);
  }
  std::string sub(const std::string &name) {
    std::string p = dir_ + testsupport::kSep + name;
    std::filesystem::create_directories(p);
    return p;
  }
  std::string missing(const std::string &name) const { return dir_ + testsupport::kSep + name; }
  void start() {
    ASSERT_EQ(0, servicesProcessInitialize(0));
    started_ = true;
  }

  const std::vector<const char *> kNames = {"TEMPFILEDIRS", "Temporary",        "TEMP",
                                            "TMPDIR",       "TEMPFILEREGISTRY", "TEMPFILETIMEOUT"};
  std::string dir_;
  std::vector<std::string> saved_;
  std::vector<bool> had_;
  bool started_ = false;
};

}  // namespace

TEST_F(TempSettingsTest, TempFileDirsGivesTheListInOrderWithoutMissingParts) {
  std::string a = sub("a");
  std::string b = sub("b");
  testsupport::setEnv("TEMPFILEDIRS", a + ";" + missing("gone") + ";" + b);
  testsupport::setEnv("Temporary", sub("t"));
  start();
  EXPECT_EQ(a, std::string(files::admin::tempDirectory(0)));
  EXPECT_EQ(b, std::string(files::admin::tempDirectory(1)));
  EXPECT_EQ(nullptr, files::admin::tempDirectory(2));
  EXPECT_EQ(nullptr, files::admin::tempDirectory(-1));
}

TEST_F(TempSettingsTest, WithTempFileDirsNamingOnlyMissingDirectoriesTemporaryIsConsultedNext) {
  std::string t = sub("t");
  testsupport::setEnv("TEMPFILEDIRS", missing("x") + ";" + missing("y"));
  testsupport::setEnv("Temporary", t);
  testsupport::setEnv("TEMP", sub("temp"));
  start();
  EXPECT_EQ(t, std::string(files::admin::tempDirectory(0)));
  orvFile *f = makeTemp();
  ASSERT_NE(nullptr, f);
  EXPECT_TRUE(startsWith(f->name, t + testsupport::kSep));
  orvFileClose(f, ORV_FILE_CLOSE_DELETE);
}

TEST_F(TempSettingsTest, TempIsConsultedThird) {
  std::string temp = sub("temp");
  testsupport::setEnv("Temporary", missing("nothing"));
  testsupport::setEnv("TEMP", temp);
  start();
  EXPECT_EQ(temp, std::string(files::admin::tempDirectory(0)));
}

#if !defined(_WIN32)
TEST_F(TempSettingsTest, OnPosixTmpdirComesAfterTemp) {
  std::string tmpdir = sub("tmpdir");
  testsupport::setEnv("TMPDIR", tmpdir);
  start();
  EXPECT_EQ(tmpdir, std::string(files::admin::tempDirectory(0)));
}
#endif

TEST_F(TempSettingsTest, WithoutSettingsTheCurrentDirectoryIsTaken) {
#if defined(_WIN32)
  testsupport::setEnv("TEMP", missing("none"));  // wine and Windows set TEMP themselves
#endif
  start();
  EXPECT_EQ(std::filesystem::path(std::filesystem::current_path()),
            std::filesystem::path(files::admin::tempDirectory(0)));
  EXPECT_EQ(nullptr, files::admin::tempDirectory(1));
  EXPECT_EQ(nullptr, files::admin::tempRegistryPath());
  EXPECT_EQ(1800u, files::admin::tempTimeout());
}

TEST_F(TempSettingsTest, ARegistryInAMissingDirectoryMakesStartUpFailWith1200) {
  testsupport::setEnv("TEMPFILEDIRS", sub("d"));
  testsupport::setEnv("TEMPFILEREGISTRY", missing("nodir") + testsupport::kSep + "registry");
  EXPECT_EQ(1200, servicesProcessInitialize(0));
  started_ = true;  // the count went up all the same
}

TEST_F(TempSettingsTest, TempFileTimeoutOf10GivesATimeoutOf30Seconds) {
  testsupport::setEnv("TEMPFILEDIRS", sub("d"));
  testsupport::setEnv("TEMPFILEREGISTRY", missing("registry"));
  testsupport::setEnv("TEMPFILETIMEOUT", "10");
  start();
  EXPECT_EQ(30u, files::admin::tempTimeout());
  EXPECT_EQ(missing("registry"), std::string(files::admin::tempRegistryPath()));
}

TEST_F(TempSettingsTest, TheTimeoutDefaultsTo1800AndTakesLargerValues) {
  testsupport::setEnv("TEMPFILEDIRS", sub("d"));
  testsupport::setEnv("TEMPFILEREGISTRY", missing("registry"));
  start();
  EXPECT_EQ(1800u, files::admin::tempTimeout());
  servicesProcessTerminate(0);
  started_ = false;
  testsupport::setEnv("TEMPFILETIMEOUT", "45");
  start();
  EXPECT_EQ(45u, files::admin::tempTimeout());
}

// --- The registry --------------------------------------------------------------------

namespace {

class RegistryTest : public FilesTest {
 protected:
  void configure() override {
    registry_ = path("registry");
    testsupport::setEnv("TEMPFILEREGISTRY", registry_);
    testsupport::setEnv("TEMPFILETIMEOUT", "30");
  }
  void TearDown() override {
    FilesTest::TearDown();
    testsupport::unsetEnv("TEMPFILEREGISTRY");
    testsupport::unsetEnv("TEMPFILETIMEOUT");
  }
  std::vector<std::string> lines(bool *wellEnded = nullptr) const {
    return filestest::registryLines(registry_, wellEnded);
  }
  // The clean-up thread makes its first pass at start-up; it has written the
  // registry (at least its 0 unit) once that pass is done.
  void waitForFirstPass() {
    for (int i = 0; i < 2000 && filestest::diskSize(registry_) < 2; ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    ASSERT_GE(filestest::diskSize(registry_), 2u);
  }
  std::string registry_;
};

std::string pathOf(const std::string &line) { return line.substr(0, line.find(';')); }

uint32_t stampOf(const std::string &line) {
  return static_cast<uint32_t>(strtoul(line.substr(line.find(';') + 1).c_str(), nullptr, 10));
}

}  // namespace

TEST_F(RegistryTest, ATemporaryFileIsEnteredWithItsStamp) {
  uint32_t before = filestest::stampNow();
  orvFile *f = makeTemp();
  ASSERT_NE(nullptr, f);
  uint32_t after = filestest::stampNow();
  bool wellEnded = false;
  std::vector<std::string> l = lines(&wellEnded);
  ASSERT_EQ(1u, l.size());
  EXPECT_TRUE(wellEnded);
  EXPECT_EQ(std::string(f->name), pathOf(l[0]));
  uint32_t stamp = stampOf(l[0]);
  if (after >= before) {  // not across midnight
    EXPECT_GE(stamp, before);
    EXPECT_LE(stamp, after);
  }
  EXPECT_EQ(l[0], std::string(f->name) + ";" + std::to_string(stamp));
  orvFileClose(f, ORV_FILE_CLOSE_DELETE);
}

TEST_F(RegistryTest, ATemporaryFileClosedWithOption1IsGoneFromTheDiskAndFromTheRegistry) {
  orvFile *a = makeTemp();
  orvFile *b = makeTemp();
  orvFile *c = makeTemp();
  ASSERT_TRUE(a != nullptr && b != nullptr && c != nullptr);
  std::string nameB = b->name;
  ASSERT_EQ(3u, lines().size());
  EXPECT_EQ(1, orvFileClose(b, ORV_FILE_CLOSE_DELETE));
  EXPECT_FALSE(testsupport::fileExists(nameB));
  bool wellEnded = false;
  std::vector<std::string> l = lines(&wellEnded);
  EXPECT_TRUE(wellEnded);  // rewritten whole and cut after its 0 unit
  ASSERT_EQ(2u, l.size());
  EXPECT_EQ(std::string(a->name), pathOf(l[0]));
  EXPECT_EQ(std::string(c->name), pathOf(l[1]));
  orvFileClose(a, ORV_FILE_CLOSE_DELETE);
  orvFileClose(c, ORV_FILE_CLOSE_DELETE);
  EXPECT_TRUE(lines().empty());
  EXPECT_EQ(2u, filestest::diskSize(registry_));
}

TEST_F(RegistryTest, AKeptFileKeepsItsLine) {
  orvFile *f = makeTemp();
  ASSERT_NE(nullptr, f);
  ASSERT_EQ(1, orvFileClose(f, ORV_FILE_CLOSE_KEEP));
  EXPECT_EQ(1u, lines().size());
  ASSERT_EQ(f, orvFileOpen(kTemp, ORV_FILE_TAG_SEGMENT_OF, f, ORV_FILE_TAG_END));
  EXPECT_EQ(1u, lines().size());
  orvFileClose(f, ORV_FILE_CLOSE_DELETE);
  EXPECT_TRUE(lines().empty());
}

TEST_F(RegistryTest, ShutDownRemovesTheLinesOfFilesStillOpen) {
  ASSERT_NE(nullptr, makeTemp());
  ASSERT_NE(nullptr, makeTemp());
  EXPECT_EQ(2u, lines().size());
  servicesProcessTerminate(0);
  EXPECT_TRUE(lines().empty());
  ASSERT_EQ(0, servicesProcessInitialize(0));
}

TEST_F(RegistryTest, TheListShowsTheLines) {
  orvFile *f = makeTemp();
  ASSERT_NE(nullptr, f);
  char *text = files::admin::tempRegistryList();
  ASSERT_NE(nullptr, text);
  EXPECT_EQ(std::string(f->name) + ";", std::string(text).substr(0, strlen(f->name) + 1));
  EXPECT_EQ('\n', text[strlen(text) - 1]);
  orvMemoryFreeFunc(text);
  orvFileClose(f, ORV_FILE_CLOSE_DELETE);
}

TEST_F(RegistryTest, APassDeletesTheOldFileOfAnotherProcessAndDropsItsLineOnTheNextPass) {
  waitForFirstPass();
  uint32_t now = filestest::stampNow();
  if (now < 200) {
    GTEST_SKIP() << "too close to midnight";
  }
  std::string foreign = path("foreign");
  testsupport::writeFile(foreign, "left behind");
  filestest::writeRegistry(registry_, {foreign + ";" + std::to_string(now - 100)});
  ASSERT_EQ(1, files::admin::tempCleanupPass());
  EXPECT_FALSE(testsupport::fileExists(foreign));
  ASSERT_EQ(1u, lines().size());  // the line stays until the file is found gone
  ASSERT_EQ(1, files::admin::tempCleanupPass());
  EXPECT_TRUE(lines().empty());
}

TEST_F(RegistryTest, YoungLinesOfOtherProcessesAreLeftAlone) {
  waitForFirstPass();
  uint32_t now = filestest::stampNow();
  if (now < 200 || now > 86000) {
    GTEST_SKIP() << "too close to midnight";
  }
  std::string foreign = path("young");
  testsupport::writeFile(foreign, "in use");
  filestest::writeRegistry(registry_, {foreign + ";" + std::to_string(now - 5)});
  ASSERT_EQ(1, files::admin::tempCleanupPass());
  EXPECT_TRUE(testsupport::fileExists(foreign));
  EXPECT_EQ(1u, lines().size());
}

TEST_F(RegistryTest, CuttingAGoneFilesLineAlsoDropsTheYoungLinesBeforeIt) {
  waitForFirstPass();
  uint32_t now = filestest::stampNow();
  if (now < 200 || now > 86000) {
    GTEST_SKIP() << "too close to midnight";
  }
  std::string young1 = path("young1");
  std::string gone = path("gone");
  std::string young2 = path("young2");
  testsupport::writeFile(young1, "1");
  testsupport::writeFile(young2, "2");
  filestest::writeRegistry(registry_,
                           {young1 + ";" + std::to_string(now), gone + ";" + std::to_string(now - 100),
                            young2 + ";" + std::to_string(now)});
  ASSERT_EQ(1, files::admin::tempCleanupPass());
  std::vector<std::string> l = lines();
  ASSERT_EQ(1u, l.size());
  EXPECT_EQ(young2, pathOf(l[0]));
  // The first young file is no longer watched, but it was not deleted.
  EXPECT_TRUE(testsupport::fileExists(young1));
  EXPECT_TRUE(testsupport::fileExists(young2));
}

TEST_F(RegistryTest, APassRefreshesTheStampsOfThisProcesssFiles) {
  waitForFirstPass();
  orvFile *f = makeTemp();
  ASSERT_NE(nullptr, f);
  uint32_t now = filestest::stampNow();
  uint32_t old = now >= 1000 ? now - 1000 : now + 85400;
  filestest::writeRegistry(registry_, {std::string(f->name) + ";" + std::to_string(old)});
  ASSERT_EQ(1, files::admin::tempCleanupPass());
  std::vector<std::string> l = lines();
  ASSERT_EQ(1u, l.size());
  EXPECT_TRUE(testsupport::fileExists(f->name));
  uint32_t stamp = stampOf(l[0]);
  EXPECT_LE(filestest::lineAgeForTest(stamp, filestest::stampNow()), 5u) << l[0];
  orvFileClose(f, ORV_FILE_CLOSE_DELETE);
}

TEST_F(RegistryTest, AStampAheadOfTheClockCountsAsTakenBeforeMidnight) {
  waitForFirstPass();
  uint32_t now = filestest::stampNow();
  if (now > 86000) {
    GTEST_SKIP() << "too close to midnight";
  }
  std::string foreign = path("ahead");
  testsupport::writeFile(foreign, "x");
  filestest::writeRegistry(registry_, {foreign + ";" + std::to_string(now + 100)});
  ASSERT_EQ(1, files::admin::tempCleanupPass());
  EXPECT_FALSE(testsupport::fileExists(foreign));  // about a day old
}

TEST_F(RegistryTest, LinesThatAreNotRegistryLinesAreCutWithoutDeletingAnything) {
  waitForFirstPass();
  std::string file = path("named");
  testsupport::writeFile(file, "x");
  filestest::writeRegistry(registry_, {file, "", file + ";12ab"});
  ASSERT_EQ(1, files::admin::tempCleanupPass());
  EXPECT_TRUE(lines().empty());
  EXPECT_TRUE(testsupport::fileExists(file));
}

TEST_F(FilesTest, WithoutARegistryTheMaintenanceCallsDoNothing) {
  EXPECT_EQ(nullptr, files::admin::tempRegistryPath());
  EXPECT_EQ(nullptr, files::admin::tempRegistryList());
  EXPECT_EQ(0, files::admin::tempCleanupPass());
}

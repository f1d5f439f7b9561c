// The registry's inner workings: the age of a line with the midnight rule,
// the walk of a clean-up pass with its deliberate cut, stamps replaced and
// lines removed, the lock between processes with its retries, and the files
// of a killed process cleaned up by another process's pass.
#include <stdlib.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "common/files/file_internal.h"
#include "common/files/temp_state.h"
#include "orvane/files.h"
#include "orvane/frame.h"
#include "orvane/strings.h"
#include "platform/pal_file.h"
#include "support/test_support.h"
#include "test_files_support.h"

using files::temp::FileChecks;

namespace {

std::vector<std::string> existing;
std::vector<std::string> failingDeletes;
std::vector<std::string> deleted;

bool fakeExists(const char *path) {
  for (const std::string &p : existing) {
    if (p == path) {
      return true;
    }
  }
  return false;
}

bool fakeRemove(const char *path) {
  for (const std::string &p : failingDeletes) {
    if (p == path) {
      return false;
    }
  }
  deleted.emplace_back(path);
  return true;
}

const FileChecks kFakeChecks{fakeExists, fakeRemove};

std::string nativeOf(const orvString *s) {
  char *n = orvStringNative(s);
  std::string r = n != nullptr ? n : "<null>";
  free(n);
  return r;
}

class RegistryText : public ::testing::Test {
 protected:
  void SetUp() override {
    existing.clear();
    failingDeletes.clear();
    deleted.clear();
  }
  void TearDown() override { orvStringDestroy(text_); }
  orvString *text(const std::string &native) {
    orvStringDestroy(text_);
    text_ = orvStringCreate(ORV_CHARSET_ASCII, native.c_str());
    return text_;
  }
  std::string walk(uint32_t now, uint32_t timeout) {
    files::temp::walkLines(text_, now, timeout, kFakeChecks);
    return nativeOf(text_);
  }
  orvString *text_ = nullptr;
};

}  // namespace

TEST(RegistryAge, ALineStampedAt86390ReadAtStamp20Is30SecondsOld) {
  EXPECT_EQ(30u, files::temp::lineAge(86390, 20));
}

TEST(RegistryAge, AgesWithinTheDay) {
  EXPECT_EQ(0u, files::temp::lineAge(500, 500));
  EXPECT_EQ(100u, files::temp::lineAge(400, 500));
  EXPECT_EQ(86399u, files::temp::lineAge(1, 0));
  EXPECT_EQ(86399u, files::temp::lineAge(0, 86399));
}

TEST_F(RegistryText, YoungLinesStay) {
  text("a;100\nb;110\n");
  EXPECT_EQ("a;100\nb;110\n", walk(120, 30));
  EXPECT_TRUE(deleted.empty());
}

TEST_F(RegistryText, AnOldLineWhoseFileExistsDeletesTheFileAndKeepsTheLine) {
  existing = {"a"};
  text("a;10\nb;110\n");
  EXPECT_EQ("a;10\nb;110\n", walk(120, 30));
  EXPECT_EQ(std::vector<std::string>{"a"}, deleted);
}

TEST_F(RegistryText, AnOldLineWhoseFileIsGoneIsCutWithEverythingBeforeIt) {
  existing = {"young1", "young2"};
  text("young1;100\ngone;10\nyoung2;110\n");
  EXPECT_EQ("young2;110\n", walk(120, 30));
  EXPECT_TRUE(deleted.empty());  // the young file before it is no longer watched, but stays
}

TEST_F(RegistryText, AFailedDeleteCutsTheLineToo) {
  existing = {"locked", "other"};
  failingDeletes = {"locked"};
  text("other;115\nlocked;10\n");
  EXPECT_EQ("", walk(120, 30));
}

TEST_F(RegistryText, TheWalkStartsAgainAfterACut) {
  existing = {"old"};
  text("gone1;10\nold;10\ngone2;10\nyoung;119\n");
  // gone1 cut; old deleted (line kept); gone2 cut with old's line before it.
  EXPECT_EQ("young;119\n", walk(120, 30));
  EXPECT_EQ(std::vector<std::string>{"old"}, deleted);
}

TEST_F(RegistryText, TheMidnightRuleInTheWalk) {
  existing = {"late"};
  text("late;86390\n");
  EXPECT_EQ("late;86390\n", walk(20, 30));  // 30 seconds: not older than the time-out
  EXPECT_TRUE(deleted.empty());
  EXPECT_EQ("late;86390\n", walk(21, 30));  // 31 seconds: deleted, line kept
  EXPECT_EQ(std::vector<std::string>{"late"}, deleted);
}

TEST_F(RegistryText, ALineWithoutItsLineFeedAtTheEnd) {
  existing = {"a"};
  text("a;110");
  EXPECT_EQ("a;110", walk(120, 30));
  text("b;10");
  EXPECT_EQ("", walk(120, 30));
}

TEST_F(RegistryText, LinesThatAreNotRegistryLinesAreCut) {
  existing = {"keep", "noStamp"};
  text("noStamp\nkeep;119\n");
  EXPECT_EQ("keep;119\n", walk(120, 30));
  text(";5\nkeep;119\n");
  EXPECT_EQ("keep;119\n", walk(120, 30));
  text("bad;12x\n\nkeep;119\n");
  EXPECT_EQ("keep;119\n", walk(120, 30));
  text("big;99999999999\nkeep;119\n");
  EXPECT_EQ("keep;119\n", walk(120, 30));
  EXPECT_TRUE(deleted.empty());
}

TEST_F(RegistryText, ReplaceStampChangesOnlyThatLine) {
  orvString *t = text("p;5\nq;6\nr;7\n");
  EXPECT_TRUE(files::temp::replaceStamp(t, "q", 86399));
  EXPECT_EQ("p;5\nq;86399\nr;7\n", nativeOf(t));
  EXPECT_TRUE(files::temp::replaceStamp(t, "r", 0));
  EXPECT_EQ("p;5\nq;86399\nr;0\n", nativeOf(t));
  EXPECT_FALSE(files::temp::replaceStamp(t, "s", 1));
  EXPECT_EQ("p;5\nq;86399\nr;0\n", nativeOf(t));
}

TEST_F(RegistryText, ReplaceStampEndsALastLineThatHadNoLineFeed) {
  orvString *t = text("p;5\nq;6");
  EXPECT_TRUE(files::temp::replaceStamp(t, "q", 9));
  EXPECT_EQ("p;5\nq;9\n", nativeOf(t));
}

TEST_F(RegistryText, PathsAreMatchedWholeAndAtTheStartOfALine) {
  orvString *t = text("/t/abc;1\nx/t/ab;2\n/t/ab;3\n");
  EXPECT_TRUE(files::temp::replaceStamp(t, "/t/ab", 33));
  EXPECT_EQ("/t/abc;1\nx/t/ab;2\n/t/ab;33\n", nativeOf(t));
  EXPECT_TRUE(files::temp::removeLine(t, "/t/ab"));
  EXPECT_EQ("/t/abc;1\nx/t/ab;2\n", nativeOf(t));
  EXPECT_FALSE(files::temp::removeLine(t, "/t/ab"));
  EXPECT_TRUE(files::temp::removeLine(t, "/t/abc"));
  EXPECT_EQ("x/t/ab;2\n", nativeOf(t));
}

// --- The registry file under the lock -------------------------------------------------

namespace {

class RegistryLockTest : public filestest::FilesTest {
 protected:
  void configure() override {
    registry_ = path("registry");
    testsupport::setEnv("TEMPFILEREGISTRY", registry_);
    testsupport::setEnv("TEMPFILETIMEOUT", "30");
  }
  void TearDown() override {
    files::temp::tempState().attemptMilliseconds = 1000;
    FilesTest::TearDown();
    testsupport::unsetEnv("TEMPFILEREGISTRY");
    testsupport::unsetEnv("TEMPFILETIMEOUT");
  }
  // Another handle (as another process would hold it) locks the registry.
  pal::Handle holdLock() {
    pal::Handle h = pal::createFileA(registry_.c_str(), pal::kGenericRead | pal::kGenericWrite,
                                     pal::kFileShareRead | pal::kFileShareWrite, pal::kOpenAlways,
                                     pal::kFileAttributeNormal);
    EXPECT_NE(pal::kInvalidHandleValue, h);
    EXPECT_TRUE(pal::lockFile(h, 0, 0, 0xFFFFFFFFu, 0xFFFFFFFFu));
    return h;
  }
  static void release(pal::Handle h) {
    pal::unlockFile(h, 0, 0, 0xFFFFFFFFu, 0xFFFFFFFFu);
    pal::closeHandle(h);
  }
  std::string registry_;
};

}  // namespace

TEST_F(RegistryLockTest, AnAccessWaitsForTheLockOfAnotherProcess) {
  pal::Handle h = holdLock();
  std::thread releaser([h] {
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    release(h);
  });
  auto start = std::chrono::steady_clock::now();
  orvFile *f = orvFileOpen(ORV_FILE_READ | ORV_FILE_WRITE | ORV_FILE_TEMPORARY, ORV_FILE_TAG_END);
  auto waited = std::chrono::steady_clock::now() - start;
  releaser.join();
  ASSERT_NE(nullptr, f);
  EXPECT_GE(waited, std::chrono::milliseconds(200));
  EXPECT_LT(waited, std::chrono::seconds(10));
  std::vector<std::string> lines = filestest::registryLines(registry_);
  ASSERT_EQ(1u, lines.size());
  EXPECT_EQ(std::string(f->name), lines[0].substr(0, lines[0].find(';')));
  orvFileClose(f, ORV_FILE_CLOSE_DELETE);
}

TEST_F(RegistryLockTest, After16AttemptsTheAccessGivesUpWithMinus29) {
  files::temp::tempState().attemptMilliseconds = 20;  // instead of a second
  pal::Handle h = holdLock();
  auto start = std::chrono::steady_clock::now();
  orvFile *f = orvFileOpen(ORV_FILE_READ | ORV_FILE_WRITE | ORV_FILE_TEMPORARY, ORV_FILE_TAG_END);
  auto waited = std::chrono::steady_clock::now() - start;
  // The file is made all the same; only its line is missing.
  ASSERT_NE(nullptr, f);
  EXPECT_EQ(-29, orvFileError());
  EXPECT_GE(waited, std::chrono::milliseconds(15 * 20));
  release(h);
  EXPECT_TRUE(filestest::registryLines(registry_).empty());
  EXPECT_EQ(1, orvFileClose(f, ORV_FILE_CLOSE_DELETE));
}

TEST_F(RegistryLockTest, ShutDownEndsTheCleanUpThreadWithoutWaitingForItsSleep) {
  ASSERT_NE(nullptr, files::temp::tempState().cleanupThread);
  auto start = std::chrono::steady_clock::now();
  servicesProcessTerminate(0);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
  EXPECT_EQ(nullptr, files::temp::tempState().cleanupThread);
  ASSERT_EQ(0, servicesProcessInitialize(0));
}

// --- A killed process --------------------------------------------------------------------

// Runs only as the process started (and killed) by the test below: it makes
// five temporary files, says so, and waits to be killed.
TEST(TempFilesKilled, Holder) {
  const char *ready = getenv("ORVANE_FILES_READY");
  if (ready == nullptr) {
    GTEST_SKIP() << "started by AnotherProcessCleansUpTheFilesOfAKilledOne";
  }
  ASSERT_EQ(0, servicesProcessInitialize(0));
  for (int i = 0; i < 5; ++i) {
    ASSERT_NE(nullptr, orvFileOpen(ORV_FILE_READ | ORV_FILE_WRITE | ORV_FILE_TEMPORARY, ORV_FILE_TAG_END));
  }
  testsupport::writeFile(ready, "");
  for (;;) {
    std::this_thread::sleep_for(std::chrono::seconds(1));
  }
}

TEST(TempFilesKilled, AnotherProcessCleansUpTheFilesOfAKilledOne) {
  if (getenv("ORVANE_FILES_READY") != nullptr) {
    GTEST_SKIP() << "the holder";
  }
  std::string dir = testsupport::makeScratchDir("killed");
  std::string registry = dir + testsupport::kSep + "registry";
  std::string holderDir = dir + testsupport::kSep + "holder";
  std::string ready = dir + testsupport::kSep + "ready";
  std::filesystem::create_directories(holderDir);
  testsupport::setEnv("TEMPFILEREGISTRY", registry);
  testsupport::setEnv("TEMPFILETIMEOUT", "30");
  testsupport::setEnv("TEMPFILEDIRS", holderDir);
  testsupport::setEnv("ORVANE_FILES_READY", ready);
  filestest::ChildProcess holder = filestest::spawnSelf("TempFilesKilled.Holder");
  testsupport::unsetEnv("ORVANE_FILES_READY");
  ASSERT_TRUE(filestest::spawned(holder));
  bool arrived = filestest::waitForFile(ready);
  filestest::killChild(holder);
  ASSERT_TRUE(arrived);
  std::vector<std::string> lines = filestest::registryLines(registry);
  ASSERT_EQ(5u, lines.size());
  size_t held = static_cast<size_t>(
      std::distance(std::filesystem::directory_iterator(holderDir), std::filesystem::directory_iterator()));
  EXPECT_EQ(5u, held);

  // This process keeps the same registry; its pass runs as if the time-out
  // had passed since the holder stamped its lines.
  std::string own = dir + testsupport::kSep + "own";
  std::filesystem::create_directories(own);
  testsupport::setEnv("TEMPFILEDIRS", own);
  ASSERT_EQ(0, servicesProcessInitialize(0));
  uint32_t later = (filestest::stampNow() + 45) % 86400;
  {
    files::temp::TempLock lock;
    ASSERT_TRUE(files::temp::registryCleanPass(later));
  }
  held = static_cast<size_t>(
      std::distance(std::filesystem::directory_iterator(holderDir), std::filesystem::directory_iterator()));
  EXPECT_EQ(0u, held);
  EXPECT_EQ(5u, filestest::registryLines(registry).size());  // the lines go on the next pass
  {
    files::temp::TempLock lock;
    ASSERT_TRUE(files::temp::registryCleanPass(later));
  }
  EXPECT_TRUE(filestest::registryLines(registry).empty());
  servicesProcessTerminate(0);
  for (const char *name : {"TEMPFILEREGISTRY", "TEMPFILETIMEOUT", "TEMPFILEDIRS"}) {
    testsupport::unsetEnv(name);
  }
  filestest::removeScratch(dir);
}

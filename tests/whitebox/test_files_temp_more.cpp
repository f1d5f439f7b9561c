// Temporary files in chains and at shut-down: a temporary record with an
// ordinary file as a segment, a segment that cannot be deleted, files that
// cannot be deleted when the process shuts down (they stay on the disk and
// are forgotten), empty settings that count as none, and no directory at
// all.
#include <stdlib.h>

#include <filesystem>
#include <string>
#include <utility>
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

// A read-only file cannot be deleted (on POSIX too, by the platform's rule).
void makeReadOnly(const std::string &name) {
  std::filesystem::permissions(name, std::filesystem::perms::owner_read | std::filesystem::perms::group_read |
                                         std::filesystem::perms::others_read);
}

void makeWritable(const std::string &name) {
  std::filesystem::permissions(name, std::filesystem::perms::owner_all, std::filesystem::perm_options::add);
}

orvFile *tempSegmentOf(orvFile *record) {
  return orvFileOpen(kTemp, ORV_FILE_TAG_SEGMENT_OF, record, ORV_FILE_TAG_END);
}

class TempMoreTest : public FilesTest {};

}  // namespace

TEST_F(TempMoreTest, DeletingATemporaryRecordKeepsItsOrdinarySegment) {
  orvFile *t = orvFileOpen(kTemp, ORV_FILE_TAG_END);
  ASSERT_NE(nullptr, t);
  const std::string tempName = t->name;
  testsupport::writeFile(path("b"), "ordinary");
  ASSERT_EQ(t, orvFileOpen(kReadWrite, ORV_FILE_TAG_SEGMENT_OF, t, ORV_FILE_TAG_PATH, path("b").c_str(),
                           ORV_FILE_TAG_END));
  ASSERT_NE(nullptr, t->next);
  EXPECT_EQ(1, orvFileClose(t, ORV_FILE_CLOSE_DELETE));
  EXPECT_FALSE(testsupport::fileExists(tempName));
  EXPECT_EQ("ordinary", contents("b")) << "an ordinary segment is closed, not deleted";
}

TEST_F(TempMoreTest, ASegmentThatCannotBeDeletedFailsTheCloseAndKeepsTheChain) {
  orvFile *t = orvFileOpen(kTemp, ORV_FILE_TAG_END);
  ASSERT_NE(nullptr, t);
  ASSERT_EQ(t, tempSegmentOf(t));
  ASSERT_NE(nullptr, t->next);
  const std::string headName = t->name;
  const std::string segName = t->next->name;
  makeReadOnly(segName);
  EXPECT_EQ(0, orvFileClose(t, ORV_FILE_CLOSE_DELETE));
  EXPECT_EQ(ORV_FILE_E_CANNOT_DELETE, orvFileError());
  EXPECT_TRUE(testsupport::fileExists(headName)) << "the record's own file is not deleted either";
  EXPECT_TRUE(testsupport::fileExists(segName));
  EXPECT_EQ(ORV_FILE_MAGIC, t->magic);
  ASSERT_NE(nullptr, t->next);
  EXPECT_EQ(segName, std::string(t->next->name));
  makeWritable(segName);
  EXPECT_EQ(1, orvFileClose(t, ORV_FILE_CLOSE_DELETE));
  EXPECT_FALSE(testsupport::fileExists(headName));
  EXPECT_FALSE(testsupport::fileExists(segName));
}

TEST_F(TempMoreTest, ShutDownLeavesATemporaryFileThatCannotBeDeleted) {
  orvFile *t = orvFileOpen(kTemp, ORV_FILE_TAG_END);
  ASSERT_NE(nullptr, t);
  ASSERT_EQ(t, tempSegmentOf(t));
  const std::string headName = t->name;
  const std::string segName = t->next->name;
  orvFile *other = orvFileOpen(kTemp, ORV_FILE_TAG_END);
  ASSERT_NE(nullptr, other);
  const std::string otherName = other->name;
  makeReadOnly(headName);
  servicesProcessTerminate(0);
  EXPECT_TRUE(testsupport::fileExists(headName)) << "left on the disk and forgotten";
  EXPECT_FALSE(testsupport::fileExists(segName)) << "its deletable segment went first";
  EXPECT_FALSE(testsupport::fileExists(otherName)) << "the others are deleted all the same";
  makeWritable(headName);
  ASSERT_EQ(0, servicesProcessInitialize(0));  // for TearDown
}

TEST_F(TempMoreTest, ShutDownDeletesTheTemporarySegmentsOfOrdinaryFiles) {
  orvFile *a = create("a", "abc");
  ASSERT_NE(nullptr, a);
  ASSERT_EQ(a, tempSegmentOf(a));
  ASSERT_EQ(a, tempSegmentOf(a));
  ASSERT_NE(nullptr, a->next);
  ASSERT_NE(nullptr, a->next->next);
  const std::string first = a->next->name;
  const std::string second = a->next->next->name;
  makeReadOnly(first);
  servicesProcessTerminate(0);
  EXPECT_TRUE(testsupport::fileExists(first)) << "cannot be deleted: left on the disk";
  EXPECT_FALSE(testsupport::fileExists(second));
  EXPECT_EQ(nullptr, a->next) << "the segments are taken out of the ordinary file's chain";
  ASSERT_EQ(0, servicesProcessInitialize(0));
  EXPECT_EQ(1, orvFileClose(a, 0));
  EXPECT_EQ("abc", contents("a"));
  makeWritable(first);
}

namespace {

class EmptyTempSettingsTest : public FilesTest {
 protected:
  void configure() override {
    testsupport::setEnv("TEMPFILEREGISTRY", "");
    testsupport::setEnv("TEMPFILETIMEOUT", "");
  }
  void TearDown() override {
    FilesTest::TearDown();
    testsupport::unsetEnv("TEMPFILEREGISTRY");
    testsupport::unsetEnv("TEMPFILETIMEOUT");
  }
};

}  // namespace

TEST_F(EmptyTempSettingsTest, AnEmptyRegistrySettingMeansNoRegistry) {
  EXPECT_EQ(nullptr, files::admin::tempRegistryPath());
  EXPECT_EQ(1800u, files::admin::tempTimeout());
  orvFile *t = orvFileOpen(kTemp, ORV_FILE_TAG_END);
  ASSERT_NE(nullptr, t);
  EXPECT_EQ(1, orvFileClose(t, ORV_FILE_CLOSE_DELETE));
}

#ifndef _WIN32
// Without any directory setting the current directory is taken; when even
// that cannot be told (it is longer than a path may be), there is no
// directory for temporary files at all.
TEST(TempNoDirectory, ACurrentDirectoryTooLongLeavesNoPlaceForTemporaryFiles) {
  const std::vector<const char *> names = {"TEMPFILEDIRS", "Temporary",        "TEMP",
                                           "TMPDIR",       "TEMPFILEREGISTRY", "TEMPFILETIMEOUT"};
  std::vector<std::pair<const char *, std::string>> saved;
  for (const char *name : names) {
    if (const char *value = getenv(name)) {
      saved.emplace_back(name, value);
    }
    testsupport::unsetEnv(name);
  }
  testsupport::useScratchProfileDir();
  const std::string dir = testsupport::makeScratchDir("temp-nodir");
  std::string deep = dir;
  while (deep.size() <= 300) {
    deep += "/directory-of-some-length";
  }
  std::filesystem::create_directories(deep);
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(deep);
  const int started = servicesProcessInitialize(0);
  const char *first = files::admin::tempDirectory(0);
  orvFile *f = orvFileOpen(kTemp, ORV_FILE_TAG_END);
  const int error = orvFileError();
  servicesProcessTerminate(0);
  std::filesystem::current_path(before);
  for (const auto &s : saved) {
    testsupport::setEnv(s.first, s.second);
  }
  testsupport::removeTree(dir);
  EXPECT_EQ(0, started) << "start-up does not fail for it";
  EXPECT_EQ(nullptr, first);
  EXPECT_EQ(nullptr, f);
  EXPECT_EQ(ORV_FILE_E_DISK_FULL, error) << "no temporary file could be made";
}
#endif

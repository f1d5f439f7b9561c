// Opening files, more edges: a tag list longer than any real one, a segment
// request for something that is no file record, the compressed flag, and a
// kept temporary file that cannot be reopened in place.
#include <stdlib.h>

#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "orvane/files.h"
#include "orvane/frame.h"
#include "support/test_support.h"
#include "test_files_support.h"

using filestest::FilesTest;

namespace {

constexpr int kReadWrite = ORV_FILE_READ | ORV_FILE_WRITE;

class OpenMoreTest : public FilesTest {};

}  // namespace

#define ORV_TEST_PREFIX2 ORV_FILE_TAG_PREFIX, "p", ORV_FILE_TAG_PREFIX, "p"
#define ORV_TEST_PREFIX8 ORV_TEST_PREFIX2, ORV_TEST_PREFIX2, ORV_TEST_PREFIX2, ORV_TEST_PREFIX2
#define ORV_TEST_PREFIX32 ORV_TEST_PREFIX8, ORV_TEST_PREFIX8, ORV_TEST_PREFIX8, ORV_TEST_PREFIX8

TEST_F(OpenMoreTest, ATagListOfMoreThan64TagsIsRefused) {
  const std::string p = path("many");
  // 64 tags are read ...
  orvFile *f = orvFileOpen(kReadWrite | ORV_FILE_CREATE, ORV_TEST_PREFIX32, ORV_TEST_PREFIX8,
                           ORV_TEST_PREFIX8, ORV_TEST_PREFIX8, ORV_TEST_PREFIX2, ORV_TEST_PREFIX2,
                           ORV_FILE_TAG_PREFIX, "p", ORV_FILE_TAG_PATH, p.c_str(), ORV_FILE_TAG_END);
  ASSERT_NE(nullptr, f);
  EXPECT_EQ(1, orvFileClose(f, 0));
  // ... the 65th is one too many.
  int error = 0;
  EXPECT_EQ(nullptr,
            orvFileOpen(kReadWrite | ORV_FILE_CREATE, ORV_FILE_TAG_ERROR_OUT, &error, ORV_TEST_PREFIX32,
                        ORV_TEST_PREFIX32, ORV_FILE_TAG_PATH, p.c_str(), ORV_FILE_TAG_END));
  EXPECT_EQ(ORV_FILE_E_INVALID_PARAMETER, orvFileError());
  EXPECT_EQ(ORV_FILE_E_INVALID_PARAMETER, error);
}

TEST_F(OpenMoreTest, ASegmentOfSomethingThatIsNoRecord) {
  orvFile notARecord{};
  int error = 0;
  EXPECT_EQ(nullptr, orvFileOpen(kReadWrite, ORV_FILE_TAG_SEGMENT_OF, &notARecord, ORV_FILE_TAG_PATH,
                                 path("b").c_str(), ORV_FILE_TAG_ERROR_OUT, &error, ORV_FILE_TAG_END));
  EXPECT_EQ(ORV_FILE_E_INVALID_HANDLE, orvFileError());
  EXPECT_EQ(ORV_FILE_E_INVALID_HANDLE, error);
  EXPECT_FALSE(testsupport::fileExists(path("b")));
}

TEST_F(OpenMoreTest, TheCompressedFlagOpensAnOrdinaryFile) {
  orvFile *f = orvFileOpen(kReadWrite | ORV_FILE_CREATE | ORV_FILE_COMPRESSED, ORV_FILE_TAG_PATH,
                           path("c").c_str(), ORV_FILE_TAG_END);
  ASSERT_NE(nullptr, f);
  ASSERT_TRUE(writeAll(f, "packed"));
  EXPECT_EQ(1, orvFileClose(f, 0));
  EXPECT_EQ("packed", contents("c"));
  orvFile *r = orvFileOpen(ORV_FILE_READ | ORV_FILE_COMPRESSED, ORV_FILE_TAG_PATH, path("c").c_str(),
                           ORV_FILE_TAG_END);
  ASSERT_NE(nullptr, r);
  EXPECT_EQ("packed", readAll(r, 100));
  EXPECT_EQ(1, orvFileClose(r, 0));
}

TEST_F(OpenMoreTest, AKeptTemporaryFileWhosePlaceIsTakenCannotBeReopened) {
  orvFile *f = orvFileOpen(kReadWrite | ORV_FILE_TEMPORARY, ORV_FILE_TAG_END);
  ASSERT_NE(nullptr, f);
  const std::string name = f->name;
  ASSERT_TRUE(writeAll(f, "kept"));
  ASSERT_EQ(1, orvFileClose(f, ORV_FILE_CLOSE_KEEP));
  std::filesystem::remove(name);
  std::filesystem::create_directory(name);
  int error = 0;
  EXPECT_EQ(nullptr, orvFileOpen(kReadWrite, ORV_FILE_TAG_SEGMENT_OF, f, ORV_FILE_TAG_ERROR_OUT, &error,
                                 ORV_FILE_TAG_END));
  EXPECT_NE(0, error);
  EXPECT_EQ(error, orvFileError());
  EXPECT_EQ(ORV_FILE_MAGIC, f->magic) << "the record stays";
  std::filesystem::remove(name);
  testsupport::writeFile(name, "again");
  ASSERT_EQ(f, orvFileOpen(kReadWrite, ORV_FILE_TAG_SEGMENT_OF, f, ORV_FILE_TAG_END));
  EXPECT_EQ("again", readAll(f, 100));
  EXPECT_EQ(1, orvFileClose(f, ORV_FILE_CLOSE_DELETE));
  EXPECT_FALSE(testsupport::fileExists(name));
}

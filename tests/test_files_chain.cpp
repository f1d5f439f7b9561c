// Chained files: a record given further segments (tag 6) reads, writes,
// seeks and measures across them as one file.
#include <stdlib.h>

#include <string>

#include <gtest/gtest.h>

#include "orvane/files.h"
#include "orvane/frame.h"
#include "test_files_support.h"

using filestest::FilesTest;

namespace {

constexpr int kReadWrite = ORV_FILE_READ | ORV_FILE_WRITE;

class ChainTest : public FilesTest {
 protected:
  // "abc" followed by a segment "defgh".
  orvFile *makeChain() {
    orvFile *a = create("a", "abc");
    if (a == nullptr) {
      return nullptr;
    }
    testsupport::writeFile(path("b"), "defgh");
    orvFile *r = orvFileOpen(kReadWrite, ORV_FILE_TAG_SEGMENT_OF, a, ORV_FILE_TAG_PATH, path("b").c_str(),
                             ORV_FILE_TAG_END);
    EXPECT_EQ(a, r);
    return a;
  }
};

}  // namespace

TEST_F(ChainTest, ASegmentIsChainedBehindTheRecord) {
  orvFile *a = makeChain();
  ASSERT_NE(nullptr, a);
  ASSERT_NE(nullptr, a->next);
  EXPECT_EQ(a, a->next->head);
  EXPECT_EQ(a, a->head);
  EXPECT_EQ(3, a->segmentLimit);  // the first segment keeps its length
  EXPECT_EQ(path("b"), std::string(a->next->name));
  orvFileClose(a, 0);
}

TEST_F(ChainTest, AReadThatReachesTheLimitContinuesInTheNextSegment) {
  orvFile *a = makeChain();
  ASSERT_NE(nullptr, a);
  EXPECT_EQ("abcdefgh", readAll(a, 100));
  EXPECT_EQ(8, orvFileTell(a));
  EXPECT_EQ(1, orvFileEOF(a));
  orvFileClose(a, 0);
}

TEST_F(ChainTest, SmallReadsAndGetcCrossTheSegments) {
  orvFile *a = makeChain();
  ASSERT_NE(nullptr, a);
  EXPECT_EQ("ab", readAll(a, 2));
  EXPECT_EQ("cd", readAll(a, 2));
  EXPECT_EQ(4, orvFileTell(a));
  EXPECT_EQ('e', orvFileGetc(a));
  EXPECT_EQ(0, orvFileEOF(a));
  orvFileClose(a, 0);
}

TEST_F(ChainTest, TellAndSizeOfAChain) {
  orvFile *a = makeChain();
  ASSERT_NE(nullptr, a);
  EXPECT_EQ(0, orvFileTell(a));
  EXPECT_EQ(8, orvFileSize(a));
  readAll(a, 5);
  EXPECT_EQ(5, orvFileTell(a));  // the first segment's length plus the position in the second
  EXPECT_EQ(8, orvFileSize(a));
  EXPECT_EQ(5, orvFileTell(a));
  orvFileClose(a, 0);
}

TEST_F(ChainTest, SeeksRunAcrossTheChain) {
  orvFile *a = makeChain();
  ASSERT_NE(nullptr, a);
  ASSERT_EQ(1, orvFileSeek(a, 4, ORV_FILE_SEEK_SET));
  EXPECT_EQ("efgh", readAll(a, 10));
  ASSERT_EQ(1, orvFileSeek(a, -6, ORV_FILE_SEEK_END));
  EXPECT_EQ(2, orvFileTell(a));
  EXPECT_EQ("cdefgh", readAll(a, 10));
  ASSERT_EQ(1, orvFileSeek(a, 3, ORV_FILE_SEEK_SET));  // the boundary: the start of the second
  EXPECT_EQ("def", readAll(a, 3));
  ASSERT_EQ(1, orvFileSeek(a, -5, ORV_FILE_SEEK_CUR));
  EXPECT_EQ(1, orvFileTell(a));
  EXPECT_EQ("bcd", readAll(a, 3));
  EXPECT_EQ(0, orvFileSeek(a, -10, ORV_FILE_SEEK_CUR));
  EXPECT_EQ(0, orvFileSeek(a, 0, 9));
  orvFileClose(a, 0);
}

TEST_F(ChainTest, AWriteInsideTheChainKeepsEachSegmentsLength) {
  orvFile *a = makeChain();
  ASSERT_NE(nullptr, a);
  ASSERT_EQ(1, orvFileSeek(a, 1, ORV_FILE_SEEK_SET));
  ASSERT_TRUE(writeAll(a, "WXYZ"));
  EXPECT_EQ(5, orvFileTell(a));
  ASSERT_EQ(1, orvFileSeek(a, 0, ORV_FILE_SEEK_SET));
  EXPECT_EQ("aWXYZfgh", readAll(a, 100));
  ASSERT_TRUE(writeAll(a, "++"));  // at the end: the last segment grows
  EXPECT_EQ(10, orvFileSize(a));
  orvFileClose(a, 0);
  EXPECT_EQ("aWX", contents("a"));
  EXPECT_EQ("YZfgh++", contents("b"));
}

TEST_F(ChainTest, SetEOFCutsTheChainAtThePosition) {
  orvFile *a = makeChain();
  ASSERT_NE(nullptr, a);
  ASSERT_EQ(1, orvFileSeek(a, 2, ORV_FILE_SEEK_SET));
  ASSERT_EQ(1, orvFileSetEOF(a));
  EXPECT_EQ(2, orvFileSize(a));
  EXPECT_EQ(2, orvFileTell(a));
  EXPECT_EQ(1, orvFileEOF(a));
  ASSERT_TRUE(writeAll(a, "Q"));
  ASSERT_EQ(1, orvFileSeek(a, 0, ORV_FILE_SEEK_SET));
  EXPECT_EQ("abQ", readAll(a, 10));
  orvFileClose(a, 0);
  EXPECT_EQ("ab", contents("a"));
  EXPECT_EQ("Q", contents("b"));
}

TEST_F(ChainTest, ThreeSegments) {
  orvFile *a = makeChain();
  ASSERT_NE(nullptr, a);
  testsupport::writeFile(path("c"), "ijk");
  ASSERT_EQ(a, orvFileOpen(kReadWrite, ORV_FILE_TAG_SEGMENT_OF, a, ORV_FILE_TAG_PATH, path("c").c_str(),
                           ORV_FILE_TAG_END));
  EXPECT_EQ(5, a->next->segmentLimit);
  EXPECT_EQ("abcdefghijk", readAll(a, 100));
  ASSERT_EQ(1, orvFileSeek(a, 9, ORV_FILE_SEEK_SET));
  EXPECT_EQ("jk", readAll(a, 100));
  ASSERT_EQ(1, orvFileSeek(a, 7, ORV_FILE_SEEK_SET));
  EXPECT_EQ("hij", readAll(a, 3));
  EXPECT_EQ(11, orvFileSize(a));
  orvFileClose(a, 0);
}

TEST_F(ChainTest, ClosingTheRecordClosesItsSegmentsAndKeepsOrdinaryFiles) {
  orvFile *a = makeChain();
  ASSERT_NE(nullptr, a);
  EXPECT_EQ(1, orvFileClose(a, ORV_FILE_CLOSE_DELETE));
  EXPECT_EQ("abc", contents("a"));
  EXPECT_EQ("defgh", contents("b"));
}

TEST_F(ChainTest, AFailedSegmentOpenLeavesTheRecordAlone) {
  orvFile *a = create("a", "abc");
  ASSERT_NE(nullptr, a);
  int error = 0;
  std::string bad = path("nodir") + testsupport::kSep + "b";
  EXPECT_EQ(nullptr,
            orvFileOpen(kReadWrite | ORV_FILE_MUST_EXIST, ORV_FILE_TAG_SEGMENT_OF, a, ORV_FILE_TAG_PATH,
                        bad.c_str(), ORV_FILE_TAG_ERROR_OUT, &error, ORV_FILE_TAG_END));
  EXPECT_EQ(-17, error);
  EXPECT_EQ(nullptr, a->next);
  EXPECT_EQ("abc", readAll(a, 10));
  orvFileClose(a, 0);
}

TEST_F(ChainTest, ASegmentOfAnInvalidRecordFailsWithMinus25) {
  orvFile fake{};
  int error = 0;
  EXPECT_EQ(nullptr, orvFileOpen(kReadWrite, ORV_FILE_TAG_SEGMENT_OF, &fake, ORV_FILE_TAG_PATH,
                                 path("b").c_str(), ORV_FILE_TAG_ERROR_OUT, &error, ORV_FILE_TAG_END));
  EXPECT_EQ(-25, error);
}

TEST_F(ChainTest, TextModeAcrossSegments) {
  orvFile *a = create("ta", "x\r", ORV_FILE_READ | ORV_FILE_WRITE | ORV_FILE_TEXT);
  ASSERT_NE(nullptr, a);
  testsupport::writeFile(path("tb"), "\ny\x1az");
  ASSERT_EQ(a, orvFileOpen(ORV_FILE_READ | ORV_FILE_TEXT, ORV_FILE_TAG_SEGMENT_OF, a, ORV_FILE_TAG_PATH,
                           path("tb").c_str(), ORV_FILE_TAG_END));
  EXPECT_EQ('x', orvFileGetc(a));
  EXPECT_EQ('\n', orvFileGetc(a));  // CR at the end of one segment, LF at the start of the next
  EXPECT_EQ('y', orvFileGetc(a));
  EXPECT_EQ(ORV_FILE_EOF, orvFileGetc(a));
  EXPECT_EQ(1, orvFileEOF(a));
  orvFileClose(a, 0);
}

TEST_F(ChainTest, ATemporarySegmentIsMadeInTheTemporaryDirectoryAndDeletedWithTheRecord) {
  orvFile *a = create("a", "abc");
  ASSERT_NE(nullptr, a);
  char *name = nullptr;
  ASSERT_EQ(a, orvFileOpen(kReadWrite | ORV_FILE_TEMPORARY, ORV_FILE_TAG_SEGMENT_OF, a, ORV_FILE_TAG_PREFIX,
                           "seg", ORV_FILE_TAG_NAME_OUT, &name, ORV_FILE_TAG_END));
  ASSERT_NE(nullptr, a->next);
  ASSERT_NE(nullptr, name);
  EXPECT_EQ(std::string(name), std::string(a->next->name));
  EXPECT_EQ(0u, a->next->tempIndex);
  ASSERT_EQ(1, orvFileSeek(a, 0, ORV_FILE_SEEK_END));
  ASSERT_TRUE(writeAll(a, "defg"));
  ASSERT_EQ(1, orvFileSeek(a, 0, ORV_FILE_SEEK_SET));
  EXPECT_EQ("abcdefg", readAll(a, 100));
  EXPECT_EQ(1, orvFileClose(a, 0));
  EXPECT_EQ("abc", contents("a"));
  EXPECT_FALSE(testsupport::fileExists(name));
  orvMemoryFreeFunc(name);
}

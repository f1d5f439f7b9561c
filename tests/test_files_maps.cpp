// Memory maps: system maps with their sizes and views, and the heap-buffer
// maps of spill-over files.
#include <string.h>

#include <string>

#include <gtest/gtest.h>

#include "orvane/files.h"
#include "test_files_support.h"

using filestest::FilesTest;

namespace {

constexpr int kReadWrite = ORV_FILE_READ | ORV_FILE_WRITE;
constexpr uint32_t kGranule = 65536;

}  // namespace

TEST_F(FilesTest, AViewOf10BytesAtOffset70000MapsOneGranuleFromOffset65536) {
  orvFile *f = open(kReadWrite, "view");
  ASSERT_NE(nullptr, f);
  orvFileMap *map = orvFileMemoryMapCreate(f, 0);
  ASSERT_NE(nullptr, map);
  void *p = orvFileMemoryMapOpen(map, ORV_FILE_MAP_WRITE, 70000, 0, 10);
  ASSERT_NE(nullptr, p);
  EXPECT_EQ(65536, map->viewOffset);
  EXPECT_EQ(kGranule, map->viewLength);
  EXPECT_EQ(4464, static_cast<char *>(p) - static_cast<char *>(map->view));
  memcpy(p, "0123456789", 10);
  EXPECT_EQ(1, orvFileMemoryMapClose(map));
  EXPECT_EQ(nullptr, map->view);
  EXPECT_EQ(1, orvFileMemoryMapDestroy(map));
  char buf[10];
  EXPECT_EQ(10u, orvFileSeekRead(f, 70000, ORV_FILE_SEEK_SET, buf, 10));
  EXPECT_EQ("0123456789", std::string(buf, 10));
  orvFileClose(f, 0);
}

TEST_F(FilesTest, AReadOnlyFileOf1000BytesMappedWithSize0GetsAMappingOf1000Bytes) {
  std::string data = filestest::pattern(1000);
  orvFile *f = create("ro1000", data, ORV_FILE_READ);
  ASSERT_NE(nullptr, f);
  orvFileMap *map = orvFileMemoryMapCreate(f, 0);
  ASSERT_NE(nullptr, map);
  EXPECT_EQ(1000u, map->size);
  EXPECT_EQ(ORV_FILE_MAP_MAGIC, map->magic);
  EXPECT_EQ(f, map->file);
  EXPECT_EQ(1u, f->mapCount);
  const char *p = static_cast<const char *>(orvFileMemoryMapOpen(map, 0, 0, 0, 1000));
  ASSERT_NE(nullptr, p);
  EXPECT_EQ(1000u, map->viewLength);  // cut at the end of the file
  EXPECT_EQ(data, std::string(p, 1000));
  EXPECT_EQ(1, orvFileMemoryMapDestroy(map));
  EXPECT_EQ(0u, f->mapCount);
  orvFileClose(f, 0);
}

TEST_F(FilesTest, AWritableMapOfSize0OnAnEmptyFileGetsTwoGranules) {
  orvFile *f = open(kReadWrite, "empty");
  ASSERT_NE(nullptr, f);
  orvFileMap *map = orvFileMemoryMapCreate(f, 0);
  ASSERT_NE(nullptr, map);
  EXPECT_EQ(2 * kGranule, map->size);
  EXPECT_EQ(static_cast<int64_t>(2 * kGranule), orvFileSize(f));  // the mapping extended the file
  orvFileMemoryMapDestroy(map);
  orvFileClose(f, 0);
}

TEST_F(FilesTest, MappingSizesBeyondTwoGranulesAddOneGranule) {
  orvFile *f = open(kReadWrite, "sizes");
  ASSERT_NE(nullptr, f);
  orvFileMap *a = orvFileMemoryMapCreate(f, 200000);
  ASSERT_NE(nullptr, a);
  EXPECT_EQ(4 * kGranule, a->size);  // 200000 / 65536 + 1 granules
  orvFileMap *b = orvFileMemoryMapCreate(f, 3 * kGranule);
  ASSERT_NE(nullptr, b);
  EXPECT_EQ(4 * kGranule, b->size);  // an exact multiple still gets one more
  orvFileMap *c = orvFileMemoryMapCreate(f, 100);
  ASSERT_NE(nullptr, c);
  EXPECT_EQ(2 * kGranule, c->size);
  EXPECT_EQ(3u, f->mapCount);
  orvFileMemoryMapDestroy(a);
  orvFileMemoryMapDestroy(b);
  orvFileMemoryMapDestroy(c);
  EXPECT_EQ(0u, f->mapCount);
  orvFileClose(f, 0);
}

TEST_F(FilesTest, AReadOnlyMapOfASmallerSizeTakesTheFileSize) {
  orvFile *f = create("rosmall", filestest::pattern(5000), ORV_FILE_READ);
  ASSERT_NE(nullptr, f);
  orvFileMap *map = orvFileMemoryMapCreate(f, 10);
  ASSERT_NE(nullptr, map);
  EXPECT_EQ(5000u, map->size);
  orvFileMemoryMapDestroy(map);
  orvFileClose(f, 0);
}

TEST_F(FilesTest, AReadOnlyMapLargerThanItsFileFailsWithMinus36) {
  orvFile *f = create("rolarge", "0123456789", ORV_FILE_READ);
  ASSERT_NE(nullptr, f);
  EXPECT_EQ(nullptr, orvFileMemoryMapCreate(f, 100));
  EXPECT_EQ(-36, orvFileError());  // the system's "not enough memory"
  EXPECT_EQ(0u, f->mapCount);
  EXPECT_EQ(10, orvFileSize(f));
  orvFileClose(f, 0);
}

TEST_F(FilesTest, AReadOnlyMapOfAnEmptyFileFails) {
  orvFile *f = create("roempty", "", ORV_FILE_READ);
  ASSERT_NE(nullptr, f);
  EXPECT_EQ(nullptr, orvFileMemoryMapCreate(f, 0));
  EXPECT_EQ(-25, orvFileError());  // the system's "file invalid"
  orvFileClose(f, 0);
}

TEST_F(FilesTest, WritingThroughAReadOnlyViewFailsWithMinus2) {
  orvFile *f = create("roview", filestest::pattern(100), ORV_FILE_READ);
  ASSERT_NE(nullptr, f);
  orvFileMap *map = orvFileMemoryMapCreate(f, 0);
  ASSERT_NE(nullptr, map);
  EXPECT_EQ(nullptr, orvFileMemoryMapOpen(map, ORV_FILE_MAP_WRITE, 0, 0, 10));
  EXPECT_EQ(-2, orvFileError());
  orvFileMemoryMapDestroy(map);
  orvFileClose(f, 0);
}

TEST_F(FilesTest, AViewPastTheEndOrAbove4GiBIsRefused) {
  orvFile *f = open(kReadWrite, "bounds");
  ASSERT_NE(nullptr, f);
  orvFileMap *map = orvFileMemoryMapCreate(f, 0);
  ASSERT_NE(nullptr, map);
  EXPECT_EQ(nullptr, orvFileMemoryMapOpen(map, 0, 2 * kGranule - 5, 0, 10));
  EXPECT_EQ(-21, orvFileError());
  EXPECT_EQ(nullptr, orvFileMemoryMapOpen(map, 0, 3 * kGranule, 0, 10));
  EXPECT_EQ(nullptr, orvFileMemoryMapOpen(map, 0, 0, 1, 10));
  EXPECT_EQ(-21, orvFileError());
  EXPECT_NE(nullptr, orvFileMemoryMapOpen(map, 0, 2 * kGranule - 10, 0, 10));  // the last bytes
  orvFileMemoryMapDestroy(map);
  orvFileClose(f, 0);
}

TEST_F(FilesTest, AViewSpanningGranulesGetsOneMore) {
  orvFile *f = open(kReadWrite, "span");
  ASSERT_NE(nullptr, f);
  orvFileMap *map = orvFileMemoryMapCreate(f, 5 * kGranule);
  ASSERT_NE(nullptr, map);
  char *p = static_cast<char *>(orvFileMemoryMapOpen(map, ORV_FILE_MAP_WRITE, 100, 0, kGranule));
  ASSERT_NE(nullptr, p);
  EXPECT_EQ(0, map->viewOffset);
  EXPECT_EQ(2 * kGranule, map->viewLength);  // (100 + 65536) / 65536 + 1 granules
  p[kGranule - 1] = 'z';
  // Opening another view ends the first.
  char *q = static_cast<char *>(orvFileMemoryMapOpen(map, 0, kGranule, 0, 10));
  ASSERT_NE(nullptr, q);
  EXPECT_EQ(static_cast<int64_t>(kGranule), map->viewOffset);
  EXPECT_EQ('z', q[99]);
  orvFileMemoryMapDestroy(map);
  orvFileClose(f, 0);
}

TEST_F(FilesTest, BytesWrittenBeforeTheMapAreSeenInTheView) {
  orvFile *f = open(kReadWrite, "pending");
  ASSERT_NE(nullptr, f);
  ASSERT_TRUE(writeAll(f, "pending bytes"));  // still in the buffer
  orvFileMap *map = orvFileMemoryMapCreate(f, 0);
  ASSERT_NE(nullptr, map);
  const char *p = static_cast<const char *>(orvFileMemoryMapOpen(map, 0, 0, 0, 13));
  ASSERT_NE(nullptr, p);
  EXPECT_EQ("pending bytes", std::string(p, 13));
  orvFileMemoryMapDestroy(map);
  orvFileClose(f, 0);
}

TEST_F(FilesTest, MapCallsRejectInvalidRecords) {
  orvFileMap fake{};
  EXPECT_EQ(nullptr, orvFileMemoryMapCreate(nullptr, 0));
  EXPECT_EQ(-25, orvFileError());
  EXPECT_EQ(nullptr, orvFileMemoryMapOpen(&fake, 0, 0, 0, 1));
  EXPECT_EQ(0, orvFileMemoryMapClose(nullptr));
  EXPECT_EQ(0, orvFileMemoryMapDestroy(&fake));
  EXPECT_EQ(-25, orvFileError());
}

TEST_F(FilesTest, AMapOfAThreadSafeFileIsThreadSafe) {
  orvFile *f = open(kReadWrite | ORV_FILE_THREAD_SAFE, "tsmap");
  ASSERT_NE(nullptr, f);
  orvFileMap *map = orvFileMemoryMapCreate(f, 0);
  ASSERT_NE(nullptr, map);
  EXPECT_EQ(1u, map->lockState);
  EXPECT_NE(0u, static_cast<uint32_t>(map->mutex));
  EXPECT_NE(nullptr, orvFileMemoryMapOpen(map, ORV_FILE_MAP_WRITE, 0, 0, 10));
  EXPECT_EQ(0u, map->lockState & 2u);
  orvFileMemoryMapDestroy(map);
  orvFileClose(f, 0);
}

// --- Heap-buffer maps of spill-over files -------------------------------------------

TEST_F(FilesTest, ASpillOverFileIsMappedThroughAHeapBuffer) {
  orvFile *f = create("spillmap", "0123456789abcdefghij", kReadWrite | ORV_FILE_SPILL);
  ASSERT_NE(nullptr, f);
  EXPECT_EQ(20, f->segmentLimit);  // the size at open
  orvFileMap *map = orvFileMemoryMapCreate(f, 0);
  ASSERT_NE(nullptr, map);
  EXPECT_EQ(0u, static_cast<uint32_t>(map->mapping));
  EXPECT_EQ(20u, map->size);
  ASSERT_EQ(1, orvFileSeek(f, 3, ORV_FILE_SEEK_SET));
  char *p = static_cast<char *>(orvFileMemoryMapOpen(map, ORV_FILE_MAP_WRITE, 5, 0, 6));
  ASSERT_NE(nullptr, p);
  EXPECT_EQ(map->view, p);
  EXPECT_EQ("56789a", std::string(p, 6));
  EXPECT_EQ(5, map->viewOffset);
  EXPECT_EQ(6u, map->viewLength);
  EXPECT_EQ(3, orvFileTell(f));  // the file's position is put back
  memcpy(p, "FIVE..", 6);
  EXPECT_EQ(1, orvFileMemoryMapClose(map));
  EXPECT_EQ(3, orvFileTell(f));
  EXPECT_EQ(1, orvFileMemoryMapDestroy(map));
  ASSERT_EQ(1, orvFileSeek(f, 0, ORV_FILE_SEEK_SET));
  EXPECT_EQ("01234FIVE..bcdefghij", readAll(f, 100));
  orvFileClose(f, 0);
}

TEST_F(FilesTest, AWritableSpillOverFileShorterThanTheMapIsExtended) {
  orvFile *f = create("spillgrow", "abc", kReadWrite | ORV_FILE_SPILL);
  ASSERT_NE(nullptr, f);
  orvFileMap *map = orvFileMemoryMapCreate(f, 10000);
  ASSERT_NE(nullptr, map);
  EXPECT_EQ(10000u, map->size);
  EXPECT_EQ(10000, orvFileSize(f));
  EXPECT_EQ(0, orvFileTell(f));
  const char *p = static_cast<const char *>(orvFileMemoryMapOpen(map, 0, 0, 0, 10000));
  ASSERT_NE(nullptr, p);
  EXPECT_EQ(std::string("abc") + std::string(9997, '\0'), std::string(p, 10000));
  orvFileMemoryMapDestroy(map);
  orvFileClose(f, 0);
}

TEST_F(FilesTest, AReadOnlySpillOverFileGetsTheSmallerSize) {
  orvFile *f = create("spillro", "0123456789", ORV_FILE_READ | ORV_FILE_SPILL);
  ASSERT_NE(nullptr, f);
  orvFileMap *a = orvFileMemoryMapCreate(f, 100);
  ASSERT_NE(nullptr, a);
  EXPECT_EQ(10u, a->size);
  orvFileMap *b = orvFileMemoryMapCreate(f, 4);
  ASSERT_NE(nullptr, b);
  EXPECT_EQ(4u, b->size);
  EXPECT_EQ(nullptr, orvFileMemoryMapOpen(b, 0, 0, 0, 5));  // more than the buffer holds
  EXPECT_EQ(-21, orvFileError());
  EXPECT_EQ(nullptr, orvFileMemoryMapOpen(a, 0, 8, 0, 5));  // a short read fails
  EXPECT_NE(0, orvFileError());
  const char *p = static_cast<const char *>(orvFileMemoryMapOpen(a, 0, 6, 0, 4));
  ASSERT_NE(nullptr, p);
  EXPECT_EQ("6789", std::string(p, 4));
  EXPECT_EQ(1, orvFileMemoryMapClose(a));  // nothing written back
  orvFileMemoryMapDestroy(a);
  orvFileMemoryMapDestroy(b);
  orvFileClose(f, 0);
  EXPECT_EQ("0123456789", contents("spillro"));
}

TEST_F(FilesTest, DestroyingABufferMapWritesAnOpenViewBack) {
  orvFile *f = create("spilldestroy", "0123456789", kReadWrite | ORV_FILE_SPILL);
  ASSERT_NE(nullptr, f);
  orvFileMap *map = orvFileMemoryMapCreate(f, 0);
  ASSERT_NE(nullptr, map);
  char *p = static_cast<char *>(orvFileMemoryMapOpen(map, ORV_FILE_MAP_WRITE, 2, 0, 3));
  ASSERT_NE(nullptr, p);
  memcpy(p, "XYZ", 3);
  EXPECT_EQ(1, orvFileMemoryMapDestroy(map));
  orvFileClose(f, 0);
  EXPECT_EQ("01XYZ56789", contents("spilldestroy"));
}

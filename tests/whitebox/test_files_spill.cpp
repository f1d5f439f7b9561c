// Spill-over on every platform: the layer's writes are made to come up short
// at a size limit per file (as a full disk or a file-size limit does), and
// a file opened with the spill-over flag continues in new temporary files in
// the next directories, chained behind it. The chain is read back across
// its segments.
#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "common/files/file_internal.h"
#include "common/files/temp_state.h"
#include "orvane/files.h"
#include "orvane/frame.h"
#include "platform/pal_file.h"
#include "support/test_support.h"
#include "test_files_support.h"

namespace {

constexpr int kSpill = ORV_FILE_READ | ORV_FILE_WRITE | ORV_FILE_SPILL;
constexpr int kSpillTemp = kSpill | ORV_FILE_TEMPORARY;

uint64_t fileCap = 0;

// WriteFile with every file limited to fileCap bytes: a write that would
// pass the limit writes what fits and fails with "disk full".
bool cappedWrite(pal::Handle file, const void *buffer, uint32_t size, uint32_t *transferred) {
  int32_t high = 0;
  pal::setLastError(0);
  uint32_t low = pal::setFilePointer(file, 0, &high, pal::kFileCurrent);
  if (low == pal::kInvalidSetFilePointer && pal::getLastError() != 0) {
    return pal::writeFile(file, buffer, size, transferred);
  }
  uint64_t pos = (static_cast<uint64_t>(static_cast<uint32_t>(high)) << 32) | low;
  if (pos + size <= fileCap) {
    return pal::writeFile(file, buffer, size, transferred);
  }
  uint32_t room = pos < fileCap ? static_cast<uint32_t>(fileCap - pos) : 0;
  uint32_t written = 0;
  if (room > 0) {
    pal::writeFile(file, buffer, room, &written);
  }
  if (transferred != nullptr) {
    *transferred = written;
  }
  pal::setLastError(pal::kErrorDiskFull);
  return false;
}

class SpillTest : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = testsupport::makeScratchDir("spill");
    std::string list;
    for (int i = 0; i < 3; ++i) {
      dirs_.push_back(dir_ + testsupport::kSep + "d" + std::to_string(i));
      std::filesystem::create_directories(dirs_.back());
      list += (i > 0 ? ";" : "") + dirs_.back();
    }
    testsupport::setEnv("TEMPFILEDIRS", list);
    ASSERT_EQ(0, servicesProcessInitialize(0));
    saved_ = files::systemIo();
    fileCap = 10000;
    files::systemIo().writeFile = cappedWrite;
  }
  void TearDown() override {
    files::systemIo() = saved_;
    servicesProcessTerminate(0);
    testsupport::unsetEnv("TEMPFILEDIRS");
    filestest::removeScratch(dir_);
  }
  static int segments(orvFile *f) {
    int n = 0;
    for (; f != nullptr; f = f->next) {
      ++n;
    }
    return n;
  }
  static bool full(int index) { return files::temp::tempState().directories[index].full != 0; }
  size_t filesIn(int index) const {
    return static_cast<size_t>(
        std::distance(std::filesystem::directory_iterator(dirs_[static_cast<size_t>(index)]),
                      std::filesystem::directory_iterator()));
  }
  static std::string readBack(orvFile *f, uint32_t size, uint32_t step) {
    std::string s;
    std::string chunk(step, '\0');
    while (s.size() < size) {
      uint32_t got = orvFileRead(f, chunk.data(), step);
      if (got == 0) {
        break;
      }
      s.append(chunk, 0, got);
    }
    return s;
  }
  static uint32_t writeRecords(orvFile *f, const std::string &data, uint32_t record) {
    uint32_t total = 0;
    for (size_t pos = 0; pos < data.size(); pos += record) {
      auto n = static_cast<uint32_t>(std::min<size_t>(record, data.size() - pos));
      uint32_t got = orvFileWrite(f, data.data() + pos, n);
      total += got;
      if (got < n) {
        break;
      }
    }
    return total;
  }

  std::string dir_;
  std::vector<std::string> dirs_;
  files::SystemIo saved_{};
};

}  // namespace

TEST_F(SpillTest, AFullTemporaryFileContinuesInTheNextDirectoryAndReadsBackAcrossTheChain) {
  orvFile *f = orvFileOpen(kSpillTemp, ORV_FILE_TAG_END);
  ASSERT_NE(nullptr, f);
  std::string data = filestest::pattern(25000, 7);
  ASSERT_EQ(25000u, writeRecords(f, data, 100));
  ASSERT_EQ(3, segments(f));
  orvFile *second = f->next;
  orvFile *third = second->next;
  EXPECT_EQ(0u, f->tempIndex);
  EXPECT_EQ(1u, second->tempIndex);
  EXPECT_EQ(2u, third->tempIndex);
  EXPECT_TRUE(full(0));
  EXPECT_TRUE(full(1));
  EXPECT_FALSE(full(2));
  EXPECT_EQ(10000, f->segmentLimit);
  EXPECT_EQ(10000, second->segmentLimit);
  EXPECT_EQ(f, second->head);
  EXPECT_EQ(f, third->head);
  EXPECT_NE(0u, second->openFlags & ORV_FILE_SPILL);
  EXPECT_EQ(25000, orvFileTell(f));
  EXPECT_EQ(25000, orvFileSize(f));
  EXPECT_EQ(10000u, filestest::diskSize(f->name));
  EXPECT_EQ(10000u, filestest::diskSize(second->name));
  EXPECT_EQ(5000u, filestest::diskSize(third->name));

  ASSERT_EQ(1, orvFileSeek(f, 0, ORV_FILE_SEEK_SET));
  EXPECT_TRUE(data == readBack(f, 25000, 100));
  EXPECT_EQ(1, orvFileEOF(f));
  ASSERT_EQ(1, orvFileSeek(f, 0, ORV_FILE_SEEK_SET));
  EXPECT_TRUE(data == readBack(f, 25000, 8192));  // direct reads across the chain
  ASSERT_EQ(1, orvFileSeek(f, 9990, ORV_FILE_SEEK_SET));
  EXPECT_TRUE(data.substr(9990, 20) == readBack(f, 20, 20));
  ASSERT_EQ(1, orvFileSeek(f, 19999, ORV_FILE_SEEK_SET));
  EXPECT_EQ(static_cast<uint8_t>(data[19999]), orvFileGetc(f));
  EXPECT_EQ(static_cast<uint8_t>(data[20000]), orvFileGetc(f));
  EXPECT_EQ(20001, orvFileTell(f));

  std::string names[3] = {f->name, second->name, third->name};
  EXPECT_EQ(1, orvFileClose(f, ORV_FILE_CLOSE_DELETE));
  for (const std::string &n : names) {
    EXPECT_FALSE(testsupport::fileExists(n)) << n;
  }
  EXPECT_FALSE(full(0));
  EXPECT_FALSE(full(1));
}

TEST_F(SpillTest, AWriteFailsWithMinus13WhenEveryDirectoryIsFull) {
  orvFile *f = orvFileOpen(kSpillTemp, ORV_FILE_TAG_END);
  ASSERT_NE(nullptr, f);
  std::string data = filestest::pattern(40000, 3);
  uint32_t written = writeRecords(f, data, 1000);
  EXPECT_LT(written, 40000u);
  EXPECT_GE(written, 30000u);
  EXPECT_EQ(-13, orvFileError());
  EXPECT_EQ(3, segments(f));
  EXPECT_TRUE(full(2));
  // The bytes that found no room stay in the buffer: every call that must
  // write them first fails the same way.
  EXPECT_EQ(0, orvFileSeek(f, 0, ORV_FILE_SEEK_SET));
  EXPECT_EQ(-13, orvFileError());
  EXPECT_EQ(1, orvFileClose(f, ORV_FILE_CLOSE_DELETE));
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(0u, filesIn(i));
  }
}

TEST_F(SpillTest, AnOrdinaryFileSpillsIntoATemporaryFile) {
  std::string own = dir_ + testsupport::kSep + "own";
  orvFile *f = orvFileOpen(kSpill, ORV_FILE_TAG_PATH, own.c_str(), ORV_FILE_TAG_END);
  ASSERT_NE(nullptr, f);
  EXPECT_EQ(0, f->segmentLimit);
  std::string data = filestest::pattern(15000, 5);
  ASSERT_EQ(15000u, writeRecords(f, data, 5000));  // direct writes
  ASSERT_EQ(2, segments(f));
  EXPECT_NE(0u, f->next->openFlags & ORV_FILE_TEMPORARY);
  EXPECT_FALSE(full(0));  // the ordinary file's directory is not in the list
  EXPECT_EQ(0u, f->next->tempIndex);
  ASSERT_EQ(1, orvFileSeek(f, 0, ORV_FILE_SEEK_SET));
  EXPECT_TRUE(data == readBack(f, 15000, 3000));
  std::string segment = f->next->name;
  EXPECT_EQ(1, orvFileClose(f, 0));
  EXPECT_EQ(10000u, filestest::diskSize(own));
  EXPECT_FALSE(testsupport::fileExists(segment));  // the segment went with the record
}

TEST_F(SpillTest, AFlushThatComesUpShortSpillsTheRest) {
  orvFile *f = orvFileOpen(kSpillTemp, ORV_FILE_TAG_END);
  ASSERT_NE(nullptr, f);
  std::string data = filestest::pattern(11000, 9);
  ASSERT_EQ(11000u, writeRecords(f, data, 10));
  EXPECT_EQ(1, segments(f));  // 8192 written, the rest still buffered
  EXPECT_EQ(1, orvFileFlush(f));
  ASSERT_EQ(2, segments(f));
  EXPECT_EQ(10000u, filestest::diskSize(f->name));
  EXPECT_EQ(1000u, filestest::diskSize(f->next->name));
  ASSERT_EQ(1, orvFileSeek(f, 0, ORV_FILE_SEEK_SET));
  EXPECT_TRUE(data == readBack(f, 11000, 777));
  EXPECT_EQ(1, orvFileClose(f, ORV_FILE_CLOSE_DELETE));
}

TEST_F(SpillTest, WithoutTheSpillFlagAShortWriteJustFails) {
  orvFile *f = orvFileOpen(ORV_FILE_READ | ORV_FILE_WRITE | ORV_FILE_TEMPORARY, ORV_FILE_TAG_END);
  ASSERT_NE(nullptr, f);
  std::string data = filestest::pattern(20000, 2);
  EXPECT_EQ(10000u, orvFileWrite(f, data.data(), 20000));
  EXPECT_EQ(-13, orvFileError());
  EXPECT_EQ(1, segments(f));
  EXPECT_FALSE(full(0));
  EXPECT_EQ(1, orvFileClose(f, ORV_FILE_CLOSE_DELETE));
}

TEST_F(SpillTest, AHeapBufferMapReadsAndWritesAcrossTheChain) {
  orvFile *f = orvFileOpen(kSpillTemp, ORV_FILE_TAG_END);
  ASSERT_NE(nullptr, f);
  std::string data = filestest::pattern(15000, 4);
  ASSERT_EQ(15000u, writeRecords(f, data, 5000));
  ASSERT_EQ(2, segments(f));
  orvFileMap *map = orvFileMemoryMapCreate(f, 0);
  ASSERT_NE(nullptr, map);
  EXPECT_EQ(15000u, map->size);
  char *p = static_cast<char *>(orvFileMemoryMapOpen(map, ORV_FILE_MAP_WRITE, 9990, 0, 20));
  ASSERT_NE(nullptr, p);
  EXPECT_EQ(data.substr(9990, 20), std::string(p, 20));
  memcpy(p, "ACROSS-THE-BOUNDARY!", 20);
  EXPECT_EQ(1, orvFileMemoryMapDestroy(map));
  ASSERT_EQ(1, orvFileSeek(f, 9990, ORV_FILE_SEEK_SET));
  EXPECT_EQ("ACROSS-THE-BOUNDARY!", readBack(f, 20, 20));
  EXPECT_EQ(1, orvFileClose(f, ORV_FILE_CLOSE_DELETE));
}

TEST_F(SpillTest, AKeptChainIsReopenedWhole) {
  orvFile *f = orvFileOpen(kSpillTemp, ORV_FILE_TAG_END);
  ASSERT_NE(nullptr, f);
  std::string data = filestest::pattern(12000, 6);
  ASSERT_EQ(12000u, writeRecords(f, data, 6000));
  ASSERT_EQ(2, segments(f));
  ASSERT_EQ(1, orvFileClose(f, ORV_FILE_CLOSE_KEEP));
  EXPECT_EQ(0u, f->isOpen);
  EXPECT_EQ(0u, f->next->isOpen);
  ASSERT_EQ(f, orvFileOpen(kSpillTemp, ORV_FILE_TAG_SEGMENT_OF, f, ORV_FILE_TAG_END));
  EXPECT_EQ(1u, f->next->isOpen);
  EXPECT_TRUE(data == readBack(f, 12000, 1000));
  EXPECT_EQ(1, orvFileClose(f, ORV_FILE_CLOSE_DELETE));
}

TEST_F(SpillTest, ShutDownDeletesAChainStillOpen) {
  orvFile *f = orvFileOpen(kSpillTemp, ORV_FILE_TAG_END);
  ASSERT_NE(nullptr, f);
  ASSERT_EQ(12000u, writeRecords(f, filestest::pattern(12000, 1), 6000));
  std::string own = dir_ + testsupport::kSep + "own";
  orvFile *g = orvFileOpen(kSpill, ORV_FILE_TAG_PATH, own.c_str(), ORV_FILE_TAG_END);
  ASSERT_NE(nullptr, g);
  ASSERT_EQ(12000u, writeRecords(g, filestest::pattern(12000, 1), 6000));
  ASSERT_EQ(2, segments(g));
  servicesProcessTerminate(0);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(0u, filesIn(i));
  }
  EXPECT_EQ(nullptr, g->next);  // the segment was taken out of the ordinary file's chain
  ASSERT_EQ(0, servicesProcessInitialize(0));
  orvFileClose(g, 0);
}

// Allocation failures in the file layer: opening files, temporary files and
// segments, the current directory, memory maps, and buffered reads and
// writes. A failure gives -36 (in orvFileError and the error variable of
// the open), leaves no file record or map behind, and a retry succeeds.
#include <stdint.h>
#include <string.h>

#include <string>

#include <gtest/gtest.h>

#include "alloc/alloc_failure.h"
#include "orvane/files.h"
#include "orvane/frame.h"
#include "support/test_support.h"

using allocfail::forEachAllocationFailure;

namespace {

class AllocFiles : public allocfail::WithServices {
 protected:
  static void SetUpTestSuite() {
    WithServices::SetUpTestSuite();
    dir_ = new std::string(testsupport::makeScratchDir("alloc_files"));
  }
  static void TearDownTestSuite() {
    testsupport::removeTree(*dir_);
    delete dir_;
    WithServices::TearDownTestSuite();
  }
  static std::string path(const char *name) { return *dir_ + "/" + name; }
  static std::string *dir_;
};

std::string *AllocFiles::dir_ = nullptr;

const char kData[] = "line one\nline two\n";

}  // namespace

TEST_F(AllocFiles, OpenWriteAndCloseGiveMinusThirtySix) {
  const std::string p = path("plain.txt");
  EXPECT_ALLOCATION_FAILURES_REPORTED(forEachAllocationFailure([&] {
    int error = 0;
    orvFile *f = orvFileOpen(ORV_FILE_READ | ORV_FILE_WRITE | ORV_FILE_CREATE, ORV_FILE_TAG_ERROR_OUT, &error,
                             ORV_FILE_TAG_PATH, p.c_str(), ORV_FILE_TAG_END);
    if (f == nullptr) {
      EXPECT_EQ(ORV_FILE_E_NO_MEMORY, error);
      EXPECT_EQ(ORV_FILE_E_NO_MEMORY, orvFileError());
      return false;
    }
    const uint32_t wrote = orvFileWrite(f, kData, sizeof kData - 1);
    if (wrote != sizeof kData - 1) {
      EXPECT_EQ(ORV_FILE_E_NO_MEMORY, orvFileError());
      orvFileClose(f, 0);
      return false;
    }
    EXPECT_EQ(1, orvFileClose(f, 0));
    return true;
  }));
  EXPECT_EQ(kData, testsupport::readFile(p));
}

TEST_F(AllocFiles, ReadThroughTheBufferGivesMinusThirtySix) {
  const std::string p = path("read.txt");
  testsupport::writeFile(p, kData);
  EXPECT_ALLOCATION_FAILURES_REPORTED(forEachAllocationFailure([&] {
    orvFile *f =
        orvFileOpen(ORV_FILE_READ | ORV_FILE_MUST_EXIST, ORV_FILE_TAG_PATH, p.c_str(), ORV_FILE_TAG_END);
    if (f == nullptr) {
      EXPECT_EQ(ORV_FILE_E_NO_MEMORY, orvFileError());
      return false;
    }
    char buffer[64] = {};
    const uint32_t got = orvFileRead(f, buffer, sizeof buffer);
    bool ok = got == sizeof kData - 1 && memcmp(buffer, kData, got) == 0;
    if (!ok) {
      EXPECT_EQ(ORV_FILE_E_NO_MEMORY, orvFileError());
    }
    EXPECT_EQ(1, orvFileClose(f, 0));
    return ok;
  }));
}

TEST_F(AllocFiles, TemporaryFileGivesMinusThirtySixAndLeavesNoFile) {
  EXPECT_ALLOCATION_FAILURES_REPORTED(forEachAllocationFailure([&] {
    int error = 0;
    orvFile *f = orvFileOpen(ORV_FILE_READ | ORV_FILE_WRITE | ORV_FILE_TEMPORARY, ORV_FILE_TAG_ERROR_OUT,
                             &error, ORV_FILE_TAG_DIRECTORY, dir_->c_str(), ORV_FILE_TAG_END);
    if (f == nullptr) {
      EXPECT_EQ(ORV_FILE_E_NO_MEMORY, error);
      return false;
    }
    const bool ok = orvFileWrite(f, kData, sizeof kData - 1) == sizeof kData - 1;
    EXPECT_EQ(1, orvFileClose(f, ORV_FILE_CLOSE_DELETE));
    return ok;
  }));
}

TEST_F(AllocFiles, SegmentOfAChainGivesMinusThirtySix) {
  const std::string first = path("seg1.dat");
  const std::string second = path("seg2.dat");
  int error = 0;
  orvFile *f = orvFileOpen(ORV_FILE_READ | ORV_FILE_WRITE | ORV_FILE_CREATE, ORV_FILE_TAG_ERROR_OUT, &error,
                           ORV_FILE_TAG_PATH, first.c_str(), ORV_FILE_TAG_END);
  ASSERT_NE(nullptr, f);
  bool added = false;
  EXPECT_ALLOCATION_FAILURES_REPORTED(forEachAllocationFailure([&] {
    int segmentError = 0;
    orvFile *chain =
        orvFileOpen(ORV_FILE_READ | ORV_FILE_WRITE | ORV_FILE_CREATE, ORV_FILE_TAG_ERROR_OUT, &segmentError,
                    ORV_FILE_TAG_SEGMENT_OF, f, ORV_FILE_TAG_PATH, second.c_str(), ORV_FILE_TAG_END);
    if (chain == nullptr) {
      EXPECT_EQ(ORV_FILE_E_NO_MEMORY, segmentError);
      return false;
    }
    EXPECT_EQ(f, chain);
    added = true;
    return true;
  }));
  EXPECT_TRUE(added);
  EXPECT_EQ(1, orvFileClose(f, 0));
}

TEST_F(AllocFiles, CurrentDirectoryGivesMinusThirtySix) {
  EXPECT_ALLOCATION_FAILURES_REPORTED(forEachAllocationFailure([] {
    char *directory = reinterpret_cast<char *>(uintptr_t{1});
    if (orvFileGetCurrentDirectory(&directory) != 1) {
      EXPECT_EQ(ORV_FILE_E_NO_MEMORY, orvFileError());
      return false;
    }
    EXPECT_NE(nullptr, directory);
    orvMemoryFreeFunc(directory);
    return true;
  }));
}

TEST_F(AllocFiles, MemoryMapGivesMinusThirtySix) {
  const std::string p = path("map.dat");
  testsupport::writeFile(p, std::string(8192, 'm'));
  orvFile *f =
      orvFileOpen(ORV_FILE_READ | ORV_FILE_MUST_EXIST, ORV_FILE_TAG_PATH, p.c_str(), ORV_FILE_TAG_END);
  ASSERT_NE(nullptr, f);
  EXPECT_ALLOCATION_FAILURES_REPORTED(forEachAllocationFailure([&] {
    orvFileMap *map = orvFileMemoryMapCreate(f, 0);
    if (map == nullptr) {
      EXPECT_EQ(ORV_FILE_E_NO_MEMORY, orvFileError());
      return false;
    }
    void *view = orvFileMemoryMapOpen(map, 0, 0, 0, 4096);
    const bool ok = view != nullptr && static_cast<const char *>(view)[100] == 'm';
    if (view == nullptr) {
      EXPECT_EQ(ORV_FILE_E_NO_MEMORY, orvFileError());
    } else {
      EXPECT_EQ(1, orvFileMemoryMapClose(map));
    }
    EXPECT_EQ(1, orvFileMemoryMapDestroy(map));
    return ok;
  }));
  EXPECT_EQ(1, orvFileClose(f, 0));
}

// A temporary file whose name cannot be handed out is deleted again.
TEST_F(AllocFiles, TemporaryFileNameOutGivesMinusThirtySix) {
  EXPECT_ALLOCATION_FAILURES_REPORTED(forEachAllocationFailure([&] {
    int error = 0;
    char *name = nullptr;
    orvFile *f =
        orvFileOpen(ORV_FILE_READ | ORV_FILE_WRITE | ORV_FILE_TEMPORARY, ORV_FILE_TAG_ERROR_OUT, &error,
                    ORV_FILE_TAG_DIRECTORY, dir_->c_str(), ORV_FILE_TAG_NAME_OUT, &name, ORV_FILE_TAG_END);
    if (f == nullptr) {
      EXPECT_EQ(ORV_FILE_E_NO_MEMORY, error);
      EXPECT_EQ(nullptr, name);
      return false;
    }
    EXPECT_NE(nullptr, name);
    {
      const allocfail::Unarmed checking;
      EXPECT_TRUE(testsupport::fileExists(name));
    }
    EXPECT_EQ(1, orvFileClose(f, ORV_FILE_CLOSE_DELETE));
    {
      const allocfail::Unarmed checking;
      EXPECT_FALSE(testsupport::fileExists(name));
    }
    orvMemoryFreeFunc(name);
    return true;
  }));
}

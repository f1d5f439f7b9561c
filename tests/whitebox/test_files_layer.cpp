// The file layer's start-up and shut-down, the standard files before and
// after, the error key, and record locks that fail.
#include <cstddef>
#include <string>

#include <gtest/gtest.h>

#include "common/files/file_internal.h"
#include "common/files/temp_state.h"
#include "common/frame/layers.h"
#include "orvane/files.h"
#include "orvane/frame.h"
#include "support/test_support.h"
#include "test_files_support.h"

using filestest::FilesTest;

TEST(FileLayer, TheLayerTableNamesTheFileLayer) {
  const frame::LayerTable &t = frame::defaultLayers();
  EXPECT_EQ(&orvFileInitializeStdFiles, t.initializeStdFiles);
  EXPECT_EQ(&orvFileProcessInitialize, t.fileInitialize);
  EXPECT_EQ(&orvFileProcessTerminate, t.fileTerminate);
}

TEST(FileLayer, ErrorsAreRecordedOnlyOnceTheLayerIsReady) {
  ASSERT_FALSE(files::layer().ready);
  orvFileClose(nullptr, 0);
  EXPECT_EQ(0, orvFileError());
}

TEST(FileLayer, StandardFilesWorkUnlockedBeforeStartUpAndAfterShutDown) {
  orvFileInitializeStdFiles();
  orvFile *err = orvFileGetStdPtr(ORV_FILE_STDERR);
  EXPECT_EQ(1u, err->lockState);
  EXPECT_EQ(0u, static_cast<uint32_t>(err->mutex));
  EXPECT_EQ(19u, err->openFlags);
  EXPECT_EQ(39u, err->modeBits);
  EXPECT_EQ(0u, orvFileWrite(err, "", 0));
  EXPECT_EQ(1, orvFilePuts(err, "\n"));

  ASSERT_EQ(0, servicesProcessInitialize(0));
  EXPECT_NE(0u, static_cast<uint32_t>(err->mutex));
  EXPECT_EQ(19u | ORV_FILE_THREAD_SAFE, err->openFlags);
  EXPECT_EQ(files::layer().granularity, 65536u);
  EXPECT_EQ(files::layer().doubleGranularity, 131072u);
  EXPECT_NE(nullptr, files::layer().errorKey);
  servicesProcessTerminate(0);

  EXPECT_EQ(0u, static_cast<uint32_t>(err->mutex));
  EXPECT_EQ(nullptr, files::layer().errorKey);
  EXPECT_FALSE(files::layer().ready);
  EXPECT_EQ(1, orvFilePuts(err, "\n"));
}

TEST(FileLayer, ASecondInitialisationChangesNothing) {
  ASSERT_EQ(0, servicesProcessInitialize(0));
  orvThreadKey *key = files::layer().errorKey;
  orvHandle mutex = orvFileGetStdPtr(0)->mutex;
  EXPECT_EQ(1, orvFileProcessInitialize());
  EXPECT_EQ(key, files::layer().errorKey);
  EXPECT_EQ(mutex, orvFileGetStdPtr(0)->mutex);
  servicesProcessTerminate(0);
}

TEST(FileLayer, AFailedStartUpUndoesTheTemporaryFileSetUp) {
  std::string dir = testsupport::makeScratchDir("layerfail");
  testsupport::setEnv("TEMPFILEREGISTRY",
                      dir + testsupport::kSep + "missing" + testsupport::kSep + "registry");
  EXPECT_EQ(0, orvFileProcessInitialize());
  EXPECT_FALSE(files::layer().ready);
  EXPECT_EQ(0u, static_cast<uint32_t>(files::temp::tempState().mutex));
  EXPECT_EQ(nullptr, files::temp::tempState().registryPath);
  EXPECT_EQ(nullptr, files::temp::tempState().directories);
  testsupport::unsetEnv("TEMPFILEREGISTRY");
  filestest::removeScratch(dir);
}

TEST_F(FilesTest, ALockThatFailsGivesMinus33) {
  orvFile *f = open(ORV_FILE_READ | ORV_FILE_WRITE | ORV_FILE_THREAD_SAFE, "locked");
  ASSERT_NE(nullptr, f);
  orvHandle saved = f->mutex;
  f->mutex = 0x7FFF0001;  // no such mutex
  char c = 0;
  EXPECT_EQ(0u, orvFileRead(f, &c, 1));
  EXPECT_EQ(-33, orvFileError());
  EXPECT_EQ(-1, orvFileTell(f));
  EXPECT_EQ(-33, orvFileError());
  EXPECT_EQ(0u, f->lockState & files::kLockHeld);
  f->mutex = saved;
  EXPECT_EQ(1, orvFileClose(f, 0));
}

TEST_F(FilesTest, ALockThatFailsHalfWayDownTheChainReleasesTheHead) {
  orvFile *a = create("a", "abc", ORV_FILE_READ | ORV_FILE_WRITE | ORV_FILE_THREAD_SAFE);
  ASSERT_NE(nullptr, a);
  testsupport::writeFile(path("b"), "def");
  ASSERT_EQ(a, orvFileOpen(ORV_FILE_READ | ORV_FILE_THREAD_SAFE, ORV_FILE_TAG_SEGMENT_OF, a,
                           ORV_FILE_TAG_PATH, path("b").c_str(), ORV_FILE_TAG_END));
  orvFile *b = a->next;
  ASSERT_NE(nullptr, b);
  orvHandle saved = b->mutex;
  b->mutex = 0x7FFF0001;
  EXPECT_EQ(-1, orvFileSize(a));
  EXPECT_EQ(-33, orvFileError());
  EXPECT_EQ(0u, a->lockState & files::kLockHeld);
  b->mutex = saved;
  EXPECT_EQ(6, orvFileSize(a));
  orvFileClose(a, 0);
}

TEST_F(FilesTest, TheSystemPositionIsKeptWithoutAsking) {
  orvFile *f = create("kept", std::string(10000, 'k'));
  ASSERT_NE(nullptr, f);
  char buf[100];
  orvFileRead(f, buf, 100);
  EXPECT_EQ(4096, f->segmentPos);
  int64_t system = 0;
  ASSERT_TRUE(files::segmentFileSize(f, system));
  EXPECT_EQ(10000, system);
  EXPECT_EQ(4096, f->segmentPos);  // asked and put back
  orvFileClose(f, 0);
}

// The records keep their field order; on 32-bit builds they have the
// layouts of the original 32-bit records exactly.
TEST(FileLayer, RecordLayouts) {
  EXPECT_LT(offsetof(orvFile, magic), offsetof(orvFile, lockState));
  EXPECT_LT(offsetof(orvFile, lockState), offsetof(orvFile, mutex));
  EXPECT_LT(offsetof(orvFile, mutex), offsetof(orvFile, name));
  EXPECT_LT(offsetof(orvFile, name), offsetof(orvFile, isOpen));
  EXPECT_LT(offsetof(orvFile, isOpen), offsetof(orvFile, segmentLimit));
  EXPECT_LT(offsetof(orvFile, segmentLimit), offsetof(orvFile, openFlags));
  EXPECT_LT(offsetof(orvFile, openFlags), offsetof(orvFile, eofSeen));
  EXPECT_LT(offsetof(orvFile, eofSeen), offsetof(orvFile, modeBits));
  EXPECT_LT(offsetof(orvFile, modeBits), offsetof(orvFile, head));
  EXPECT_LT(offsetof(orvFile, head), offsetof(orvFile, next));
  EXPECT_LT(offsetof(orvFile, next), offsetof(orvFile, bufferOwner));
  EXPECT_LT(offsetof(orvFile, bufferOwner), offsetof(orvFile, segmentPos));
  EXPECT_LT(offsetof(orvFile, segmentPos), offsetof(orvFile, tempIndex));
  EXPECT_LT(offsetof(orvFile, tempIndex), offsetof(orvFile, mapCount));
  EXPECT_LT(offsetof(orvFile, mapCount), offsetof(orvFile, buffer));
  EXPECT_LT(offsetof(orvFile, buffer), offsetof(orvFile, bufPos));
  EXPECT_LT(offsetof(orvFile, bufPos), offsetof(orvFile, bufCount));
  EXPECT_LT(offsetof(orvFile, bufCount), offsetof(orvFile, bufDirty));
  EXPECT_LT(offsetof(orvFile, bufDirty), offsetof(orvFile, handle));
  EXPECT_EQ(sizeof(void *), sizeof(orvFile::mutex));
  EXPECT_EQ(sizeof(void *), sizeof(orvFile::handle));
  EXPECT_EQ(sizeof(void *), sizeof(orvFileMap::mapping));
  EXPECT_EQ(4096u, sizeof(orvFile::buffer));
#if UINTPTR_MAX == 0xFFFFFFFFu
  static_assert(offsetof(orvFile, segmentLimit) == 24);
  static_assert(offsetof(orvFile, head) == 44);
  static_assert(offsetof(orvFile, segmentPos) == 56);
  static_assert(offsetof(orvFile, tempIndex) == 64);
  static_assert(offsetof(orvFile, mapCount) == 66);
  static_assert(offsetof(orvFile, buffer) == 68);
  static_assert(offsetof(orvFile, handle) == 4176);
  static_assert(offsetof(orvFileMap, viewOffset) == 24);
  static_assert(offsetof(orvFileMap, mapping) == 36);
  static_assert(sizeof(orvFileMap) == 40);
#endif
}

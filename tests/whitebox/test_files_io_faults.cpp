// The file layer when the system's reads and writes fail: a failing read
// (buffered and straight into the caller's buffer) reports the system's
// error, and a write the system takes only in part reports a full disk,
// whether it went straight to the system or came from the buffer; a flush
// that fails stops the reads, sizes and truncations behind it.
#include <string>

#include <gtest/gtest.h>

#include "common/files/file_internal.h"
#include "orvane/files.h"
#include "orvane/frame.h"
#include "platform/pal.h"
#include "platform/pal_file.h"
#include "support/test_support.h"
#include "test_files_support.h"

using filestest::FilesTest;

namespace {

constexpr int kReadWrite = ORV_FILE_READ | ORV_FILE_WRITE;

bool failingRead(pal::Handle, void *, uint32_t, uint32_t *transferred) {
  *transferred = 0;
  pal::setLastError(pal::kErrorAccessDenied);
  return false;
}

// Takes half of what it is given.
bool halfWrite(pal::Handle file, const void *buffer, uint32_t size, uint32_t *transferred) {
  return pal::writeFile(file, buffer, size / 2, transferred);
}

class IoFaults : public FilesTest {
 protected:
  void SetUp() override {
    FilesTest::SetUp();
    saved_ = files::systemIo();
  }
  void TearDown() override {
    files::systemIo() = saved_;
    FilesTest::TearDown();
  }
  files::SystemIo saved_{};
};

}  // namespace

TEST_F(IoFaults, AFailingReadReportsTheSystemsError) {
  const std::string big(3 * ORV_FILE_BUFFER_SIZE, 'r');
  orvFile *f = create("r", big);
  ASSERT_NE(nullptr, f);
  files::systemIo().readFile = failingRead;
  char small[10];
  EXPECT_EQ(0u, orvFileRead(f, small, sizeof small)) << "into the buffer";
  EXPECT_EQ(ORV_FILE_E_ACCESS_DENIED, orvFileError());
  std::string target(2 * ORV_FILE_BUFFER_SIZE, '\0');
  EXPECT_EQ(0u, orvFileRead(f, target.data(), static_cast<uint32_t>(target.size()))) << "straight";
  EXPECT_EQ(ORV_FILE_E_ACCESS_DENIED, orvFileError());
  files::systemIo() = saved_;
  EXPECT_EQ(big.substr(0, 10), readAll(f, 10)) << "reads work again afterwards";
  EXPECT_EQ(1, orvFileClose(f, 0));
}

TEST_F(IoFaults, AWriteTakenInPartIsADiskFull) {
  orvFile *f = open(kReadWrite | ORV_FILE_CREATE, "w");
  ASSERT_NE(nullptr, f);
  files::systemIo().writeFile = halfWrite;
  const std::string big(2 * ORV_FILE_BUFFER_SIZE, 'w');
  const uint32_t written = orvFileWrite(f, big.data(), static_cast<uint32_t>(big.size()));
  EXPECT_LT(written, big.size());
  EXPECT_EQ(ORV_FILE_E_DISK_FULL, orvFileError());
  files::systemIo() = saved_;
  EXPECT_EQ(1, orvFileClose(f, 0));
  EXPECT_EQ(written, contents("w").size()) << "the count tells what reached the file";
}

TEST_F(IoFaults, AFlushTakenInPartIsADiskFull) {
  orvFile *f = open(kReadWrite | ORV_FILE_CREATE, "b");
  ASSERT_NE(nullptr, f);
  ASSERT_EQ(6u, orvFileWrite(f, "abcdef", 6)) << "held in the buffer";
  files::systemIo().writeFile = halfWrite;
  EXPECT_EQ(0, orvFileFlush(f));
  EXPECT_EQ(ORV_FILE_E_DISK_FULL, orvFileError());
  files::systemIo() = saved_;
  orvFileClose(f, 0);
  EXPECT_EQ("abc", contents("b").substr(0, 3));
}

TEST_F(IoFaults, AFlushThatFailsStopsTheCallsBehindIt) {
  orvFile *f = open(kReadWrite | ORV_FILE_CREATE, "s");
  ASSERT_NE(nullptr, f);
  ASSERT_EQ(6u, orvFileWrite(f, "abcdef", 6)) << "held in the buffer";
  files::systemIo().writeFile = halfWrite;
  char back[4];
  EXPECT_EQ(0u, orvFileRead(f, back, sizeof back));
  EXPECT_EQ(ORV_FILE_E_DISK_FULL, orvFileError());
  EXPECT_EQ(-1, orvFileSize(f));
  EXPECT_EQ(1, orvFileEOF(f)) << "what cannot be written counts as the end";
  EXPECT_EQ(0, orvFileSetEOF(f));
  EXPECT_EQ(ORV_FILE_E_DISK_FULL, orvFileError());
  files::systemIo() = saved_;
  EXPECT_EQ(1, orvFileClose(f, 0));
}

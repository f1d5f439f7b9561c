// POSIX file mappings at their edges: a memory section of size 0, a mapping
// of something that is no regular file, and a writable mapping larger than
// any file can be.
#ifndef _WIN32

#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "platform/pal.h"
#include "platform/pal_file.h"
#include "platform/pal_mapping.h"
#include "whitebox/test_pal_file_support.h"

using paltest::openFile;
using paltest::Scratch;

namespace {

constexpr uint32_t kReadWrite = pal::kGenericRead | pal::kGenericWrite;
constexpr uint32_t kReadWriteCommit = pal::kPageReadwrite | pal::kSecCommit;
constexpr uint32_t kReadOnlyCommit = pal::kPageReadonly | pal::kSecCommit;

}  // namespace

TEST(PalMappingMore, AMemorySectionNeedsASize) {
  pal::setLastError(0);
  EXPECT_EQ(pal::kNullHandle, pal::createFileMappingA(pal::kInvalidHandleValue, kReadWriteCommit, 0, 0));
  EXPECT_EQ(static_cast<uint32_t>(pal::kErrorInvalidParameter), pal::getLastError());
}

TEST(PalMappingMore, ADeviceCannotBeMapped) {
  pal::Handle device = openFile("/dev/null", kReadWrite, pal::kOpenExisting);
  ASSERT_NE(pal::kInvalidHandleValue, device);
  pal::setLastError(0);
  EXPECT_EQ(pal::kNullHandle, pal::createFileMappingA(device, kReadOnlyCommit, 0, 4096));
  EXPECT_EQ(static_cast<uint32_t>(pal::kErrorInvalidParameter), pal::getLastError());
  EXPECT_TRUE(pal::closeHandle(device));
}

TEST(PalMappingMore, AWritableMappingLargerThanAnyFileFails) {
  Scratch s("palmap-more");
  pal::Handle file = openFile(s.path("small.bin"), kReadWrite, pal::kCreateAlways);
  ASSERT_NE(pal::kInvalidHandleValue, file);
  pal::setLastError(0);
  EXPECT_EQ(pal::kNullHandle, pal::createFileMappingA(file, kReadWriteCommit, 0x80000000u, 0));
  EXPECT_NE(0u, pal::getLastError());
  EXPECT_EQ(0u, std::filesystem::file_size(s.path("small.bin"))) << "the file was not grown";
  EXPECT_TRUE(pal::closeHandle(file));
}

#endif  // !_WIN32

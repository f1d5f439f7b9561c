// The platform layer's files on both platforms: CreateFileA's dispositions,
// reads, writes, the file pointer, truncation, deletion, file types, the
// standard handles, the current directory and _access.
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "platform/pal.h"
#include "platform/pal_file.h"
#include "whitebox/test_pal_file_support.h"

using paltest::openFile;
using paltest::readText;
using paltest::Scratch;
using paltest::seekTo;
using paltest::writeText;

namespace {

constexpr uint32_t kShare = pal::kFileShareRead | pal::kFileShareWrite;
constexpr uint32_t kReadWrite = pal::kGenericRead | pal::kGenericWrite;

void makeReadOnly(const std::string &path) {
  std::filesystem::permissions(path,
                               std::filesystem::perms::owner_write | std::filesystem::perms::group_write |
                                   std::filesystem::perms::others_write,
                               std::filesystem::perm_options::remove);
}

}  // namespace

TEST(PalFile, CreateNewFailsWhenTheFileExists) {
  Scratch s("palfile");
  std::string path = s.path("new.bin");
  pal::setLastError(1234);
  pal::Handle h = openFile(path, kReadWrite, pal::kCreateNew);
  ASSERT_NE(pal::kInvalidHandleValue, h);
  EXPECT_EQ(0u, pal::getLastError());
  EXPECT_TRUE(pal::closeHandle(h));
  EXPECT_EQ(pal::kInvalidHandleValue, openFile(path, kReadWrite, pal::kCreateNew));
  EXPECT_EQ(pal::kErrorFileExists, pal::getLastError());
}

TEST(PalFile, CreateAlwaysTruncatesAndReportsAnExistingFile) {
  Scratch s("palfile");
  std::string path = s.path("always.bin");
  pal::Handle h = openFile(path, kReadWrite, pal::kCreateAlways);
  ASSERT_NE(pal::kInvalidHandleValue, h);
  EXPECT_EQ(0u, pal::getLastError());
  EXPECT_TRUE(writeText(h, "some bytes"));
  pal::closeHandle(h);
  h = openFile(path, kReadWrite, pal::kCreateAlways);
  ASSERT_NE(pal::kInvalidHandleValue, h);
  EXPECT_EQ(pal::kErrorAlreadyExists, pal::getLastError());
  EXPECT_EQ(0u, paltest::fileSize(h));
  pal::closeHandle(h);
}

TEST(PalFile, OpenAlwaysCreatesOrOpens) {
  Scratch s("palfile");
  std::string path = s.path("open-always.bin");
  pal::Handle h = openFile(path, kReadWrite, pal::kOpenAlways);
  ASSERT_NE(pal::kInvalidHandleValue, h);
  EXPECT_EQ(0u, pal::getLastError());
  EXPECT_TRUE(writeText(h, "kept"));
  pal::closeHandle(h);
  h = openFile(path, kReadWrite, pal::kOpenAlways);
  ASSERT_NE(pal::kInvalidHandleValue, h);
  EXPECT_EQ(pal::kErrorAlreadyExists, pal::getLastError());
  EXPECT_EQ("kept", readText(h, 100));
  pal::closeHandle(h);
}

TEST(PalFile, OpenExistingAndTruncateExisting) {
  Scratch s("palfile");
  std::string path = s.path("existing.bin");
  EXPECT_EQ(pal::kInvalidHandleValue, openFile(path, kReadWrite, pal::kOpenExisting));
  EXPECT_EQ(pal::kErrorFileNotFound, pal::getLastError());
  EXPECT_EQ(pal::kInvalidHandleValue, openFile(path, kReadWrite, pal::kTruncateExisting));
  EXPECT_EQ(pal::kErrorFileNotFound, pal::getLastError());
  testsupport::writeFile(path, "0123456789");
  pal::Handle h = openFile(path, pal::kGenericRead, pal::kOpenExisting);
  ASSERT_NE(pal::kInvalidHandleValue, h);
  EXPECT_EQ("0123456789", readText(h, 100));
  pal::closeHandle(h);
  h = openFile(path, kReadWrite, pal::kTruncateExisting);
  ASSERT_NE(pal::kInvalidHandleValue, h);
  EXPECT_EQ(0u, paltest::fileSize(h));
  pal::closeHandle(h);
}

TEST(PalFile, BadNamesAndDispositions) {
  Scratch s("palfile");
  testsupport::writeFile(s.path("plain"), "x");
  EXPECT_EQ(pal::kInvalidHandleValue,
            openFile(s.path("missing") + testsupport::kSep + "f", kReadWrite, pal::kOpenExisting));
  EXPECT_EQ(pal::kErrorPathNotFound, pal::getLastError());
  EXPECT_EQ(pal::kInvalidHandleValue,
            openFile(s.path("missing") + testsupport::kSep + "f", kReadWrite, pal::kCreateAlways));
  EXPECT_EQ(pal::kErrorPathNotFound, pal::getLastError());
  EXPECT_EQ(pal::kInvalidHandleValue,
            openFile(s.path("plain") + testsupport::kSep + "f", pal::kGenericRead, pal::kOpenExisting));
  EXPECT_EQ(pal::kErrorPathNotFound, pal::getLastError());
  EXPECT_EQ(pal::kInvalidHandleValue, openFile("", pal::kGenericRead, pal::kOpenExisting));
  EXPECT_EQ(pal::kErrorPathNotFound, pal::getLastError());
  EXPECT_EQ(pal::kInvalidHandleValue, openFile(s.path("plain"), pal::kGenericRead, 9));
  EXPECT_EQ(pal::kErrorInvalidParameter, pal::getLastError());
  EXPECT_EQ(pal::kInvalidHandleValue, openFile(s.path("plain"), pal::kGenericRead, 0));
  EXPECT_EQ(pal::kErrorInvalidParameter, pal::getLastError());
}

TEST(PalFile, DirectoriesAreNotFiles) {
  Scratch s("palfile");
  EXPECT_EQ(pal::kInvalidHandleValue, openFile(s.dir(), pal::kGenericRead, pal::kOpenExisting));
  EXPECT_EQ(pal::kErrorAccessDenied, pal::getLastError());
  EXPECT_EQ(pal::kInvalidHandleValue, openFile(s.dir(), kReadWrite, pal::kOpenAlways));
  EXPECT_EQ(pal::kErrorAccessDenied, pal::getLastError());
  EXPECT_FALSE(pal::deleteFileA(s.dir().c_str()));
  EXPECT_EQ(pal::kErrorAccessDenied, pal::getLastError());
}

TEST(PalFile, ReadWriteAndSeek) {
  Scratch s("palfile");
  pal::Handle h = openFile(s.path("rw.bin"), kReadWrite, pal::kCreateAlways);
  ASSERT_NE(pal::kInvalidHandleValue, h);
  EXPECT_TRUE(writeText(h, "hello world"));
  EXPECT_EQ(11u, paltest::position(h));
  EXPECT_EQ(0u, pal::setFilePointer(h, 0, nullptr, pal::kFileBegin));
  EXPECT_EQ("hello", readText(h, 5));
  EXPECT_EQ(7u, pal::setFilePointer(h, 2, nullptr, pal::kFileCurrent));
  EXPECT_EQ("orld", readText(h, 100));
  // At the end: success with 0 bytes.
  uint32_t got = 99;
  char oneByte;
  EXPECT_TRUE(pal::readFile(h, &oneByte, 1, &got));
  EXPECT_EQ(0u, got);
  EXPECT_EQ(6u, pal::setFilePointer(h, -5, nullptr, pal::kFileEnd));
  EXPECT_EQ("world", readText(h, 100));
  // Zero-byte transfers succeed and move nothing.
  EXPECT_TRUE(pal::writeFile(h, "", 0, &got));
  EXPECT_EQ(0u, got);
  EXPECT_TRUE(pal::readFile(h, &oneByte, 0, &got));
  EXPECT_EQ(11u, paltest::position(h));
  // Writing past the end leaves a gap of zero bytes.
  EXPECT_EQ(20u, pal::setFilePointer(h, 20, nullptr, pal::kFileBegin));
  EXPECT_TRUE(writeText(h, "!"));
  EXPECT_EQ(21u, paltest::fileSize(h));
  seekTo(h, 11);
  EXPECT_EQ(std::string(9, '\0') + "!", readText(h, 100));
  pal::closeHandle(h);
}

TEST(PalFile, SetFilePointerFailures) {
  Scratch s("palfile");
  pal::Handle h = openFile(s.path("seek.bin"), kReadWrite, pal::kCreateAlways);
  ASSERT_NE(pal::kInvalidHandleValue, h);
  EXPECT_TRUE(writeText(h, "0123456789"));
  seekTo(h, 4);
  EXPECT_EQ(pal::kInvalidSetFilePointer, pal::setFilePointer(h, -5, nullptr, pal::kFileBegin));
  EXPECT_EQ(pal::kErrorNegativeSeek, pal::getLastError());
  EXPECT_EQ(pal::kInvalidSetFilePointer, pal::setFilePointer(h, -5, nullptr, pal::kFileCurrent));
  EXPECT_EQ(pal::kErrorNegativeSeek, pal::getLastError());
  int32_t high = -1;
  EXPECT_EQ(pal::kInvalidSetFilePointer, pal::setFilePointer(h, -1, &high, pal::kFileBegin));
  EXPECT_EQ(pal::kErrorNegativeSeek, pal::getLastError());
  EXPECT_EQ(-1, high);                  // untouched on failure
  EXPECT_EQ(4u, paltest::position(h));  // the position did not move
  EXPECT_EQ(pal::kInvalidSetFilePointer, pal::setFilePointer(h, 0, nullptr, 7));
  EXPECT_EQ(pal::kErrorInvalidParameter, pal::getLastError());
  // A valid position whose low word is 0xFFFFFFFF clears the last error.
  high = 0;
  pal::setLastError(1234);
  EXPECT_EQ(0xFFFFFFFFu, pal::setFilePointer(h, static_cast<int32_t>(0xFFFFFFFFu), &high, pal::kFileBegin));
  EXPECT_EQ(0u, pal::getLastError());
  EXPECT_EQ(0, high);
  pal::closeHandle(h);
}

TEST(PalFile, PositionsBeyondFourGigabytes) {
  // A sparse file: a few bytes written 5 GiB in.
  Scratch s("palfile");
  pal::Handle h = openFile(s.path("large.bin"), kReadWrite, pal::kCreateAlways);
  ASSERT_NE(pal::kInvalidHandleValue, h);
  const uint64_t distant = (5ull << 30) + 7;
  int32_t high = static_cast<int32_t>(distant >> 32);
  EXPECT_EQ(static_cast<uint32_t>(distant),
            pal::setFilePointer(h, static_cast<int32_t>(distant & 0xFFFFFFFFu), &high, pal::kFileBegin));
  EXPECT_EQ(1, high);
  EXPECT_TRUE(writeText(h, "far away"));
  EXPECT_EQ(distant + 8, paltest::fileSize(h));
  // Back 8 bytes from the end, then relative moves across the 4 GiB line.
  EXPECT_EQ(distant, seekTo(h, static_cast<uint64_t>(-8), pal::kFileEnd));
  EXPECT_EQ("far away", readText(h, 100));
  high = -2;  // -8 GiB from the current position is before the start
  EXPECT_EQ(pal::kInvalidSetFilePointer, pal::setFilePointer(h, 0, &high, pal::kFileCurrent));
  EXPECT_EQ(pal::kErrorNegativeSeek, pal::getLastError());
  high = -1;  // -4 GiB
  uint32_t low = pal::setFilePointer(h, 0, &high, pal::kFileCurrent);
  EXPECT_EQ(distant + 8 - (4ull << 30), (static_cast<uint64_t>(static_cast<uint32_t>(high)) << 32) | low);
  EXPECT_EQ(std::string(4, '\0'), readText(h, 4));
  // Cut back below 4 GiB with the high word.
  seekTo(h, (4ull << 30) - 1);
  EXPECT_TRUE(pal::setEndOfFile(h));
  EXPECT_EQ((4ull << 30) - 1, paltest::fileSize(h));
  pal::closeHandle(h);
}

TEST(PalFile, SetEndOfFileCutsAndExtends) {
  Scratch s("palfile");
  pal::Handle h = openFile(s.path("eof.bin"), kReadWrite, pal::kCreateAlways);
  ASSERT_NE(pal::kInvalidHandleValue, h);
  EXPECT_TRUE(writeText(h, "0123456789"));
  seekTo(h, 4);
  EXPECT_TRUE(pal::setEndOfFile(h));
  EXPECT_EQ(4u, paltest::fileSize(h));
  EXPECT_EQ(4u, paltest::position(h));
  seekTo(h, 100);
  EXPECT_TRUE(pal::setEndOfFile(h));
  EXPECT_EQ(100u, paltest::fileSize(h));
  EXPECT_TRUE(pal::flushFileBuffers(h));
  pal::closeHandle(h);
}

TEST(PalFile, AccessRightsOfTheHandle) {
  Scratch s("palfile");
  std::string path = s.path("rights.bin");
  testsupport::writeFile(path, "content");
  pal::Handle reader = openFile(path, pal::kGenericRead, pal::kOpenExisting);
  pal::Handle writer = openFile(path, pal::kGenericWrite, pal::kOpenExisting);
  pal::Handle neither = openFile(path, 0, pal::kOpenExisting);
  ASSERT_NE(pal::kInvalidHandleValue, reader);
  ASSERT_NE(pal::kInvalidHandleValue, writer);
  ASSERT_NE(pal::kInvalidHandleValue, neither);
  uint32_t n = 99;
  EXPECT_FALSE(pal::writeFile(reader, "x", 1, &n));
  EXPECT_EQ(pal::kErrorAccessDenied, pal::getLastError());
  EXPECT_EQ(0u, n);
  EXPECT_FALSE(pal::flushFileBuffers(reader));
  EXPECT_EQ(pal::kErrorAccessDenied, pal::getLastError());
  EXPECT_FALSE(pal::setEndOfFile(reader));
  // Windows refuses with 5; wine reports 87.
  EXPECT_EQ(paltest::underWine() ? pal::kErrorInvalidParameter : pal::kErrorAccessDenied,
            pal::getLastError());
  char buffer[4];
  EXPECT_FALSE(pal::readFile(writer, buffer, sizeof buffer, &n));
  EXPECT_EQ(pal::kErrorAccessDenied, pal::getLastError());
  EXPECT_FALSE(pal::readFile(neither, buffer, sizeof buffer, &n));
  EXPECT_EQ(pal::kErrorAccessDenied, pal::getLastError());
  EXPECT_FALSE(pal::writeFile(neither, "x", 1, &n));
  EXPECT_EQ(pal::kErrorAccessDenied, pal::getLastError());
  EXPECT_FALSE(pal::readFile(reader, nullptr, 4, &n));
  EXPECT_EQ(pal::kErrorNoAccess, pal::getLastError());
  EXPECT_EQ("content", testsupport::readFile(path));
  pal::closeHandle(reader);
  pal::closeHandle(writer);
  pal::closeHandle(neither);
}

TEST(PalFile, ReadOnlyAttribute) {
  Scratch s("palfile");
  std::string path = s.path("readonly.bin");
  // The creating handle may write.
  pal::Handle h = openFile(path, kReadWrite, pal::kCreateNew, pal::kFileAttributeReadonly);
  ASSERT_NE(pal::kInvalidHandleValue, h);
  EXPECT_TRUE(writeText(h, "abc"));
  pal::closeHandle(h);
  EXPECT_EQ("abc", testsupport::readFile(path));
  h = openFile(path, pal::kGenericRead, pal::kOpenExisting);
  ASSERT_NE(pal::kInvalidHandleValue, h);
  EXPECT_EQ("abc", readText(h, 10));
  pal::closeHandle(h);
  EXPECT_TRUE(pal::fileAccess(path.c_str(), 4));
  EXPECT_FALSE(pal::fileAccess(path.c_str(), 2));
  EXPECT_EQ(pal::kErrorAccessDenied, pal::getLastError());
  EXPECT_FALSE(pal::deleteFileA(path.c_str()));
  EXPECT_EQ(pal::kErrorAccessDenied, pal::getLastError());
  if (!paltest::underWine()) {  // wine run as root lets these through
    EXPECT_EQ(pal::kInvalidHandleValue, openFile(path, pal::kGenericWrite, pal::kOpenExisting));
    EXPECT_EQ(pal::kErrorAccessDenied, pal::getLastError());
    EXPECT_EQ(pal::kInvalidHandleValue, openFile(path, pal::kGenericRead, pal::kCreateAlways));
    EXPECT_EQ(pal::kErrorAccessDenied, pal::getLastError());
    EXPECT_EQ(pal::kInvalidHandleValue, openFile(path, kReadWrite, pal::kTruncateExisting));
    EXPECT_EQ(pal::kErrorAccessDenied, pal::getLastError());
  }
  EXPECT_EQ("abc", testsupport::readFile(path));
  std::filesystem::permissions(path, std::filesystem::perms::owner_write, std::filesystem::perm_options::add);
  EXPECT_TRUE(pal::deleteFileA(path.c_str()));
}

TEST(PalFile, DeleteFile) {
  Scratch s("palfile");
  std::string path = s.path("gone.bin");
  testsupport::writeFile(path, "x");
  EXPECT_TRUE(pal::deleteFileA(path.c_str()));
  EXPECT_FALSE(testsupport::fileExists(path));
  EXPECT_FALSE(pal::deleteFileA(path.c_str()));
  EXPECT_EQ(pal::kErrorFileNotFound, pal::getLastError());
  std::string deep = s.path("nodir") + testsupport::kSep + "gone.bin";
  EXPECT_FALSE(pal::deleteFileA(deep.c_str()));
  EXPECT_EQ(pal::kErrorPathNotFound, pal::getLastError());
  EXPECT_FALSE(pal::deleteFileA(""));
  EXPECT_EQ(pal::kErrorPathNotFound, pal::getLastError());
}

TEST(PalFile, SharingBetweenHandles) {
  Scratch s("palfile");
  std::string path = s.path("shared.bin");
  pal::Handle a = openFile(path, kReadWrite, pal::kCreateAlways);
  pal::Handle b = openFile(path, kReadWrite, pal::kOpenExisting);
  ASSERT_NE(pal::kInvalidHandleValue, a);
  ASSERT_NE(pal::kInvalidHandleValue, b);
  // Each handle has its own position; both see the same bytes.
  EXPECT_TRUE(writeText(a, "first"));
  EXPECT_EQ("first", readText(b, 100));
  EXPECT_TRUE(writeText(b, "+second"));
  EXPECT_EQ("+second", readText(a, 100));
  // Read and write sharing without delete sharing: Windows refuses to delete
  // the open file; POSIX does not enforce share modes.
  bool deleted = pal::deleteFileA(path.c_str());
#if defined(_WIN32)
  EXPECT_FALSE(deleted);
  EXPECT_EQ(pal::kErrorSharingViolation, pal::getLastError());
#else
  EXPECT_TRUE(deleted);
  // The open handles still work on the unlinked file.
  seekTo(a, 0);
  EXPECT_EQ("first+second", readText(a, 100));
#endif
  pal::closeHandle(a);
  pal::closeHandle(b);
}

TEST(PalFile, FileTypes) {
  Scratch s("palfile");
  pal::Handle h = openFile(s.path("type.bin"));
  ASSERT_NE(pal::kInvalidHandleValue, h);
  EXPECT_EQ(pal::kFileTypeDisk, pal::getFileType(h));
  pal::closeHandle(h);
  pal::setLastError(0);
  EXPECT_EQ(pal::kFileTypeUnknown, pal::getFileType(h));
  if (!paltest::underWine()) {
    EXPECT_EQ(pal::kErrorInvalidHandle, pal::getLastError());
  }
#if defined(_WIN32)
  pal::Handle nul = openFile("NUL", pal::kGenericWrite, pal::kOpenExisting);
#else
  pal::Handle nul = openFile("/dev/null", pal::kGenericWrite, pal::kOpenExisting);
#endif
  ASSERT_NE(pal::kInvalidHandleValue, nul);
  EXPECT_EQ(pal::kFileTypeChar, pal::getFileType(nul));
  EXPECT_TRUE(writeText(nul, "discarded"));
  pal::closeHandle(nul);
}

TEST(PalFile, StandardHandles) {
  pal::Handle in = pal::getStdHandle(pal::kStdInputHandle);
  pal::Handle out = pal::getStdHandle(pal::kStdOutputHandle);
  pal::Handle err = pal::getStdHandle(pal::kStdErrorHandle);
  EXPECT_NE(pal::kInvalidHandleValue, in);
  EXPECT_NE(pal::kInvalidHandleValue, out);
  EXPECT_NE(pal::kInvalidHandleValue, err);
  EXPECT_EQ(out, pal::getStdHandle(pal::kStdOutputHandle));
  if (err != pal::kNullHandle) {
    EXPECT_NE(pal::kFileTypeUnknown, pal::getFileType(err));
  }
  EXPECT_EQ(pal::kInvalidHandleValue, pal::getStdHandle(static_cast<uint32_t>(-13)));
  EXPECT_EQ(pal::kErrorInvalidHandle, pal::getLastError());
  EXPECT_EQ(pal::kInvalidHandleValue, pal::getStdHandle(0));
  EXPECT_EQ(pal::kErrorInvalidHandle, pal::getLastError());
}

TEST(PalFile, CurrentDirectory) {
  std::string expected = std::filesystem::current_path().string();
  char small[2];
  EXPECT_EQ(expected.size() + 1, pal::getCurrentDirectoryA(sizeof small, small));
  EXPECT_EQ(expected.size() + 1, pal::getCurrentDirectoryA(0, nullptr));
  std::vector<char> exact(expected.size());
  EXPECT_EQ(expected.size() + 1,
            pal::getCurrentDirectoryA(static_cast<uint32_t>(exact.size()), exact.data()));
  char buffer[4096];
  EXPECT_EQ(expected.size(), pal::getCurrentDirectoryA(sizeof buffer, buffer));
  EXPECT_EQ(expected, std::string(buffer));
}

TEST(PalFile, FileAccess) {
  Scratch s("palfile");
  std::string path = s.path("access.bin");
  testsupport::writeFile(path, "x");
  EXPECT_TRUE(pal::fileAccess(path.c_str(), 0));
  EXPECT_TRUE(pal::fileAccess(path.c_str(), 2));
  EXPECT_TRUE(pal::fileAccess(path.c_str(), 4));
  EXPECT_TRUE(pal::fileAccess(path.c_str(), 6));
  EXPECT_TRUE(pal::fileAccess(s.dir().c_str(), 0));
  EXPECT_FALSE(pal::fileAccess(s.path("missing").c_str(), 0));
  EXPECT_EQ(pal::kErrorFileNotFound, pal::getLastError());
  std::string deep = s.path("nodir") + testsupport::kSep + "f";
  EXPECT_FALSE(pal::fileAccess(deep.c_str(), 0));
  EXPECT_EQ(pal::kErrorPathNotFound, pal::getLastError());
  EXPECT_FALSE(pal::fileAccess(path.c_str(), 1));
  EXPECT_EQ(pal::kErrorInvalidParameter, pal::getLastError());
  EXPECT_FALSE(pal::fileAccess(nullptr, 0));
  EXPECT_EQ(pal::kErrorInvalidParameter, pal::getLastError());
  makeReadOnly(path);
  EXPECT_TRUE(pal::fileAccess(path.c_str(), 4));
  EXPECT_FALSE(pal::fileAccess(path.c_str(), 6));
  EXPECT_EQ(pal::kErrorAccessDenied, pal::getLastError());
}

TEST(PalFile, ClosedHandlesFailWithError6) {
  Scratch s("palfile");
  pal::Handle h = openFile(s.path("closed.bin"));
  ASSERT_NE(pal::kInvalidHandleValue, h);
  EXPECT_TRUE(pal::closeHandle(h));
  EXPECT_FALSE(pal::closeHandle(h));
  EXPECT_EQ(pal::kErrorInvalidHandle, pal::getLastError());
  char buffer[4];
  uint32_t n = 99;
  EXPECT_FALSE(pal::readFile(h, buffer, 4, &n));
  EXPECT_EQ(pal::kErrorInvalidHandle, pal::getLastError());
  EXPECT_EQ(0u, n);
  EXPECT_FALSE(pal::writeFile(h, "x", 1, &n));
  EXPECT_EQ(pal::kErrorInvalidHandle, pal::getLastError());
  EXPECT_FALSE(pal::setEndOfFile(h));
  EXPECT_EQ(pal::kErrorInvalidHandle, pal::getLastError());
  EXPECT_FALSE(pal::flushFileBuffers(h));
  EXPECT_EQ(pal::kErrorInvalidHandle, pal::getLastError());
  EXPECT_FALSE(pal::lockFile(h, 0, 0, 1, 0));
  EXPECT_EQ(pal::kErrorInvalidHandle, pal::getLastError());
  EXPECT_FALSE(pal::unlockFile(h, 0, 0, 1, 0));
  EXPECT_EQ(pal::kErrorInvalidHandle, pal::getLastError());
  EXPECT_EQ(pal::kInvalidSetFilePointer, pal::setFilePointer(h, 0, nullptr, pal::kFileBegin));
  if (!paltest::underWine()) {
    EXPECT_EQ(pal::kErrorInvalidHandle, pal::getLastError());
  }
  EXPECT_FALSE(pal::readFile(pal::kInvalidHandleValue - 1, buffer, 4, &n));
  EXPECT_FALSE(pal::readFile(pal::kNullHandle, buffer, 4, &n));
  EXPECT_EQ(pal::kErrorInvalidHandle, pal::getLastError());
}

TEST(PalFile, ThreadsWritingThroughSeparateHandles) {
  // Each thread opens its own handle on one file and fills its own stripe,
  // record by record; afterwards every oneByte is where its thread put it.
  Scratch s("palfile");
  std::string path = s.path("threads.bin");
  constexpr int kThreads = 6;
  constexpr int kRecords = 300;
  constexpr uint32_t kRecordSize = 512;
  pal::Handle create = openFile(path, kReadWrite, pal::kCreateAlways);
  ASSERT_NE(pal::kInvalidHandleValue, create);
  pal::closeHandle(create);
  std::vector<std::thread> threads;
  threads.reserve(kThreads);
  std::vector<int> failures(kThreads, 0);
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      pal::Handle h = openFile(path, kReadWrite, pal::kOpenExisting);
      if (h == pal::kInvalidHandleValue) {
        failures[t] = -1;
        return;
      }
      std::string record(kRecordSize, static_cast<char>('A' + t));
      for (int r = 0; r < kRecords; ++r) {
        uint64_t offset = (static_cast<uint64_t>(r) * kThreads + t) * kRecordSize;
        if (seekTo(h, offset) != offset || !writeText(h, record)) {
          ++failures[t];
        }
      }
      pal::closeHandle(h);
    });
  }
  for (auto &thread : threads) {
    thread.join();
  }
  for (int t = 0; t < kThreads; ++t) {
    EXPECT_EQ(0, failures[t]) << "thread " << t;
  }
  std::string contents = testsupport::readFile(path);
  ASSERT_EQ(static_cast<size_t>(kThreads) * kRecords * kRecordSize, contents.size());
  for (size_t i = 0; i < contents.size(); i += kRecordSize / 2) {
    int t = static_cast<int>((i / kRecordSize) % kThreads);
    ASSERT_EQ(static_cast<char>('A' + t), contents[i]) << "offset " << i;
  }
}

TEST(PalFile, ThreadsOpeningAndClosingConcurrently) {
  Scratch s("palfile");
  constexpr int kThreads = 4;
  std::vector<std::thread> threads;
  threads.reserve(kThreads);
  std::vector<int> failures(kThreads, 0);
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      std::string path = s.path("own-" + std::to_string(t));
      for (int i = 0; i < 200; ++i) {
        pal::Handle h = openFile(path, kReadWrite, pal::kCreateAlways);
        std::string text = std::to_string(t) + ":" + std::to_string(i);
        if (h == pal::kInvalidHandleValue || !writeText(h, text) || seekTo(h, 0) != 0 ||
            readText(h, 100) != text || !pal::closeHandle(h)) {
          ++failures[t];
        }
      }
    });
  }
  for (auto &thread : threads) {
    thread.join();
  }
  for (int t = 0; t < kThreads; ++t) {
    EXPECT_EQ(0, failures[t]) << "thread " << t;
  }
}

// The platform layer's file mappings on both platforms: sizes, views,
// errors, coherence with the file, lifetimes and threads.
#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "platform/pal.h"
#include "platform/pal_file.h"
#include "platform/pal_mapping.h"
#include "whitebox/test_pal_file_support.h"

using paltest::openFile;
using paltest::readText;
using paltest::Scratch;
using paltest::seekTo;
using paltest::writeText;

namespace {

constexpr uint32_t kReadWrite = pal::kGenericRead | pal::kGenericWrite;
constexpr uint32_t kG = 65536;
constexpr uint32_t kReadOnlyCommit = pal::kPageReadonly | pal::kSecCommit;
constexpr uint32_t kReadWriteCommit = pal::kPageReadwrite | pal::kSecCommit;

// A file of size bytes, byte i holding i % 251.
pal::Handle patternFile(const std::string &path, uint32_t size, uint32_t access = kReadWrite) {
  std::string bytes(size, '\0');
  for (uint32_t i = 0; i < size; ++i) {
    bytes[i] = static_cast<char>(i % 251);
  }
  testsupport::writeFile(path, bytes);
  return openFile(path, access, pal::kOpenExisting);
}

// Copies text (without its terminator) to at.
void place(char *at, std::string_view text) { std::copy(text.begin(), text.end(), at); }

}  // namespace

TEST(PalMapping, GranularityIs65536) { EXPECT_EQ(kG, pal::allocationGranularity()); }

TEST(PalMapping, SizeZeroOnAnEmptyFileFails) {
  Scratch s("palmap");
  pal::Handle file = openFile(s.path("empty.bin"), kReadWrite, pal::kCreateAlways);
  ASSERT_NE(pal::kInvalidHandleValue, file);
  EXPECT_EQ(pal::kNullHandle, pal::createFileMappingA(file, kReadWriteCommit, 0, 0));
  EXPECT_EQ(pal::kErrorFileInvalid, pal::getLastError());
  EXPECT_EQ(pal::kNullHandle, pal::createFileMappingA(file, kReadOnlyCommit, 0, 0));
  EXPECT_EQ(pal::kErrorFileInvalid, pal::getLastError());
  pal::closeHandle(file);
}

TEST(PalMapping, WritableMappingExtendsTheFile) {
  // The file layer's writable map of size 0 on an empty file asks for 2 x G.
  Scratch s("palmap");
  pal::Handle file = openFile(s.path("grow.bin"), kReadWrite, pal::kCreateAlways);
  ASSERT_NE(pal::kInvalidHandleValue, file);
  pal::Handle mapping = pal::createFileMappingA(file, kReadWriteCommit, 0, 2 * kG);
  ASSERT_NE(pal::kNullHandle, mapping);
  EXPECT_EQ(2u * kG, paltest::fileSize(file));
  auto *view = static_cast<char *>(pal::mapViewOfFile(mapping, pal::kFileMapAllAccess, 0, 0, 0));
  ASSERT_NE(nullptr, view);
  EXPECT_EQ(0, view[2 * kG - 1]);
  view[2 * kG - 1] = 'z';
  EXPECT_TRUE(pal::unmapViewOfFile(view));
  EXPECT_TRUE(pal::closeHandle(mapping));
  seekTo(file, 2 * kG - 1);
  EXPECT_EQ("z", readText(file, 10));
  pal::closeHandle(file);
}

TEST(PalMapping, ReadOnlyMappingLargerThanItsFileFails) {
  Scratch s("palmap");
  pal::Handle file = patternFile(s.path("small.bin"), 1000);
  ASSERT_NE(pal::kInvalidHandleValue, file);
  EXPECT_EQ(pal::kNullHandle, pal::createFileMappingA(file, kReadOnlyCommit, 0, 1001));
  EXPECT_EQ(pal::kErrorNotEnoughMemory, pal::getLastError());
  EXPECT_EQ(pal::kNullHandle, pal::createFileMappingA(file, kReadOnlyCommit, 1, 0));
  EXPECT_EQ(pal::kErrorNotEnoughMemory, pal::getLastError());
  EXPECT_EQ(1000u, paltest::fileSize(file));
  pal::closeHandle(file);
}

TEST(PalMapping, ReadOnlyMappingOfTheFileSize) {
  // A read-only file of 1000 bytes mapped with size 0 maps 1000 bytes.
  Scratch s("palmap");
  pal::Handle file = patternFile(s.path("ro.bin"), 1000, pal::kGenericRead);
  ASSERT_NE(pal::kInvalidHandleValue, file);
  pal::Handle mapping = pal::createFileMappingA(file, kReadOnlyCommit, 0, 0);
  ASSERT_NE(pal::kNullHandle, mapping);
  auto *view = static_cast<const unsigned char *>(pal::mapViewOfFile(mapping, pal::kFileMapRead, 0, 0, 0));
  ASSERT_NE(nullptr, view);
  for (uint32_t i = 0; i < 1000; ++i) {
    ASSERT_EQ(i % 251, view[i]) << i;
  }
  // The whole mapping is 1000 bytes: 1001 runs past it.
  EXPECT_EQ(nullptr, pal::mapViewOfFile(mapping, pal::kFileMapRead, 0, 0, 1001));
  EXPECT_EQ(pal::kErrorAccessDenied, pal::getLastError());
  EXPECT_NE(nullptr, pal::mapViewOfFile(mapping, pal::kFileMapRead, 0, 0, 1000));
  EXPECT_TRUE(pal::unmapViewOfFile(view));
  pal::closeHandle(mapping);
  pal::closeHandle(file);
}

TEST(PalMapping, ViewAtAnAlignedOffset) {
  // A view of 10 bytes at offset 70000 maps G bytes from offset G; the byte
  // at 70000 is 4464 bytes into it.
  Scratch s("palmap");
  pal::Handle file = patternFile(s.path("offset.bin"), 3 * kG);
  ASSERT_NE(pal::kInvalidHandleValue, file);
  pal::Handle mapping = pal::createFileMappingA(file, kReadWriteCommit, 0, 3 * kG);
  ASSERT_NE(pal::kNullHandle, mapping);
  auto *view = static_cast<unsigned char *>(pal::mapViewOfFile(mapping, pal::kFileMapAllAccess, 0, kG, kG));
  ASSERT_NE(nullptr, view);
  EXPECT_EQ(70000u % 251, view[4464]);
  EXPECT_EQ(kG % 251, view[0]);
  EXPECT_EQ((2 * kG - 1) % 251, view[kG - 1]);
  EXPECT_TRUE(pal::unmapViewOfFile(view));
  pal::closeHandle(mapping);
  pal::closeHandle(file);
}

TEST(PalMapping, ViewErrors) {
  Scratch s("palmap");
  pal::Handle file = patternFile(s.path("errors.bin"), 100000);
  ASSERT_NE(pal::kInvalidHandleValue, file);
  pal::Handle rw = pal::createFileMappingA(file, kReadWriteCommit, 0, 100000);
  pal::Handle ro = pal::createFileMappingA(file, kReadOnlyCommit, 0, 50000);
  ASSERT_NE(pal::kNullHandle, rw);
  ASSERT_NE(pal::kNullHandle, ro);
  EXPECT_EQ(nullptr, pal::mapViewOfFile(rw, pal::kFileMapAllAccess, 0, 4096, 10));
  EXPECT_EQ(pal::kErrorMappedAlignment, pal::getLastError());
  EXPECT_EQ(nullptr, pal::mapViewOfFile(rw, pal::kFileMapAllAccess, 0, 2 * kG, 0));
  EXPECT_EQ(pal::kErrorInvalidParameter, pal::getLastError());
  EXPECT_EQ(nullptr, pal::mapViewOfFile(rw, pal::kFileMapAllAccess, 1, 0, 0));
  EXPECT_EQ(pal::kErrorInvalidParameter, pal::getLastError());
  EXPECT_EQ(nullptr, pal::mapViewOfFile(rw, pal::kFileMapAllAccess, 0, kG, 50000));
  EXPECT_EQ(pal::kErrorAccessDenied, pal::getLastError());
  EXPECT_EQ(nullptr, pal::mapViewOfFile(ro, pal::kFileMapAllAccess, 0, 0, 10));
  EXPECT_EQ(pal::kErrorAccessDenied, pal::getLastError());
  EXPECT_EQ(nullptr, pal::mapViewOfFile(ro, pal::kFileMapWrite, 0, 0, 10));
  EXPECT_EQ(pal::kErrorAccessDenied, pal::getLastError());
  EXPECT_EQ(nullptr, pal::mapViewOfFile(ro, pal::kFileMapRead, 0, 0, 60000));
  EXPECT_EQ(pal::kErrorAccessDenied, pal::getLastError());
  // A view to the end of the mapping: 100000 - 65536 bytes.
  auto *tail = static_cast<unsigned char *>(pal::mapViewOfFile(rw, pal::kFileMapAllAccess, 0, kG, 0));
  ASSERT_NE(nullptr, tail);
  EXPECT_EQ(99999u % 251, tail[100000 - kG - 1]);
  EXPECT_TRUE(pal::unmapViewOfFile(tail));
  pal::closeHandle(rw);
  pal::closeHandle(ro);
  EXPECT_EQ(nullptr, pal::mapViewOfFile(rw, pal::kFileMapRead, 0, 0, 0));
  EXPECT_EQ(pal::kErrorInvalidHandle, pal::getLastError());
  pal::closeHandle(file);
}

TEST(PalMapping, CreateErrors) {
  Scratch s("palmap");
  std::string path = s.path("create.bin");
  pal::Handle file = patternFile(path, 1000);
  ASSERT_NE(pal::kInvalidHandleValue, file);
  pal::closeHandle(file);
  pal::Handle reader = openFile(path, pal::kGenericRead, pal::kOpenExisting);
  pal::Handle writer = openFile(path, pal::kGenericWrite, pal::kOpenExisting);
  pal::Handle neither = openFile(path, 0, pal::kOpenExisting);
  EXPECT_EQ(pal::kNullHandle, pal::createFileMappingA(reader, kReadWriteCommit, 0, 0));
  EXPECT_EQ(pal::kErrorAccessDenied, pal::getLastError());
  EXPECT_EQ(pal::kNullHandle, pal::createFileMappingA(writer, kReadOnlyCommit, 0, 0));
  EXPECT_EQ(pal::kErrorAccessDenied, pal::getLastError());
  EXPECT_EQ(pal::kNullHandle, pal::createFileMappingA(neither, kReadOnlyCommit, 0, 0));
  EXPECT_EQ(pal::kErrorAccessDenied, pal::getLastError());
  EXPECT_EQ(pal::kNullHandle, pal::createFileMappingA(reader, 0x12345, 0, 0));
  EXPECT_EQ(pal::kErrorInvalidParameter, pal::getLastError());
  pal::closeHandle(reader);
  pal::closeHandle(writer);
  pal::closeHandle(neither);
  EXPECT_EQ(pal::kNullHandle, pal::createFileMappingA(reader, kReadOnlyCommit, 0, 0));
  EXPECT_EQ(pal::kErrorInvalidHandle, pal::getLastError());
  EXPECT_FALSE(pal::unmapViewOfFile(nullptr));
  EXPECT_EQ(pal::kErrorInvalidAddress, pal::getLastError());
  int local = 0;
  EXPECT_FALSE(pal::unmapViewOfFile(&local));
  EXPECT_EQ(pal::kErrorInvalidAddress, pal::getLastError());
}

TEST(PalMapping, ViewsAndFileAgree) {
  Scratch s("palmap");
  pal::Handle file = patternFile(s.path("coherent.bin"), 2 * kG);
  ASSERT_NE(pal::kInvalidHandleValue, file);
  pal::Handle mapping = pal::createFileMappingA(file, kReadWriteCommit, 0, 0);
  ASSERT_NE(pal::kNullHandle, mapping);
  auto *a = static_cast<char *>(pal::mapViewOfFile(mapping, pal::kFileMapAllAccess, 0, 0, 0));
  auto *b = static_cast<char *>(pal::mapViewOfFile(mapping, pal::kFileMapRead, 0, kG, 100));
  ASSERT_NE(nullptr, a);
  ASSERT_NE(nullptr, b);
  place(a + kG, "through the view");
  EXPECT_EQ(0, memcmp(b, "through the view", 16));  // the other view
  seekTo(file, kG);
  EXPECT_EQ("through the view", readText(file, 16));  // the file
  seekTo(file, 10);
  EXPECT_TRUE(writeText(file, "through the file"));
  EXPECT_EQ(0, memcmp(a + 10, "through the file", 16));
  // A copy-on-write view keeps its changes to itself.
  auto *c = static_cast<char *>(pal::mapViewOfFile(mapping, pal::kFileMapCopy, 0, 0, 100));
  ASSERT_NE(nullptr, c);
  place(c + 10, "private");
  EXPECT_EQ(0, memcmp(a + 10, "through", 7));
  EXPECT_TRUE(pal::unmapViewOfFile(c));
  EXPECT_TRUE(pal::unmapViewOfFile(a));
  EXPECT_TRUE(pal::unmapViewOfFile(b));
  pal::closeHandle(mapping);
  pal::closeHandle(file);
}

TEST(PalMapping, ViewsOutliveTheirHandles) {
  Scratch s("palmap");
  std::string path = s.path("outlive.bin");
  pal::Handle file = patternFile(path, kG);
  ASSERT_NE(pal::kInvalidHandleValue, file);
  pal::Handle mapping = pal::createFileMappingA(file, kReadWriteCommit, 0, 0);
  ASSERT_NE(pal::kNullHandle, mapping);
  auto *view = static_cast<char *>(pal::mapViewOfFile(mapping, pal::kFileMapAllAccess, 0, 0, 0));
  ASSERT_NE(nullptr, view);
  EXPECT_TRUE(pal::closeHandle(mapping));
  EXPECT_TRUE(pal::closeHandle(file));
  place(view, "still mapped");
  EXPECT_TRUE(pal::unmapViewOfFile(view));
  EXPECT_FALSE(pal::unmapViewOfFile(view));
  EXPECT_EQ(pal::kErrorInvalidAddress, pal::getLastError());
  EXPECT_EQ("still mapped", testsupport::readFile(path).substr(0, 12));
}

TEST(PalMapping, UnmapTakesAnyAddressInsideAView) {
  Scratch s("palmap");
  pal::Handle file = patternFile(s.path("base.bin"), 2 * kG);
  pal::Handle mapping = pal::createFileMappingA(file, kReadOnlyCommit, 0, 0);
  ASSERT_NE(pal::kNullHandle, mapping);
  auto *first = static_cast<char *>(pal::mapViewOfFile(mapping, pal::kFileMapRead, 0, 0, 1000));
  auto *second = static_cast<char *>(pal::mapViewOfFile(mapping, pal::kFileMapRead, 0, kG, 0));
  ASSERT_NE(nullptr, first);
  ASSERT_NE(nullptr, second);
  EXPECT_TRUE(pal::unmapViewOfFile(first + 999));
  EXPECT_FALSE(pal::unmapViewOfFile(first));
  EXPECT_EQ(pal::kErrorInvalidAddress, pal::getLastError());
  EXPECT_TRUE(pal::unmapViewOfFile(second + kG - 1));
  EXPECT_FALSE(pal::unmapViewOfFile(second));
  EXPECT_EQ(pal::kErrorInvalidAddress, pal::getLastError());
  pal::closeHandle(mapping);
  pal::closeHandle(file);
}

TEST(PalMapping, NoCuttingUnderALiveMapping) {
  Scratch s("palmap");
  std::string path = s.path("cut.bin");
  pal::Handle file = patternFile(path, 300000);
  ASSERT_NE(pal::kInvalidHandleValue, file);
  pal::Handle mapping = pal::createFileMappingA(file, kReadWriteCommit, 0, 100000);
  ASSERT_NE(pal::kNullHandle, mapping);
  seekTo(file, 99999);
  EXPECT_FALSE(pal::setEndOfFile(file));
  EXPECT_EQ(pal::kErrorUserMappedFile, pal::getLastError());
  EXPECT_EQ(300000u, paltest::fileSize(file));
  // Growing is allowed.
  seekTo(file, 400000);
  EXPECT_TRUE(pal::setEndOfFile(file));
  // Truncating opens are refused as well.
  EXPECT_EQ(pal::kInvalidHandleValue, openFile(path, kReadWrite, pal::kCreateAlways));
  EXPECT_EQ(pal::kErrorUserMappedFile, pal::getLastError());
  EXPECT_EQ(pal::kInvalidHandleValue, openFile(path, kReadWrite, pal::kTruncateExisting));
  EXPECT_EQ(pal::kErrorUserMappedFile, pal::getLastError());
  // A view keeps the mapping alive after its handle is closed.
  void *view = pal::mapViewOfFile(mapping, pal::kFileMapRead, 0, 0, 0);
  ASSERT_NE(nullptr, view);
  EXPECT_TRUE(pal::closeHandle(mapping));
  seekTo(file, 500);
  EXPECT_FALSE(pal::setEndOfFile(file));
  EXPECT_EQ(pal::kErrorUserMappedFile, pal::getLastError());
  EXPECT_TRUE(pal::unmapViewOfFile(view));
  EXPECT_TRUE(pal::setEndOfFile(file));
  EXPECT_EQ(500u, paltest::fileSize(file));
  pal::closeHandle(file);
}

TEST(PalMapping, MemoryNotBackedByAFile) {
  EXPECT_EQ(pal::kNullHandle, pal::createFileMappingA(pal::kInvalidHandleValue, pal::kPageReadwrite, 0, 0));
  EXPECT_EQ(pal::kErrorInvalidParameter, pal::getLastError());
  pal::Handle mapping = pal::createFileMappingA(pal::kInvalidHandleValue, pal::kPageReadwrite, 0, 3 * kG);
  ASSERT_NE(pal::kNullHandle, mapping);
  auto *a = static_cast<char *>(pal::mapViewOfFile(mapping, pal::kFileMapAllAccess, 0, 0, 0));
  auto *b = static_cast<char *>(pal::mapViewOfFile(mapping, pal::kFileMapRead, 0, 2 * kG, 0));
  ASSERT_NE(nullptr, a);
  ASSERT_NE(nullptr, b);
  EXPECT_EQ(0, a[3 * kG - 1]);
  place(a + size_t{2} * kG, "shared");
  EXPECT_EQ(0, memcmp(b, "shared", 6));
  EXPECT_TRUE(pal::unmapViewOfFile(a));
  EXPECT_TRUE(pal::unmapViewOfFile(b));
  EXPECT_TRUE(pal::closeHandle(mapping));
}

TEST(PalMapping, LargeSparseFile) {
  // A writable mapping of 4 GiB + 2 G extends an empty file sparsely; a view
  // past 4 GiB (high offset word 1) writes where the file reads it back.
  Scratch s("palmap");
  pal::Handle file = openFile(s.path("huge.bin"), kReadWrite, pal::kCreateAlways);
  ASSERT_NE(pal::kInvalidHandleValue, file);
  pal::Handle mapping = pal::createFileMappingA(file, kReadWriteCommit, 1, 2 * kG);
  ASSERT_NE(pal::kNullHandle, mapping);
  EXPECT_EQ((4ull << 30) + uint64_t{2} * kG, paltest::fileSize(file));
  auto *view = static_cast<char *>(pal::mapViewOfFile(mapping, pal::kFileMapAllAccess, 1, kG, kG));
  ASSERT_NE(nullptr, view);
  place(view + 5, "high");
  EXPECT_TRUE(pal::unmapViewOfFile(view));
  pal::closeHandle(mapping);
  seekTo(file, (4ull << 30) + kG + 5);
  EXPECT_EQ("high", readText(file, 4));
  pal::closeHandle(file);
}

TEST(PalMapping, ThreadsMappingViewsConcurrently) {
  // Several threads map, fill and unmap their own granules of one mapping,
  // over and over; the file ends up with every thread's bytes.
  Scratch s("palmap");
  constexpr int kThreads = 4;
  constexpr int kRounds = 100;
  pal::Handle file = openFile(s.path("threads.bin"), kReadWrite, pal::kCreateAlways);
  ASSERT_NE(pal::kInvalidHandleValue, file);
  pal::Handle mapping = pal::createFileMappingA(file, kReadWriteCommit, 0, kThreads * kG);
  ASSERT_NE(pal::kNullHandle, mapping);
  std::vector<std::thread> threads;
  threads.reserve(kThreads);
  std::vector<int> failures(kThreads, 0);
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int round = 0; round < kRounds; ++round) {
        auto *view = static_cast<char *>(pal::mapViewOfFile(mapping, pal::kFileMapAllAccess, 0, t * kG, kG));
        if (view == nullptr) {
          ++failures[t];
          continue;
        }
        view[round] = static_cast<char>('a' + t);
        if (!pal::unmapViewOfFile(view)) {
          ++failures[t];
        }
      }
    });
  }
  for (auto &thread : threads) {
    thread.join();
  }
  pal::closeHandle(mapping);
  for (int t = 0; t < kThreads; ++t) {
    EXPECT_EQ(0, failures[t]);
    seekTo(file, static_cast<uint64_t>(t) * kG);
    EXPECT_EQ(std::string(kRounds, static_cast<char>('a' + t)), readText(file, kRounds));
  }
  pal::closeHandle(file);
}

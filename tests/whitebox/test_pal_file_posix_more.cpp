// POSIX files of the platform layer, more edges: writes without a
// buffer, names whose directory is longer than any path or that have no
// directory at all, and the locks of a read-only handle.
#ifndef _WIN32

#include <string>

#include <gtest/gtest.h>

#include "platform/pal.h"
#include "platform/pal_file.h"
#include "whitebox/test_pal_file_support.h"

using paltest::openFile;
using paltest::Scratch;
using paltest::writeText;

TEST(PalFileMore, NoBufferForAWrite) {
  Scratch s("palfile-more");
  pal::Handle f = openFile(s.path("a"), pal::kGenericRead | pal::kGenericWrite, pal::kCreateAlways);
  ASSERT_NE(pal::kInvalidHandleValue, f);
  uint32_t done = 77;
  pal::setLastError(0);
  EXPECT_FALSE(pal::writeFile(f, nullptr, 5, &done));
  EXPECT_EQ(pal::kErrorNoAccess, pal::getLastError());
  EXPECT_TRUE(pal::writeFile(f, nullptr, 0, &done)) << "nothing to write needs no buffer";
  EXPECT_EQ(0u, done);
  EXPECT_TRUE(pal::closeHandle(f));
}

TEST(PalFileMore, NamesWithoutADirectoryOrWithOneTooLong) {
  pal::setLastError(0);
  EXPECT_EQ(pal::kInvalidHandleValue,
            openFile("orvane-no-such-file-here", pal::kGenericRead, pal::kOpenExisting));
  EXPECT_EQ(static_cast<uint32_t>(pal::kErrorFileNotFound), pal::getLastError());
  std::string longParent = "/tmp";
  while (longParent.size() < 5000) {
    longParent += "/a-directory-that-is-not-there";
  }
  pal::setLastError(0);
  EXPECT_EQ(pal::kInvalidHandleValue, openFile(longParent + "/f", pal::kGenericRead, pal::kOpenExisting));
  EXPECT_NE(0u, pal::getLastError());
  pal::setLastError(0);
  EXPECT_EQ(pal::kInvalidHandleValue,
            openFile("/tmp/orvane-no-such-dir/f", pal::kGenericRead, pal::kOpenExisting));
  EXPECT_EQ(static_cast<uint32_t>(pal::kErrorPathNotFound), pal::getLastError());
}

TEST(PalFileMore, AReadOnlyHandleLocksExclusively) {
  Scratch s("palfile-more");
  pal::Handle writer = openFile(s.path("l"), pal::kGenericRead | pal::kGenericWrite, pal::kCreateAlways);
  ASSERT_NE(pal::kInvalidHandleValue, writer);
  ASSERT_TRUE(writeText(writer, std::string(100, 'x')));
  pal::Handle reader = openFile(s.path("l"), pal::kGenericRead, pal::kOpenExisting);
  ASSERT_NE(pal::kInvalidHandleValue, reader);
  ASSERT_TRUE(pal::lockFile(reader, 10, 0, 10, 0));
  pal::setLastError(0);
  EXPECT_FALSE(pal::lockFile(writer, 15, 0, 2, 0)) << "the reader's lock excludes the writer";
  EXPECT_EQ(static_cast<uint32_t>(pal::kErrorLockViolation), pal::getLastError());
  EXPECT_FALSE(pal::lockFile(writer, 15, 0, 0, 0)) << "a zero-length lock inside the range";
  EXPECT_TRUE(pal::lockFile(writer, 40, 0, 0, 0)) << "a zero-length lock outside it";
  EXPECT_TRUE(pal::unlockFile(writer, 40, 0, 0, 0));
  EXPECT_TRUE(pal::unlockFile(reader, 10, 0, 10, 0));
  EXPECT_TRUE(pal::lockFile(writer, 15, 0, 2, 0)) << "free again";
  EXPECT_TRUE(pal::unlockFile(writer, 15, 0, 2, 0));
  EXPECT_TRUE(pal::closeHandle(reader));
  EXPECT_TRUE(pal::closeHandle(writer));
}

#endif  // !_WIN32

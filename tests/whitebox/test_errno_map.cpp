// errno values as Win32 error numbers (the POSIX half of the platform layer).
#if !defined(_WIN32)
#include <errno.h>

#include <set>
#include <utility>

#include <gtest/gtest.h>

#include "platform/pal.h"
#include "platform/posix/errno_map.h"

using pal::posix::IoDirection;
using pal::posix::win32ErrorFromErrno;

namespace {

struct Row {
  int error;
  uint32_t win32;
};

// The table of docs/porting.md ("Files"), for every direction but EIO's.
const Row kTable[] = {
    {0, 0},        {ENOENT, 2},   {ENOTDIR, 3}, {EMFILE, 4},      {EACCES, 5},
    {EPERM, 5},    {EBADF, 6},    {ENOMEM, 8},  {EINVAL, 87},     {EEXIST, 80},
    {ENOSPC, 112}, {EFBIG, 112},  {EROFS, 19},  {EISDIR, 5},      {ENAMETOOLONG, 206},
    {EBUSY, 32},   {ETXTBSY, 32}, {EXDEV, 17},  {ENOTEMPTY, 145},
};

}  // namespace

TEST(ErrnoMap, TableInEveryDirection) {
  for (IoDirection d : {IoDirection::Other, IoDirection::Read, IoDirection::Write}) {
    for (const Row &row : kTable) {
      EXPECT_EQ(row.win32, win32ErrorFromErrno(row.error, d)) << "errno " << row.error;
    }
  }
}

TEST(ErrnoMap, InputOutputErrorDependsOnDirection) {
  EXPECT_EQ(30u, win32ErrorFromErrno(EIO, IoDirection::Read));
  EXPECT_EQ(29u, win32ErrorFromErrno(EIO, IoDirection::Write));
  EXPECT_EQ(31u, win32ErrorFromErrno(EIO, IoDirection::Other));
  EXPECT_EQ(31u, win32ErrorFromErrno(EIO));
}

TEST(ErrnoMap, EveryOtherValueIsGeneralFailure) {
  std::set<int> listed = {EIO};
  for (const Row &row : kTable) {
    listed.insert(row.error);
  }
  for (int error = -5; error < 200; ++error) {
    if (listed.count(error) == 0) {
      EXPECT_EQ(31u, win32ErrorFromErrno(error, IoDirection::Read)) << "errno " << error;
      EXPECT_EQ(31u, win32ErrorFromErrno(error, IoDirection::Write)) << "errno " << error;
    }
  }
  for (int error : {ESPIPE, ELOOP, EAGAIN, EPIPE, EDQUOT, EINTR, EFAULT, ENFILE, EOVERFLOW}) {
    EXPECT_EQ(31u, win32ErrorFromErrno(error)) << "errno " << error;
  }
}

TEST(ErrnoMap, SetsTheLastError) {
  pal::setLastError(0);
  pal::posix::setLastErrorFromErrno(ENOSPC, IoDirection::Write);
  EXPECT_EQ(112u, pal::getLastError());
  pal::posix::setLastErrorFromErrno(EIO, IoDirection::Read);
  EXPECT_EQ(30u, pal::getLastError());
}
#endif

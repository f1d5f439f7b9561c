// LockFile and UnlockFile: exclusive, non-blocking byte-range locks between
// handles (both platforms) and between processes (POSIX, with fork).
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "platform/pal.h"
#include "platform/pal_file.h"
#include "whitebox/test_pal_file_support.h"

#if !defined(_WIN32)
#include <unistd.h>
#endif

using paltest::openFile;
using paltest::Scratch;

namespace {

constexpr uint32_t kReadWrite = pal::kGenericRead | pal::kGenericWrite;

// Windows fails an unlock of a range that is not locked with 158; wine
// reports 33.
uint32_t notLockedError() { return paltest::underWine() ? pal::kErrorLockViolation : pal::kErrorNotLocked; }

struct TwoHandles {
  explicit TwoHandles(const std::string &path, uint32_t access = kReadWrite) {
    a = openFile(path, access, pal::kOpenAlways);
    b = openFile(path, access, pal::kOpenAlways);
  }
  ~TwoHandles() {
    pal::closeHandle(a);
    pal::closeHandle(b);
  }
  pal::Handle a;
  pal::Handle b;
};

}  // namespace

TEST(PalFileLocks, AnotherHandleIsExcluded) {
  Scratch s("pallock");
  TwoHandles h(s.path("lock.bin"));
  ASSERT_NE(pal::kInvalidHandleValue, h.a);
  ASSERT_NE(pal::kInvalidHandleValue, h.b);
  EXPECT_TRUE(pal::lockFile(h.a, 0, 0, 10, 0));
  EXPECT_FALSE(pal::lockFile(h.b, 5, 0, 10, 0));
  EXPECT_EQ(pal::kErrorLockViolation, pal::getLastError());
  EXPECT_FALSE(pal::lockFile(h.b, 9, 0, 1, 0));
  EXPECT_EQ(pal::kErrorLockViolation, pal::getLastError());
  EXPECT_TRUE(pal::lockFile(h.b, 10, 0, 10, 0));  // adjacent, not overlapping
  EXPECT_FALSE(pal::lockFile(h.a, 15, 0, 1, 0));
  EXPECT_EQ(pal::kErrorLockViolation, pal::getLastError());
  EXPECT_TRUE(pal::unlockFile(h.a, 0, 0, 10, 0));
  EXPECT_TRUE(pal::lockFile(h.b, 0, 0, 10, 0));
  // Locks reach past the end of the file.
  EXPECT_TRUE(pal::lockFile(h.a, 1000000, 0, 100, 0));
  EXPECT_FALSE(pal::lockFile(h.b, 1000050, 0, 1, 0));
  EXPECT_EQ(pal::kErrorLockViolation, pal::getLastError());
}

TEST(PalFileLocks, OverlapThroughTheSameHandleFails) {
  Scratch s("pallock");
  pal::Handle h = openFile(s.path("same.bin"));
  ASSERT_NE(pal::kInvalidHandleValue, h);
  EXPECT_TRUE(pal::lockFile(h, 0, 0, 10, 0));
  EXPECT_FALSE(pal::lockFile(h, 5, 0, 10, 0));
  EXPECT_EQ(pal::kErrorLockViolation, pal::getLastError());
  EXPECT_FALSE(pal::lockFile(h, 0, 0, 10, 0));
  EXPECT_EQ(pal::kErrorLockViolation, pal::getLastError());
  EXPECT_TRUE(pal::lockFile(h, 10, 0, 10, 0));
  pal::closeHandle(h);
}

TEST(PalFileLocks, UnlockTakesTheExactRange) {
  Scratch s("pallock");
  TwoHandles h(s.path("unlock.bin"));
  EXPECT_TRUE(pal::lockFile(h.a, 300, 0, 10, 0));
  EXPECT_TRUE(pal::lockFile(h.a, 310, 0, 10, 0));
  EXPECT_FALSE(pal::unlockFile(h.a, 300, 0, 20, 0));  // two locks, not one
  EXPECT_EQ(notLockedError(), pal::getLastError());
  EXPECT_FALSE(pal::unlockFile(h.a, 300, 0, 5, 0));
  EXPECT_EQ(notLockedError(), pal::getLastError());
  EXPECT_FALSE(pal::unlockFile(h.b, 300, 0, 10, 0));  // held by the other handle
  EXPECT_EQ(notLockedError(), pal::getLastError());
  EXPECT_TRUE(pal::unlockFile(h.a, 310, 0, 10, 0));
  EXPECT_FALSE(pal::unlockFile(h.a, 310, 0, 10, 0));
  EXPECT_EQ(notLockedError(), pal::getLastError());
  // The other lock still holds.
  EXPECT_FALSE(pal::lockFile(h.b, 305, 0, 1, 0));
  EXPECT_TRUE(pal::lockFile(h.b, 310, 0, 10, 0));
  EXPECT_TRUE(pal::unlockFile(h.a, 300, 0, 10, 0));
  EXPECT_TRUE(pal::lockFile(h.b, 300, 0, 10, 0));
}

TEST(PalFileLocks, ClosingAHandleReleasesItsLocks) {
  Scratch s("pallock");
  std::string path = s.path("close.bin");
  pal::Handle a = openFile(path);
  pal::Handle b = openFile(path);
  EXPECT_TRUE(pal::lockFile(a, 400, 0, 10, 0));
  EXPECT_TRUE(pal::lockFile(a, 0, 0, 1, 0));
  EXPECT_FALSE(pal::lockFile(b, 400, 0, 10, 0));
  EXPECT_TRUE(pal::closeHandle(a));
  EXPECT_TRUE(pal::lockFile(b, 400, 0, 10, 0));
  EXPECT_TRUE(pal::lockFile(b, 0, 0, 1, 0));
  pal::closeHandle(b);
}

TEST(PalFileLocks, ZeroLengthRanges) {
  Scratch s("pallock");
  TwoHandles h(s.path("zero.bin"));
  EXPECT_TRUE(pal::lockFile(h.a, 100, 0, 10, 0));
  // A zero-length lock fails strictly inside a held range only.
  EXPECT_TRUE(pal::lockFile(h.b, 100, 0, 0, 0));
  EXPECT_TRUE(pal::lockFile(h.b, 110, 0, 0, 0));
  EXPECT_FALSE(pal::lockFile(h.b, 109, 0, 0, 0));
  EXPECT_EQ(pal::kErrorLockViolation, pal::getLastError());
  EXPECT_FALSE(pal::lockFile(h.a, 105, 0, 0, 0));
  EXPECT_EQ(pal::kErrorLockViolation, pal::getLastError());
  EXPECT_TRUE(pal::unlockFile(h.b, 110, 0, 0, 0));
  EXPECT_FALSE(pal::unlockFile(h.b, 110, 0, 0, 0));
  EXPECT_TRUE(pal::unlockFile(h.b, 100, 0, 0, 0));
}

TEST(PalFileLocks, RangesAtTheTopOfTheOffsets) {
  Scratch s("pallock");
  TwoHandles h(s.path("top.bin"));
  // A range whose last byte would pass 2^64 - 1 is refused.
  EXPECT_FALSE(pal::lockFile(h.a, 0x1000, 0, 0xFFFFFFFFu, 0xFFFFFFFFu));
  EXPECT_EQ(pal::kErrorInvalidParameter, pal::getLastError());
  // The last byte itself can be locked.
  EXPECT_TRUE(pal::lockFile(h.a, 0xFFFFFFFFu, 0xFFFFFFFFu, 1, 0));
  EXPECT_TRUE(pal::unlockFile(h.a, 0xFFFFFFFFu, 0xFFFFFFFFu, 1, 0));
  // The whole-file idiom: everything from 0.
  EXPECT_TRUE(pal::lockFile(h.a, 0, 0, 0xFFFFFFFFu, 0xFFFFFFFFu));
  EXPECT_FALSE(pal::lockFile(h.b, 0, 0, 1, 0));
  EXPECT_FALSE(pal::lockFile(h.b, 0, 1, 1, 0));  // 4 GiB in
  EXPECT_EQ(pal::kErrorLockViolation, pal::getLastError());
  EXPECT_TRUE(pal::unlockFile(h.a, 0, 0, 0xFFFFFFFFu, 0xFFFFFFFFu));
  EXPECT_TRUE(pal::lockFile(h.b, 0, 1, 1, 0));
}

TEST(PalFileLocks, HandlesWithoutWriteAccessLockExclusively) {
  Scratch s("pallock");
  std::string path = s.path("readers.bin");
  testsupport::writeFile(path, "content");
  TwoHandles readers(path, pal::kGenericRead);
  ASSERT_NE(pal::kInvalidHandleValue, readers.a);
  ASSERT_NE(pal::kInvalidHandleValue, readers.b);
  EXPECT_TRUE(pal::lockFile(readers.a, 0, 0, 7, 0));
  EXPECT_FALSE(pal::lockFile(readers.b, 3, 0, 1, 0));
  EXPECT_EQ(pal::kErrorLockViolation, pal::getLastError());
  pal::Handle writer = openFile(path, kReadWrite, pal::kOpenExisting);
  EXPECT_FALSE(pal::lockFile(writer, 0, 0, 1, 0));
  EXPECT_EQ(pal::kErrorLockViolation, pal::getLastError());
  EXPECT_TRUE(pal::unlockFile(readers.a, 0, 0, 7, 0));
  EXPECT_TRUE(pal::lockFile(writer, 0, 0, 1, 0));
  EXPECT_FALSE(pal::lockFile(readers.b, 0, 0, 1, 0));
  pal::closeHandle(writer);
}

TEST(PalFileLocks, ThreadsRacingForOneRange) {
  // Many handles try the same range at once: exactly one wins each round.
  Scratch s("pallock");
  std::string path = s.path("race.bin");
  constexpr int kThreads = 6;
  constexpr int kRounds = 50;
  std::vector<pal::Handle> handles;
  for (int t = 0; t < kThreads; ++t) {
    handles.push_back(openFile(path));
    ASSERT_NE(pal::kInvalidHandleValue, handles.back());
  }
  for (int round = 0; round < kRounds; ++round) {
    std::atomic<int> winners{0};
    std::atomic<int> otherErrors{0};
    std::vector<std::thread> threads;
    threads.reserve(kThreads);
    for (int t = 0; t < kThreads; ++t) {
      threads.emplace_back([&, t] {
        if (pal::lockFile(handles[t], 64, 0, 64, 0)) {
          ++winners;
        } else if (pal::getLastError() != pal::kErrorLockViolation) {
          ++otherErrors;
        }
      });
    }
    for (auto &thread : threads) {
      thread.join();
    }
    ASSERT_EQ(1, winners.load()) << "round " << round;
    ASSERT_EQ(0, otherErrors.load());
    int released = 0;
    for (pal::Handle h : handles) {
      released += pal::unlockFile(h, 64, 0, 64, 0) ? 1 : 0;
    }
    ASSERT_EQ(1, released);
  }
  for (pal::Handle h : handles) {
    pal::closeHandle(h);
  }
}

#if !defined(_WIN32)
TEST(PalFileLocks, AnotherProcessIsExcluded) {
  Scratch s("pallock");
  std::string path = s.path("process.bin");
  pal::Handle mine = openFile(path);
  ASSERT_NE(pal::kInvalidHandleValue, mine);
  ASSERT_TRUE(pal::lockFile(mine, 0, 0, 100, 0));
  // The child opens the file itself: a range held here fails there at once.
  int status = paltest::runInChild([&] {
    pal::Handle theirs = openFile(path);
    if (theirs == pal::kInvalidHandleValue) {
      return 10;
    }
    if (pal::lockFile(theirs, 50, 0, 10, 0)) {
      return 11;
    }
    if (pal::getLastError() != pal::kErrorLockViolation) {
      return 12;
    }
    return pal::lockFile(theirs, 100, 0, 10, 0) ? 0 : 13;
  });
  EXPECT_EQ(0, status);
  // Its locks ended with it.
  EXPECT_TRUE(pal::lockFile(mine, 100, 0, 10, 0));
  pal::closeHandle(mine);
}

TEST(PalFileLocks, LockHeldByAChildProcess) {
  Scratch s("pallock");
  std::string path = s.path("child.bin");
  int toChild[2];
  int fromChild[2];
  ASSERT_EQ(0, pipe(toChild));
  ASSERT_EQ(0, pipe(fromChild));
  pid_t pid = fork();
  if (pid == 0) {
    pal::Handle theirs = openFile(path);
    bool locked = theirs != pal::kInvalidHandleValue && pal::lockFile(theirs, 0, 0, 10, 0);
    char reply = locked ? 'L' : 'F';
    (void)!write(fromChild[1], &reply, 1);
    char go;
    (void)!read(toChild[0], &go, 1);  // hold the lock until told
    _exit(0);
  }
  ASSERT_GT(pid, 0);
  char reply = 0;
  ASSERT_EQ(1, read(fromChild[0], &reply, 1));
  ASSERT_EQ('L', reply);
  pal::Handle mine = openFile(path);
  EXPECT_FALSE(pal::lockFile(mine, 5, 0, 1, 0));
  EXPECT_EQ(pal::kErrorLockViolation, pal::getLastError());
  EXPECT_TRUE(pal::lockFile(mine, 10, 0, 1, 0));
  char go = 'g';
  ASSERT_EQ(1, write(toChild[1], &go, 1));
  int status = 0;
  waitpid(pid, &status, 0);
  EXPECT_TRUE(pal::lockFile(mine, 5, 0, 1, 0));
  pal::closeHandle(mine);
  for (int fd : {toChild[0], toChild[1], fromChild[0], fromChild[1]}) {
    close(fd);
  }
}

TEST(PalFileLocks, ClosingReleasesLocksAForkedChildInherited) {
  // A forked child holds copies of the parent's descriptors; closing the
  // handle in the parent still releases the handle's locks.
  Scratch s("pallock");
  std::string path = s.path("inherit.bin");
  pal::Handle a = openFile(path);
  ASSERT_TRUE(pal::lockFile(a, 0, 0, 10, 0));
  int hold[2];
  ASSERT_EQ(0, pipe(hold));
  pid_t pid = fork();
  if (pid == 0) {
    close(hold[1]);
    char c;
    (void)!read(hold[0], &c, 1);
    _exit(0);
  }
  ASSERT_GT(pid, 0);
  close(hold[0]);
  EXPECT_TRUE(pal::closeHandle(a));
  pal::Handle b = openFile(path);
  EXPECT_TRUE(pal::lockFile(b, 0, 0, 10, 0));
  close(hold[1]);
  int status = 0;
  waitpid(pid, &status, 0);
  pal::closeHandle(b);
}
#endif

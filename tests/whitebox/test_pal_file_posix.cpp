// The POSIX rules of the platform layer's files and mappings: creation
// modes, hints, every errno the calls can meet, short writes, pipes,
// terminals, the standard handles, and closing while a call is in flight.
#if !defined(_WIN32)
#include <errno.h>
#include <fcntl.h>
#include <grp.h>
#include <sched.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "platform/pal.h"
#include "platform/pal_file.h"
#include "platform/pal_mapping.h"
#include "platform/posix/file_object.h"
#include "whitebox/test_pal_file_support.h"

using paltest::openFile;
using paltest::readText;
using paltest::runInChild;
using paltest::Scratch;
using paltest::seekTo;
using paltest::writeText;

namespace {

constexpr uint32_t kReadWrite = pal::kGenericRead | pal::kGenericWrite;
constexpr int kSkip = 77;  // a child's answer when the system cannot set the case up

mode_t currentUmask() {
  mode_t mask = umask(022);
  umask(mask);
  return mask;
}

mode_t modeOf(const std::string &path) {
  struct stat st;
  return stat(path.c_str(), &st) == 0 ? st.st_mode & 07777 : 0;
}

// Becomes the unprivileged user "nobody" (in a child process).
bool dropPrivileges() {
  return setgroups(0, nullptr) == 0 && setgid(65534) == 0 && setuid(65534) == 0 && geteuid() == 65534;
}

// Mounts a tmpfs of the given options on dir in a mount namespace of the
// calling (child) process alone.
bool mountPrivateTmpfs(const std::string &dir, unsigned long flags, const char *options) {
  return unshare(CLONE_NEWNS) == 0 && mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
         mount("tmpfs", dir.c_str(), "tmpfs", flags, options) == 0;
}

int expectError(bool ok, uint32_t error, int code) { return !ok && pal::getLastError() == error ? 0 : code; }

void skipWhenChildSays(int status) {
  if (status == kSkip) {
    GTEST_SKIP() << "the system does not allow setting this case up";
  }
}

}  // namespace

// --- Creation ----------------------------------------------------------------

TEST(PalFilePosix, ReadOnlyAttributeGivesMode0444) {
  Scratch s("palposix");
  std::string path = s.path("ro.bin");
  pal::Handle h = openFile(path, kReadWrite, pal::kCreateNew, pal::kFileAttributeReadonly);
  ASSERT_NE(pal::kInvalidHandleValue, h);
  pal::closeHandle(h);
  EXPECT_EQ(0444 & ~currentUmask(), modeOf(path));
}

TEST(PalFilePosix, TemporaryAndCompressedAttributesHaveNoEffect) {
  Scratch s("palposix");
  std::string plain = s.path("plain.bin");
  std::string marked = s.path("marked.bin");
  pal::Handle a = openFile(plain, kReadWrite, pal::kCreateNew, pal::kFileAttributeNormal);
  pal::Handle b = openFile(marked, kReadWrite, pal::kCreateNew,
                           pal::kFileAttributeTemporary | pal::kFileAttributeCompressed);
  ASSERT_NE(pal::kInvalidHandleValue, a);
  ASSERT_NE(pal::kInvalidHandleValue, b);
  EXPECT_TRUE(writeText(b, "kept"));
  pal::closeHandle(a);
  pal::closeHandle(b);
  EXPECT_EQ(0666 & ~currentUmask(), modeOf(plain));
  EXPECT_EQ(modeOf(plain), modeOf(marked));
  EXPECT_EQ("kept", testsupport::readFile(marked));  // not deleted at close
}

TEST(PalFilePosix, CreateAlwaysWithTheReadOnlyAttributeDropsWriteBits) {
  Scratch s("palposix");
  std::string path = s.path("again.bin");
  testsupport::writeFile(path, "old");
  pal::Handle h = openFile(path, kReadWrite, pal::kCreateAlways, pal::kFileAttributeReadonly);
  ASSERT_NE(pal::kInvalidHandleValue, h);
  EXPECT_EQ(pal::kErrorAlreadyExists, pal::getLastError());
  EXPECT_TRUE(writeText(h, "new"));
  pal::closeHandle(h);
  EXPECT_EQ(0u, modeOf(path) & 0222);
  EXPECT_EQ("new", testsupport::readFile(path));
}

TEST(PalFilePosix, AccessHintsAreAccepted) {
  Scratch s("palposix");
  for (uint32_t hint :
       {pal::kFileFlagSequentialScan, pal::kFileFlagRandomAccess, pal::kFileFlagWriteThrough}) {
    pal::Handle h = openFile(s.path("hint.bin"), kReadWrite, pal::kCreateAlways, hint);
    ASSERT_NE(pal::kInvalidHandleValue, h) << hint;
    EXPECT_TRUE(writeText(h, "hinted"));
    pal::closeHandle(h);
  }
}

TEST(PalFilePosix, UnsupportedFlagsAreRefused) {
  Scratch s("palposix");
  for (uint32_t flag : {pal::kFileFlagOverlapped, pal::kFileFlagNoBuffering, pal::kFileFlagDeleteOnClose,
                        pal::kFileFlagBackupSemantics}) {
    EXPECT_EQ(pal::kInvalidHandleValue, openFile(s.path("flag.bin"), kReadWrite, pal::kOpenAlways, flag));
    EXPECT_EQ(pal::kErrorNotSupported, pal::getLastError());
  }
  EXPECT_FALSE(testsupport::fileExists(s.path("flag.bin")));
}

TEST(PalFilePosix, ShareModesAreNotEnforced) {
  Scratch s("palposix");
  std::string path = s.path("share.bin");
  pal::Handle a = pal::createFileA(path.c_str(), kReadWrite, 0, pal::kCreateAlways, 0);
  pal::Handle b = pal::createFileA(path.c_str(), kReadWrite, 0, pal::kOpenExisting, 0);
  EXPECT_NE(pal::kInvalidHandleValue, a);
  EXPECT_NE(pal::kInvalidHandleValue, b);
  pal::closeHandle(a);
  pal::closeHandle(b);
}

// --- errno values as Win32 errors ---------------------------------------------

TEST(PalFilePosix, TooManyOpenFilesIs4) {
  Scratch s("palposix");
  std::string path = s.path("many.bin");
  testsupport::writeFile(path, "x");
  int status = runInChild([&] {
    struct rlimit limit = {32, 32};
    if (setrlimit(RLIMIT_NOFILE, &limit) != 0) {
      return kSkip;
    }
    for (int i = 0; i < 64; ++i) {
      if (openFile(path, pal::kGenericRead, pal::kOpenExisting) == pal::kInvalidHandleValue) {
        return pal::getLastError() == pal::kErrorTooManyOpenFiles ? 0 : 1;
      }
    }
    return 2;
  });
  skipWhenChildSays(status);
  EXPECT_EQ(0, status);
}

TEST(PalFilePosix, PermissionDeniedIs5) {
  Scratch s("palposix");
  std::string secret = s.path("secret.bin");
  testsupport::writeFile(secret, "x");
  chmod(secret.c_str(), 0600);
  std::string sticky = s.path("sticky");
  mkdir(sticky.c_str(), 01777);
  chmod(sticky.c_str(), 01777);
  std::string owned = sticky + "/owned.bin";
  testsupport::writeFile(owned, "x");
  chmod(owned.c_str(), 0644);
  chmod(s.dir().c_str(), 0755);
  int status = runInChild([&] {
    if (!dropPrivileges()) {
      return kSkip;
    }
    // EACCES: no read permission, and no write permission on the directory.
    if (int r =
            expectError(openFile(secret, pal::kGenericRead, pal::kOpenExisting) != pal::kInvalidHandleValue,
                        pal::kErrorAccessDenied, 1)) {
      return r;
    }
    if (int r = expectError(pal::fileAccess(secret.c_str(), 4), pal::kErrorAccessDenied, 2)) {
      return r;
    }
    if (int r =
            expectError(openFile(s.path("new.bin"), kReadWrite, pal::kCreateNew) != pal::kInvalidHandleValue,
                        pal::kErrorAccessDenied, 3)) {
      return r;
    }
    // EPERM: someone else's file in a sticky directory.
    return expectError(pal::deleteFileA(owned.c_str()), pal::kErrorAccessDenied, 4);
  });
  skipWhenChildSays(status);
  EXPECT_EQ(0, status);
  EXPECT_TRUE(testsupport::fileExists(owned));
}

TEST(PalFilePosix, ReadOnlyHandleLocksWithReadLocksWhenItCannotWrite) {
  // An unprivileged reader of a file it may not write falls back to read
  // locks: still refused by another process's write lock.
  Scratch s("palposix");
  std::string path = s.path("readers.bin");
  testsupport::writeFile(path, "content");
  chmod(path.c_str(), 0644);
  chmod(s.dir().c_str(), 0755);
  pal::Handle writer = openFile(path, kReadWrite, pal::kOpenExisting);
  ASSERT_TRUE(pal::lockFile(writer, 0, 0, 4, 0));
  int status = runInChild([&] {
    if (!dropPrivileges()) {
      return kSkip;
    }
    pal::Handle reader = openFile(path, pal::kGenericRead, pal::kOpenExisting);
    if (reader == pal::kInvalidHandleValue) {
      return 1;
    }
    if (int r = expectError(pal::lockFile(reader, 2, 0, 1, 0), pal::kErrorLockViolation, 2)) {
      return r;
    }
    return pal::lockFile(reader, 4, 0, 3, 0) && pal::unlockFile(reader, 4, 0, 3, 0) ? 0 : 3;
  });
  skipWhenChildSays(status);
  EXPECT_EQ(0, status);
  pal::closeHandle(writer);
}

TEST(PalFilePosix, BadDescriptorIs6) {
  Scratch s("palposix");
  pal::Handle h = openFile(s.path("badfd.bin"));
  ASSERT_NE(pal::kInvalidHandleValue, h);
  auto *object = pal::posix::lookup<pal::posix::FileObject>(h);
  ASSERT_NE(nullptr, object);
  close(object->openFile()->fd());  // pulled from under the handle
  char buffer[4];
  uint32_t n = 0;
  EXPECT_FALSE(pal::readFile(h, buffer, 4, &n));
  EXPECT_EQ(pal::kErrorInvalidHandle, pal::getLastError());
  EXPECT_FALSE(pal::writeFile(h, "x", 1, &n));
  EXPECT_EQ(pal::kErrorInvalidHandle, pal::getLastError());
  pal::closeHandle(h);
}

TEST(PalFilePosix, NoSpaceIs112) {
  pal::Handle full = openFile("/dev/full", pal::kGenericWrite, pal::kOpenExisting);
  ASSERT_NE(pal::kInvalidHandleValue, full);
  uint32_t n = 99;
  EXPECT_FALSE(pal::writeFile(full, "abc", 3, &n));
  EXPECT_EQ(pal::kErrorDiskFull, pal::getLastError());
  EXPECT_EQ(0u, n);
  pal::closeHandle(full);
}

TEST(PalFilePosix, FullFilesystemWritesComeUpShort) {
  Scratch s("palposix");
  std::string mountPoint = s.path("tiny");
  mkdir(mountPoint.c_str(), 0755);
  int status = runInChild([&] {
    if (!mountPrivateTmpfs(mountPoint, 0, "size=64k")) {
      return kSkip;
    }
    pal::Handle h = openFile(mountPoint + "/fill.bin", kReadWrite, pal::kCreateAlways);
    if (h == pal::kInvalidHandleValue) {
      return 1;
    }
    std::string block(size_t{200} * 1024, 'f');
    uint32_t n = 0;
    if (int r = expectError(pal::writeFile(h, block.data(), static_cast<uint32_t>(block.size()), &n),
                            pal::kErrorDiskFull, 2)) {
      return r;
    }
    if (n == 0 || n >= block.size()) {
      return 3;  // the bytes that fit are reported
    }
    uint64_t size = paltest::fileSize(h);
    return size == n ? 0 : 4;
  });
  skipWhenChildSays(status);
  EXPECT_EQ(0, status);
}

TEST(PalFilePosix, ReadOnlyFilesystemIs19) {
  Scratch s("palposix");
  std::string mountPoint = s.path("ro");
  mkdir(mountPoint.c_str(), 0755);
  int status = runInChild([&] {
    if (!mountPrivateTmpfs(mountPoint, 0, "size=64k")) {
      return kSkip;
    }
    std::string path = mountPoint + "/kept.bin";
    testsupport::writeFile(path, "x");
    if (mount(nullptr, mountPoint.c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr) != 0) {
      return kSkip;
    }
    if (int r = expectError(
            openFile(mountPoint + "/new.bin", kReadWrite, pal::kCreateNew) != pal::kInvalidHandleValue,
            pal::kErrorWriteProtect, 1)) {
      return r;
    }
    if (int r = expectError(openFile(path, kReadWrite, pal::kOpenExisting) != pal::kInvalidHandleValue,
                            pal::kErrorWriteProtect, 2)) {
      return r;
    }
    if (int r = expectError(pal::deleteFileA(path.c_str()), pal::kErrorWriteProtect, 3)) {
      return r;
    }
    return openFile(path, pal::kGenericRead, pal::kOpenExisting) != pal::kInvalidHandleValue ? 0 : 4;
  });
  skipWhenChildSays(status);
  EXPECT_EQ(0, status);
}

TEST(PalFilePosix, NameTooLongIs206) {
  Scratch s("palposix");
  std::string path = s.path(std::string(300, 'n'));
  EXPECT_EQ(pal::kInvalidHandleValue, openFile(path, kReadWrite, pal::kOpenAlways));
  EXPECT_EQ(pal::kErrorFilenameTooLong, pal::getLastError());
  EXPECT_FALSE(pal::deleteFileA(path.c_str()));
  EXPECT_EQ(pal::kErrorFilenameTooLong, pal::getLastError());
}

TEST(PalFilePosix, RunningExecutableIsBusy) {
  std::string self = testsupport::executablePath();
  pal::Handle h = openFile(self, pal::kGenericWrite, pal::kOpenExisting);
  if (h != pal::kInvalidHandleValue) {
    pal::closeHandle(h);
    GTEST_SKIP() << "this kernel lets a running executable be opened for writing";
  }
  EXPECT_EQ(pal::kErrorSharingViolation, pal::getLastError());
}

TEST(PalFilePosix, OtherErrnoValuesAre31) {
  Scratch s("palposix");
  std::string a = s.path("loop-a");
  std::string b = s.path("loop-b");
  ASSERT_EQ(0, symlink(b.c_str(), a.c_str()));
  ASSERT_EQ(0, symlink(a.c_str(), b.c_str()));
  EXPECT_EQ(pal::kInvalidHandleValue, openFile(a, pal::kGenericRead, pal::kOpenExisting));  // ELOOP
  EXPECT_EQ(pal::kErrorGenFailure, pal::getLastError());
  std::string fifo = s.path("fifo");
  ASSERT_EQ(0, mkfifo(fifo.c_str(), 0600));
  pal::Handle h = openFile(fifo, kReadWrite, pal::kOpenExisting);
  ASSERT_NE(pal::kInvalidHandleValue, h);
  EXPECT_EQ(pal::kInvalidSetFilePointer, pal::setFilePointer(h, 0, nullptr, pal::kFileBegin));  // ESPIPE
  EXPECT_EQ(pal::kErrorGenFailure, pal::getLastError());
  EXPECT_FALSE(pal::setEndOfFile(h));
  EXPECT_EQ(pal::kErrorGenFailure, pal::getLastError());
  pal::closeHandle(h);
}

TEST(PalFilePosix, InvalidArgumentIs87) {
  Scratch s("palposix");
  std::string fifo = s.path("fifo");
  ASSERT_EQ(0, mkfifo(fifo.c_str(), 0600));
  pal::Handle h = openFile(fifo, kReadWrite, pal::kOpenExisting);
  ASSERT_NE(pal::kInvalidHandleValue, h);
  EXPECT_FALSE(pal::flushFileBuffers(h));  // fsync on a FIFO
  EXPECT_EQ(pal::kErrorInvalidParameter, pal::getLastError());
  EXPECT_EQ(pal::kNullHandle, pal::createFileMappingA(h, pal::kPageReadonly, 0, 0));
  EXPECT_EQ(pal::kErrorInvalidParameter, pal::getLastError());
  pal::closeHandle(h);
}

TEST(PalFilePosix, OutOfAddressSpaceIs8) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "sanitizers reserve the address space themselves";
#else
  Scratch s("palposix");
  std::string path = s.path("wide.bin");
  int status = runInChild([&] {
    pal::Handle h = openFile(path, kReadWrite, pal::kCreateAlways);
    pal::Handle mapping = pal::createFileMappingA(h, pal::kPageReadwrite, 2, 0);  // 8 GiB, sparse
    if (mapping == pal::kNullHandle) {
      return 1;
    }
    struct rlimit limit = {4ull << 30, 4ull << 30};
    if (setrlimit(RLIMIT_AS, &limit) != 0) {
      return kSkip;
    }
    return expectError(pal::mapViewOfFile(mapping, pal::kFileMapRead, 0, 0, 0) != nullptr,
                       pal::kErrorNotEnoughMemory, 2);
  });
  skipWhenChildSays(status);
  EXPECT_EQ(0, status);
#endif
}

// --- Short writes ------------------------------------------------------------

TEST(PalFilePosix, FileSizeLimitGivesShortWrites) {
  Scratch s("palposix");
  std::string path = s.path("limited.bin");
  int status = runInChild([&] {
    signal(SIGXFSZ, SIG_IGN);
    struct rlimit limit = {4096, 4096};
    if (setrlimit(RLIMIT_FSIZE, &limit) != 0) {
      return kSkip;
    }
    pal::Handle h = openFile(path, kReadWrite, pal::kCreateAlways);
    std::string data(10000, 'w');
    uint32_t n = 0;
    if (int r = expectError(pal::writeFile(h, data.data(), 10000, &n), pal::kErrorDiskFull, 1)) {
      return r;
    }
    if (n != 4096) {
      return 2;  // what fitted is reported
    }
    if (int r = expectError(pal::writeFile(h, data.data(), 10, &n), pal::kErrorDiskFull, 3)) {
      return r;
    }
    if (n != 0) {
      return 4;
    }
    seekTo(h, 8192);
    if (int r = expectError(pal::setEndOfFile(h), pal::kErrorDiskFull, 5)) {
      return r;
    }
    if (int r = expectError(pal::createFileMappingA(h, pal::kPageReadwrite, 0, 65536) != pal::kNullHandle,
                            pal::kErrorDiskFull, 6)) {
      return r;
    }
    seekTo(h, 0);
    return readText(h, 20000) == data.substr(0, 4096) ? 0 : 7;
  });
  skipWhenChildSays(status);
  EXPECT_EQ(0, status);
}

// --- Pipes and terminals -------------------------------------------------------

TEST(PalFilePosix, PipesWithoutAPeer) {
  Scratch s("palposix");
  std::string fifo = s.path("fifo");
  ASSERT_EQ(0, mkfifo(fifo.c_str(), 0600));
  // Opening for writing with no reader fails instead of waiting.
  EXPECT_EQ(pal::kInvalidHandleValue, openFile(fifo, pal::kGenericWrite, pal::kOpenExisting));
  EXPECT_EQ(pal::kErrorGenFailure, pal::getLastError());  // ENXIO
  pal::Handle reader = openFile(fifo, pal::kGenericRead, pal::kOpenExisting);
  ASSERT_NE(pal::kInvalidHandleValue, reader);
  pal::Handle writer = openFile(fifo, pal::kGenericWrite, pal::kOpenExisting);
  ASSERT_NE(pal::kInvalidHandleValue, writer);
  EXPECT_EQ(pal::kFileTypePipe, pal::getFileType(reader));
  EXPECT_EQ(pal::kFileTypePipe, pal::getFileType(writer));
  EXPECT_TRUE(writeText(writer, "through"));
  EXPECT_EQ("through", readText(reader, 100));  // what is there, without waiting for more
  // With the reader gone, a write fails (EPIPE) and the process lives on.
  pal::closeHandle(reader);
  uint32_t n = 99;
  EXPECT_FALSE(pal::writeFile(writer, "lost", 4, &n));
  EXPECT_EQ(pal::kErrorGenFailure, pal::getLastError());
  EXPECT_EQ(0u, n);
  sigset_t pending;
  sigpending(&pending);
  EXPECT_EQ(0, sigismember(&pending, SIGPIPE));
  pal::closeHandle(writer);
}

TEST(PalFilePosix, TerminalsAreCharacterFiles) {
  int master = posix_openpt(O_RDWR | O_NOCTTY);
  if (master < 0 || grantpt(master) != 0 || unlockpt(master) != 0 || ptsname(master) == nullptr) {
    GTEST_SKIP() << "no pseudo-terminals";
  }
  std::string slave = ptsname(master);
  pal::Handle h = openFile(slave, kReadWrite, pal::kOpenExisting);
  ASSERT_NE(pal::kInvalidHandleValue, h);
  EXPECT_EQ(pal::kFileTypeChar, pal::getFileType(h));
  pal::closeHandle(h);
  close(master);
}

// --- Standard handles ----------------------------------------------------------

TEST(PalFilePosix, ClosingAStandardHandleKeepsItsDescriptor) {
  int status = runInChild([] {
    pal::posix::forgetStdHandles();  // a parent's earlier look does not count
    pal::Handle out = pal::getStdHandle(pal::kStdOutputHandle);
    if (out == pal::kNullHandle || out == pal::kInvalidHandleValue) {
      return 1;
    }
    if (!pal::closeHandle(out)) {
      return 2;
    }
    if (fcntl(1, F_GETFD) < 0) {
      return 3;  // descriptor 1 must stay open
    }
    uint32_t n = 0;
    if (int r = expectError(pal::writeFile(out, "x", 1, &n), pal::kErrorInvalidHandle, 4)) {
      return r;
    }
    return pal::getStdHandle(pal::kStdOutputHandle) == out ? 0 : 5;  // the same, closed handle
  });
  EXPECT_EQ(0, status);
}

TEST(PalFilePosix, MissingStandardHandleIsNull) {
  int status = runInChild([] {
    pal::posix::forgetStdHandles();  // a parent's earlier look does not count
    close(0);
    return pal::getStdHandle(pal::kStdInputHandle) == pal::kNullHandle ? 0 : 1;
  });
  EXPECT_EQ(0, status);
}

TEST(PalFilePosix, StandardHandleAccessFollowsTheDescriptor) {
  int status = runInChild([] {
    pal::posix::forgetStdHandles();  // a parent's earlier look does not count
    int writeOnly = open("/dev/null", O_WRONLY);
    if (writeOnly < 0 || dup2(writeOnly, 0) < 0) {
      return kSkip;
    }
    pal::Handle in = pal::getStdHandle(pal::kStdInputHandle);
    char c;
    uint32_t n = 0;
    if (int r = expectError(pal::readFile(in, &c, 1, &n), pal::kErrorAccessDenied, 1)) {
      return r;
    }
    return pal::writeFile(in, "x", 1, &n) && pal::getFileType(in) == pal::kFileTypeChar ? 0 : 2;
  });
  skipWhenChildSays(status);
  EXPECT_EQ(0, status);
}

// --- Closing while a call is in flight -------------------------------------------

TEST(PalFilePosix, CloseWaitsForACallInFlightBeforeClosingTheDescriptor) {
  Scratch s("palposix");
  std::string fifo = s.path("inflight");
  ASSERT_EQ(0, mkfifo(fifo.c_str(), 0600));
  pal::Handle reader = openFile(fifo, pal::kGenericRead, pal::kOpenExisting);
  ASSERT_NE(pal::kInvalidHandleValue, reader);
  int writer = open(fifo.c_str(), O_WRONLY | O_CLOEXEC);
  ASSERT_GE(writer, 0);
  auto *object = pal::posix::lookup<pal::posix::FileObject>(reader);
  ASSERT_NE(nullptr, object);
  pal::posix::OpenFile *state = object->openFile();
  int fd = state->fd();
  std::string got;
  std::thread blocked([&] { got = readText(reader, 100); });
  while (state->callsInFlight() == 0) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  EXPECT_TRUE(pal::closeHandle(reader));
  EXPECT_GE(fcntl(fd, F_GETFD), 0);  // still open for the blocked read
  EXPECT_EQ(pal::kFileTypeUnknown, pal::getFileType(reader));
  ASSERT_EQ(4, write(writer, "late", 4));
  blocked.join();
  EXPECT_EQ("late", got);
  EXPECT_LT(fcntl(fd, F_GETFD), 0);  // closed by the call on its way out
  close(writer);
}

TEST(PalFilePosix, NewFilesOpenedWhileAClosedHandleIsStillInACall) {
  // The closed handle's storage goes back to the handle table and is given
  // to the next files opened; the call still in flight must neither disturb
  // them nor lose its own descriptor.
  Scratch s("palposix");
  std::string fifo = s.path("reuse");
  ASSERT_EQ(0, mkfifo(fifo.c_str(), 0600));
  pal::Handle reader = openFile(fifo, pal::kGenericRead, pal::kOpenExisting);
  ASSERT_NE(pal::kInvalidHandleValue, reader);
  int writer = open(fifo.c_str(), O_WRONLY | O_CLOEXEC);
  ASSERT_GE(writer, 0);
  pal::posix::OpenFile *state = pal::posix::lookup<pal::posix::FileObject>(reader)->openFile();
  int fd = state->fd();
  std::string got;
  std::thread blocked([&] { got = readText(reader, 100); });
  while (state->callsInFlight() == 0) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  EXPECT_TRUE(pal::closeHandle(reader));
  std::vector<pal::Handle> fresh;
  for (int i = 0; i < 8; ++i) {
    fresh.push_back(openFile(s.path("fresh-" + std::to_string(i)), kReadWrite, pal::kCreateAlways));
    ASSERT_NE(pal::kInvalidHandleValue, fresh.back());
    ASSERT_TRUE(writeText(fresh.back(), "fresh"));
  }
  ASSERT_EQ(4, write(writer, "late", 4));
  blocked.join();
  EXPECT_EQ("late", got);
  EXPECT_LT(fcntl(fd, F_GETFD), 0);  // the in-flight call closed its own descriptor
  for (pal::Handle h : fresh) {
    EXPECT_EQ(0u, seekTo(h, 0));
    EXPECT_EQ("fresh", readText(h, 100));
    EXPECT_TRUE(pal::closeHandle(h));
  }
  close(writer);
}

// --- Mappings --------------------------------------------------------------------

TEST(PalFilePosix, MappingGuardsTheFileUnderEveryName) {
  Scratch s("palposix");
  std::string path = s.path("linked.bin");
  std::string other = s.path("other-name.bin");
  pal::Handle h = openFile(path, kReadWrite, pal::kCreateAlways);
  ASSERT_TRUE(writeText(h, std::string(5000, 'm')));
  ASSERT_EQ(0, link(path.c_str(), other.c_str()));
  pal::Handle mapping = pal::createFileMappingA(h, pal::kPageReadonly, 0, 0);
  ASSERT_NE(pal::kNullHandle, mapping);
  EXPECT_EQ(pal::kInvalidHandleValue, openFile(other, kReadWrite, pal::kTruncateExisting));
  EXPECT_EQ(pal::kErrorUserMappedFile, pal::getLastError());
  pal::Handle second = openFile(other, kReadWrite, pal::kOpenExisting);
  seekTo(second, 10);
  EXPECT_FALSE(pal::setEndOfFile(second));
  EXPECT_EQ(pal::kErrorUserMappedFile, pal::getLastError());
  pal::closeHandle(mapping);
  EXPECT_TRUE(pal::setEndOfFile(second));
  pal::closeHandle(second);
  pal::closeHandle(h);
}

TEST(PalFilePosix, MappingKeepsNoLockOfItsFileHandle) {
  Scratch s("palposix");
  std::string path = s.path("locked.bin");
  pal::Handle h = openFile(path, kReadWrite, pal::kCreateAlways);
  ASSERT_TRUE(writeText(h, std::string(100, 'l')));
  ASSERT_TRUE(pal::lockFile(h, 0, 0, 100, 0));
  pal::Handle mapping = pal::createFileMappingA(h, pal::kPageReadwrite, 0, 0);
  ASSERT_NE(pal::kNullHandle, mapping);
  pal::closeHandle(h);  // its locks end here, although the mapping lives on
  pal::Handle other = openFile(path, kReadWrite, pal::kOpenExisting);
  EXPECT_TRUE(pal::lockFile(other, 0, 0, 100, 0));
  pal::closeHandle(other);
  pal::closeHandle(mapping);
}

TEST(PalFilePosix, ViewsOfADeletedFileStayValid) {
  Scratch s("palposix");
  std::string path = s.path("deleted.bin");
  pal::Handle h = openFile(path, kReadWrite, pal::kCreateAlways);
  ASSERT_TRUE(writeText(h, "before delete"));
  pal::Handle mapping = pal::createFileMappingA(h, pal::kPageReadwrite, 0, 0);
  auto *view = static_cast<char *>(pal::mapViewOfFile(mapping, pal::kFileMapAllAccess, 0, 0, 0));
  ASSERT_NE(nullptr, view);
  pal::closeHandle(mapping);
  pal::closeHandle(h);
  EXPECT_TRUE(pal::deleteFileA(path.c_str()));
  EXPECT_EQ(0, memcmp(view, "before delete", 13));
  view[0] = 'B';
  EXPECT_TRUE(pal::unmapViewOfFile(view));
}

#endif

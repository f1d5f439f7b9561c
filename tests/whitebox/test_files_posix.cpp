// The file layer on POSIX systems: spill-over when the kernel makes writes
// come up short (a file-size limit, a full filesystem), and every error code
// that a POSIX system can produce through the layer's calls. Cases that
// change process limits or mounts run in a forked child.
#if !defined(_WIN32)

#include <fcntl.h>
#include <sched.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "common/files/file_internal.h"
#include "common/files/temp_state.h"
#include "orvane/files.h"
#include "orvane/frame.h"
#include "platform/pal_file.h"
#include "platform/posix/file_object.h"
#include "support/test_support.h"
#include "test_files_support.h"

namespace {

constexpr int kSkip = 77;  // the child could not set the case up
constexpr int kReadWrite = ORV_FILE_READ | ORV_FILE_WRITE;

class PosixFiles : public ::testing::Test {
 protected:
  void SetUp() override { dir_ = testsupport::makeScratchDir("posixfiles"); }
  void TearDown() override { filestest::removeScratch(dir_); }
  std::string path(const std::string &name) const { return dir_ + "/" + name; }
  std::string makeDir(const std::string &name) const {
    std::filesystem::create_directories(path(name));
    return path(name);
  }
  // Runs body in a child with the services started; kSkip skips.
  void inChild(const std::function<int()> &body) {
    int status = filestest::runInChild([&] {
      if (servicesProcessInitialize(0) != 0) {
        return 90;
      }
      int r = body();
      servicesProcessTerminate(0);
      return r;
    });
    if (status == kSkip) {
      GTEST_SKIP() << "the system does not allow this case here";
    }
    EXPECT_EQ(0, status);
  }
  // A private mount namespace (so that mounts vanish with the child) with a
  // tmpfs of size bytes at dir, read-only on request.
  static bool mountTmpfs(const std::string &dir, size_t size, bool readOnly) {
    if (unshare(CLONE_NEWNS) != 0 || mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
      return false;
    }
    std::string options = "size=" + std::to_string(size);
    unsigned long flags = readOnly ? MS_RDONLY : 0;
    return mount("tmpfs", dir.c_str(), "tmpfs", flags, options.c_str()) == 0;
  }
  static uint32_t writeRecords(orvFile *f, const std::string &data, uint32_t record) {
    uint32_t total = 0;
    for (size_t pos = 0; pos < data.size(); pos += record) {
      auto n = static_cast<uint32_t>(std::min<size_t>(record, data.size() - pos));
      uint32_t got = orvFileWrite(f, data.data() + pos, n);
      total += got;
      if (got < n) {
        break;
      }
    }
    return total;
  }
  static std::string readAll(orvFile *f, uint32_t size) {
    std::string s(size, '\0');
    s.resize(orvFileRead(f, s.data(), size));
    return s;
  }

  std::string dir_;
};

int chainLength(orvFile *f) {
  int n = 0;
  for (; f != nullptr; f = f->next) {
    ++n;
  }
  return n;
}

}  // namespace

TEST_F(PosixFiles, AFileSizeLimitSpillsIntoTheNextDirectories) {
  std::string list = makeDir("a") + ";" + makeDir("b") + ";" + makeDir("c");
  testsupport::setEnv("TEMPFILEDIRS", list);
  inChild([&] {
    signal(SIGXFSZ, SIG_IGN);
    struct rlimit limit = {65536, 65536};
    if (setrlimit(RLIMIT_FSIZE, &limit) != 0) {
      return kSkip;
    }
    orvFile *f = orvFileOpen(kReadWrite | ORV_FILE_TEMPORARY | ORV_FILE_SPILL, ORV_FILE_TAG_END);
    if (f == nullptr) {
      return 1;
    }
    std::string data = filestest::pattern(150000, 11);
    if (writeRecords(f, data, 100) != data.size()) {
      return 2;
    }
    if (chainLength(f) != 3 || f->segmentLimit != 65536 || f->next->segmentLimit != 65536) {
      return 3;
    }
    if (orvFileSize(f) != 150000 || orvFileTell(f) != 150000) {
      return 4;
    }
    if (orvFileSeek(f, 0, ORV_FILE_SEEK_SET) != 1 || readAll(f, 150000) != data) {
      return 5;  // read back across the chain
    }
    if (orvFileSeek(f, 65530, ORV_FILE_SEEK_SET) != 1 || readAll(f, 12) != data.substr(65530, 12)) {
      return 6;
    }
    if (orvFileClose(f, ORV_FILE_CLOSE_DELETE) != 1) {
      return 7;
    }
    return 0;
  });
  testsupport::unsetEnv("TEMPFILEDIRS");
  for (const char *d : {"a", "b", "c"}) {
    EXPECT_TRUE(std::filesystem::is_empty(path(d))) << d;
  }
}

TEST_F(PosixFiles, AFullFilesystemSpillsIntoAnotherDirectory) {
  std::string tiny = makeDir("tiny");
  std::string roomy = makeDir("roomy");
  testsupport::setEnv("TEMPFILEDIRS", tiny + ";" + roomy);
  inChild([&] {
    if (!mountTmpfs(tiny, size_t{64} * 1024, false)) {
      return kSkip;
    }
    // Start again so that the list sees the mounted directory.
    servicesProcessTerminate(0);
    if (servicesProcessInitialize(0) != 0) {
      return 1;
    }
    orvFile *f = orvFileOpen(kReadWrite | ORV_FILE_TEMPORARY | ORV_FILE_SPILL, ORV_FILE_TAG_END);
    if (f == nullptr) {
      return 2;
    }
    std::string data = filestest::pattern(200000, 12);
    if (writeRecords(f, data, 3000) != data.size()) {
      return 3;
    }
    if (chainLength(f) != 2 || f->next->tempIndex != 1 || files::temp::tempState().directories[0].full == 0) {
      return 4;
    }
    if (orvFileSeek(f, 0, ORV_FILE_SEEK_SET) != 1 || readAll(f, 200000) != data) {
      return 5;
    }
    if (orvFileClose(f, ORV_FILE_CLOSE_DELETE) != 1 || files::temp::tempState().directories[0].full != 0) {
      return 6;
    }
    return 0;
  });
  testsupport::unsetEnv("TEMPFILEDIRS");
}

TEST_F(PosixFiles, AReadOnlyFilesystemGivesMinus52) {
  std::string ro = makeDir("ro");
  inChild([&] {
    if (!mountTmpfs(ro, size_t{64} * 1024, true)) {
      return kSkip;
    }
    int error = 0;
    std::string p = ro + "/file";
    if (orvFileOpen(kReadWrite, ORV_FILE_TAG_PATH, p.c_str(), ORV_FILE_TAG_ERROR_OUT, &error,
                    ORV_FILE_TAG_END) != nullptr) {
      return 1;
    }
    return error == -52 ? 0 : 2;
  });
}

TEST_F(PosixFiles, TooManyOpenFilesGivesMinus50) {
  inChild([&] {
    struct rlimit saved {};
    getrlimit(RLIMIT_NOFILE, &saved);
    struct rlimit limit = saved;
    limit.rlim_cur = 32;
    if (setrlimit(RLIMIT_NOFILE, &limit) != 0) {
      return kSkip;
    }
    std::vector<orvFile *> files;
    int error = 0;
    for (int i = 0; i < 64; ++i) {
      std::string p = path("many" + std::to_string(i));
      orvFile *f = orvFileOpen(kReadWrite, ORV_FILE_TAG_PATH, p.c_str(), ORV_FILE_TAG_ERROR_OUT, &error,
                               ORV_FILE_TAG_END);
      if (f == nullptr) {
        break;
      }
      files.push_back(f);
    }
    // Descriptors again for the closes (sanitizers need some too).
    setrlimit(RLIMIT_NOFILE, &saved);
    for (orvFile *f : files) {
      orvFileClose(f, 0);
    }
    return error == -50 && orvFileError() == -50 ? 0 : 1;
  });
}

TEST_F(PosixFiles, ARunningProgramOpenedForWritingGivesMinus47) {
  ASSERT_EQ(0, servicesProcessInitialize(0));
  int error = 0;
  std::string self = testsupport::executablePath();
  EXPECT_EQ(nullptr, orvFileOpen(kReadWrite, ORV_FILE_TAG_PATH, self.c_str(), ORV_FILE_TAG_ERROR_OUT, &error,
                                 ORV_FILE_TAG_END));
  EXPECT_EQ(-47, error);
  servicesProcessTerminate(0);
}

TEST_F(PosixFiles, ASymbolicLinkLoopGivesMinus23) {
  ASSERT_EQ(0, servicesProcessInitialize(0));
  std::filesystem::create_symlink(path("loop2"), path("loop1"));
  std::filesystem::create_symlink(path("loop1"), path("loop2"));
  int error = 0;
  EXPECT_EQ(nullptr, orvFileOpen(kReadWrite, ORV_FILE_TAG_PATH, path("loop1").c_str(), ORV_FILE_TAG_ERROR_OUT,
                                 &error, ORV_FILE_TAG_END));
  EXPECT_EQ(-23, error);
  servicesProcessTerminate(0);
}

TEST_F(PosixFiles, APathThroughAFileGivesMinus39) {
  ASSERT_EQ(0, servicesProcessInitialize(0));
  testsupport::writeFile(path("plain"), "x");
  int error = 0;
  std::string p = path("plain") + "/below";
  EXPECT_EQ(nullptr, orvFileOpen(kReadWrite, ORV_FILE_TAG_PATH, p.c_str(), ORV_FILE_TAG_ERROR_OUT, &error,
                                 ORV_FILE_TAG_END));
  EXPECT_EQ(-39, error);
  servicesProcessTerminate(0);
}

TEST_F(PosixFiles, AFileSizeLimitGivesMinus13WithoutSpillOver) {
  inChild([&] {
    signal(SIGXFSZ, SIG_IGN);
    struct rlimit limit = {4096, 4096};
    if (setrlimit(RLIMIT_FSIZE, &limit) != 0) {
      return kSkip;
    }
    std::string p = path("limited");
    orvFile *f = orvFileOpen(kReadWrite, ORV_FILE_TAG_PATH, p.c_str(), ORV_FILE_TAG_END);
    std::string data(10000, 'x');
    if (f == nullptr || orvFileWrite(f, data.data(), 10000) != 4096 || orvFileError() != -13) {
      return 1;
    }
    orvFileClose(f, 0);
    return 0;
  });
}

TEST_F(PosixFiles, AWriteToAPipeWithoutReaderGivesMinus23) {
  inChild([&] {
    int fds[2];
    if (pipe(fds) != 0) {
      return kSkip;
    }
    close(fds[0]);
    if (dup2(fds[1], 1) < 0) {
      return kSkip;
    }
    close(fds[1]);
    pal::posix::forgetStdHandles();
    orvFileInitializeStdFiles();
    orvFile *out = orvFileGetStdPtr(ORV_FILE_STDOUT);
    if (orvFileWrite(out, "lost", 4) != 0) {
      return 1;
    }
    return orvFileError() == -23 ? 0 : 2;
  });
}

TEST_F(PosixFiles, StandardInputFromAPipeStepsBackOverTheByteAfterALoneCr) {
  inChild([&] {
    int fds[2];
    if (pipe(fds) != 0 || dup2(fds[0], 0) < 0) {
      return kSkip;
    }
    close(fds[0]);
    const char text[] = "a\rb\r\nc";
    if (write(fds[1], text, sizeof text - 1) != static_cast<ssize_t>(sizeof text - 1)) {
      return kSkip;
    }
    close(fds[1]);
    pal::posix::forgetStdHandles();
    orvFileInitializeStdFiles();
    orvFile *in = orvFileGetStdPtr(ORV_FILE_STDIN);
    std::string got;
    for (uint16_t c = orvFileGetc(in); c != ORV_FILE_EOF; c = orvFileGetc(in)) {
      got += static_cast<char>(c);
    }
    return got == "a\rb\nc" ? 0 : 1;
  });
}

TEST_F(PosixFiles, AFileLockedByAnotherProcessKeepsTheRegistryWaiting) {
  // The registry's lock excludes other processes: a forked child holds it
  // while this process's access waits.
  std::string registry = path("registry");
  testsupport::setEnv("TEMPFILEREGISTRY", registry);
  testsupport::setEnv("TEMPFILEDIRS", makeDir("t"));
  ASSERT_EQ(0, servicesProcessInitialize(0));
  int toChild[2];
  int toParent[2];
  ASSERT_EQ(0, pipe(toChild));
  ASSERT_EQ(0, pipe(toParent));
  fflush(nullptr);
  pid_t pid = fork();
  if (pid == 0) {
    // The parent runs the clean-up thread, so the child of this fork may
    // only make system calls: a lock another thread held at the fork would
    // never be released here. An open-file-description lock of the whole
    // file is what LockFile takes.
    int fd = ::open(registry.c_str(), O_RDWR | O_CREAT, 0644);
    struct flock whole = {};
    whole.l_type = F_WRLCK;
    whole.l_whence = SEEK_SET;
    char c = fd >= 0 && fcntl(fd, F_OFD_SETLK, &whole) == 0 ? 'L' : 'F';
    (void)!write(toParent[1], &c, 1);
    (void)!read(toChild[0], &c, 1);
    usleep(300000);
    _exit(0);  // the lock goes with the process
  }
  char c = 0;
  ASSERT_EQ(1, read(toParent[0], &c, 1));
  ASSERT_EQ('L', c);
  (void)!write(toChild[1], &c, 1);
  auto start = std::chrono::steady_clock::now();
  orvFile *f = orvFileOpen(kReadWrite | ORV_FILE_TEMPORARY, ORV_FILE_TAG_END);
  auto waited = std::chrono::steady_clock::now() - start;
  int status = 0;
  waitpid(pid, &status, 0);
  ASSERT_NE(nullptr, f);
  EXPECT_GE(waited, std::chrono::milliseconds(200));
  EXPECT_EQ(1u, filestest::registryLines(registry).size());
  orvFileClose(f, ORV_FILE_CLOSE_DELETE);
  servicesProcessTerminate(0);
  for (int fd : {toChild[0], toChild[1], toParent[0], toParent[1]}) {
    close(fd);
  }
  testsupport::unsetEnv("TEMPFILEREGISTRY");
  testsupport::unsetEnv("TEMPFILEDIRS");
}

#endif

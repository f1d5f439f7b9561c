// The temporary-file registry shared by several processes at once: eight
// processes each make, write, reopen and delete 200 temporary files against
// one registry file. After each phase the registry is checked: no line may
// be lost or torn.
#include <stdlib.h>

#include <map>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "orvane/files.h"
#include "orvane/frame.h"
#include "support/test_support.h"
#include "test_files_support.h"

namespace {

constexpr int kProcesses = 8;
constexpr int kFilesEach = 200;
constexpr uint32_t kBytesEach = 1000;
const char *const kPhases[] = {"made", "reopened", "deleted"};

std::string syncFile(const std::string &sync, const std::string &name) {
  return sync + testsupport::kSep + name;
}

std::string contentsOf(int child, int file) {
  return filestest::pattern(kBytesEach, child * 1000 + file + 1);
}

// A line is "path;stamp" with a stamp of the day's seconds.
bool wellFormed(const std::string &line) {
  size_t semicolon = line.find(';');
  if (semicolon == std::string::npos || semicolon == 0 || semicolon + 1 == line.size()) {
    return false;
  }
  std::string stamp = line.substr(semicolon + 1);
  return stamp.find_first_not_of("0123456789") == std::string::npos && std::stoul(stamp) < 86400;
}

// The registry's lines by the directory (child) they belong to.
std::map<std::string, int> linesByDirectory(const std::string &registry, std::string &problem) {
  bool wellEnded = false;
  std::vector<std::string> lines = filestest::registryLines(registry, &wellEnded);
  std::map<std::string, int> counts;
  std::set<std::string> paths;
  if (!wellEnded) {
    problem = "the registry does not end in one 0 unit";
  }
  for (const std::string &line : lines) {
    if (!wellFormed(line)) {
      problem = "torn line: " + line;
      continue;
    }
    std::string p = line.substr(0, line.find(';'));
    if (!paths.insert(p).second) {
      problem = "line twice: " + line;
    }
    ++counts[p.substr(0, p.rfind(testsupport::kSep))];
  }
  return counts;
}

// The child's side.
int work(int child, const std::string &sync) {
  if (servicesProcessInitialize(0) != 0) {
    return 10;
  }
  std::vector<orvFile *> files;
  for (int i = 0; i < kFilesEach; ++i) {
    orvFile *f = orvFileOpen(ORV_FILE_READ | ORV_FILE_WRITE | ORV_FILE_TEMPORARY, ORV_FILE_TAG_PREFIX, "mp",
                             ORV_FILE_TAG_END);
    if (f == nullptr) {
      return 11;
    }
    std::string data = contentsOf(child, i);
    if (orvFileWrite(f, data.data(), kBytesEach) != kBytesEach) {
      return 12;
    }
    files.push_back(f);
  }
  auto phaseDone = [&](const char *phase) {
    testsupport::writeFile(syncFile(sync, std::string(phase) + "-" + std::to_string(child)), "");
    return filestest::waitForFile(syncFile(sync, std::string("go-") + phase), 240000);
  };
  if (!phaseDone(kPhases[0])) {
    return 13;
  }
  for (int i = 0; i < kFilesEach; ++i) {
    orvFile *f = files[static_cast<size_t>(i)];
    if (orvFileClose(f, ORV_FILE_CLOSE_KEEP) != 1 ||
        orvFileOpen(ORV_FILE_READ | ORV_FILE_TEMPORARY, ORV_FILE_TAG_SEGMENT_OF, f, ORV_FILE_TAG_END) != f) {
      return 14;
    }
    std::string back(kBytesEach, '\0');
    if (orvFileRead(f, back.data(), kBytesEach) != kBytesEach || back != contentsOf(child, i)) {
      return 15;
    }
  }
  if (!phaseDone(kPhases[1])) {
    return 16;
  }
  for (orvFile *f : files) {
    if (orvFileClose(f, ORV_FILE_CLOSE_DELETE) != 1) {
      return 17;
    }
  }
  if (!phaseDone(kPhases[2])) {
    return 18;
  }
  servicesProcessTerminate(0);
  return 0;
}

}  // namespace

// Runs only as one of the processes started by the test below.
TEST(FilesProcesses, Worker) {
  const char *role = getenv("ORVANE_FILES_CHILD");
  const char *sync = getenv("ORVANE_FILES_SYNC");
  if (role == nullptr || sync == nullptr) {
    GTEST_SKIP() << "started by EightProcessesShareOneRegistry";
  }
  EXPECT_EQ(0, work(atoi(role), sync));
}

TEST(FilesProcesses, EightProcessesShareOneRegistry) {
  if (getenv("ORVANE_FILES_CHILD") != nullptr) {
    GTEST_SKIP() << "a worker";
  }
  std::string dir = testsupport::makeScratchDir("processes");
  std::string registry = dir + testsupport::kSep + "registry";
  std::string sync = dir + testsupport::kSep + "sync";
  std::filesystem::create_directories(sync);
  std::vector<std::string> tempDirs;
  testsupport::setEnv("TEMPFILEREGISTRY", registry);
  testsupport::setEnv("ORVANE_FILES_SYNC", sync);
  std::vector<filestest::ChildProcess> children;
  for (int i = 0; i < kProcesses; ++i) {
    tempDirs.push_back(dir + testsupport::kSep + "t" + std::to_string(i));
    std::filesystem::create_directories(tempDirs.back());
    testsupport::setEnv("TEMPFILEDIRS", tempDirs.back());
    testsupport::setEnv("ORVANE_FILES_CHILD", std::to_string(i));
    children.push_back(filestest::spawnSelf("FilesProcesses.Worker"));
    ASSERT_TRUE(filestest::spawned(children.back()));
  }
  for (const char *name : {"TEMPFILEREGISTRY", "ORVANE_FILES_SYNC", "TEMPFILEDIRS", "ORVANE_FILES_CHILD"}) {
    testsupport::unsetEnv(name);
  }

  bool allArrived = true;
  for (const char *phase : kPhases) {
    for (int i = 0; i < kProcesses && allArrived; ++i) {
      allArrived =
          filestest::waitForFile(syncFile(sync, std::string(phase) + "-" + std::to_string(i)), 240000);
    }
    if (!allArrived) {
      ADD_FAILURE() << "a process did not finish phase " << phase;
      break;
    }
    std::string problem;
    std::map<std::string, int> counts = linesByDirectory(registry, problem);
    EXPECT_EQ("", problem) << "after phase " << phase;
    int expected = std::string(phase) == "deleted" ? 0 : kFilesEach;
    for (const std::string &t : tempDirs) {
      EXPECT_EQ(expected, counts[t]) << t << " after phase " << phase;
      EXPECT_EQ(static_cast<size_t>(expected),
                std::filesystem::is_directory(t)
                    ? static_cast<size_t>(std::distance(std::filesystem::directory_iterator(t),
                                                        std::filesystem::directory_iterator()))
                    : 0u)
          << t << " after phase " << phase;
    }
    testsupport::writeFile(syncFile(sync, std::string("go-") + phase), "");
  }
  for (auto &child : children) {
    if (allArrived) {
      EXPECT_EQ(0, filestest::waitChild(child));
    } else {
      filestest::killChild(child);
    }
  }
  EXPECT_TRUE(filestest::registryLines(registry).empty());
  filestest::removeScratch(dir);
}

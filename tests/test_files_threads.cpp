// Thread-safe records under several threads at once: no byte is lost and no
// call's bytes are interleaved with another's.
#include <stdio.h>
#include <string.h>

#include <atomic>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "orvane/files.h"
#include "test_files_support.h"

using filestest::FilesTest;

namespace {

constexpr int kThreads = 8;
constexpr int kWritesPerThread = 300;

// A record: "<thread:call:length|" then filler of the thread's letter, then
// ">". Lengths vary from a few bytes to more than two buffers.
std::string recordOf(int thread, int call) {
  size_t length = (static_cast<size_t>(call) * 7919u + static_cast<size_t>(thread) * 104729u) % 9000u;
  char head[48];
  snprintf(head, sizeof head, "<%d:%d:%zu|", thread, call, length);
  return std::string(head) + std::string(length, static_cast<char>('a' + thread)) + ">";
}

// Parses the file back into records; false at the first torn one.
bool parseRecords(const std::string &data, std::map<std::pair<int, int>, int> &seen, std::string &why) {
  size_t pos = 0;
  while (pos < data.size()) {
    int thread = 0;
    int call = 0;
    size_t length = 0;
    int used = 0;
    if (sscanf(data.c_str() + pos, "<%d:%d:%zu|%n", &thread, &call, &length, &used) != 3 || used == 0) {
      why = "no record head at " + std::to_string(pos);
      return false;
    }
    size_t body = pos + static_cast<size_t>(used);
    if (body + length + 1 > data.size() || data[body + length] != '>' ||
        data.compare(body, length, std::string(length, static_cast<char>('a' + thread))) != 0) {
      why = "torn record at " + std::to_string(pos);
      return false;
    }
    ++seen[{thread, call}];
    pos = body + length + 1;
  }
  return true;
}

}  // namespace

TEST_F(FilesTest, ConcurrentWritesToAThreadSafeRecordNeitherLoseNorInterleave) {
  orvFile *f = open(ORV_FILE_READ | ORV_FILE_WRITE | ORV_FILE_CREATE | ORV_FILE_THREAD_SAFE, "hammer");
  ASSERT_NE(nullptr, f);
  EXPECT_EQ(1u, f->lockState & 1u);
  EXPECT_NE(0u, static_cast<uint32_t>(f->mutex));
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  threads.reserve(kThreads);
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int c = 0; c < kWritesPerThread; ++c) {
        std::string r = recordOf(t, c);
        bool ok = c % 3 == 0 ? orvFilePuts(f, r.c_str()) == static_cast<int>(r.size())
                             : orvFileWrite(f, r.data(), static_cast<uint32_t>(r.size())) == r.size();
        if (!ok) {
          ++failures;
        }
        if (c % 50 == 0) {
          orvFileTell(f);
          orvFileFlush(f);
        }
      }
    });
  }
  for (auto &th : threads) {
    th.join();
  }
  EXPECT_EQ(0, failures.load());
  EXPECT_EQ(0u, f->lockState & 2u);  // nothing left held
  ASSERT_EQ(1, orvFileClose(f, 0));

  std::map<std::pair<int, int>, int> seen;
  std::string why;
  ASSERT_TRUE(parseRecords(contents("hammer"), seen, why)) << why;
  EXPECT_EQ(static_cast<size_t>(kThreads * kWritesPerThread), seen.size());
  for (const auto &entry : seen) {
    EXPECT_EQ(1, entry.second);
  }
}

TEST_F(FilesTest, ConcurrentReadersOfAThreadSafeRecordShareTheBytesExactlyOnce) {
  constexpr size_t kSize = 300000;
  std::string data(kSize, '\0');
  for (size_t i = 0; i < kSize; ++i) {
    data[i] = static_cast<char>('A' + i % 26);
  }
  orvFile *f = create("readers", data, ORV_FILE_READ | ORV_FILE_THREAD_SAFE);
  ASSERT_NE(nullptr, f);
  std::atomic<size_t> total{0};
  std::vector<std::vector<size_t>> counts(kThreads, std::vector<size_t>(26, 0));
  std::vector<std::thread> threads;
  threads.reserve(kThreads);
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      char buf[700];
      for (int round = 0;; ++round) {
        uint32_t got = 0;
        if (round % 2 == 0) {
          uint16_t c = orvFileGetc(f);
          if (c != ORV_FILE_EOF) {
            buf[0] = static_cast<char>(c);
            got = 1;
          }
        } else {
          got =
              orvFileRead(f, buf, static_cast<uint32_t>(1 + (static_cast<size_t>(round) * 37u) % sizeof buf));
        }
        if (got == 0) {
          break;
        }
        for (uint32_t i = 0; i < got; ++i) {
          ++counts[static_cast<size_t>(t)][static_cast<size_t>(buf[i] - 'A')];
        }
        total += got;
      }
    });
  }
  for (auto &th : threads) {
    th.join();
  }
  EXPECT_EQ(kSize, total.load());
  for (int letter = 0; letter < 26; ++letter) {
    size_t sum = 0;
    for (int t = 0; t < kThreads; ++t) {
      sum += counts[static_cast<size_t>(t)][static_cast<size_t>(letter)];
    }
    EXPECT_EQ(kSize / 26 + (static_cast<size_t>(letter) < kSize % 26 ? 1 : 0), sum);
  }
  orvFileClose(f, 0);
}

TEST_F(FilesTest, ConcurrentWritesToAStandardFileAreWholeCalls) {
  // Standard error: thread-safe and unbuffered; each call is written whole.
  orvFile *err = orvFileGetStdPtr(ORV_FILE_STDERR);
  std::vector<std::thread> threads;
  threads.reserve(4);
  std::atomic<int> failures{0};
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 5; ++i) {
        if (orvFileWrite(err, "", 0) != 0 || orvFileTell(err) < -1) {
          ++failures;
        }
      }
    });
  }
  for (auto &th : threads) {
    th.join();
  }
  EXPECT_EQ(0, failures.load());
  EXPECT_EQ(0u, err->lockState & 2u);
}

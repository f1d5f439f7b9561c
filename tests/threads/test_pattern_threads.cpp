// Pattern matching from several threads at once, each with its own
// metacharacter table: the working copy of the table is per thread, so no
// thread sees another's table (run under the tsan preset as well). The
// automata a thread keeps are released when it ends, and a call made during
// the thread's exit, after that release, still answers.
#include <string.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "orvane/frame.h"
#include "orvane/pattern.h"

namespace {

TEST(PatternThreads, DifferentTablesAtOnce) {
  // Thread k uses a table whose any-string wildcard is kWild[k]; the pattern
  // "<w>.txt" matches "x.txt" only with its own table.
  const char kWild[] = {'@', '%', '$', '~'};
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (int k = 0; k < 4; ++k) {
    threads.emplace_back([k, &kWild, &failures] {
      char table[NLS_PM_TABLE_SIZE];
      memcpy(table, NLS_PATTERN_DEFAULT_TABLE, NLS_PM_TABLE_SIZE);
      table[NLS_PM_ANY_STRING] = kWild[k];
      std::string pattern = std::string(1, kWild[k]) + ".txt";
      int32_t length = 0;
      unsigned char *block = nlsBuildFA(0, pattern.c_str(), nullptr, nullptr, table, &length);
      if (block == nullptr) {
        failures++;
        return;
      }
      for (int i = 0; i < 2000; ++i) {
        // Alternate between the thread's table and the default one.
        if (nlsMatchPattern(0, pattern.c_str(), "notes.txt", nullptr, nullptr, table) != 1) {
          failures++;
        }
        if (nlsSimulFA(block, table, "x.txt") != 1) {
          failures++;
        }
        int expectDefault = k == 0 ? 1 : 0;
        if (nlsMatchPattern(0, pattern.c_str(), "notes.txt", nullptr, nullptr, nullptr) != expectDefault) {
          failures++;
        }
        uint16_t error = 0;
        if (nlsValidPattern("a|", table, &error, nullptr) != 0 || error != 65532) {
          failures++;
        }
      }
      orvMemoryFreeFunc(block);
    });
  }
  for (std::thread &t : threads) {
    t.join();
  }
  EXPECT_EQ(0, failures.load());
}

// Matches in its destructor: a thread-local object of the thread, made
// before the thread's first match, so destroyed after the matcher released
// the thread's automata. Not on Windows: the mingw-w64 runtime may release
// a thread's emulated thread-local storage before it runs the destructors
// of its thread_local objects, so the object could not read its own member
// there (the reason the matcher keeps nothing per thread on Windows).
#if !defined(_WIN32)
constexpr int kAtExitAnswers = 3;
struct MatchAtExit {
  std::atomic<int> *answers = nullptr;
  ~MatchAtExit() {
    if (answers != nullptr) {
      *answers += nlsMatchPattern(0, "@.txt", "notes.txt", nullptr, nullptr, nullptr);
      *answers += nlsMatchPattern(0, "#>-#>", "12-3", nullptr, nullptr, nullptr);
      *answers += nlsMatchPattern(0, "#>-#>", "12-3", nullptr, nullptr, nullptr);
    }
  }
};
thread_local MatchAtExit matchAtExit;
#else
constexpr int kAtExitAnswers = 0;
#endif

TEST(PatternThreads, AutomataReleasedAtThreadExit) {
  std::atomic<int> answers{0};
  for (int round = 0; round < 20; ++round) {
    std::thread t([&answers] {
#if !defined(_WIN32)
      matchAtExit.answers = &answers;
#endif
      for (int i = 0; i < 50; ++i) {
        answers += nlsMatchPattern(0, "(a|b)>", "abab", nullptr, nullptr, nullptr);
        answers += nlsMatchPattern(0, "?a@", "ba", nullptr, nullptr, nullptr);
        answers += nlsSimulFA(nullptr, nullptr, "x");  // 0
      }
    });
    t.join();
  }
  EXPECT_EQ(20 * (100 + kAtExitAnswers), answers.load());
}

}  // namespace

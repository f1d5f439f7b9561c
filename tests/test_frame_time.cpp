// Process frame: clocks, timers, sleep and hashing.
#include <ctype.h>
#include <locale.h>
#include <stdlib.h>
#include <time.h>

#include <chrono>
#include <string>
#include <unordered_set>

#include <gtest/gtest.h>

#include "orvane/frame.h"

TEST(Hash, FoldsBytesIntoFourAccumulatorBytes) {
  EXPECT_EQ(0x64636261u, orvHash("abcd"));
  EXPECT_EQ(0x64636204u, orvHash("abcde"));  // 'e' folds into byte 0: 0x61 ^ 0x65
  EXPECT_EQ(0u, orvHash(""));
  EXPECT_EQ(0x61u, orvHash("a"));
  EXPECT_EQ(0x6261u, orvHash("ab"));
  EXPECT_EQ(0x636261u, orvHash("abc"));
  EXPECT_EQ(0u, orvHash("abcdabcd"));  // every byte cancels its twin
}

TEST(Hash, MatchesTheBytewiseDefinitionOnLongText) {
  std::string text;
  for (int i = 0; i < 1000; ++i) {
    text.push_back(static_cast<char>(1 + (i * 37) % 255));
  }
  uint8_t acc[4] = {0, 0, 0, 0};
  for (size_t i = 0; i < text.size(); ++i) {
    acc[i % 4] ^= static_cast<uint8_t>(text[i]);
  }
  uint32_t expected = acc[0] | (acc[1] << 8) | (acc[2] << 16) | (static_cast<uint32_t>(acc[3]) << 24);
  EXPECT_EQ(expected, orvHash(text.c_str()));
}

TEST(Hash, CaseInsensitiveHashFoldsLowerCaseLetters) {
  EXPECT_EQ(orvHash("ABC"), orvHashI("abc"));
  EXPECT_EQ(orvHashI("MiXeD CaSe 123"), orvHashI("mixed case 123"));
  EXPECT_EQ(orvHash("MIXED CASE 123"), orvHashI("mixed case 123"));
  EXPECT_EQ(0u, orvHashI(""));
  // Digits and punctuation are used as they are.
  EXPECT_EQ(orvHash("1-2_3"), orvHashI("1-2_3"));
}

namespace {
// Every single-byte text hashes as the runtime's classification of the
// current locale folds it.
void expectEveryByteFoldsAsTheRuntimeSays() {
  const bool multiByte = MB_CUR_MAX >= 2;
  for (int b = 1; b < 256; ++b) {
    const char text[2] = {static_cast<char>(b), '\0'};
    const bool fold = !(multiByte && b >= 0x80) && isalpha(b) && islower(b);
    EXPECT_EQ(static_cast<uint32_t>(fold ? toupper(b) : b), orvHashI(text)) << b;
  }
}
}  // namespace

TEST(Hash, CaseInsensitiveHashFollowsLocaleChanges) {
  std::string saved = setlocale(LC_CTYPE, nullptr);
  ASSERT_NE(nullptr, setlocale(LC_CTYPE, "C"));
  expectEveryByteFoldsAsTheRuntimeSays();
  if (setlocale(LC_CTYPE, "C.UTF-8") != nullptr || setlocale(LC_CTYPE, "C.utf8") != nullptr) {
    expectEveryByteFoldsAsTheRuntimeSays();
  }
  ASSERT_NE(nullptr, setlocale(LC_CTYPE, "C"));
  expectEveryByteFoldsAsTheRuntimeSays();
  setlocale(LC_CTYPE, saved.c_str());
  expectEveryByteFoldsAsTheRuntimeSays();
}

TEST(Clock, CreateResetsToTheLocalTime) {
  time_t before = time(nullptr);
  orvClock *clock = orvClockCreate();
  ASSERT_NE(nullptr, clock);
  struct tm local = *localtime(&before);
  EXPECT_GE(orvClockGetMonth(clock), 0);
  EXPECT_LE(orvClockGetMonth(clock), 11);
  EXPECT_GE(orvClockGetYear(clock), local.tm_year + 1900);
  EXPECT_LE(orvClockGetYear(clock), local.tm_year + 1901);
  EXPECT_GE(clock->second, 0);
  EXPECT_LE(clock->second, 60);
  EXPECT_GE(clock->minute, 0);
  EXPECT_LE(clock->minute, 59);
  EXPECT_GE(clock->hour, 0);
  EXPECT_LE(clock->hour, 23);
  EXPECT_GE(clock->day, 1);
  EXPECT_LE(clock->day, 31);
  clock->year = 0;
  EXPECT_EQ(1, orvClockReset(clock));
  EXPECT_GE(orvClockGetYear(clock), 2000);
  EXPECT_EQ(1, orvClockDestroy(clock));
}

TEST(Timer, ReadWhileRunningKeepsRunning) {
  orvTimer *timer = orvTimerCreate();
  ASSERT_NE(nullptr, timer);
  EXPECT_EQ(0u, timer->running);
  EXPECT_EQ(1, orvTimerStart(timer));
  EXPECT_EQ(1u, timer->running);
  double elapsed = orvTimerGetElapsed(timer);
  EXPECT_GE(elapsed, 0.0);
  EXPECT_EQ(1u, timer->running);
  EXPECT_GE(orvTimerGetProcess(timer), 0.0);
  EXPECT_EQ(1u, timer->running);
  orvMemoryFreeFunc(timer);
}

TEST(Timer, SecondStopChangesNothing) {
  orvTimer *timer = orvTimerCreate();
  ASSERT_NE(nullptr, timer);
  ASSERT_EQ(1, orvTimerStart(timer));
  // Burn a little processor time so that the readings are not all zero.
  volatile double sink = 0;
  for (int i = 0; i < 2000000; ++i) {
    sink = sink + i * 0.5;
  }
  ASSERT_EQ(1, orvTimerStop(timer));
  EXPECT_EQ(0u, timer->running);
  double wall = orvTimerGetElapsed(timer);
  double cpu = orvTimerGetProcess(timer);
  double stopWall = timer->stopWall;
  double stopCpu = timer->stopCpu;
  EXPECT_EQ(1, orvTimerStop(timer));
  EXPECT_EQ(stopWall, timer->stopWall);
  EXPECT_EQ(stopCpu, timer->stopCpu);
  EXPECT_EQ(wall, orvTimerGetElapsed(timer));
  EXPECT_EQ(cpu, orvTimerGetProcess(timer));
  EXPECT_GE(cpu, 0.0);
  // Wall time has whole-second resolution.
  EXPECT_EQ(wall, static_cast<double>(static_cast<long long>(wall)));
  orvMemoryFreeFunc(timer);
}

TEST(Timer, StopOfANeverStartedTimerReturnsOne) {
  orvTimer *timer = orvTimerCreate();
  ASSERT_NE(nullptr, timer);
  EXPECT_EQ(1, orvTimerStop(timer));
  EXPECT_EQ(0u, timer->running);
  orvMemoryFreeFunc(timer);
}

TEST(Sleep, SleepsRoughlyTheTimeAsked) {
  auto start = std::chrono::steady_clock::now();
  orvSleep(0.05);
  auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start);
  EXPECT_GE(ms.count(), 40);  // loose bounds: scheduling may add time
  EXPECT_LT(ms.count(), 5000);
}

TEST(Sleep, OddArgumentsReturnPromptly) {
  auto start = std::chrono::steady_clock::now();
  orvSleep(0.0005);  // 0 milliseconds
  orvSleep(-3.0);
  orvSleep(0.0);
  auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start);
  EXPECT_LT(ms.count(), 2000);
}

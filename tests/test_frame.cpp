// Process frame: initialisation, items, services location, product code,
// exit handlers and the assertion.
#include <stdio.h>
#include <string.h>

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "orvane/frame.h"
#include "support/test_support.h"

using testsupport::kSep;

namespace {

const char *appName() { return reinterpret_cast<const char *>(servicesQueryApp(ORV_ITEM_APPLICATION_NAME)); }

}  // namespace

TEST(ProcessFrame, FirstInitialisationKeepsItemsAndReturnsZero) {
  ASSERT_EQ(0, servicesProcessInitialize(ORV_ITEM_APPLICATION_NAME, "first", ORV_ITEM_CONFIGURATION_KEY,
                                         "Software\\Orvane\\Test", 0));
  EXPECT_STREQ("first", appName());
  EXPECT_STREQ("Software\\Orvane\\Test",
               reinterpret_cast<const char *>(servicesQueryApp(ORV_ITEM_CONFIGURATION_KEY)));
  // A second call only counts: its items are ignored.
  EXPECT_EQ(0, servicesProcessInitialize(ORV_ITEM_APPLICATION_NAME, "second", 0));
  EXPECT_STREQ("first", appName());
  servicesProcessTerminate(0);
  EXPECT_STREQ("first", appName());
  EXPECT_EQ(1, servicesProcessTerminate(0));
  EXPECT_EQ(nullptr, appName());
  EXPECT_EQ(0, servicesQueryApp(ORV_ITEM_CONFIGURATION_KEY));
}

TEST(ProcessFrame, VersionItemsAndReleaseTag) {
  ASSERT_EQ(0, servicesProcessInitialize(0));
  const int32_t *major = reinterpret_cast<const int32_t *>(servicesQueryApp(ORV_ITEM_MAJOR_VERSION));
  const int32_t *minor = reinterpret_cast<const int32_t *>(servicesQueryApp(ORV_ITEM_MINOR_VERSION));
  ASSERT_NE(nullptr, major);
  ASSERT_NE(nullptr, minor);
  EXPECT_EQ(11, *major);
  EXPECT_EQ(0, *minor);
  const char *tag = reinterpret_cast<const char *>(servicesQueryApp(ORV_ITEM_RELEASE_TAG));
  ASSERT_NE(nullptr, tag);
  EXPECT_GT(strlen(tag), 0u);
  EXPECT_EQ(nullptr, appName());
  servicesProcessTerminate(0);
}

TEST(ProcessFrame, NullApplicationNameReturnsOne) {
  EXPECT_EQ(1, servicesProcessInitialize(ORV_ITEM_APPLICATION_NAME, nullptr, 0));
  servicesProcessTerminate(0);
}

TEST(ProcessFrame, NullConfigurationKeyReturnsFive) {
  EXPECT_EQ(5, servicesProcessInitialize(ORV_ITEM_CONFIGURATION_KEY, nullptr, 0));
  servicesProcessTerminate(0);
}

TEST(ProcessFrame, UnknownItemCodesTakeNoValue) {
  // Codes other than 1 and 5 are skipped; the next word is the next code.
  ASSERT_EQ(0, servicesProcessInitialize(7, 9, ORV_ITEM_APPLICATION_NAME, "named", 42, 0));
  EXPECT_STREQ("named", appName());
  servicesProcessTerminate(0);
}

TEST(ProcessFrame, QueryOutsideTheItemsReturnsItemLessOne) {
  EXPECT_EQ(-1, servicesQueryApp(0));
  EXPECT_EQ(static_cast<intptr_t>(0xFFFFFFFF),
            static_cast<intptr_t>(static_cast<uint32_t>(servicesQueryApp(0))));
  EXPECT_EQ(5, servicesQueryApp(6));
  EXPECT_EQ(99, servicesQueryApp(100));
}

TEST(ProcessFrame, TerminateWithoutInitialiseReturnsOne) {
  EXPECT_EQ(1, servicesProcessTerminate(0));
  // The count went below zero: the next initialisation only counts (back
  // to zero) and returns 0 without initialising.
  EXPECT_EQ(0, servicesProcessInitialize(ORV_ITEM_APPLICATION_NAME, nullptr, 0));
  EXPECT_EQ(nullptr, appName());
}

TEST(ProcessFrame, ProductCodeIsTheBuildLetter) {
  uint32_t code = orvGetProductCode();
  EXPECT_GE(code, static_cast<uint32_t>('A'));
  EXPECT_LE(code, static_cast<uint32_t>('Z'));
}

// --- Services location -------------------------------------------------------

class ServicesLocation : public ::testing::Test {
 protected:
  void SetUp() override { testsupport::useScratchProfileDir(); }
  void TearDown() override { testsupport::removeProfile("ORVANE.INI"); }
};

TEST_F(ServicesLocation, SuffixKeyGetsASeparatorAppended) {
  std::string value = std::string(1, kSep) + "orv";
  testsupport::writeProfile("ORVANE.INI",
                            "[Orvane Locations]\nServicesXYZ=" + value + "\nServices=" + kSep + "other\n");
  char dir[260];
  EXPECT_EQ(4, orvGetServicesLocation("XYZ", dir, sizeof dir));
  EXPECT_EQ(value + kSep, dir);
}

TEST_F(ServicesLocation, PlainServicesKeyKeepsItsSeparator) {
  std::string value = std::string(1, kSep) + "s" + kSep;
  testsupport::writeProfile("ORVANE.INI", "[Orvane Locations]\nServices=" + value + "\n");
  char dir[260];
  EXPECT_EQ(4, orvGetServicesLocation("XYZ", dir, sizeof dir));
  EXPECT_EQ(value, dir);
}

TEST_F(ServicesLocation, WithoutSettingsTheExecutablesDirectoryIsUsed) {
  testsupport::removeProfile("ORVANE.INI");
  char dir[260];
  EXPECT_EQ(3, orvGetServicesLocation("XYZ", dir, sizeof dir));
  std::string exe = testsupport::executablePath();
  EXPECT_EQ(exe.substr(0, exe.rfind(kSep) + 1), dir);
}

TEST_F(ServicesLocation, ExecutableDirectoryIsCutToTheBuffer) {
  testsupport::removeProfile("ORVANE.INI");
  char dir[6];
  memset(dir, 'x', sizeof dir);
  EXPECT_EQ(3, orvGetServicesLocation(nullptr, dir, sizeof dir));
  EXPECT_EQ(5u, strlen(dir));
  std::string exe = testsupport::executablePath();
  EXPECT_EQ(exe.substr(0, 5), dir);
}

TEST_F(ServicesLocation, ValueIsBoundedByTheBuffer) {
  testsupport::writeProfile("ORVANE.INI", "[Orvane Locations]\nServices=abcdefghij\n");
  char dir[5];
  EXPECT_EQ(4, orvGetServicesLocation("", dir, sizeof dir));
  EXPECT_STREQ("abcd", dir);
}

TEST_F(ServicesLocation, ZeroSizedBufferIsLeftAlone) {
  char dir[1] = {'q'};
  EXPECT_EQ(0, orvGetServicesLocation("", dir, 0));
  EXPECT_EQ('q', dir[0]);
}

// --- Exit handlers -----------------------------------------------------------

namespace {
std::vector<uintptr_t> exitCalls;
void recordExit(uintptr_t argument) { exitCalls.push_back(argument); }
void otherExit(uintptr_t argument) { exitCalls.push_back(1000 + argument); }
}  // namespace

TEST(ExitHandlers, SlotsOutsideTheTableFail) {
  EXPECT_EQ(0, orvRegisterExit(14, recordExit, 1));
  EXPECT_EQ(0, orvRegisterExit(-1, recordExit, 1));
}

TEST(ExitHandlers, RunInSlotOrderOnceAndLastRegistrationWins) {
  exitCalls.clear();
  orvExit();  // empties whatever earlier tests left
  exitCalls.clear();
  ASSERT_EQ(1, orvRegisterExit(13, recordExit, 13));
  ASSERT_EQ(1, orvRegisterExit(3, recordExit, 3));
  ASSERT_EQ(1, orvRegisterExit(3, otherExit, 3));
  ASSERT_EQ(1, orvRegisterExit(0, recordExit, 0));
  orvExit();
  EXPECT_EQ((std::vector<uintptr_t>{0, 1003, 13}), exitCalls);
  exitCalls.clear();
  orvExit();
  EXPECT_TRUE(exitCalls.empty());
}

TEST(ExitHandlers, InitExitReportsWhetherItClearedTheTable) {
  orvRegisterExit(5, recordExit, 5);  // makes the table ready
  EXPECT_EQ(0, orvInitExit());        // already ready: nothing cleared
  exitCalls.clear();
  orvExit();
  EXPECT_EQ((std::vector<uintptr_t>{5}), exitCalls);
}

TEST(ExitHandlersDeathTest, FreshProcessInitExitClearsOnce) {
  // In a fresh process the table is not ready: the first orvInitExit clears
  // it and reports 1, the second reports 0.
  EXPECT_EXIT(
      {
        int first = orvInitExit();
        int second = orvInitExit();
        fprintf(stderr, "init %d %d\n", first, second);
        fflush(stderr);
        exit(first == 1 && second == 0 ? 7 : 1);
      },
      ::testing::ExitedWithCode(7), "init 1 0");
}

TEST(ExitHandlersDeathTest, ExitBeforeAnyRegistrationDoesNothing) {
  EXPECT_EXIT(
      {
        orvExit();
        exit(3);
      },
      ::testing::ExitedWithCode(3), "");
}

// --- Assertion -------------------------------------------------------------------

namespace {
void announceExit(uintptr_t) {
  fputs("exit handler ran\n", stderr);
  fflush(stderr);
}

bool assertionDeath(int status) {
#if defined(_WIN32)
  (void)status;
  return true;  // FatalExit ends the process; its code is the system's
#else
  return ::testing::KilledBySignal(SIGABRT)(status);
#endif
}

// The message must follow the exit handler's line.
::testing::Matcher<const std::string &> handlerThenMessage(const std::string &message) {
  return ::testing::Truly([message](const std::string &err) {
    size_t handler = err.find("exit handler ran");
    size_t text = err.find(message);
    return handler != std::string::npos && text != std::string::npos && handler < text;
  });
}
}  // namespace

TEST(AssertionDeathTest, RunsExitHandlersThenReportsAndEnds) {
  EXPECT_EXIT(
      {
        orvRegisterExit(2, announceExit, 0);
        orvAssert("ORVSRVCS.CPP", 42);
      },
      assertionDeath,
      handlerThenMessage(
          "*** ASSERTION FAILURE ***: Assertion Failure at line <42> of file <ORVSRVCS.CPP>."));
}

TEST(AssertionDeathTest, WithoutHandlersStillReports) {
  EXPECT_EXIT(orvAssert("module.cpp", 7), assertionDeath,
              ::testing::HasSubstr("Assertion Failure at line <7> of file <module.cpp>."));
}

// --- Memory hooks ----------------------------------------------------------------

TEST(MemoryHooks, AllocateAndFreeThroughTheLibrary) {
  char *block = static_cast<char *>(orvMemoryAllocFunc(64));
  ASSERT_NE(nullptr, block);
  memset(block, 0x5A, 64);
  orvMemoryFreeFunc(block);
  orvMemoryFreeFunc(nullptr);
}

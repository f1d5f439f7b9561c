// Process frame internals: the order in which start-up and shut-down call
// the layers, and the early returns of start-up.
#include <stdarg.h>

#include <cmath>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "common/frame/frame_internal.h"
#include "common/frame/layers.h"
#include "orvane/frame.h"

namespace {

std::vector<std::string> calls;
int threadResult = 0;
int nlsResult = 0;
int fileResult = 1;

void stdFiles() { calls.push_back("stdfiles"); }
int threadInit() {
  calls.push_back("threads+");
  return threadResult;
}
int nlsInitStep() {
  calls.push_back("nls+");
  return nlsResult;
}
int fileInit() {
  calls.push_back("files+");
  return fileResult;
}
void fileTerm() { calls.push_back("files-"); }
int nlsTerm() {
  calls.push_back("nls-");
  return 1;
}
void threadTerm() { calls.push_back("threads-"); }

class LayerOrder : public ::testing::Test {
 protected:
  void SetUp() override {
    saved = frame::layers();
    frame::layers() =
        frame::LayerTable{stdFiles, threadInit, nlsInitStep, fileInit, fileTerm, nlsTerm, threadTerm};
    calls.clear();
    threadResult = 0;
    nlsResult = 0;
    fileResult = 1;
    ASSERT_EQ(0, frame::initializationCount());
  }
  void TearDown() override {
    while (frame::initializationCount() > 0) {
      servicesProcessTerminate(1);
    }
    while (frame::initializationCount() < 0) {
      servicesProcessInitialize(0);
    }
    frame::layers() = saved;
  }
  frame::LayerTable saved{};
};

using Calls = std::vector<std::string>;

}  // namespace

TEST_F(LayerOrder, StartUpCallsTheLayersInOrder) {
  ASSERT_EQ(0, servicesProcessInitialize(0));
  EXPECT_EQ((Calls{"stdfiles", "threads+", "nls+", "files+"}), calls);
}

TEST_F(LayerOrder, TwoInitialisationsNeedTwoTerminations) {
  ASSERT_EQ(0, servicesProcessInitialize(0));
  ASSERT_EQ(0, servicesProcessInitialize(ORV_ITEM_APPLICATION_NAME, "ignored", 0));
  calls.clear();
  EXPECT_EQ(1, servicesProcessTerminate(0));
  EXPECT_TRUE(calls.empty()) << "the first termination only counts";
  EXPECT_EQ(1, servicesProcessTerminate(0));
  EXPECT_EQ((Calls{"files-", "nls-", "threads-"}), calls);
}

TEST_F(LayerOrder, KeepLayersLeavesThemRunningButFreesItems) {
  ASSERT_EQ(0, servicesProcessInitialize(ORV_ITEM_APPLICATION_NAME, "app", 0));
  calls.clear();
  EXPECT_EQ(1, servicesProcessTerminate(1));
  EXPECT_TRUE(calls.empty());
  EXPECT_EQ(0, servicesQueryApp(ORV_ITEM_APPLICATION_NAME));
}

TEST_F(LayerOrder, NullNameReturnsOneAfterTheLayersWereInitialised) {
  EXPECT_EQ(1, servicesProcessInitialize(ORV_ITEM_APPLICATION_NAME, nullptr, 0));
  EXPECT_EQ((Calls{"stdfiles", "threads+", "nls+", "files+"}), calls);
  EXPECT_EQ(1, frame::initializationCount());
}

TEST_F(LayerOrder, ThreadLayerFailureIsOffsetBy1100) {
  threadResult = -2;
  EXPECT_EQ(1098, servicesProcessInitialize(0));
  EXPECT_EQ((Calls{"stdfiles", "threads+"}), calls);
  EXPECT_EQ(1, frame::initializationCount()) << "an early return leaves the count incremented";
}

TEST_F(LayerOrder, LanguageSupportFailureIsOffsetBy1000) {
  nlsResult = 2;
  EXPECT_EQ(1002, servicesProcessInitialize(0));
  EXPECT_EQ((Calls{"stdfiles", "threads+", "nls+"}), calls);
}

TEST_F(LayerOrder, LanguageSupportResult13CountsAsSuccess) {
  nlsResult = 13;
  EXPECT_EQ(0, servicesProcessInitialize(0));
  EXPECT_EQ((Calls{"stdfiles", "threads+", "nls+", "files+"}), calls);
}

TEST_F(LayerOrder, FileLayerFailureGives1200) {
  fileResult = 0;
  EXPECT_EQ(1200, servicesProcessInitialize(ORV_ITEM_APPLICATION_NAME, "never", 0));
  EXPECT_EQ(0, servicesQueryApp(ORV_ITEM_APPLICATION_NAME)) << "items are walked after the layers";
}

TEST_F(LayerOrder, ReinitialisationAfterFullTerminationWorksAgain) {
  ASSERT_EQ(0, servicesProcessInitialize(ORV_ITEM_APPLICATION_NAME, "one", 0));
  servicesProcessTerminate(0);
  calls.clear();
  ASSERT_EQ(0, servicesProcessInitialize(ORV_ITEM_APPLICATION_NAME, "two", 0));
  EXPECT_EQ((Calls{"stdfiles", "threads+", "nls+", "files+"}), calls);
  EXPECT_STREQ("two", reinterpret_cast<const char *>(servicesQueryApp(ORV_ITEM_APPLICATION_NAME)));
}

TEST(SleepConversion, TruncatesToWholeMilliseconds) {
  EXPECT_EQ(0u, frame::sleepMilliseconds(0.0005));
  EXPECT_EQ(1u, frame::sleepMilliseconds(0.0015));
  EXPECT_EQ(1999u, frame::sleepMilliseconds(1.9999));
  EXPECT_EQ(2000u, frame::sleepMilliseconds(2.0));
  EXPECT_EQ(0u, frame::sleepMilliseconds(-1.0));
  EXPECT_EQ(0u, frame::sleepMilliseconds(std::nan("")));
  EXPECT_EQ(0xFFFFFFFEu, frame::sleepMilliseconds(1e12));
}

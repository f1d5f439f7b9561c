// The orv tool's file commands: "orv info" reports the temporary-file
// directories, the registry and the time-out; "orv tempfiles list" shows the
// registry's lines and "orv tempfiles clean" runs one clean-up pass.
#include <stdio.h>

#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "support/test_support.h"
#include "test_files_support.h"

namespace {

class OrvTempFiles : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = testsupport::makeScratchDir("orvtemp");
    temp_ = dir_ + testsupport::kSep + "t";
    registry_ = dir_ + testsupport::kSep + "registry";
    std::filesystem::create_directories(temp_);
    testsupport::setEnv("TEMPFILEDIRS", temp_);
    testsupport::setEnv("TEMPFILEREGISTRY", registry_);
    testsupport::setEnv("TEMPFILETIMEOUT", "40");
  }
  void TearDown() override {
    for (const char *name : {"TEMPFILEDIRS", "TEMPFILEREGISTRY", "TEMPFILETIMEOUT"}) {
      testsupport::unsetEnv(name);
    }
    filestest::removeScratch(dir_);
  }
  std::string dir_;
  std::string temp_;
  std::string registry_;
};

}  // namespace

TEST_F(OrvTempFiles, InfoReportsTheDirectoriesTheRegistryAndTheTimeout) {
  int status = 0;
  std::string out = testsupport::runOrv("info", &status);
  if (out == "<no orv>") {
    GTEST_SKIP() << "the build has no orv tool";
  }
  EXPECT_EQ(0, status) << out;
  EXPECT_NE(std::string::npos, out.find("0: " + temp_)) << out;
  EXPECT_NE(std::string::npos, out.find(registry_)) << out;
  EXPECT_NE(std::string::npos, out.find("40 seconds")) << out;
}

TEST_F(OrvTempFiles, ListShowsTheLinesAndCleanRunsOnePass) {
  uint32_t now = filestest::stampNow();
  if (now < 200) {
    GTEST_SKIP() << "too close to midnight";
  }
  std::string old = temp_ + testsupport::kSep + "old";
  std::string young = temp_ + testsupport::kSep + "young";
  testsupport::writeFile(old, "o");
  testsupport::writeFile(young, "y");
  filestest::writeRegistry(registry_,
                           {young + ";" + std::to_string(now), old + ";" + std::to_string(now - 100)});
  int status = 0;
  std::string out = testsupport::runOrv("tempfiles list", &status);
  if (out == "<no orv>") {
    GTEST_SKIP() << "the build has no orv tool";
  }
  EXPECT_EQ(0, status) << out;
  EXPECT_NE(std::string::npos, out.find(young + "  stamp " + std::to_string(now))) << out;
  // One pass deletes the old file, the next drops its line (the tool's own
  // clean-up thread may add passes of its own at start-up).
  out = testsupport::runOrv("tempfiles clean", &status);
  EXPECT_EQ(0, status) << out;
  EXPECT_NE(std::string::npos, out.find("clean-up pass done")) << out;
  EXPECT_FALSE(testsupport::fileExists(old));
  out = testsupport::runOrv("tempfiles clean", &status);
  EXPECT_EQ(0, status) << out;
  EXPECT_TRUE(testsupport::fileExists(young));
  out = testsupport::runOrv("tempfiles list", &status);
  EXPECT_EQ(0, status) << out;
  EXPECT_EQ(std::string::npos, out.find(old)) << out;
}

TEST_F(OrvTempFiles, WithoutARegistryTheCommandsFail) {
  testsupport::unsetEnv("TEMPFILEREGISTRY");
  int status = 0;
  std::string out = testsupport::runOrv("tempfiles list", &status);
  if (out == "<no orv>") {
    GTEST_SKIP() << "the build has no orv tool";
  }
  EXPECT_EQ(1, status);
  out = testsupport::runOrv("tempfiles bogus", &status);
  EXPECT_EQ(2, status);
}

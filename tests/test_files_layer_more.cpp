// The file layer's calls on paths and directories at their edges: deleting
// without a path or a missing file, the current directory without a place
// for it or longer than a path may be, and starting the layer twice.
#include <stdlib.h>

#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "orvane/files.h"
#include "orvane/frame.h"
#include "support/test_support.h"
#include "test_files_support.h"

using filestest::FilesTest;

namespace {

class LayerMoreTest : public FilesTest {};

}  // namespace

TEST_F(LayerMoreTest, DeletingWithoutAPathOrAFile) {
  EXPECT_EQ(0, orvFileDelete(nullptr));
  EXPECT_EQ(ORV_FILE_E_INVALID_PARAMETER, orvFileError());
  EXPECT_EQ(0, orvFileDelete(path("missing").c_str()));
  EXPECT_EQ(ORV_FILE_E_NOT_FOUND, orvFileError());
  testsupport::writeFile(path("there"), "x");
  EXPECT_EQ(1, orvFileDelete(path("there").c_str()));
  EXPECT_FALSE(testsupport::fileExists(path("there")));
}

TEST_F(LayerMoreTest, TheCurrentDirectoryNeedsAPlace) {
  EXPECT_EQ(0, orvFileGetCurrentDirectory(nullptr));
  EXPECT_EQ(ORV_FILE_E_INVALID_PARAMETER, orvFileError());
  char *dir = nullptr;
  ASSERT_EQ(1, orvFileGetCurrentDirectory(&dir));
  ASSERT_NE(nullptr, dir);
  EXPECT_EQ(std::filesystem::current_path(), std::filesystem::path(dir));
  free(dir);
}

TEST_F(LayerMoreTest, StartingTheLayerAgainIsNoChange) {
  EXPECT_EQ(1, orvFileProcessInitialize());
  orvFile *f = open(ORV_FILE_READ | ORV_FILE_WRITE | ORV_FILE_CREATE, "still");
  ASSERT_NE(nullptr, f);
  EXPECT_EQ(1, orvFileClose(f, 0));
}

#ifndef _WIN32
TEST_F(LayerMoreTest, ACurrentDirectoryLongerThanAPathIsANameTooLong) {
  std::string deep = dir_;
  while (deep.size() <= 300) {
    deep += "/directory-of-some-length";
  }
  std::filesystem::create_directories(deep);
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(deep);
  char *dir = reinterpret_cast<char *>(1);
  const int rc = orvFileGetCurrentDirectory(&dir);
  const int error = orvFileError();
  std::filesystem::current_path(before);
  EXPECT_EQ(0, rc);
  EXPECT_EQ(nullptr, dir);
  EXPECT_EQ(ORV_FILE_E_NAME_TOO_LONG, error);
}
#endif

// File calls on things that are no open file record: a null pointer and a
// record whose magic is wrong get each call's failure value and the
// invalid-handle error; a seek-and-write with a bad origin writes nothing.
#include <string>

#include <gtest/gtest.h>

#include "orvane/files.h"
#include "orvane/frame.h"
#include "support/test_support.h"
#include "test_files_support.h"

using filestest::FilesTest;

namespace {

class IoMoreTest : public FilesTest {};

}  // namespace

TEST_F(IoMoreTest, CallsOnWhatIsNoRecord) {
  orvFile zeroed{};
  for (orvFile *f : {static_cast<orvFile *>(nullptr), &zeroed}) {
    SCOPED_TRACE(f == nullptr ? "null" : "zeroed");
    char buffer[4] = {};
    EXPECT_EQ(0u, orvFileSeekRead(f, 0, ORV_FILE_SEEK_SET, buffer, sizeof buffer));
    EXPECT_EQ(ORV_FILE_E_INVALID_HANDLE, orvFileError());
    EXPECT_EQ(0u, orvFileSeekWrite(f, 0, ORV_FILE_SEEK_SET, buffer, sizeof buffer));
    EXPECT_EQ(ORV_FILE_E_INVALID_HANDLE, orvFileError());
    EXPECT_EQ(0, orvFileSeek(f, 0, ORV_FILE_SEEK_SET));
    EXPECT_EQ(-1, orvFileTell(f));
    EXPECT_EQ(-1, orvFileSize(f));
    EXPECT_EQ(0, orvFileSetEOF(f));
    EXPECT_EQ(0, orvFileFlush(f));
    EXPECT_EQ(1, orvFileEOF(f)) << "no record: at its end";
    EXPECT_EQ(0, orvFileClearEOF(f));
    EXPECT_EQ(ORV_FILE_E_INVALID_HANDLE, orvFileError());
  }
}

TEST_F(IoMoreTest, SeekAndWriteWithABadOriginWritesNothing) {
  orvFile *f = create("o", "0123456789");
  ASSERT_NE(nullptr, f);
  EXPECT_EQ(0u, orvFileSeekWrite(f, 2, 7, "xy", 2));
  EXPECT_EQ(ORV_FILE_E_INVALID_PARAMETER, orvFileError());
  char back[4] = {};
  EXPECT_EQ(0u, orvFileSeekRead(f, 2, -1, back, 2));
  EXPECT_EQ(ORV_FILE_E_INVALID_PARAMETER, orvFileError());
  EXPECT_EQ(2u, orvFileSeekWrite(f, 2, ORV_FILE_SEEK_SET, "xy", 2));
  EXPECT_EQ(1, orvFileClose(f, 0));
  EXPECT_EQ("01xy456789", contents("o"));
}

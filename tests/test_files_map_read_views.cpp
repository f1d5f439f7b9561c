// Views opened for reading only: the system may make their pages present
// when the view is mapped, and their contents must stay exactly those of the
// file, including bytes written after the view was opened.
#include <string.h>

#include <string>

#include <gtest/gtest.h>

#include "orvane/files.h"
#include "test_files_support.h"

using filestest::FilesTest;

namespace {

constexpr uint32_t kGranule = 65536;

}  // namespace

TEST_F(FilesTest, AReadOnlyViewOfSeveralMegabytesHoldsEveryByteOfTheFile) {
  std::string data = filestest::pattern(3 * 1024 * 1024 + 123, 7);
  orvFile *f = create("big", data, ORV_FILE_READ);
  ASSERT_NE(nullptr, f);
  orvFileMap *map = orvFileMemoryMapCreate(f, 0);
  ASSERT_NE(nullptr, map);
  const auto size = static_cast<uint32_t>(data.size());
  const char *p = static_cast<const char *>(orvFileMemoryMapOpen(map, 0, 0, 0, size));
  ASSERT_NE(nullptr, p);
  EXPECT_EQ(0, memcmp(data.data(), p, data.size()));
  EXPECT_EQ(1, orvFileMemoryMapClose(map));
  // A view from the third granule to the end.
  p = static_cast<const char *>(orvFileMemoryMapOpen(map, 0, 2 * kGranule, 0, size - 2 * kGranule));
  ASSERT_NE(nullptr, p);
  EXPECT_EQ(0, memcmp(data.data() + 2 * kGranule, p, data.size() - 2 * kGranule));
  EXPECT_EQ(1, orvFileMemoryMapDestroy(map));
  orvFileClose(f, 0);
}

TEST_F(FilesTest, AReadOnlyViewSeesBytesWrittenToTheFileAfterItWasOpened) {
  std::string data = filestest::pattern(5 * kGranule, 3);
  orvFile *f = create("later", data, ORV_FILE_READ);
  ASSERT_NE(nullptr, f);
  orvFileMap *map = orvFileMemoryMapCreate(f, 0);
  ASSERT_NE(nullptr, map);
  const auto size = static_cast<uint32_t>(data.size());
  const char *p = static_cast<const char *>(orvFileMemoryMapOpen(map, 0, 0, 0, size));
  ASSERT_NE(nullptr, p);
  ASSERT_EQ(0, memcmp(data.data(), p, data.size()));
  // Through a second open of the file, past the first granule and in the
  // last page.
  orvFile *writer = open(ORV_FILE_READ | ORV_FILE_WRITE, "later");
  ASSERT_NE(nullptr, writer);
  ASSERT_EQ(10u, orvFileSeekWrite(writer, 3 * kGranule + 5, ORV_FILE_SEEK_SET, "0123456789", 10));
  ASSERT_EQ(7u, orvFileSeekWrite(writer, size - 7, ORV_FILE_SEEK_SET, "the end", 7));
  orvFileClose(writer, 0);
  EXPECT_EQ("0123456789", std::string(p + 3 * kGranule + 5, 10));
  EXPECT_EQ("the end", std::string(p + size - 7, 7));
  EXPECT_EQ(0, memcmp(data.data(), p, 3 * kGranule)) << "the rest is unchanged";
  EXPECT_EQ(1, orvFileMemoryMapDestroy(map));
  orvFileClose(f, 0);
}

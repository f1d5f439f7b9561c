// XDR file streams over files the caller opened the wrong way: reading a
// file opened for writing only, writing one opened for reading only (the
// file layer's error lands in lastError), and units and characters at the
// end of the file (a short read that got something counts as a read).
#include <stdlib.h>
#include <string.h>

#include <string>

#include <gtest/gtest.h>

#include "orvane/files.h"
#include "orvane/xdr.h"
#include "test_xdr_support.h"

namespace {

class XdrFileMore : public xdrtest::XdrFixture {
 protected:
  std::string path(const char *name) { return dir_ + testsupport::kSep + name; }
  orvFile *openAs(int flags, const std::string &p) {
    return orvFileOpen(flags, ORV_FILE_TAG_PATH, p.c_str(), ORV_FILE_TAG_END);
  }
};

}  // namespace

TEST_F(XdrFileMore, ReadingAFileOpenedForWritingOnly) {
  const std::string p = path("w.xdr");
  testsupport::writeFile(p, std::string("\x00\x00\x00\x07", 4));
  orvFile *f = openAs(ORV_FILE_WRITE, p);
  ASSERT_NE(nullptr, f);
  CXDR x;
  ASSERT_EQ(1, cxdrfio_create(&x, f, CXDR_DECODE));
  uint32_t w = 0;
  EXPECT_EQ(0, cxdr_UInt32(&x, &w));
  EXPECT_EQ(static_cast<uint32_t>(ORV_FILE_E_ACCESS_DENIED), x.lastError);
  EXPECT_EQ(1, cxdrfio_destroy(&x));
  EXPECT_EQ(1, orvFileClose(f, 0));
}

TEST_F(XdrFileMore, WritingAFileOpenedForReadingOnly) {
  const std::string p = path("r.xdr");
  testsupport::writeFile(p, "");
  orvFile *f = openAs(ORV_FILE_READ | ORV_FILE_MUST_EXIST, p);
  ASSERT_NE(nullptr, f);
  CXDR x;
  ASSERT_EQ(1, cxdrfio_create(&x, f, CXDR_ENCODE));
  // More than the file layer's buffer holds, so that the write reaches the
  // system at once.
  std::string text(2 * ORV_FILE_BUFFER_SIZE, 't');
  EXPECT_EQ(0, cxdrfile_putCHARs(&x, text.data(), static_cast<uint32_t>(text.size())));
  EXPECT_EQ(static_cast<uint32_t>(ORV_FILE_E_ACCESS_DENIED), x.lastError);
  EXPECT_EQ(1, cxdrfio_destroy(&x));
  orvFileClose(f, 0);
  EXPECT_EQ("", testsupport::readFile(p)) << "nothing reached the file";
}

TEST_F(XdrFileMore, UnitsAndCharactersAtTheEnd) {
  const std::string p = path("short.xdr");
  testsupport::writeFile(p, std::string("\x01", 1));
  CXDR x;
  ASSERT_EQ(1, cxdrfile_create(&x, CXDR_DECODE, p.c_str(), ORV_FILE_READ | ORV_FILE_MUST_EXIST));
  uint16_t h = 0;
  EXPECT_EQ(1, cxdrfile_getUInt16(&x, &h)) << "a short read that got something is accepted";
  EXPECT_EQ(0x0100u, h);
  EXPECT_EQ(0, cxdrfile_getUInt16(&x, &h)) << "at the end";
  uint32_t w = 0;
  EXPECT_EQ(0, cxdrfile_getUInt32(&x, &w));
  char chars[3] = {};
  EXPECT_EQ(0, cxdrfile_getCHARs(&x, chars, 3));
  uint32_t at = 0;
  EXPECT_EQ(1, cxdrfile_getpos(&x, &at));
  EXPECT_EQ(1u, at);
  ASSERT_EQ(1, cxdrfile_putpos(&x, 0));
  EXPECT_EQ(1, cxdrfile_getCHARs(&x, chars, 1));
  EXPECT_EQ(1, chars[0]);
  EXPECT_EQ(1, cxdrfile_destroy(&x));
}

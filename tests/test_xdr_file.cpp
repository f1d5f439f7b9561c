// XDR file streams: unaligned units, creation with and without a file, end
// of file and short reads, positions, scrambling per write call, traces.
#include <stdlib.h>
#include <string.h>

#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "orvane/files.h"
#include "orvane/xdr.h"
#include "test_xdr_support.h"

namespace {

constexpr int kWrite = ORV_FILE_WRITE | ORV_FILE_CREATE;
constexpr int kRead = ORV_FILE_READ | ORV_FILE_MUST_EXIST;

class XdrFile : public xdrtest::XdrFixture {
 protected:
  std::string path(const char *name) { return dir_ + testsupport::kSep + name; }
  std::vector<uint8_t> fileBytes(const std::string &p) {
    std::string text = testsupport::readFile(p);
    return std::vector<uint8_t>(text.begin(), text.end());
  }
};

}  // namespace

TEST_F(XdrFile, UInt8ThenUInt32IsFiveBytes) {
  std::string p = path("five.xdr");
  CXDR x;
  ASSERT_EQ(1, cxdrfile_create(&x, CXDR_ENCODE, p.c_str(), kWrite));
  EXPECT_EQ(0u, x.lastError);
  uint8_t b = 0xAB;
  uint32_t w = 0x01020304;
  ASSERT_EQ(1, cxdr_UInt8(&x, &b));
  ASSERT_EQ(1, cxdr_UInt32(&x, &w));
  EXPECT_EQ(1, cxdrfile_destroy(&x));
  const uint8_t expected[5] = {0xAB, 1, 2, 3, 4};
  EXPECT_EQ(std::vector<uint8_t>(expected, expected + 5), fileBytes(p));
}

TEST_F(XdrFile, CreateFillsTheRecord) {
  CXDR x;
  memset(&x, 0xEE, sizeof x);
  ASSERT_EQ(1, cxdrfile_create(&x, CXDR_FREE, "never-opened", kRead));
  EXPECT_EQ(CXDR_FREE, x.direction);
  ASSERT_NE(nullptr, x.ownedStorage);
  EXPECT_EQ(nullptr, *static_cast<orvFile **>(x.ownedStorage)) << "FREE opens no file";
  EXPECT_EQ(0u, x.lastError);
  EXPECT_EQ(0u, x.encryptFlag);
  EXPECT_EQ(nullptr, x.encryptState);
  EXPECT_EQ(0u, x.overflowMode);
  EXPECT_EQ(nullptr, x.decodeHook);
  EXPECT_EQ(nullptr, x.encodeHook);
  EXPECT_EQ(nullptr, x.buffer);
  EXPECT_EQ(0u, x.size);
  EXPECT_EQ(0u, x.limit);
  EXPECT_EQ(0u, x.position);
  EXPECT_EQ(0u, x.unicode);
  EXPECT_EQ(cxdrfile_getUInt8, x.getUInt8);
  EXPECT_EQ(cxdrfile_putpos, x.putpos);
  EXPECT_EQ(cxdrfile_destroy, x.destroy);
  EXPECT_EQ(cxdrmem_encryptinit, x.encryptinit);
  EXPECT_EQ(cxdrmem_decryptinit, x.decryptinit);
  EXPECT_FALSE(testsupport::fileExists("never-opened"));
  EXPECT_EQ(1, cxdrfile_destroy(&x));
}

TEST_F(XdrFile, OpenFailureKeepsTheErrorNumber) {
  traced();
  CXDR x;
  std::string p = path("missing.xdr");
  EXPECT_EQ(0, cxdrfile_create(&x, CXDR_DECODE, p.c_str(), kRead));
  EXPECT_NE(0u, x.lastError);
  EXPECT_NE(std::string::npos, logText().find("cxdrfile_open: File open error.  Code = ")) << logText();
  EXPECT_TRUE(logHas("cxdrfile_create: Create DECODE stream"));
  EXPECT_NE(std::string::npos, logText().find("cxdrfile_open: Create stream over 'DECODE' file '" + p + "'"));
  uint8_t b = 0;
  EXPECT_EQ(0, cxdrfile_getUInt8(&x, &b));
  EXPECT_TRUE(logHas("cxdrfile_read: File Not Open"));
  cxdrfile_destroy(&x);
}

TEST_F(XdrFile, PositionsWithoutAFileFail) {
  traced();
  CXDR x;
  ASSERT_EQ(1, cxdrfio_create(&x, nullptr, CXDR_ENCODE));
  uint32_t pos = 0;
  EXPECT_EQ(0, cxdrfile_putpos(&x, 0));
  EXPECT_TRUE(logHas("cxdrfile_getpos: File Not Open")) << "putpos reports under getpos's label";
  EXPECT_EQ(0, cxdrfile_getpos(&x, &pos));
  uint8_t b = 1;
  EXPECT_EQ(0, cxdrfile_putUInt8(&x, &b));
  EXPECT_TRUE(logHas("cxdrfile_write: File Not Open"));
  cxdrfio_destroy(&x);
}

TEST_F(XdrFile, EndOfFileAndShortReads) {
  traced();
  std::string p = path("short.xdr");
  testsupport::writeFile(p, std::string("\x01\x02\x03\x04\x05", 5));
  CXDR x;
  ASSERT_EQ(1, cxdrfile_create(&x, CXDR_DECODE, p.c_str(), kRead));
  uint32_t w = 0;
  ASSERT_EQ(1, cxdr_UInt32(&x, &w));
  EXPECT_EQ(0x01020304u, w);
  // One byte is left: the file layer cuts the read short without end of
  // file, and the read succeeds.
  w = 0;
  EXPECT_EQ(1, cxdr_UInt32(&x, &w));
  uint8_t b = 0;
  EXPECT_EQ(0, cxdr_UInt8(&x, &b));
  EXPECT_TRUE(logHas("cxdrfile_read: End-of-File!")) << logText();
  cxdrfile_destroy(&x);
}

TEST_F(XdrFile, PositionsMoveInTheFile) {
  traced();
  std::string p = path("pos.xdr");
  CXDR x;
  ASSERT_EQ(1, cxdrfile_create(&x, CXDR_ENCODE, p.c_str(), kWrite | ORV_FILE_READ));
  uint16_t h = 0x1122;
  ASSERT_EQ(1, cxdr_UInt16(&x, &h));
  uint8_t b = 0x33;
  ASSERT_EQ(1, cxdr_UInt8(&x, &b));
  uint32_t pos = 0;
  ASSERT_EQ(1, cxdrfile_getpos(&x, &pos));
  EXPECT_EQ(3u, pos);
  EXPECT_TRUE(logHas("cxdrfile_getpos: Position 3"));
  ASSERT_EQ(1, cxdrfile_putpos(&x, 1)) << "succeeds exactly when the seek succeeds";
  EXPECT_TRUE(logHas("cxdrfile_putpos: Set Position to 1"));
  b = 0x44;
  ASSERT_EQ(1, cxdr_UInt8(&x, &b));
  cxdrfile_destroy(&x);
  const uint8_t expected[3] = {0x11, 0x44, 0x33};
  EXPECT_EQ(std::vector<uint8_t>(expected, expected + 3), fileBytes(p));
}

TEST_F(XdrFile, OverACallersFile) {
  std::string p = path("callers.xdr");
  orvFile *file = orvFileOpen(kWrite, ORV_FILE_TAG_PATH, p.c_str(), ORV_FILE_TAG_END);
  ASSERT_NE(nullptr, file);
  CXDR x;
  ASSERT_EQ(1, cxdrfio_create(&x, file, CXDR_ENCODE));
  uint16_t h = 0xBEEF;
  ASSERT_EQ(1, cxdr_UInt16(&x, &h));
  ASSERT_EQ(1, cxdrfio_destroy(&x));
  // The file is still open: the caller can go on writing.
  EXPECT_EQ(1u, orvFileWrite(file, "!", 1));
  orvFileClose(file, 0);
  const uint8_t expected[3] = {0xBE, 0xEF, '!'};
  EXPECT_EQ(std::vector<uint8_t>(expected, expected + 3), fileBytes(p));
}

TEST_F(XdrFile, ScramblingPerWriteCallLeavesTheCallersBufferScrambled) {
  std::string p = path("scrambled.xdr");
  CXDR x;
  ASSERT_EQ(1, cxdrfile_create(&x, CXDR_ENCODE, p.c_str(), kWrite));
  ASSERT_EQ(1, cxdrfile_encryptinit(&x, 1234));
  EXPECT_EQ(0u, x.encryptFlag);
  x.encryptFlag = 1;
  uint32_t w = 0x41424344;
  ASSERT_EQ(1, cxdr_UInt32(&x, &w));
  EXPECT_EQ(0x41424344u, w) << "a unit is scrambled in a local";
  uint8_t data[6] = {'s', 'e', 'c', 'r', 'e', 't'};
  uint8_t *dp = data;
  uint32_t n = 6;
  ASSERT_EQ(1, cxdr_UInt8s(&x, &dp, &n, 6));
  EXPECT_NE(0, memcmp(data, "secret", 6)) << "the caller's data is left scrambled";
  uint8_t scrambledCopy[6];
  memcpy(scrambledCopy, data, 6);
  cxdrfile_destroy(&x);
  std::vector<uint8_t> raw = fileBytes(p);
  ASSERT_EQ(14u, raw.size());
  EXPECT_EQ(0, memcmp(raw.data() + 8, scrambledCopy, 6));

  CXDR r;
  ASSERT_EQ(1, cxdrfile_create(&r, CXDR_DECODE, p.c_str(), kRead));
  ASSERT_EQ(1, cxdrfile_decryptinit(&r, 1234));
  r.decryptFlag = 1;
  uint32_t back = 0;
  ASSERT_EQ(1, cxdr_UInt32(&r, &back));
  EXPECT_EQ(0x41424344u, back);
  uint8_t *bp = nullptr;
  uint32_t count = 0;
  ASSERT_EQ(1, cxdr_UInt8s(&r, &bp, &count, 6));
  ASSERT_EQ(6u, count);
  EXPECT_EQ(0, memcmp(bp, "secret", 6));
  free(bp);
  cxdrfile_destroy(&r);
}

TEST_F(XdrFile, RandomRoundTripInPiecesScrambledAndPlain) {
  std::mt19937 gen(77);
  for (int scrambled = 0; scrambled < 2; ++scrambled) {
    std::string p = path(scrambled ? "rs.xdr" : "rp.xdr");
    CXDR x;
    ASSERT_EQ(1, cxdrfile_create(&x, CXDR_ENCODE, p.c_str(), kWrite));
    if (scrambled) {
      cxdrfile_encryptinit(&x, 99);
      x.encryptFlag = 1;
    }
    std::vector<uint32_t> words;
    std::vector<uint16_t> halves;
    std::vector<std::string> texts;
    std::vector<double> doubles;
    for (int i = 0; i < 100; ++i) {
      uint32_t w = gen();
      uint16_t h = static_cast<uint16_t>(gen());
      std::string t(gen() % 20, 'a');
      for (auto &c : t) {
        c = static_cast<char>('a' + gen() % 26);
      }
      uint64_t bits = (static_cast<uint64_t>(gen()) << 32) | gen();
      double d;
      memcpy(&d, &bits, 8);
      words.push_back(w);
      halves.push_back(h);
      texts.push_back(t);
      doubles.push_back(d);
      std::string copy = texts.back();  // the put may scramble the text in place
      char *cp = const_cast<char *>(copy.c_str());
      ASSERT_EQ(1, cxdr_UInt32(&x, &w));
      ASSERT_EQ(1, cxdr_UInt16(&x, &h));
      ASSERT_EQ(1, cxdr_wrapstring(&x, &cp));
      ASSERT_EQ(1, cxdr_Float64(&x, &d));
    }
    cxdrfile_destroy(&x);
    CXDR r;
    ASSERT_EQ(1, cxdrfile_create(&r, CXDR_DECODE, p.c_str(), kRead));
    if (scrambled) {
      cxdrfile_decryptinit(&r, 99);
      r.decryptFlag = 1;
    }
    for (int i = 0; i < 100; ++i) {
      uint32_t w = 0;
      uint16_t h = 0;
      char *t = nullptr;
      double d = 0;
      ASSERT_EQ(1, cxdr_UInt32(&r, &w));
      ASSERT_EQ(1, cxdr_UInt16(&r, &h));
      ASSERT_EQ(1, cxdr_wrapstring(&r, &t));
      ASSERT_EQ(1, cxdr_Float64(&r, &d));
      EXPECT_EQ(words[i], w);
      EXPECT_EQ(halves[i], h);
      EXPECT_EQ(texts[i], t);
      EXPECT_EQ(0, memcmp(&doubles[i], &d, 8));
      free(t);
    }
    cxdrfile_destroy(&r);
  }
}

TEST_F(XdrFile, CloseThenOpenAnotherFile) {
  std::string a = path("a.xdr");
  std::string b = path("b.xdr");
  CXDR x;
  ASSERT_EQ(1, cxdrfile_create(&x, CXDR_ENCODE, a.c_str(), kWrite));
  uint8_t v = 1;
  cxdr_UInt8(&x, &v);
  EXPECT_EQ(1, cxdrfile_close(&x));
  EXPECT_EQ(0, cxdr_UInt8(&x, &v));
  ASSERT_NE(nullptr, cxdrfile_open(&x, b.c_str(), kWrite));
  v = 2;
  ASSERT_EQ(1, cxdr_UInt8(&x, &v));
  cxdrfile_destroy(&x);
  EXPECT_EQ(std::vector<uint8_t>{1}, fileBytes(a));
  EXPECT_EQ(std::vector<uint8_t>{2}, fileBytes(b));
}

TEST_F(XdrFile, TraceTexts) {
  traced();
  std::string p = path("traced.xdr");
  CXDR x;
  ASSERT_EQ(1, cxdrfile_create(&x, CXDR_ENCODE, p.c_str(), kWrite));
  cxdrfile_encryptinit(&x, 5);
  x.encryptFlag = 1;
  uint32_t w = 0x0A0B0C0D;
  ASSERT_EQ(1, cxdr_UInt32(&x, &w));
  char text[4] = {'a', 'b', 'c', 'd'};
  ASSERT_EQ(1, cxdrfile_putCHARs(&x, text, 4));
  cxdrfile_destroy(&x);
  EXPECT_TRUE(logHas("cxdrfile_create: Create ENCODE stream"));
  EXPECT_TRUE(logHas("cxdrfio_create: Create ENCODE stream"));
  EXPECT_TRUE(logHas("cxdrfile_write: Encrypt 4 bytes")) << logText();
  EXPECT_TRUE(logHas("cxdrfile_putCHARs: Writing 4 characters"));
  CXDR r;
  ASSERT_EQ(1, cxdrfile_create(&r, CXDR_DECODE, p.c_str(), kRead));
  cxdrfile_decryptinit(&r, 5);
  r.decryptFlag = 1;
  uint32_t back = 0;
  ASSERT_EQ(1, cxdr_UInt32(&r, &back));
  EXPECT_EQ(w, back);
  char chars[4];
  ASSERT_EQ(1, cxdrfile_getCHARs(&r, chars, 4));
  EXPECT_EQ(0, memcmp(chars, "abcd", 4));
  uint8_t bytes[1];
  EXPECT_EQ(0, cxdrfile_getUInt8s(&r, bytes, 1));
  cxdrfile_destroy(&r);
  EXPECT_TRUE(logHas("cxdrfile_read: Decrypt 4 bytes"));
  EXPECT_TRUE(logHas("cxdrfile_getUInt32: Read 0xa0b0c0d"));
  EXPECT_TRUE(logHas("cxdrfile_getCHARs: Reading 4 characters"));
  EXPECT_TRUE(logHas("cxdrfile_getUInt8s: Reading 1 bytes"));
}

TEST_F(XdrFile, EmptySequences) {
  std::string p = path("empty.xdr");
  CXDR x;
  ASSERT_EQ(1, cxdrfile_create(&x, CXDR_ENCODE, p.c_str(), kWrite));
  uint8_t byte = 0;
  char ch = 0;
  EXPECT_EQ(1, cxdrfile_putUInt8s(&x, &byte, 0));
  EXPECT_EQ(1, cxdrfile_putCHARs(&x, &ch, 0));
  EXPECT_EQ(1, cxdrfile_getUInt8s(&x, &byte, 0)) << "a read of nothing succeeds at once";
  cxdrfile_close(&x);
  EXPECT_EQ(0, cxdrfile_putUInt8s(&x, &byte, 0)) << "no file is open";
  EXPECT_EQ(1, cxdrfile_getCHARs(&x, &ch, 0));
  cxdrfile_destroy(&x);
  EXPECT_TRUE(fileBytes(p).empty());
}

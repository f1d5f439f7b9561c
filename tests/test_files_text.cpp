// Text mode: Ctrl-Z ends input, orvFileGetc and orvFileGets turn CR LF into
// LF, orvFilePutc and orvFilePuts write LF as CR LF.
#include <string>

#include <gtest/gtest.h>

#include "orvane/files.h"
#include "test_files_support.h"

using filestest::FilesTest;

namespace {

constexpr int kText = ORV_FILE_READ | ORV_FILE_WRITE | ORV_FILE_TEXT;

std::string getAll(orvFile *f) {
  std::string s;
  for (uint16_t c = orvFileGetc(f); c != ORV_FILE_EOF; c = orvFileGetc(f)) {
    s += static_cast<char>(c);
  }
  return s;
}

}  // namespace

TEST_F(FilesTest, GetcTurnsCrLfIntoLf) {
  orvFile *f = create("crlf", "a\r\nb", kText);
  ASSERT_NE(nullptr, f);
  EXPECT_EQ('a', orvFileGetc(f));
  EXPECT_EQ('\n', orvFileGetc(f));
  EXPECT_EQ('b', orvFileGetc(f));
  EXPECT_EQ(ORV_FILE_EOF, orvFileGetc(f));
  EXPECT_EQ(0xFFFF, orvFileGetc(f));
  orvFileClose(f, 0);
}

TEST_F(FilesTest, ACrBeforeAnotherByteStaysACr) {
  orvFile *f = create("cr", "a\rb\r", kText);
  ASSERT_NE(nullptr, f);
  EXPECT_EQ("a\rb\r", getAll(f));
  orvFileClose(f, 0);
}

TEST_F(FilesTest, TheByteAfterALoneCrIsReadAgain) {
  orvFile *f = create("cr2", "\rx", kText);
  ASSERT_NE(nullptr, f);
  EXPECT_EQ('\r', orvFileGetc(f));
  EXPECT_EQ(1, orvFileTell(f));  // stepped back over the x
  EXPECT_EQ('x', orvFileGetc(f));
  orvFileClose(f, 0);
}

TEST_F(FilesTest, CrLfAcrossTheBufferBoundary) {
  std::string data(4095, 'a');
  data += "\r\nz";
  orvFile *f = create("boundary", data, kText);
  ASSERT_NE(nullptr, f);
  std::string expected(4095, 'a');
  expected += "\nz";
  EXPECT_EQ(expected, getAll(f));
  orvFileClose(f, 0);
}

TEST_F(FilesTest, LoneCrAtTheBufferBoundaryStepsBackAcrossFills) {
  std::string data(4095, 'a');
  data += "\rz";
  orvFile *f = create("boundary2", data, kText);
  ASSERT_NE(nullptr, f);
  EXPECT_EQ(data, getAll(f));
  orvFileClose(f, 0);
}

TEST_F(FilesTest, BinaryModeGetcKeepsCrLf) {
  orvFile *f = create("binary", "a\r\nb", ORV_FILE_READ);
  ASSERT_NE(nullptr, f);
  EXPECT_EQ("a\r\nb", getAll(f));
  orvFileClose(f, 0);
}

TEST_F(FilesTest, BinaryModeGetcReturnsEveryByteValue) {
  std::string data;
  for (int round = 0; round < 40; ++round) {  // past several buffer fills
    for (int b = 0; b < 256; ++b) {
      data += static_cast<char>(b);
    }
  }
  orvFile *f = create("allbytes", data, ORV_FILE_READ);
  ASSERT_NE(nullptr, f);
  EXPECT_EQ(data, getAll(f));
  orvFileClose(f, 0);
}

TEST_F(FilesTest, TextModeGetcPassesEveryByteButCrAndCtrlZ) {
  std::string data;
  for (int round = 0; round < 40; ++round) {
    for (int b = 0; b < 256; ++b) {
      if (b != '\r' && b != 26) {
        data += static_cast<char>(b);
      }
    }
  }
  data += "\r\n\x1atail";
  orvFile *f = create("textbytes", data, kText);
  ASSERT_NE(nullptr, f);
  std::string expected = data.substr(0, data.size() - 7) + "\n";
  EXPECT_EQ(expected, getAll(f));
  orvFileClose(f, 0);
}

TEST_F(FilesTest, ReadMovesTextBytesAsTheyAre) {
  orvFile *f = create("readtext", "a\r\nb", kText);
  ASSERT_NE(nullptr, f);
  EXPECT_EQ("a\r\nb", readAll(f, 10));
  orvFileClose(f, 0);
}

TEST_F(FilesTest, GetsReadsLinesWithTheirLf) {
  orvFile *f = create("lines", "one\r\ntwo\nthree", kText);
  ASSERT_NE(nullptr, f);
  char buf[32];
  ASSERT_NE(nullptr, orvFileGets(f, buf, sizeof buf));
  EXPECT_STREQ("one\n", buf);
  ASSERT_EQ(buf, orvFileGets(f, buf, sizeof buf));
  EXPECT_STREQ("two\n", buf);
  ASSERT_NE(nullptr, orvFileGets(f, buf, sizeof buf));
  EXPECT_STREQ("three", buf);
  EXPECT_EQ(nullptr, orvFileGets(f, buf, sizeof buf));
  orvFileClose(f, 0);
}

TEST_F(FilesTest, GetsStopsAtTheBufferSize) {
  orvFile *f = create("longline", "abcdefgh\n", kText);
  ASSERT_NE(nullptr, f);
  char buf[4];
  ASSERT_NE(nullptr, orvFileGets(f, buf, sizeof buf));
  EXPECT_STREQ("abc", buf);
  ASSERT_NE(nullptr, orvFileGets(f, buf, 1));
  EXPECT_STREQ("", buf);
  EXPECT_EQ(nullptr, orvFileGets(f, buf, 0));
  EXPECT_EQ(-21, orvFileError());
  EXPECT_EQ(nullptr, orvFileGets(f, nullptr, 4));
  orvFileClose(f, 0);
}

// --- Ctrl-Z --------------------------------------------------------------------

TEST_F(FilesTest, BytesAfterACtrlZAreNeverReturned) {
  orvFile *f = create("ctrlz",
                      std::string("ab\x1a"
                                  "cd"),
                      kText);
  ASSERT_NE(nullptr, f);
  EXPECT_EQ("ab", readAll(f, 10));
  EXPECT_EQ(1u, f->eofSeen);
  EXPECT_EQ(1, orvFileEOF(f));
  EXPECT_EQ("", readAll(f, 10));
  EXPECT_EQ(ORV_FILE_EOF, orvFileGetc(f));
  EXPECT_EQ(1, orvFileEOF(f));
  EXPECT_EQ(2, orvFileTell(f));  // on the Ctrl-Z
  ASSERT_EQ(1, orvFileClearEOF(f));
  EXPECT_EQ(0, orvFileEOF(f));
  // Reading meets the same Ctrl-Z again.
  EXPECT_EQ("", readAll(f, 10));
  EXPECT_EQ(1, orvFileEOF(f));
  orvFileClose(f, 0);
}

TEST_F(FilesTest, GetcStopsAtACtrlZ) {
  orvFile *f = create("ctrlz2",
                      std::string("ab\x1a"
                                  "cd"),
                      kText);
  ASSERT_NE(nullptr, f);
  EXPECT_EQ("ab", getAll(f));
  EXPECT_EQ(1, orvFileEOF(f));
  orvFileClose(f, 0);
}

TEST_F(FilesTest, ACtrlZInALargeDirectReadCutsTheCount) {
  std::string data = filestest::pattern(9000);
  for (char &c : data) {
    if (c == '\x1a') {
      c = 'x';
    }
  }
  data[5000] = '\x1a';
  orvFile *f = create("ctrlzbig", data, kText);
  ASSERT_NE(nullptr, f);
  std::string got = readAll(f, 8192);
  EXPECT_EQ(data.substr(0, 5000), got);
  EXPECT_EQ(1, orvFileEOF(f));
  EXPECT_EQ(5000, orvFileTell(f));
  orvFileClose(f, 0);
}

TEST_F(FilesTest, BinaryModeReadsPastCtrlZ) {
  orvFile *f = create("ctrlzbin",
                      std::string("ab\x1a"
                                  "cd"),
                      ORV_FILE_READ);
  ASSERT_NE(nullptr, f);
  EXPECT_EQ(std::string("ab\x1a"
                        "cd"),
            readAll(f, 10));
  orvFileClose(f, 0);
}

TEST_F(FilesTest, SeekingBackBeforeTheBufferedEndClearsTheCtrlZFlag) {
  orvFile *f = create("ctrlzseek",
                      std::string("abc\x1a"
                                  "de"),
                      kText);
  ASSERT_NE(nullptr, f);
  EXPECT_EQ("abc", readAll(f, 10));
  ASSERT_EQ(1u, f->eofSeen);
  ASSERT_EQ(1, orvFileSeek(f, 1, ORV_FILE_SEEK_SET));  // inside the buffer
  EXPECT_EQ(0u, f->eofSeen);
  EXPECT_EQ(6u, f->bufCount);
  EXPECT_EQ("bc", readAll(f, 10));
  orvFileClose(f, 0);
}

TEST_F(FilesTest, SeekingPastABufferedCtrlZSetsTheFlag) {
  std::string data = std::string("abc\x1a") + std::string(100, 'x');
  orvFile *f = create("ctrlzseek2", data, kText);
  ASSERT_NE(nullptr, f);
  EXPECT_EQ("a", readAll(f, 1));  // fills the buffer
  ASSERT_EQ(0u, f->eofSeen);
  ASSERT_EQ(1, orvFileSeek(f, 50, ORV_FILE_SEEK_SET));
  EXPECT_EQ(1u, f->eofSeen);
  EXPECT_EQ(1, orvFileEOF(f));
  ASSERT_EQ(1, orvFileSeek(f, 2, ORV_FILE_SEEK_SET));  // before the end of the buffered bytes
  EXPECT_EQ(0u, f->eofSeen);
  orvFileClose(f, 0);
}

TEST_F(FilesTest, ASeekOutsideTheBufferClearsTheCtrlZFlag) {
  std::string data = std::string("a\x1a") + std::string(9000, 'x');
  orvFile *f = create("ctrlzseek3", data, kText);
  ASSERT_NE(nullptr, f);
  EXPECT_EQ("a", readAll(f, 10));
  ASSERT_EQ(1u, f->eofSeen);
  ASSERT_EQ(1, orvFileSeek(f, 8000, ORV_FILE_SEEK_SET));
  EXPECT_EQ(0u, f->eofSeen);
  EXPECT_EQ(std::string(10, 'x'), readAll(f, 10));
  orvFileClose(f, 0);
}

// --- Writing text --------------------------------------------------------------------

TEST_F(FilesTest, PutcWritesLfAsCrLf) {
  orvFile *f = open(kText, "putc");
  ASSERT_NE(nullptr, f);
  EXPECT_EQ('a', orvFilePutc(f, 'a'));
  EXPECT_EQ('\n', orvFilePutc(f, '\n'));
  EXPECT_EQ(0xE9, orvFilePutc(f, 0xE9));
  orvFileClose(f, 0);
  EXPECT_EQ("a\r\n\xE9", contents("putc"));
}

TEST_F(FilesTest, PutcInBinaryModeWritesLfAlone) {
  orvFile *f = open(ORV_FILE_WRITE, "putcbin");
  ASSERT_NE(nullptr, f);
  EXPECT_EQ('\n', orvFilePutc(f, '\n'));
  orvFileClose(f, 0);
  EXPECT_EQ("\n", contents("putcbin"));
}

TEST_F(FilesTest, PutsCountsTheBytesOfTheText) {
  orvFile *f = open(kText, "puts");
  ASSERT_NE(nullptr, f);
  EXPECT_EQ(5, orvFilePuts(f, "a\nb\nc"));
  EXPECT_EQ(0, orvFilePuts(f, ""));
  orvFileClose(f, 0);
  EXPECT_EQ("a\r\nb\r\nc", contents("puts"));
}

TEST_F(FilesTest, PutsInBinaryModeWritesTheTextAsItIs) {
  orvFile *f = open(ORV_FILE_WRITE, "putsbin");
  ASSERT_NE(nullptr, f);
  EXPECT_EQ(3, orvFilePuts(f, "a\nb"));
  EXPECT_EQ(-1, orvFilePuts(f, nullptr));
  orvFileClose(f, 0);
  EXPECT_EQ("a\nb", contents("putsbin"));
}

TEST_F(FilesTest, PutcAndPutsReportAFailedWrite) {
  // A standard file writes at once; a record without write access fails.
  orvFile *f = create("putsro", "", ORV_FILE_READ | ORV_FILE_TEXT);
  ASSERT_NE(nullptr, f);
  std::string longText(5000, 'x');
  EXPECT_EQ(-1, orvFilePuts(f, longText.c_str()));  // the buffer fills and cannot be written
  orvFileClose(f, 0);
  orvFile *g = create("putsro2", "", ORV_FILE_READ);
  ASSERT_NE(nullptr, g);
  EXPECT_EQ(-1, orvFilePuts(g, longText.c_str()));  // one direct request
  orvFileClose(g, 0);
}

TEST_F(FilesTest, TextWrittenAndReadBack) {
  orvFile *f = open(kText, "roundtrip");
  ASSERT_NE(nullptr, f);
  orvFilePuts(f, "first line\nsecond\n\nlast");
  ASSERT_EQ(1, orvFileSeek(f, 0, ORV_FILE_SEEK_SET));
  EXPECT_EQ("first line\nsecond\n\nlast", getAll(f));
  orvFileClose(f, 0);
}

TEST_F(FilesTest, AFlagSetBySeekingPastACtrlZStopsGetcAndReadInsideTheBuffer) {
  std::string data = std::string("abc\x1a") + std::string(100, 'x');
  orvFile *f = create("ctrlzfast", data, kText);
  ASSERT_NE(nullptr, f);
  EXPECT_EQ('a', orvFileGetc(f));  // fills the buffer
  ASSERT_EQ(1, orvFileSeek(f, 50, ORV_FILE_SEEK_SET));
  ASSERT_EQ(1u, f->eofSeen);
  EXPECT_EQ(ORV_FILE_EOF, orvFileGetc(f));  // the byte there is an x
  char buf[4];
  EXPECT_EQ(0u, orvFileRead(f, buf, 4));
  EXPECT_EQ(50, orvFileTell(f));
  orvFileClose(f, 0);
}

TEST_F(FilesTest, GetcAfterWritesReadsWhatFollowsThem) {
  orvFile *f = create("afterwrite", "0123456789", ORV_FILE_READ | ORV_FILE_WRITE);
  ASSERT_NE(nullptr, f);
  ASSERT_TRUE(writeAll(f, "ab"));  // pending in the buffer
  EXPECT_EQ('2', orvFileGetc(f));
  EXPECT_EQ(3, orvFileTell(f));
  orvFileClose(f, 0);
  EXPECT_EQ("ab23456789", contents("afterwrite"));
}

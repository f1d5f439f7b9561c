// The buffered file layer: opening and closing, the record, the buffer
// rules, the standard files, the path calls and the per-thread error.
#include <string.h>

#include <atomic>
#include <filesystem>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "orvane/files.h"
#include "orvane/frame.h"
#include "support/test_support.h"
#include "test_files_support.h"

using filestest::FilesTest;

namespace {

std::string currentDirectory() { return std::filesystem::current_path().string(); }

}  // namespace

// --- Opening ---------------------------------------------------------------

TEST_F(FilesTest, OpeningWithNoAccessFlagsCreatesTheFile) {
  orvFile *f = open(0, "created");
  ASSERT_NE(nullptr, f);
  EXPECT_TRUE(testsupport::fileExists(path("created")));
  EXPECT_EQ(0x24u, f->openFlags);  // create and 0x20 added
  EXPECT_EQ(0x48u, f->modeBits);   // neither read nor write, the flags shifted
  EXPECT_EQ(1, orvFileClose(f, 0));
}

TEST_F(FilesTest, OpeningWithNoAccessFlagsTruncatesAnExistingFile) {
  testsupport::writeFile(path("existing"), "some bytes");
  orvFile *f = open(0, "existing");
  ASSERT_NE(nullptr, f);
  EXPECT_EQ(1, orvFileClose(f, 0));
  EXPECT_EQ(0u, filestest::diskSize(path("existing")));
}

TEST_F(FilesTest, TheRecordOfAnOpenFile) {
  orvFile *f = open(ORV_FILE_READ | ORV_FILE_WRITE | ORV_FILE_TEXT, "record");
  ASSERT_NE(nullptr, f);
  EXPECT_EQ(ORV_FILE_MAGIC, f->magic);
  EXPECT_EQ(0x63763u, f->magic);
  EXPECT_EQ(1u, f->isOpen);
  EXPECT_EQ(path("record"), std::string(f->name));
  EXPECT_EQ(0x13u, f->openFlags);
  EXPECT_EQ(0x27u, f->modeBits);  // read, write, and 0x13 << 1
  EXPECT_EQ(f, f->head);
  EXPECT_EQ(nullptr, f->next);
  EXPECT_EQ(1u, f->bufferOwner);
  EXPECT_EQ(0u, f->lockState);
  EXPECT_EQ(0u, static_cast<uint32_t>(f->mutex));
  EXPECT_EQ(0, f->segmentLimit);
  EXPECT_EQ(0u, f->mapCount);
  EXPECT_EQ(1, orvFileClose(f, 0));
}

TEST_F(FilesTest, ModeBitsHoldTheFlagsShiftedLeftByOne) {
  orvFile *f = open(ORV_FILE_READ | ORV_FILE_WRITE | ORV_FILE_RANDOM, "mode");
  ASSERT_NE(nullptr, f);
  EXPECT_EQ(3u | (0x4003u << 1), f->modeBits);
  orvFileClose(f, 0);
}

TEST_F(FilesTest, APlainOpenCreatesAMissingFile) {
  orvFile *f = open(ORV_FILE_READ | ORV_FILE_WRITE, "fresh");
  ASSERT_NE(nullptr, f);
  EXPECT_TRUE(testsupport::fileExists(path("fresh")));
  orvFileClose(f, 0);
}

TEST_F(FilesTest, APlainOpenKeepsTheBytesOfAnExistingFile) {
  orvFile *f = create("kept", "0123456789");
  ASSERT_NE(nullptr, f);
  EXPECT_EQ("0123456789", readAll(f, 100));
  orvFileClose(f, 0);
}

TEST_F(FilesTest, CreateTruncates) {
  orvFile *f = create("cut", "0123456789", ORV_FILE_READ | ORV_FILE_WRITE | ORV_FILE_CREATE);
  ASSERT_NE(nullptr, f);
  EXPECT_EQ(0, orvFileSize(f));
  orvFileClose(f, 0);
}

TEST_F(FilesTest, MustExistFailsForAMissingFileWithMinus17) {
  int error = 0;
  orvFile *f = orvFileOpen(ORV_FILE_READ | ORV_FILE_MUST_EXIST, ORV_FILE_TAG_PATH, path("missing").c_str(),
                           ORV_FILE_TAG_ERROR_OUT, &error, ORV_FILE_TAG_END);
  EXPECT_EQ(nullptr, f);
  EXPECT_EQ(-17, error);
  EXPECT_EQ(-17, orvFileError());
  EXPECT_FALSE(testsupport::fileExists(path("missing")));
}

TEST_F(FilesTest, MustExistOpensAnExistingFile) {
  testsupport::writeFile(path("there"), "x");
  orvFile *f = open(ORV_FILE_READ | ORV_FILE_MUST_EXIST, "there");
  ASSERT_NE(nullptr, f);
  orvFileClose(f, 0);
}

TEST_F(FilesTest, AReadOnlyOpenOfAMissingFileCreatesItReadOnly) {
  orvFile *f = open(ORV_FILE_READ, "readonly");
  ASSERT_NE(nullptr, f);
  orvFileClose(f, 0);
  EXPECT_TRUE(testsupport::fileExists(path("readonly")));
  EXPECT_EQ(1, orvFileAccess(path("readonly").c_str(), 0));
  EXPECT_EQ(0, orvFileAccess(path("readonly").c_str(), 2));  // the read-only attribute
}

TEST_F(FilesTest, TheErrorVariableIsLeftAloneOnSuccess) {
  int error = 12345;
  orvFile *f = orvFileOpen(ORV_FILE_READ | ORV_FILE_WRITE, ORV_FILE_TAG_ERROR_OUT, &error, ORV_FILE_TAG_PATH,
                           path("ok").c_str(), ORV_FILE_TAG_END);
  ASSERT_NE(nullptr, f);
  EXPECT_EQ(12345, error);
  orvFileClose(f, 0);
}

TEST_F(FilesTest, AnUnknownTagFailsWithMinus21) {
  orvFile *f = orvFileOpen(ORV_FILE_READ, 99, path("x").c_str(), ORV_FILE_TAG_END);
  EXPECT_EQ(nullptr, f);
  EXPECT_EQ(-21, orvFileError());
  EXPECT_FALSE(testsupport::fileExists(path("x")));
}

TEST_F(FilesTest, NoPathFailsWithMinus21) {
  int error = 0;
  EXPECT_EQ(nullptr, orvFileOpen(ORV_FILE_READ, ORV_FILE_TAG_ERROR_OUT, &error, ORV_FILE_TAG_END));
  EXPECT_EQ(-21, error);
}

TEST_F(FilesTest, AMissingDirectoryFailsWithMinus39) {
  int error = 0;
  std::string p = path("nodir") + testsupport::kSep + "file";
  EXPECT_EQ(nullptr, orvFileOpen(ORV_FILE_READ | ORV_FILE_WRITE, ORV_FILE_TAG_PATH, p.c_str(),
                                 ORV_FILE_TAG_ERROR_OUT, &error, ORV_FILE_TAG_END));
  EXPECT_EQ(-39, error);
}

TEST_F(FilesTest, ADirectoryCannotBeOpenedAsAFile) {
  int error = 0;
  EXPECT_EQ(nullptr, orvFileOpen(ORV_FILE_READ, ORV_FILE_TAG_PATH, dir_.c_str(), ORV_FILE_TAG_ERROR_OUT,
                                 &error, ORV_FILE_TAG_END));
  EXPECT_EQ(-2, error);
}

TEST_F(FilesTest, ANameTooLongFailsWithMinus34) {
  int error = 0;
  std::string p = path(std::string(300, 'n'));
  EXPECT_EQ(nullptr, orvFileOpen(ORV_FILE_READ | ORV_FILE_WRITE, ORV_FILE_TAG_PATH, p.c_str(),
                                 ORV_FILE_TAG_ERROR_OUT, &error, ORV_FILE_TAG_END));
#if defined(_WIN32)
  EXPECT_TRUE(error == -34 || error == -39 || error == -26) << error;
#else
  EXPECT_EQ(-34, error);
#endif
}

TEST_F(FilesTest, CloseOfAnInvalidRecordFailsWithMinus25) {
  orvFile fake{};
  EXPECT_EQ(0, orvFileClose(&fake, 0));
  EXPECT_EQ(-25, orvFileError());
  EXPECT_EQ(0, orvFileClose(nullptr, 0));
  EXPECT_EQ(0u, orvFileRead(nullptr, nullptr, 0));
  EXPECT_EQ(-25, orvFileError());
}

TEST_F(FilesTest, ANullBufferWithACountFailsWithMinus21) {
  orvFile *f = create("nullbuf", "abc");
  ASSERT_NE(nullptr, f);
  EXPECT_EQ(0u, orvFileRead(f, nullptr, 10));
  EXPECT_EQ(-21, orvFileError());
  EXPECT_EQ(0u, orvFileWrite(f, nullptr, 10));
  EXPECT_EQ(-21, orvFileError());
  orvFileClose(f, 0);
}

// --- Reading through the buffer --------------------------------------------

TEST_F(FilesTest, A10000ByteReadFromAnEmptyBufferReads8192DirectlyThenTheRestThroughTheBuffer) {
  std::string data = filestest::pattern(20000);
  orvFile *f = create("big", data);
  ASSERT_NE(nullptr, f);
  std::string got(10000, '\0');
  ASSERT_EQ(10000u, orvFileRead(f, got.data(), 10000));
  EXPECT_EQ(data.substr(0, 10000), got);
  // 8192 bytes went straight to the caller; the buffer then took one fill
  // of 4096 and handed out 1808 of them.
  EXPECT_EQ(4096u, f->bufCount);
  EXPECT_EQ(1808u, f->bufPos);
  EXPECT_EQ(8192 + 4096, f->segmentPos);
  EXPECT_EQ(10000, orvFileTell(f));
  orvFileClose(f, 0);
}

TEST_F(FilesTest, ARequestOfExactly4096GoesStraightToTheCaller) {
  std::string data = filestest::pattern(10000);
  orvFile *f = create("exact", data);
  ASSERT_NE(nullptr, f);
  std::string got = readAll(f, 4096);
  EXPECT_EQ(data.substr(0, 4096), got);
  EXPECT_EQ(0u, f->bufCount);
  orvFileClose(f, 0);
}

TEST_F(FilesTest, SmallReadsAreServedFromOneFill) {
  std::string data = filestest::pattern(6000);
  orvFile *f = create("small", data);
  ASSERT_NE(nullptr, f);
  std::string all;
  for (int i = 0; i < 40; ++i) {
    all += readAll(f, 100);
  }
  EXPECT_EQ(data.substr(0, 4000), all);
  EXPECT_EQ(4096u, f->bufCount);
  EXPECT_EQ(4000u, f->bufPos);
  EXPECT_EQ(4096, f->segmentPos);
  orvFileClose(f, 0);
}

TEST_F(FilesTest, AReadPastTheEndReturnsWhatThereIs) {
  orvFile *f = create("short", "hello");
  ASSERT_NE(nullptr, f);
  EXPECT_EQ("hello", readAll(f, 100));
  EXPECT_EQ("", readAll(f, 100));
  EXPECT_EQ(1, orvFileEOF(f));
  orvFileClose(f, 0);
}

TEST_F(FilesTest, ALargeReadPastTheEndReturnsWhatThereIs) {
  std::string data = filestest::pattern(9000);
  orvFile *f = create("large", data);
  ASSERT_NE(nullptr, f);
  EXPECT_EQ(data, readAll(f, 20000));
  orvFileClose(f, 0);
}

TEST_F(FilesTest, ReadingAWriteOnlyFileFailsWithMinus2) {
  orvFile *f = create("wo", "abc", ORV_FILE_WRITE);
  ASSERT_NE(nullptr, f);
  char c[4];
  EXPECT_EQ(0u, orvFileRead(f, c, 3));
  EXPECT_EQ(-2, orvFileError());
  orvFileClose(f, 0);
}

// --- Writing through the buffer --------------------------------------------

TEST_F(FilesTest, SmallWritesStayInTheBufferUntilFlushed) {
  orvFile *f = open(ORV_FILE_READ | ORV_FILE_WRITE, "buffered");
  ASSERT_NE(nullptr, f);
  ASSERT_TRUE(writeAll(f, std::string(100, 'a')));
  EXPECT_EQ(0u, filestest::diskSize(path("buffered")));
  EXPECT_EQ(1u, f->bufDirty);
  EXPECT_EQ(100u, f->bufCount);
  EXPECT_EQ(100, orvFileTell(f));
  EXPECT_EQ(1, orvFileFlush(f));
  EXPECT_EQ(100u, filestest::diskSize(path("buffered")));
  EXPECT_EQ(0u, f->bufDirty);
  orvFileClose(f, 0);
}

TEST_F(FilesTest, TheBufferIsWrittenOutWhenItFills) {
  orvFile *f = open(ORV_FILE_READ | ORV_FILE_WRITE, "fills");
  ASSERT_NE(nullptr, f);
  for (int i = 0; i < 41; ++i) {
    ASSERT_TRUE(writeAll(f, std::string(100, static_cast<char>('a' + i % 26))));
  }
  EXPECT_EQ(4096u, filestest::diskSize(path("fills")));
  EXPECT_EQ(4100u - 4096u, f->bufCount);
  orvFileClose(f, 0);
  EXPECT_EQ(4100u, filestest::diskSize(path("fills")));
}

TEST_F(FilesTest, ALargeWriteWithAnEmptyBufferGoesStraightToTheSystem) {
  orvFile *f = open(ORV_FILE_READ | ORV_FILE_WRITE, "direct");
  ASSERT_NE(nullptr, f);
  std::string data = filestest::pattern(10000);
  ASSERT_TRUE(writeAll(f, data));
  EXPECT_EQ(10000u, filestest::diskSize(path("direct")));
  EXPECT_EQ(0u, f->bufDirty);
  orvFileClose(f, 0);
  EXPECT_EQ(data, contents("direct"));
}

TEST_F(FilesTest, ALargeWriteAfterASmallOneGoesThroughTheBuffer) {
  orvFile *f = open(ORV_FILE_READ | ORV_FILE_WRITE, "mixed");
  ASSERT_NE(nullptr, f);
  std::string small(10, 's');
  std::string large = filestest::pattern(10000);
  ASSERT_TRUE(writeAll(f, small));
  ASSERT_TRUE(writeAll(f, large));
  // Two full buffers went out; the rest waits.
  EXPECT_EQ(8192u, filestest::diskSize(path("mixed")));
  EXPECT_EQ(10010u - 8192u, f->bufCount);
  orvFileClose(f, 0);
  EXPECT_EQ(small + large, contents("mixed"));
}

TEST_F(FilesTest, PendingBytesAreWrittenBeforeARead) {
  orvFile *f = create("rw", "0123456789");
  ASSERT_NE(nullptr, f);
  ASSERT_TRUE(writeAll(f, "ab"));
  EXPECT_EQ("23456789", readAll(f, 100));
  EXPECT_EQ("ab23456789", contents("rw"));
  orvFileClose(f, 0);
}

TEST_F(FilesTest, AWriteAfterReadingGoesWhereTheReadStopped) {
  orvFile *f = create("rw2", "0123456789");
  ASSERT_NE(nullptr, f);
  EXPECT_EQ("012", readAll(f, 3));
  ASSERT_TRUE(writeAll(f, "xy"));
  EXPECT_EQ(5, orvFileTell(f));
  orvFileClose(f, 0);
  EXPECT_EQ("012xy56789", contents("rw2"));
}

TEST_F(FilesTest, WritingAReadOnlyFileFailsWithMinus2) {
  orvFile *f = create("ro", "abc", ORV_FILE_READ);
  ASSERT_NE(nullptr, f);
  EXPECT_EQ(10u, orvFileWrite(f, "0123456789", 10));  // taken into the buffer
  EXPECT_EQ(10u, f->bufCount);
  EXPECT_EQ(0, orvFileFlush(f));
  EXPECT_EQ(-2, orvFileError());
  EXPECT_EQ(10u, f->bufCount);  // kept for another attempt
  orvFileClose(f, 0);
}

TEST_F(FilesTest, ACloseWritesPendingBytes) {
  orvFile *f = open(ORV_FILE_WRITE, "atclose");
  ASSERT_NE(nullptr, f);
  ASSERT_TRUE(writeAll(f, "pending"));
  EXPECT_EQ(1, orvFileClose(f, 0));
  EXPECT_EQ("pending", contents("atclose"));
}

TEST_F(FilesTest, ZeroBytesReadAndWriteNothing) {
  orvFile *f = create("zero", "abc");
  ASSERT_NE(nullptr, f);
  char c = 0;
  EXPECT_EQ(0u, orvFileRead(f, &c, 0));
  EXPECT_EQ(0u, orvFileWrite(f, &c, 0));
  EXPECT_EQ(0, orvFileTell(f));
  orvFileClose(f, 0);
}

// --- Positions ----------------------------------------------------------------

TEST_F(FilesTest, SeekInsideTheBufferMovesOnlyThePositionInIt) {
  std::string data = filestest::pattern(9000);
  orvFile *f = create("seekbuf", data);
  ASSERT_NE(nullptr, f);
  readAll(f, 10);
  ASSERT_EQ(4096u, f->bufCount);
  ASSERT_EQ(1, orvFileSeek(f, 3000, ORV_FILE_SEEK_SET));
  // Still the same fill: no system call moved the file.
  EXPECT_EQ(4096u, f->bufCount);
  EXPECT_EQ(3000u, f->bufPos);
  EXPECT_EQ(4096, f->segmentPos);
  EXPECT_EQ(data.substr(3000, 5), readAll(f, 5));
  ASSERT_EQ(1, orvFileSeek(f, -1005, ORV_FILE_SEEK_CUR));
  EXPECT_EQ(2000u, f->bufPos);
  EXPECT_EQ(4096u, f->bufCount);
  EXPECT_EQ(2000, orvFileTell(f));
  ASSERT_EQ(1, orvFileSeek(f, 4096, ORV_FILE_SEEK_SET));  // the end of the fill
  EXPECT_EQ(4096u, f->bufPos);
  EXPECT_EQ(data.substr(4096, 10), readAll(f, 10));
  orvFileClose(f, 0);
}

TEST_F(FilesTest, SeekOutsideTheBufferEmptiesIt) {
  std::string data = filestest::pattern(9000);
  orvFile *f = create("seekout", data);
  ASSERT_NE(nullptr, f);
  readAll(f, 10);
  ASSERT_EQ(1, orvFileSeek(f, 5000, ORV_FILE_SEEK_SET));
  EXPECT_EQ(0u, f->bufCount);
  EXPECT_EQ(5000, f->segmentPos);
  EXPECT_EQ(data.substr(5000, 20), readAll(f, 20));
  ASSERT_EQ(1, orvFileSeek(f, -10, ORV_FILE_SEEK_END));
  EXPECT_EQ(8990, orvFileTell(f));
  EXPECT_EQ(data.substr(8990), readAll(f, 100));
  ASSERT_EQ(1, orvFileSeek(f, 100, ORV_FILE_SEEK_CUR));
  EXPECT_EQ(9100, orvFileTell(f));
  orvFileClose(f, 0);
}

TEST_F(FilesTest, SeekFlushesPendingBytes) {
  orvFile *f = open(ORV_FILE_READ | ORV_FILE_WRITE, "seekflush");
  ASSERT_NE(nullptr, f);
  ASSERT_TRUE(writeAll(f, "abcdef"));
  ASSERT_EQ(1, orvFileSeek(f, 2, ORV_FILE_SEEK_SET));
  EXPECT_EQ(6u, filestest::diskSize(path("seekflush")));
  EXPECT_EQ("cdef", readAll(f, 10));
  orvFileClose(f, 0);
}

TEST_F(FilesTest, SeekBeforeTheStartFails) {
  orvFile *f = create("neg", "abc");
  ASSERT_NE(nullptr, f);
  EXPECT_EQ(0, orvFileSeek(f, -10, ORV_FILE_SEEK_SET));
  EXPECT_EQ(-53, orvFileError());  // the system's "negative seek" is not in the table
  EXPECT_EQ(0, orvFileTell(f));
  orvFileClose(f, 0);
}

TEST_F(FilesTest, AnUnknownOriginFailsWithMinus21) {
  orvFile *f = create("origin", "abc");
  ASSERT_NE(nullptr, f);
  EXPECT_EQ(0, orvFileSeek(f, 0, 7));
  EXPECT_EQ(-21, orvFileError());
  orvFileClose(f, 0);
}

TEST_F(FilesTest, SeekPastTheEndThenWriteLeavesAGapOfZeros) {
  orvFile *f = create("gap", "ab");
  ASSERT_NE(nullptr, f);
  ASSERT_EQ(1, orvFileSeek(f, 5, ORV_FILE_SEEK_SET));
  ASSERT_TRUE(writeAll(f, "z"));
  EXPECT_EQ(6, orvFileSize(f));
  orvFileClose(f, 0);
  EXPECT_EQ(std::string("ab\0\0\0z", 6), contents("gap"));
}

TEST_F(FilesTest, TellAndSizeFollowWritesAndReads) {
  orvFile *f = open(ORV_FILE_READ | ORV_FILE_WRITE, "tell");
  ASSERT_NE(nullptr, f);
  EXPECT_EQ(0, orvFileTell(f));
  EXPECT_EQ(0, orvFileSize(f));
  ASSERT_TRUE(writeAll(f, std::string(5000, 'q')));
  EXPECT_EQ(5000, orvFileTell(f));
  EXPECT_EQ(5000, orvFileSize(f));
  ASSERT_EQ(1, orvFileSeek(f, 0, ORV_FILE_SEEK_SET));
  readAll(f, 7);
  EXPECT_EQ(7, orvFileTell(f));
  EXPECT_EQ(5000, orvFileSize(f));
  EXPECT_EQ(7, orvFileTell(f));  // the size query seeks back
  orvFileClose(f, 0);
}

TEST_F(FilesTest, SetEOFCutsAtTheCurrentPosition) {
  orvFile *f = create("cuthere", "0123456789");
  ASSERT_NE(nullptr, f);
  readAll(f, 4);
  ASSERT_EQ(1, orvFileSetEOF(f));
  EXPECT_EQ(4, orvFileSize(f));
  EXPECT_EQ(4, orvFileTell(f));
  EXPECT_EQ(1, orvFileEOF(f));
  orvFileClose(f, 0);
  EXPECT_EQ("0123", contents("cuthere"));
}

TEST_F(FilesTest, SetEOFAfterPendingWritesKeepsThem) {
  orvFile *f = create("cutwrite", "0123456789");
  ASSERT_NE(nullptr, f);
  ASSERT_TRUE(writeAll(f, "ab"));
  ASSERT_EQ(1, orvFileSetEOF(f));
  orvFileClose(f, 0);
  EXPECT_EQ("ab", contents("cutwrite"));
}

TEST_F(FilesTest, EOFComparesThePositionWithTheEnd) {
  orvFile *f = create("eof", "abc");
  ASSERT_NE(nullptr, f);
  EXPECT_EQ(0, orvFileEOF(f));
  readAll(f, 2);
  EXPECT_EQ(0, orvFileEOF(f));
  readAll(f, 1);
  EXPECT_EQ(1, orvFileEOF(f));
  ASSERT_EQ(1, orvFileSeek(f, 10, ORV_FILE_SEEK_SET));
  EXPECT_EQ(1, orvFileEOF(f));  // past the end
  orvFileClose(f, 0);
}

TEST_F(FilesTest, SeekReadAndSeekWrite) {
  orvFile *f = create("sr", "0123456789");
  ASSERT_NE(nullptr, f);
  char buf[4] = {};
  EXPECT_EQ(3u, orvFileSeekRead(f, 5, ORV_FILE_SEEK_SET, buf, 3));
  EXPECT_EQ("567", std::string(buf, 3));
  EXPECT_EQ(2u, orvFileSeekWrite(f, -2, ORV_FILE_SEEK_END, "XY", 2));
  EXPECT_EQ(0u, orvFileSeekRead(f, -1, ORV_FILE_SEEK_SET, buf, 3));
  orvFileClose(f, 0);
  EXPECT_EQ("01234567XY", contents("sr"));
}

// --- Standard files --------------------------------------------------------------

TEST_F(FilesTest, TheStandardFilesAreThreadSafeTextRecords) {
  for (short which = 0; which < 3; ++which) {
    orvFile *f = orvFileGetStdPtr(which);
    ASSERT_NE(nullptr, f);
    EXPECT_EQ(ORV_FILE_MAGIC, f->magic);
    EXPECT_EQ(19u | ORV_FILE_THREAD_SAFE, f->openFlags);
    EXPECT_EQ(39u | (ORV_FILE_THREAD_SAFE << 1), f->modeBits & (39u | (ORV_FILE_THREAD_SAFE << 1)));
    EXPECT_EQ(1u, f->lockState & 1u);
    EXPECT_NE(0u, static_cast<uint32_t>(f->mutex));
    EXPECT_EQ(f, f->head);
  }
  EXPECT_NE(orvFileGetStdPtr(0), orvFileGetStdPtr(1));
  EXPECT_EQ(orvFileGetStdPtr(1) + 1, orvFileGetStdPtr(2));
}

TEST_F(FilesTest, GetStdPtrOutsideZeroToTwoIsNull) {
  EXPECT_EQ(nullptr, orvFileGetStdPtr(3));
  EXPECT_EQ(nullptr, orvFileGetStdPtr(-1));
}

TEST_F(FilesTest, StandardErrorIsNeverBuffered) {
  orvFile *err = orvFileGetStdPtr(ORV_FILE_STDERR);
  EXPECT_EQ(1u, orvFileWrite(err, "\n", 1));
  EXPECT_EQ(0u, err->bufCount);
  EXPECT_EQ(0u, err->bufDirty);
  EXPECT_EQ(1, orvFilePuts(err, "\n"));
  EXPECT_EQ(0u, err->bufCount);
}

TEST_F(FilesTest, ClosingAStandardFileKeepsIt) {
  orvFile *err = orvFileGetStdPtr(ORV_FILE_STDERR);
  EXPECT_EQ(1, orvFileClose(err, 0));
  EXPECT_EQ(ORV_FILE_MAGIC, err->magic);
  EXPECT_EQ(1u, orvFileWrite(err, "\n", 1));
}

TEST_F(FilesTest, IsATerminalOfNullIsZero) { EXPECT_EQ(0, orvFileIsATerminal(nullptr)); }

TEST_F(FilesTest, ADiskFileIsNoTerminal) {
  orvFile *f = open(ORV_FILE_READ | ORV_FILE_WRITE, "disk");
  ASSERT_NE(nullptr, f);
  EXPECT_EQ(0, orvFileIsATerminal(f));
  orvFileClose(f, 0);
}

TEST_F(FilesTest, TheNullDeviceIsACharacterFile) {
#if defined(_WIN32)
  const char *device = "NUL";
#else
  const char *device = "/dev/null";
#endif
  orvFile *f = orvFileOpen(ORV_FILE_READ | ORV_FILE_WRITE, ORV_FILE_TAG_PATH, device, ORV_FILE_TAG_END);
  ASSERT_NE(nullptr, f);
  EXPECT_EQ(1, orvFileIsATerminal(f));
  orvFileClose(f, 0);
}

// --- Paths --------------------------------------------------------------------

TEST_F(FilesTest, AccessModes) {
  testsupport::writeFile(path("acc"), "x");
  EXPECT_EQ(1, orvFileAccess(path("acc").c_str(), 0));
  EXPECT_EQ(1, orvFileAccess(path("acc").c_str(), 1));
  EXPECT_EQ(1, orvFileAccess(path("acc").c_str(), 2));
  EXPECT_EQ(1, orvFileAccess(path("acc").c_str(), 3));
  EXPECT_EQ(0, orvFileAccess(path("none").c_str(), 0));
  EXPECT_EQ(-17, orvFileError());
  EXPECT_EQ(0, orvFileAccess(nullptr, 0));
  EXPECT_EQ(-21, orvFileError());
}

TEST_F(FilesTest, DeleteRemovesAFile) {
  testsupport::writeFile(path("del"), "x");
  EXPECT_EQ(1, orvFileDelete(path("del").c_str()));
  EXPECT_FALSE(testsupport::fileExists(path("del")));
  EXPECT_EQ(0, orvFileDelete(path("del").c_str()));
  EXPECT_EQ(-17, orvFileError());
}

TEST_F(FilesTest, DeletingAReadOnlyFileFailsWithMinus2) {
  orvFile *f = open(ORV_FILE_READ, "rodel");  // created read-only
  ASSERT_NE(nullptr, f);
  orvFileClose(f, 0);
  EXPECT_EQ(0, orvFileDelete(path("rodel").c_str()));
  EXPECT_EQ(-2, orvFileError());
}

TEST_F(FilesTest, GetCurrentDirectoryGivesAHeapCopy) {
  char *cwd = nullptr;
  ASSERT_EQ(1, orvFileGetCurrentDirectory(&cwd));
  ASSERT_NE(nullptr, cwd);
  EXPECT_EQ(std::filesystem::path(currentDirectory()), std::filesystem::path(cwd));
  orvMemoryFreeFunc(cwd);
  EXPECT_EQ(0, orvFileGetCurrentDirectory(nullptr));
}

// --- The per-thread error ----------------------------------------------------------

TEST_F(FilesTest, TheLastErrorIsPerThread) {
  EXPECT_EQ(0, orvFileAccess(path("none").c_str(), 0));
  ASSERT_EQ(-17, orvFileError());
  std::atomic<int> other{1};
  std::thread t([&] {
    other = orvFileError();
    orvFileClose(nullptr, 0);
  });
  t.join();
  EXPECT_EQ(0, other.load());
  EXPECT_EQ(-17, orvFileError());
}

TEST_F(FilesTest, ASuccessLeavesTheLastErrorAlone) {
  EXPECT_EQ(0, orvFileAccess(path("none").c_str(), 0));
  testsupport::writeFile(path("here"), "x");
  EXPECT_EQ(1, orvFileAccess(path("here").c_str(), 0));
  EXPECT_EQ(-17, orvFileError());
}

TEST(FilesLayer, TheErrorIsZeroBeforeTheLayerIsReady) {
  orvFileClose(nullptr, 0);
  EXPECT_EQ(0, orvFileError());
}

TEST(FilesLayer, StartUpAndShutDownCanBeRepeated) {
  for (int i = 0; i < 3; ++i) {
    ASSERT_EQ(0, servicesProcessInitialize(0));
    orvFileClose(nullptr, 0);
    EXPECT_EQ(-25, orvFileError());
    servicesProcessTerminate(0);
    EXPECT_EQ(0, orvFileError());
  }
}

// The NLS table: its search through ORVNLSTAB, the loader's error codes and
// line counter, and what each kind of line does.
#include <stdio.h>
#include <string.h>

#include <string>

#if !defined(_WIN32)
#include <sys/wait.h>
#endif

#include <gtest/gtest.h>

#include "orvane/charsets.h"
#include "orvane/nls.h"
#include "support/test_support.h"
#include "test_nls_helpers.h"

using nlstest::initWith;
using nlstest::minimalRows;
using nlstest::TableFile;
using nlstest::TableSetting;

namespace {

class NlsTable : public ::testing::Test {
 protected:
  void SetUp() override { testsupport::useScratchProfileDir(); }
  void TearDown() override { nlsTerminate(); }

  // nlsInit over a table with these contents.
  nlstest::InitResult load(const std::string &contents) {
    TableFile table(contents);
    return initWith(table.path());
  }
};

// 256 numbers on 16 lines, the identity map.
std::string identityValues(int count = 256) {
  std::string s;
  for (int i = 0; i < count; ++i) {
    s += std::to_string(i);
    s += (i % 16 == 15 || i == count - 1) ? "\n" : " ";
  }
  return s;
}

}  // namespace

// --- Search ----------------------------------------------------------------------

TEST_F(NlsTable, WithoutTheSettingTheResultIsOne) {
  TableSetting setting("");
  testsupport::unsetEnv("ORVNLSTAB");
  EXPECT_EQ(NLS_ERR_NOT_CONFIGURED, nlsInit());
  EXPECT_EQ(0, nlsTerminate());  // nothing was initialised
}

TEST_F(NlsTable, AnEmptySettingNamesNoTable) {
  TableSetting setting("");
  EXPECT_EQ(NLS_ERR_NOT_CONFIGURED, nlsInit());
}

TEST_F(NlsTable, AMissingFileIsTwo) {
  TableFile table(minimalRows());
  TableSetting setting(table.dir() + testsupport::kSep + "no-such-table.nls");
  EXPECT_EQ(NLS_ERR_NOT_FOUND, nlsInit());
}

TEST_F(NlsTable, ADirectoryIsNoTable) {
  TableFile table(minimalRows());
  TableSetting setting(table.dir());
  EXPECT_EQ(NLS_ERR_NOT_FOUND, nlsInit());
}

TEST_F(NlsTable, ARelativeNameIsFoundBesideTheExecutable) {
  // The shipped table lies beside the test programs; the working directory
  // of a test run is elsewhere.
  TableSetting setting("orvane.nls");
  EXPECT_EQ(0, nlsInit());
  EXPECT_EQ(nlsPackLangId("en_US"), nlsGetLangId());
}

TEST_F(NlsTable, AnAbsolutePathIsUsedAsItStands) { EXPECT_EQ(0, initWith(nlstest::shippedTable()).status); }

TEST_F(NlsTable, ASecondInitAfterTerminateSearchesAgain) {
  TableFile first(minimalRows());
  ASSERT_EQ(0, initWith(first.path()).status);
  ASSERT_EQ(1, nlsTerminate());
  TableFile second("# only a comment\n");
  EXPECT_EQ(NLS_ERR_SYNTAX, initWith(second.path()).status);  // no enu row in the new one
}

TEST_F(NlsTable, AFailedInitLeavesNothingBehind) {
  TableFile bad("en_US:nosuchset:winnt:enu\n");
  EXPECT_EQ(NLS_ERR_UNKNOWN_CHARSET, initWith(bad.path()).status);
  EXPECT_EQ(0, nlsTerminate());
  TableFile good(minimalRows());
  EXPECT_EQ(0, initWith(good.path()).status);  // searched again, not the failed file
}

// --- Locale lines --------------------------------------------------------------------

TEST_F(NlsTable, CommentsAndEmptyLinesAreSkipped) {
  auto r = load("# a comment\n\n   \t\n   # indented comment\n" + minimalRows());
  EXPECT_EQ(0, r.status);
  EXPECT_EQ(5u, r.lines);
}

TEST_F(NlsTable, OtherPlatformsAreIgnoredEvenWithAnUnknownSet) {
  EXPECT_EQ(0, load("xx_XX:nosuchset:hpux:xxx\nxx_XX:nosuchset:hpux\n" + minimalRows()).status);
  EXPECT_EQ(NLS_LANGID_UNKNOWN, nlsLocaleToId("xxx"));
}

TEST_F(NlsTable, AnUnknownSetOnAWindowsOrDatabaseRowIsTen) {
  auto r = load(minimalRows() + "de_DE:latin9:winnt:deu\n");
  EXPECT_EQ(NLS_ERR_UNKNOWN_CHARSET, r.status);
  EXPECT_EQ(2u, r.lines);
  EXPECT_EQ(NLS_ERR_UNKNOWN_CHARSET, load(minimalRows() + "de_DE:latin9:-db:german\n").status);
}

TEST_F(NlsTable, MissingRequiredFieldsAreEight) {
  EXPECT_EQ(NLS_ERR_SYNTAX, load(minimalRows() + "de_DE:8859-1:winnt\n").status);
  EXPECT_EQ(NLS_ERR_SYNTAX, load(minimalRows() + "de_DE:8859-1\n").status);
  EXPECT_EQ(NLS_ERR_SYNTAX, load(minimalRows() + "de_DE\n").status);
  // Empty fields collapse: the platform field moves to the third place.
  EXPECT_EQ(NLS_ERR_SYNTAX, load(minimalRows() + "de_DE::winnt:\n").status);
}

TEST_F(NlsTable, EmptyFieldsCollapse) {
  ASSERT_EQ(0, load("::en_US::8859-1::winnt::enu::\n").status);
  EXPECT_EQ(nlsPackLangId("en_US"), nlsLocaleToId("enu"));
}

TEST_F(NlsTable, BadLeadRangesAndAttributesAreEight) {
  const char *bad[] = {
      "ja_JP:s-jis:winnt:jpn:129,159\n",                            // two numbers
      "ja_JP:s-jis:winnt:jpn:129,159,2,4\n",                        // four numbers
      "ja_JP:s-jis:winnt:jpn:1,2,1;3,4,1;5,6,1;7,8,1;9,10,1\n",     // five groups
      "ja_JP:s-jis:winnt:jpn:129,159,3\n",                          // wider than two bytes
      "ja_JP:s-jis:winnt:jpn:129,159,0\n",                          // no width
      "ja_JP:s-jis:winnt:jpn:159,129,2\n",                          // low above high
      "ja_JP:s-jis:winnt:jpn:129,300,2\n",                          // not a byte
      "ja_JP:s-jis:winnt:jpn:0x81,159,2\n",                         // not decimal
      "ja_JP:s-jis:winnt:jpn:129,159,2:1,2,3,4,5,6,7,8,9,10,11\n",  // eleven attributes
      "ja_JP:s-jis:winnt:jpn:129,159,2:70000\n",                    // not 16 bits
      "ja_JP:s-jis:winnt:jpn:129,159,2:x\n",
      "ja_JP:s-jis:winnt:jpn:129,159,2:1:extra\n",  // a seventh field
  };
  for (const char *line : bad) {
    EXPECT_EQ(NLS_ERR_SYNTAX, load(minimalRows() + line).status) << line;
    nlsTerminate();
  }
}

TEST_F(NlsTable, TenAttributesAreAccepted) {
  EXPECT_EQ(0, load(minimalRows() + "ja_JP:s-jis:winnt:jpn:129,159,2:1,2,3,4,5,6,7,8,9,10\n").status);
}

TEST_F(NlsTable, ATableWithoutTheEnuRowIsRefused) {
  auto r = load("de_DE:8859-1:winnt:deu\n");
  EXPECT_EQ(NLS_ERR_SYNTAX, r.status);
  EXPECT_EQ(0, nlsTerminate());
}

// --- Overlong lines ------------------------------------------------------------------

TEST_F(NlsTable, AnOverlongLineIsElevenUnlessItIsAComment) {
  std::string longRow = "de_DE:8859-1:winnt:" + std::string(1100, 'd') + "\n";
  auto r = load(minimalRows() + longRow + minimalRows());
  EXPECT_EQ(NLS_ERR_LINE_TOO_LONG, r.status);
  EXPECT_EQ(2u, r.lines);
  std::string longComment = "   #" + std::string(3000, 'c') + "\n";
  EXPECT_EQ(0, load(longComment + minimalRows()).status);
}

TEST_F(NlsTable, ALineOfExactlyTheBufferIsOverlong) {
  // 1022 characters and the newline fill the 1024-byte buffer with its NUL;
  // one more character does not fit.
  std::string fits = "en_US:8859-1:winnt:enu:0,0,1:" + std::string(1022 - 29, ' ') + "\n";
  ASSERT_EQ(1023u, fits.size());
  EXPECT_EQ(0, load(fits).status);
  nlsTerminate();
  std::string overlong = "en_US:8859-1:winnt:enu:0,0,1:" + std::string(1023 - 29, ' ') + "\n";
  EXPECT_EQ(NLS_ERR_LINE_TOO_LONG, load(overlong).status);
}

TEST_F(NlsTable, ALastLineWithoutANewlineIsOverlong) {
  auto r = load("en_US:8859-1:winnt:enu");
  EXPECT_EQ(NLS_ERR_LINE_TOO_LONG, r.status);
  EXPECT_EQ(1u, r.lines);
  EXPECT_EQ(0, load(minimalRows() + "# the end").status);
}

TEST_F(NlsTable, CarriageReturnsBeforeTheNewlineAreLineEndings) {
  EXPECT_EQ(0, load("# comment\r\nen_US:8859-1:winnt:enu\r\n").status);
  EXPECT_EQ(nlsPackLangId("en_US"), nlsLocaleToId("enu"));
}

// --- CHARMAP blocks -------------------------------------------------------------------

TEST_F(NlsTable, ACharmapOf255Or257ValuesIsSix) {
  auto r = load(minimalRows() + "CHARMAP mine AS sbSpare1\n" + identityValues(255) + "END\n");
  EXPECT_EQ(NLS_ERR_CHARMAP_SIZE, r.status);
  EXPECT_EQ(19u, r.lines);  // the END line
  EXPECT_EQ(NLS_ERR_CHARMAP_SIZE,
            load(minimalRows() + "CHARMAP mine AS sbSpare1\n" + identityValues(257) + "END\n").status);
}

TEST_F(NlsTable, AnExtensionCountThatDiffersIsSeven) {
  std::string block =
      "CHARMAP mine AS sbSpare1\n" + identityValues() + "EXTCHARMAP 3\n0x20AC 0x80\n0x2026 0x85\nEND\n";
  EXPECT_EQ(NLS_ERR_EXTCHARMAP, load(minimalRows() + block).status);
  nlsTerminate();
  block = "CHARMAP mine AS sbSpare1\n" + identityValues() + "EXTCHARMAP 1\n0x20AC 0x80\n0x2026 0x85\nEND\n";
  EXPECT_EQ(NLS_ERR_EXTCHARMAP, load(minimalRows() + block).status);
}

TEST_F(NlsTable, CharmapSyntaxErrorsAreEight) {
  const std::string values = identityValues();
  const std::string bad[] = {
      "CHARMAP mine AS\n" + values + "END\n",
      "CHARMAP mine\n" + values + "END\n",
      "CHARMAP\n" + values + "END\n",
      "CHARMAP mine IS sbSpare1\n" + values + "END\n",
      "CHARMAP mine AS sbSpare1\n" + values + "twelve\nEND\n",
      "CHARMAP mine AS sbSpare1\n0x41,\n" + values + "END\n",
      "CHARMAP mine AS sbSpare1\n" + values + "EXTCHARMAP\nEND\n",
      "CHARMAP mine AS sbSpare1\n" + values + "EXTCHARMAP x\nEND\n",
      "CHARMAP mine AS sbSpare1\n" + values + "EXTCHARMAP 1\n0x20AC\nEND\n",
      "CHARMAP mine AS sbSpare1\n" + values + "EXTCHARMAP 1\n0x20AC 0x80 0x81\nEND\n",
      "CHARMAP mine AS sbSpare1\n" + values + "EXTCHARMAP 1\n0x20AC 0x100\nEND\n",
      "CHARMAP mine AS sbSpare1\n" + values + "EXTCHARMAP 1\n0x20AC 0x80\nEXTCHARMAP 1\nEND\n",
      "CHARMAP mine AS sbSpare1\n0x10000\n" + values + "END\n",
  };
  for (const std::string &block : bad) {
    EXPECT_EQ(NLS_ERR_SYNTAX, load(minimalRows() + block).status) << block.substr(0, 40);
    nlsTerminate();
  }
}

TEST_F(NlsTable, AnUnknownCharmapSetIsTen) {
  EXPECT_EQ(NLS_ERR_UNKNOWN_CHARSET,
            load(minimalRows() + "CHARMAP mine AS latin9\n" + identityValues() + "END\n").status);
}

TEST_F(NlsTable, EndOfFileInsideACharmapIsNine) {
  auto r = load(minimalRows() + "CHARMAP mine AS sbSpare1\n" + identityValues());
  EXPECT_EQ(NLS_ERR_END_OF_FILE, r.status);
  EXPECT_EQ(18u, r.lines);
}

TEST_F(NlsTable, CharmapNumbersTakeAnyBaseAndComments) {
  std::string values;
  for (int i = 0; i < 256; ++i) {
    // decimal, hexadecimal and octal, with comments after "#".
    values += i % 3 == 0   ? std::to_string(i)
              : i % 3 == 1 ? "0x" +
                                 [&] {
                                   char b[8];
                                   snprintf(b, sizeof b, "%x", i);
                                   return std::string(b);
                                 }()
                           : "0" + [&] {
                               char b[8];
                               snprintf(b, sizeof b, "%o", i);
                               return std::string(b);
                             }();
    values += i % 8 == 7 ? " # eight more\n" : "\t";
  }
  std::string block = "CHARMAP mine AS sbSpare1\n# the values\n\n" + values + "  END\n";
  EXPECT_EQ(0, load(minimalRows() + block).status);
}

TEST_F(NlsTable, ACharmapRenamesItsSlot) {
  std::string block = "CHARMAP latin1 AS 8859-1\n" + identityValues() + "END\n";
  ASSERT_EQ(0, load(minimalRows() + block + "de_DE:latin1:winnt:deu\n").status);
  EXPECT_EQ(4, nlsCharSetIdFromName("latin1"));
  EXPECT_EQ(0, nlsCharSetIdFromName("8859-1"));
  nlsTerminate();
  // A later row that still uses the old name fails.
  EXPECT_EQ(NLS_ERR_UNKNOWN_CHARSET, load(minimalRows() + block + "de_DE:8859-1:winnt:deu\n").status);
}

TEST_F(NlsTable, KeywordsMatchInAnyCaseButEndInsideACharmapDoesNot) {
  std::string block = "charmap mine as SBSPARE1\n" + identityValues() + "end\nEND\n";
  EXPECT_EQ(NLS_ERR_SYNTAX, load(minimalRows() + block).status);  // "end" is no number
  nlsTerminate();
  block = "charmap mine as SBSPARE1\n" + identityValues() + "\tEND\n";
  EXPECT_EQ(NLS_ERR_SYNTAX, load(minimalRows() + block).status);  // only blanks are skipped before END
  nlsTerminate();
  block = "Charmap mine As sbSpare1\n" + identityValues() + "   ENDING\n";
  EXPECT_EQ(0, load(minimalRows() + block).status);
}

TEST_F(NlsTable, AnOverlongCharmapLineIsEleven) {
  std::string block =
      "CHARMAP mine AS sbSpare1\n" + std::string(300, ' ') + "1\n" + identityValues() + "END\n";
  EXPECT_EQ(NLS_ERR_LINE_TOO_LONG, load(minimalRows() + block).status);
}

// --- MBCHARMAP and LCCOLLATE blocks -------------------------------------------------

TEST_F(NlsTable, EndOfFileInsideAMultiByteMapIsNine) {
  auto r = load(minimalRows() + "MBCHARMAP mine\n0 1 2\n");
  EXPECT_EQ(NLS_ERR_END_OF_FILE, r.status);
  EXPECT_EQ(3u, r.lines);
}

TEST_F(NlsTable, AMultiByteMapEndsAtAnyLineContainingEnd) {
  // The comment line closes the block: the row after it is a locale line.
  ASSERT_EQ(0, load(minimalRows() + "MBCHARMAP mine\n0 - 0x7e\n# THE END\nde_DE:8859-1:winnt:deu\n").status);
  EXPECT_EQ(nlsPackLangId("de_DE"), nlsLocaleToId("deu"));
}

TEST_F(NlsTable, AMultiByteMapWithoutANameIsEight) {
  EXPECT_EQ(NLS_ERR_SYNTAX, load(minimalRows() + "MBCHARMAP\n0\nEND\n").status);
}

TEST_F(NlsTable, EndOfFileInsideACollationBlockIsNine) {
  auto r = load(minimalRows() + "LCCOLLATE mine\n0 1 2\n");
  EXPECT_EQ(NLS_ERR_END_OF_FILE, r.status);
  EXPECT_EQ(3u, r.lines);
  nlsTerminate();
  EXPECT_EQ(0, load(minimalRows() + "LCCOLLATE mine\n0 1 2\n   end of it\n").status);
}

TEST_F(NlsTable, CollationLinesMayBeLongerThanOrdinaryLines) {
  std::string line(1500, ' ');
  line += "1\n";
  EXPECT_EQ(0, load(minimalRows() + "LCCOLLATE mine\n" + line + "END\n").status);
  nlsTerminate();
  std::string tooLong(2100, ' ');
  tooLong += "1\n";
  EXPECT_EQ(NLS_ERR_LINE_TOO_LONG, load(minimalRows() + "LCCOLLATE mine\n" + tooLong + "END\n").status);
}

// --- Hostile input -----------------------------------------------------------------

TEST_F(NlsTable, BinaryGarbageIsRejectedCleanly) {
  std::string garbage;
  uint32_t x = 12345;
  for (int i = 0; i < 20000; ++i) {
    x = x * 1103515245u + 12345u;
    garbage += static_cast<char>(x >> 16);
  }
  int status = load(garbage).status;
  EXPECT_NE(0, status);
  EXPECT_GE(status, 1);
  EXPECT_LE(status, 11);
}

TEST_F(NlsTable, EveryTruncationOfTheShippedHeadFailsCleanly) {
  // Cut the shipped table's first 8 KiB at every 97th byte: each cut loads
  // or fails with a table error, never anything else.
  std::string head = testsupport::readFile(nlstest::shippedTable()).substr(0, 8192);
  ASSERT_FALSE(head.empty());
  for (size_t cut = 0; cut < head.size(); cut += 97) {
    int status = load(head.substr(0, cut)).status;
    EXPECT_TRUE(status == 0 || (status >= 8 && status <= 11)) << "cut at " << cut << ": " << status;
    nlsTerminate();
  }
}

TEST_F(NlsTable, NulBytesInsideLinesDoNotConfuseTheReader) {
  std::string contents =
      minimalRows() + std::string("# comment with \0 inside\n", 24) + "de_DE:8859-1:winnt:deu\n";
  auto r = load(contents);
  EXPECT_EQ(0, r.status);
  EXPECT_EQ(3u, r.lines);
}

TEST_F(NlsTable, TheLineCounterIsNotResetBetweenReads) {
  TableFile table(minimalRows() + "# two\n# three\n");
  uint32_t before = nlsGetErrorLineNumber();
  ASSERT_EQ(0, initWith(table.path()).status);
  nlsTerminate();
  ASSERT_EQ(0, initWith(table.path()).status);
  EXPECT_EQ(before + 6, nlsGetErrorLineNumber());
}

// --- orv nls check ------------------------------------------------------------------------

TEST_F(NlsTable, OrvNlsCheckReportsTheFirstErrorAndItsLine) {
  TableFile table(minimalRows() + "# two\nCHARMAP mine AS sbSpare1\n1 2 3\nEND\n");
  int status = 0;
  std::string out = testsupport::runOrv("nls check \"" + table.path() + "\"", &status);
  if (out == "<no orv>") {
    GTEST_SKIP() << "the build has no orv tool";
  }
  EXPECT_EQ(1, status);
  EXPECT_NE(std::string::npos, out.find("error 6 at line 5")) << out;
  out = testsupport::runOrv("nls check \"" + nlstest::shippedTable() + "\"", &status);
  EXPECT_EQ(0, status) << out;
  EXPECT_NE(std::string::npos, out.find("definition s-jis")) << out;
}

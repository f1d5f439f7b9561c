// Internals of the national-language state: the records the table makes,
// the multi-byte map reader, the line reader, the length table and the
// out-of-memory paths.
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <string>

#include <gtest/gtest.h>

#include "../test_nls_helpers.h"
#include "common/nls/nls_alloc.h"
#include "common/nls/nls_state.h"
#include "common/nls/nls_table.h"
#include "orvane/charsets.h"
#include "orvane/nls.h"
#include "support/test_support.h"

namespace {

class NlsState : public ::testing::Test {
 protected:
  void SetUp() override { testsupport::useScratchProfileDir(); }
  void TearDown() override {
    nls::testing::failAllocationsAfter(-1);
    nlsTerminate();
  }
  void initShipped(const std::string &language = "") {
    nlstest::LanguageSetting setting(language);
    ASSERT_EQ(0, nlstest::initWith(nlstest::shippedTable()).status);
  }
};

const nls::NlsLocale *windowsRecord(const char *name) {
  for (const nls::NlsLocale *r = nls::state().locales; r != nullptr; r = r->next) {
    if (!r->isDatabaseRow && strcmp(r->name, name) == 0) {
      return r;
    }
  }
  return nullptr;
}

int recordCount() {
  int n = 0;
  for (const nls::NlsLocale *r = nls::state().locales; r != nullptr; r = r->next) {
    ++n;
  }
  return n;
}

}  // namespace

TEST_F(NlsState, TheJapaneseRecordHoldsRangesAndAttributes) {
  initShipped();
  const nls::NlsLocale *jpn = windowsRecord("jpn");
  ASSERT_NE(nullptr, jpn);
  EXPECT_EQ(nlsPackLangId("ja_JP"), jpn->langId);
  EXPECT_EQ(13, jpn->charSet);
  ASSERT_EQ(2, jpn->leadRangeCount);
  EXPECT_EQ(129, jpn->leadRanges[0].low);
  EXPECT_EQ(159, jpn->leadRanges[0].high);
  EXPECT_EQ(2, jpn->leadRanges[0].length);
  EXPECT_EQ(224, jpn->leadRanges[1].low);
  EXPECT_EQ(252, jpn->leadRanges[1].high);
  const uint16_t attributes[] = {129, 129, 64, 67, 68, 70, 71, 65, 66, 0, 0};
  for (int i = 0; i < nls::kLocaleAttributes; ++i) {
    EXPECT_EQ(attributes[i], jpn->attr[i]) << i;
  }
  const nls::NlsLocale *enu = windowsRecord("enu");
  ASSERT_NE(nullptr, enu);
  EXPECT_EQ(0, enu->leadRangeCount);  // field 5 absent: no ranges
  EXPECT_FALSE(enu->isDatabaseRow);
}

TEST_F(NlsState, RecordsKeepFileOrderAndMarkDatabaseRows) {
  initShipped();
  const nls::NlsLocale *first = nls::state().locales;
  ASSERT_NE(nullptr, first);
  EXPECT_STREQ("enu", first->name);
  int database = 0;
  for (const nls::NlsLocale *r = first; r != nullptr; r = r->next) {
    database += r->isDatabaseRow ? 1 : 0;
  }
  EXPECT_EQ(12, database);
  EXPECT_EQ(18 + 12, recordCount());  // the cp1252 rows below the CHARMAP block included
}

TEST_F(NlsState, TheCurrentRecordAndTheLengthTable) {
  initShipped("jpn");
  ASSERT_NE(nullptr, nls::currentLocale());
  EXPECT_STREQ("jpn", nls::currentLocale()->name);
  for (int c = 0; c < 256; ++c) {
    EXPECT_EQ(nls::computeCharLength(static_cast<unsigned char>(c)),
              nls::charLength(static_cast<unsigned char>(c)));
  }
  ASSERT_EQ(1, nlsSetCharSet(2));
  for (int c = 0; c < 256; ++c) {
    EXPECT_EQ(1, nls::charLength(static_cast<unsigned char>(c)));
  }
}

TEST_F(NlsState, SetCharSetAppendsASwappedRecordEachTime) {
  initShipped("deu");
  const int before = recordCount();
  ASSERT_EQ(1, nlsSetCharSet(2));
  ASSERT_EQ(before + 1, recordCount());
  const nls::NlsLocale *last = nls::state().locales;
  while (last->next != nullptr) {
    last = last->next;
  }
  EXPECT_EQ(2u, last->langId);
  EXPECT_EQ(static_cast<int32_t>(nlsPackLangId("de_DE")), last->charSet);
  EXPECT_STREQ("deu", last->name);
  EXPECT_EQ(0, last->leadRangeCount);
  EXPECT_FALSE(last->isDatabaseRow);
  ASSERT_EQ(1, nlsSetCharSet(2));
  EXPECT_EQ(before + 2, recordCount());
}

TEST_F(NlsState, SetCharSetWithoutMemoryReturnsZero) {
  initShipped();
  nls::testing::failAllocationsAfter(0);
  EXPECT_EQ(0, nlsSetCharSet(2));
  EXPECT_EQ(2, nlsGetCharSet());
}

TEST_F(NlsState, MultiByteMapRecords) {
  initShipped();
  int count = 0;
  for (const nls::NlsMbCharMap *m = nls::state().mbCharMaps; m != nullptr; m = m->next) {
    ++count;
    EXPECT_STREQ(nls::state().tablePath, m->tablePath);
    EXPECT_GT(m->length, 0u);
  }
  EXPECT_EQ(15, count);  // cp1252 twice: also as sbSpare1
  char *text = nls::readMbCharMap("S-JIS");
  ASSERT_NE(nullptr, text);
  EXPECT_EQ(0, strncmp(text, "# ", 2));
  EXPECT_EQ(nullptr, strstr(text, "END"));
  EXPECT_EQ('\n', text[strlen(text) - 1]);
  free(text);
  EXPECT_EQ(nullptr, nls::readMbCharMap("no-such-set"));
  EXPECT_EQ(nullptr, nls::readMbCharMap(nullptr));
}

TEST_F(NlsState, TheBlockLengthCountsEveryLineWithTheEndLine) {
  nlstest::TableFile table(nlstest::minimalRows() + "MBCHARMAP mine\n0 1\n# c\nEND\n");
  ASSERT_EQ(0, nlstest::initWith(table.path()).status);
  ASSERT_NE(nullptr, nls::state().mbCharMaps);
  EXPECT_EQ(strlen("0 1\n# c\nEND\n"), nls::state().mbCharMaps->length);
  char *text = nls::readMbCharMap("mine");
  ASSERT_NE(nullptr, text);
  EXPECT_STREQ("0 1\n# c\n", text);
  free(text);
}

TEST_F(NlsState, AChangedFileIsReadWithinTheRecordedLength) {
  nlstest::TableFile table(nlstest::minimalRows() + "MBCHARMAP mine\n0 1\nEND\n");
  ASSERT_EQ(0, nlstest::initWith(table.path()).status);
  testsupport::writeFile(table.path(), nlstest::minimalRows() + "MBCHARMAP mine\n0 1 2 3 4 5 6 7 8 9\nEND\n");
  EXPECT_EQ(nullptr, nls::readMbCharMap("mine"));
  int error = 0;
  EXPECT_EQ(0, orvCharacterSetCreate("mine", &error));
  EXPECT_EQ(ORV_CHARSET_ERR_NO_DEFINITION, error);
}

TEST_F(NlsState, TerminateRestoresTheBuiltInMaps) {
  initShipped();
  ASSERT_NE(nullptr, nls::unicodeMap(10));
  EXPECT_STREQ("cp1252", nls::charSetName(10));
  ASSERT_EQ(1, nlsTerminate());
  EXPECT_EQ(nullptr, nls::unicodeMap(10));
  EXPECT_STREQ("sbSpare1", nls::charSetName(10));
  EXPECT_EQ(nls::kBuiltinMaps[1], nls::unicodeMap(4));
  EXPECT_EQ(nullptr, nls::state().tablePath);
  EXPECT_EQ(nullptr, nls::state().locales);
}

TEST_F(NlsState, BuiltInMaps) {
  // ascii7: nothing above 0x7F.
  EXPECT_EQ(0x41, nls::unicodeMap(3)[0x41]);
  EXPECT_EQ(nls::kNoCharacter, nls::unicodeMap(3)[0x80]);
  // 8859-1 and sco8859-1: identity.
  for (int b = 0; b < 256; ++b) {
    EXPECT_EQ(b, nls::unicodeMap(4)[b]);
    EXPECT_EQ(b, nls::unicodeMap(9)[b]);
  }
  // roman8, decMCS and dg: 0x80-0x9F map to themselves.
  for (int id = 5; id <= 7; ++id) {
    for (int b = 0x00; b < 0xA0; ++b) {
      EXPECT_EQ(b, nls::unicodeMap(id)[b]) << id << " " << b;
    }
  }
  EXPECT_EQ(0x20A4, nls::unicodeMap(5)[0xAF]);  // roman8 lira
  EXPECT_EQ(0x00C0, nls::unicodeMap(5)[0xA1]);  // roman8 A-grave
  EXPECT_EQ(0x0152, nls::unicodeMap(6)[0xD7]);  // decMCS OE
  EXPECT_EQ(nls::kNoCharacter, nls::unicodeMap(6)[0xA0]);
  EXPECT_EQ(0x00AC, nls::unicodeMap(7)[0xA1]);  // dg from its data file
  EXPECT_EQ(0x2021, nls::unicodeMap(7)[0xAF]);
  EXPECT_EQ(0x00C7, nls::unicodeMap(8)[0x80]);  // pc850 C-cedilla
  EXPECT_EQ(nls::kNoCharacter, nls::unicodeMap(8)[0x7F]);
  EXPECT_EQ(nullptr, nls::unicodeMap(10));
  EXPECT_EQ(nullptr, nls::unicodeMap(13));
  // Extension lists.
  const nls::ExtensionPair *roman8 = nls::extensionList(5);
  ASSERT_NE(nullptr, roman8);
  EXPECT_EQ(0x20A4, roman8[0].unicode);
  EXPECT_EQ(0xAF, roman8[0].byte);
  EXPECT_EQ(0, roman8[1].unicode);
  EXPECT_EQ(0x23, nls::extensionList(3)[5].byte);
  EXPECT_EQ(0xA3, nls::extensionList(9)[5].byte);
  EXPECT_EQ(0x9C, nls::extensionList(8)[4].byte);
  EXPECT_EQ(nullptr, nls::extensionList(10));
}

TEST_F(NlsState, OutOfMemoryDuringInitIsThreeAndLeavesNothing) {
  nlstest::LanguageSetting japanese("jpn");
  nlstest::TableSetting setting(nlstest::shippedTable());
  // Every allocation of the table's load fails once in turn; further on
  // (the character-set object) every seventh.
  int status = 3;
  long k = 0;
  for (; k < 5000 && (status == 3 || status == 13); k += k < 150 ? 1 : 7) {
    nls::testing::failAllocationsAfter(k);
    status = nlsInit();
    nls::testing::failAllocationsAfter(-1);
    if (status == 3) {
      EXPECT_EQ(0, nlsTerminate());
      EXPECT_EQ(nullptr, nls::state().locales);
    } else if (status == 13) {
      // The services message set could not be made: initialised all the
      // same, without the set.
      EXPECT_EQ(nullptr, nls::state().servicesMessageSet);
      EXPECT_EQ(1, nlsTerminate());
    }
  }
  EXPECT_EQ(0, status) << "after " << k << " allocations";
}

TEST_F(NlsState, ACharacterSetObjectThatCannotBeMadeIsTwelve) {
  // The jpn row of this table has no s-jis definition.
  nlstest::TableFile table(nlstest::minimalRows() + "ja_JP:s-jis:winnt:jpn:129,159,2\n");
  nlstest::LanguageSetting japanese("jpn");
  EXPECT_EQ(NLS_ERR_CHARSET_OBJECT, nlstest::initWith(table.path()).status);
  EXPECT_EQ(ORV_CHARSET_ASCII, nls::state().charSetObject);
  EXPECT_EQ(1, nlsTerminate());  // initialised all the same
}

// --- The line reader -----------------------------------------------------------------

namespace {

struct ReadLine {
  nls::TableReader::Result result;
  std::string text;
  size_t raw;
  bool comment;
};

std::vector<ReadLine> readAll(const std::string &contents, size_t bufferSize) {
  nlstest::TableFile file(contents);
  FILE *f = fopen(file.path().c_str(), "rb");
  uint32_t counter = 0;
  nls::TableReader reader(f, counter);
  std::vector<ReadLine> lines;
  for (nls::TableReader::Result r; (r = reader.next(bufferSize)) != nls::TableReader::kEnd;) {
    lines.push_back({r, reader.text(), reader.rawBytes(), reader.isComment()});
  }
  fclose(f);
  EXPECT_EQ(lines.size(), counter);
  return lines;
}

}  // namespace

TEST(TableReader, LinesFitAsFgetsWouldFitThem) {
  auto lines = readAll("abc\n12345678\n123456789\nlast", 10);
  ASSERT_EQ(4u, lines.size());
  EXPECT_EQ(nls::TableReader::kLine, lines[0].result);
  EXPECT_EQ("abc", lines[0].text);
  EXPECT_EQ(4u, lines[0].raw);
  EXPECT_EQ(nls::TableReader::kLine, lines[1].result);  // 8 characters and the newline fit in 10
  EXPECT_EQ(nls::TableReader::kOverlong, lines[2].result);
  EXPECT_EQ("123456789", lines[2].text);
  EXPECT_EQ(10u, lines[2].raw);
  EXPECT_EQ(nls::TableReader::kOverlong, lines[3].result);  // no newline at the end
  EXPECT_EQ("last", lines[3].text);
}

TEST(TableReader, CommentsAndCarriageReturns) {
  auto lines = readAll("  # c\r\n\t\r\nx#\r\n", 64);
  ASSERT_EQ(3u, lines.size());
  EXPECT_TRUE(lines[0].comment);
  EXPECT_EQ("  # c", lines[0].text);
  EXPECT_EQ(7u, lines[0].raw);
  EXPECT_TRUE(lines[1].comment);  // blank
  EXPECT_FALSE(lines[2].comment);
}

TEST(TableReader, LongLinesAcrossReadBlocks) {
  std::string big(40000, 'x');
  auto lines = readAll("#" + big + "\nshort\n" + big + "\n", 1024);
  ASSERT_EQ(3u, lines.size());
  EXPECT_EQ(nls::TableReader::kOverlong, lines[0].result);
  EXPECT_TRUE(lines[0].comment);
  EXPECT_EQ(40002u, lines[0].raw);
  EXPECT_EQ(1023u, lines[0].text.size());
  EXPECT_EQ("short", lines[1].text);
  EXPECT_FALSE(lines[2].comment);
}

// Message catalogs: opening and its checks, sharing, lookups, pseudo-ids,
// the leading field, the fallback text and cmGetError.
#include <stdlib.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "orvane/catalog.h"
#include "orvane/nls.h"
#include "support/test_support.h"
#include "test_catalog_files.h"
#include "test_nls_helpers.h"

namespace {

using cattest::Message;

std::string take(char *text) {
  std::string s = text != nullptr ? text : "<null>";
  free(text);
  return s;
}

class Catalog : public ::testing::Test {
 protected:
  void SetUp() override {
    testsupport::useScratchProfileDir();
    nlstest::LanguageSetting setting("enu");
    ASSERT_EQ(0, nlstest::initWith(nlstest::shippedTable()).status);
    dir_ = testsupport::makeScratchDir("catalog");
  }
  void TearDown() override {
    for (cmCatalog *c : open_) {
      cmCloseCatalog(c);
    }
    nlsTerminate();
    testsupport::removeTree(dir_);
  }
  std::string write(const std::string &name, const std::string &bytes) {
    const std::string path = dir_ + testsupport::kSep + name;
    testsupport::writeFile(path, bytes);
    return path;
  }
  // Opens and remembers the catalog for closing.
  int open(const std::string &path, cmCatalog **out = nullptr) {
    cmCatalog *c = nullptr;
    const int rc = cmOpenCatalog(&c, path.c_str());
    if (rc == 0) {
      open_.push_back(c);
    } else {
      EXPECT_EQ(nullptr, c);
    }
    if (out != nullptr) {
      *out = c;
    }
    return rc;
  }
  std::string dir_;
  std::vector<cmCatalog *> open_;
};

const std::vector<Message> kMessages = {
    {0x00100001, u"lead, ABC-E-0001, Disk full"},
    {0x00100002, u"x, Cannot open &"},
    {0x00100004, u"no comma"},
    {0x00100005, u"lead, caf\u00e9"},
    {0x00180003, u"keep, the lead"},
    {0x00700006, u"lead, ABC-I-0006, Whole text"},
};

TEST_F(Catalog, OpensAndFindsMessages) {
  ASSERT_EQ(0, open(write("a.cat", cattest::simple(kMessages))));
  EXPECT_EQ("ABC-E-0001, Disk full", take(cmGetRawMessage(0x00100001)));
  EXPECT_EQ("Cannot open &", take(cmGetRawMessage(0x00100002)));
}

TEST_F(Catalog, LeadingFieldKeptWithBit80000) {
  ASSERT_EQ(0, open(write("a.cat", cattest::simple(kMessages))));
  EXPECT_EQ("keep, the lead", take(cmGetRawMessage(0x00180003)));
}

TEST_F(Catalog, TextWithoutCommaLosesItsFirstCharacter) {
  ASSERT_EQ(0, open(write("a.cat", cattest::simple(kMessages))));
  EXPECT_EQ("o comma", take(cmGetRawMessage(0x00100004)));
}

TEST_F(Catalog, TextComesInTheCurrentCharacterSet) {
  ASSERT_EQ(0, open(write("a.cat", cattest::simple(kMessages))));
  EXPECT_EQ("caf\xe9", take(cmGetRawMessage(0x00100005)));
}

// A catalog keeps the texts it has made in the current character set; a
// new language with another set must give texts in that set, and the old
// language its texts again, while the catalog stays open throughout.
TEST_F(Catalog, TextsFollowTheCharacterSetAcrossLanguages) {
  ASSERT_EQ(0, open(write("a.cat", cattest::simple({{0x100, u"l, \u30a2"}, {0x101, u"l, caf\u00e9"}}))));
  EXPECT_EQ("caf\xe9", take(cmGetRawMessage(0x101)));
  EXPECT_EQ("caf\xe9", take(cmGetRawMessage(0x101)));
  const std::string inLatin1 = take(cmGetRawMessage(0x100));
  EXPECT_NE("\x83\x41", inLatin1);
  nlsTerminate();
  {
    nlstest::LanguageSetting japanese("jpn");
    ASSERT_EQ(0, nlstest::initWith(nlstest::shippedTable()).status);
    EXPECT_EQ("\x83\x41", take(cmGetRawMessage(0x100)));
    EXPECT_EQ("\x83\x41", take(cmGetRawMessage(0x100)));
    nlsTerminate();
  }
  for (int round = 0; round < 6; ++round) {
    // More changes of set than the catalog keeps tables for: the texts stay
    // right when it converts them on each call.
    nlstest::LanguageSetting english("enu");
    ASSERT_EQ(0, nlstest::initWith(nlstest::shippedTable()).status);
    EXPECT_EQ("caf\xe9", take(cmGetRawMessage(0x101)));
    EXPECT_EQ(inLatin1, take(cmGetRawMessage(0x100)));
    if (round < 5) {
      nlsTerminate();
    }
  }
}

TEST_F(Catalog, CommaAtTheEndGivesAnEmptyText) {
  ASSERT_EQ(0, open(write("a.cat", cattest::simple({{0x20, u"lead,"}, {0x21, u","}, {0x22, u""}}))));
  EXPECT_EQ("", take(cmGetRawMessage(0x20)));
  EXPECT_EQ("", take(cmGetRawMessage(0x21)));
  EXPECT_EQ("", take(cmGetRawMessage(0x22)));
}

TEST_F(Catalog, OpeningTwiceSharesTheRecordUntilBothClose) {
  const std::string path = write("a.cat", cattest::simple(kMessages));
  cmCatalog *first = nullptr;
  cmCatalog *second = nullptr;
  ASSERT_EQ(0, cmOpenCatalog(&first, path.c_str()));
  ASSERT_EQ(0, cmOpenCatalog(&second, path.c_str()));
  EXPECT_EQ(first, second);
  EXPECT_EQ(0, cmCloseCatalog(first));
  EXPECT_EQ("Cannot open &", take(cmGetRawMessage(0x00100002)));
  EXPECT_EQ(0, cmCloseCatalog(second));
  EXPECT_EQ("MSG: 100002", take(cmGetRawMessage(0x00100002)));
}

TEST_F(Catalog, CloseAcceptsNull) { EXPECT_EQ(0, cmCloseCatalog(nullptr)); }

TEST_F(Catalog, SizeFieldOneMoreThanTheFileIsDamaged) {
  std::string bytes = cattest::simple(kMessages);
  cattest::set32(bytes, 0, static_cast<uint32_t>(bytes.size() + 1));
  EXPECT_EQ(CM_ERR_DAMAGED, open(write("a.cat", bytes)));
}

TEST_F(Catalog, ChecksumMismatchIsDamaged) {
  std::string bytes = cattest::simple(kMessages);
  bytes[bytes.size() - 1] ^= 0x01;
  EXPECT_EQ(CM_ERR_DAMAGED, open(write("a.cat", bytes)));
  std::string header = cattest::simple(kMessages);
  header[5] ^= 0x01;  // the unused high half of the checksum field is not compared
  EXPECT_EQ(0, open(write("b.cat", header)));
  header = cattest::simple(kMessages);
  header[7] ^= 0x01;
  EXPECT_EQ(CM_ERR_DAMAGED, open(write("c.cat", header)));
}

TEST_F(Catalog, MissingFileIsNotFound) {
  EXPECT_EQ(CM_ERR_NOT_FOUND, open(dir_ + testsupport::kSep + "none.cat"));
  cmCatalog *c = reinterpret_cast<cmCatalog *>(1);
  EXPECT_EQ(CM_ERR_NOT_FOUND, cmOpenCatalog(&c, nullptr));
  EXPECT_EQ(nullptr, c);
}

TEST_F(Catalog, TitleAndVersionRecordsCutShort) {
  // A title longer than the file: 2. A version record cut short: 5.
  std::string bytes = cattest::simple({});
  cattest::set32(bytes, 8, 0x1000);
  cattest::seal(bytes);
  EXPECT_EQ(CM_ERR_SHORT_READ, open(write("a.cat", bytes)));
  bytes = cattest::simple({});
  const size_t v1Text = 12 + 12 * 2 + 12;  // units field of version record 1
  cattest::set32(bytes, v1Text, 0x1000);
  cattest::seal(bytes);
  EXPECT_EQ(CM_ERR_BAD_VERSION, open(write("b.cat", bytes)));
  std::string header;
  cattest::put32(header, 0);
  cattest::put32(header, 0);
  cattest::put32(header, 0);
  cattest::put32(header, 1);  // version record with one number only
  cattest::seal(header);
  EXPECT_EQ(CM_ERR_BAD_VERSION, open(write("c.cat", header)));
}

// Every damage of the index gives 9.
TEST_F(Catalog, DamagedIndexIsRejected) {
  const std::u16string title = u"Test catalog";
  const cattest::Version v1{1, 2, 3, u"first"};
  const cattest::Version v2{4, 5, 6, u"second"};
  const size_t index = cattest::indexOffset(title, v1, v2);
  const std::vector<Message> two = {{0x100, u"a, one"}, {0x200, u"a, two"}};
  int n = 0;
  auto expectDamaged = [&](std::string bytes, const char *what) {
    cattest::seal(bytes);
    EXPECT_EQ(CM_ERR_DAMAGED, open(write("d" + std::to_string(n++) + ".cat", bytes))) << what;
  };
  // Ids not ascending, and equal ids.
  expectDamaged(cattest::simple({{0x200, u"a, one"}, {0x100, u"a, two"}}), "descending ids");
  expectDamaged(cattest::simple({{0x100, u"a, one"}, {0x100, u"a, two"}}), "equal ids");
  std::string bytes = cattest::simple(two);
  // Offsets not ascending: swap the two offsets.
  {
    std::string b = bytes;
    const std::string o1 = b.substr(index + 4, 4);
    const std::string o2 = b.substr(index + 12, 4);
    b.replace(index + 4, 4, o2);
    b.replace(index + 12, 4, o1);
    expectDamaged(b, "descending offsets");
  }
  {
    std::string b = bytes;
    cattest::set32(b, index + 4, static_cast<uint32_t>(index));  // into the header (the index)
    expectDamaged(b, "offset into the header");
  }
  {
    std::string b = bytes;
    cattest::set32(b, index + 12, static_cast<uint32_t>(b.size() + 2));
    expectDamaged(b, "offset past the end");
  }
  {
    std::string b = bytes;
    cattest::set32(b, index + 12, static_cast<uint32_t>(b.size() - 3));  // odd lengths
    expectDamaged(b, "odd length");
  }
  {
    std::string b = bytes;
    cattest::set32(b, index - 4, 0x10000000);  // a count beyond the file
    expectDamaged(b, "count");
  }
  // Nothing was left behind: no catalog answers.
  EXPECT_EQ("MSG: 100", take(cmGetRawMessage(0x100)));
}

TEST_F(Catalog, EveryTruncationIsRejectedCleanly) {
  const std::string bytes = cattest::simple(kMessages);
  const size_t lastText = bytes.size() - kMessages.back().text.size() * 2;
  for (size_t cut = 0; cut < bytes.size(); ++cut) {
    // Cut as it is: the size field no longer matches.
    const std::string part = bytes.substr(0, cut);
    cmCatalog *c = nullptr;
    EXPECT_EQ(CM_ERR_DAMAGED, cmOpenCatalog(&c, write("t.cat", part).c_str())) << cut;
    EXPECT_EQ(nullptr, c);
    // Cut with the size and checksum made to fit: only a cut inside the
    // last message's text, at an even length, is still a catalog.
    if (cut < 8) {
      continue;
    }
    std::string sealed = part;
    cattest::seal(sealed);
    const int rc = cmOpenCatalog(&c, write("t.cat", sealed).c_str());
    if (rc == 0) {
      EXPECT_GE(cut, lastText);
      EXPECT_EQ(0u, (cut - lastText) % 2);
      for (const Message &m : kMessages) {
        free(cmGetRawMessage(m.id));
      }
      cmCloseCatalog(c);
    } else {
      EXPECT_TRUE(rc == CM_ERR_DAMAGED || rc == CM_ERR_SHORT_READ || rc == CM_ERR_BAD_VERSION)
          << cut << " " << rc;
      EXPECT_EQ(nullptr, c);
    }
  }
  EXPECT_EQ("MSG: 3", take(cmGetRawMessage(3)));
}

TEST_F(Catalog, PseudoIdsDescribeTheCatalog) {
  const std::string bytes = cattest::build(u"Title \u00e9", cattest::Version{10, 20, 30, u"one"},
                                           cattest::Version{40, 50, 60, u"two"}, kMessages);
  const std::string path = write("p.cat", bytes);
  ASSERT_EQ(0, open(path));
  char crc[8];
  snprintf(crc, sizeof crc, "%X", cattest::crcArc(bytes, 8));
  EXPECT_EQ(std::to_string(bytes.size()), take(cmGetRawMessage(1)));
  EXPECT_EQ(crc, take(cmGetRawMessage(2)));
  EXPECT_EQ("Title \xe9", take(cmGetRawMessage(3)));
  EXPECT_EQ("10", take(cmGetRawMessage(4)));
  EXPECT_EQ("20", take(cmGetRawMessage(5)));
  EXPECT_EQ("30", take(cmGetRawMessage(6)));
  EXPECT_EQ("one", take(cmGetRawMessage(7)));
  EXPECT_EQ("40", take(cmGetRawMessage(8)));
  EXPECT_EQ("50", take(cmGetRawMessage(9)));
  EXPECT_EQ("60", take(cmGetRawMessage(10)));
  EXPECT_EQ("two", take(cmGetRawMessage(11)));
  EXPECT_EQ("6", take(cmGetRawMessage(12)));
  EXPECT_EQ(path, take(cmGetRawMessage(13)));
}

TEST_F(Catalog, Id12IsTheCountWhateverTheFileHolds) {
  ASSERT_EQ(0, open(write("a.cat", cattest::simple({{5, u"l, five"}, {12, u"l, twelve"}, {0x30, u"l, x"}}))));
  EXPECT_EQ("3", take(cmGetRawMessage(12)));
}

TEST_F(Catalog, UnknownIdGivesMsgAndLowerCaseHex) {
  EXPECT_EQ("MSG: abcdef12", take(cmGetRawMessage(0xABCDEF12)));
  ASSERT_EQ(0, open(write("a.cat", cattest::simple(kMessages))));
  EXPECT_EQ("MSG: fedcba", take(cmGetRawMessage(0xFEDCBA)));
}

TEST_F(Catalog, MostRecentlyOpenedCatalogWins) {
  ASSERT_EQ(0, open(write("a.cat", cattest::simple({{0x40, u"l, from a"}, {0x41, u"l, only a"}}))));
  ASSERT_EQ(0, open(write("b.cat", cattest::simple({{0x40, u"l, from b"}}))));
  EXPECT_EQ("from b", take(cmGetRawMessage(0x40)));
  EXPECT_EQ("only a", take(cmGetRawMessage(0x41)));
  EXPECT_NE(std::string::npos, take(cmGetRawMessage(13)).find("b.cat"));
}

TEST_F(Catalog, NameGoesThroughTheSettings) {
  const std::string path = write("s.cat", cattest::simple(kMessages));
  testsupport::setEnv("ORVTESTCATALOG", path);
  EXPECT_EQ(0, open("ORVTESTCATALOG"));
  testsupport::unsetEnv("ORVTESTCATALOG");
  EXPECT_EQ(path, take(cmGetRawMessage(13)));
}

TEST_F(Catalog, NameIsRetriedInTheExecutablesDirectory) {
  std::string exe = testsupport::executablePath();
  const std::string exeDir = exe.substr(0, exe.find_last_of("/\\") + 1);
  const std::string name = "orvtest_exedir.cat";
  testsupport::writeFile(exeDir + name, cattest::simple(kMessages));
  EXPECT_EQ(0, open(name));
  EXPECT_EQ("ABC-E-0001, Disk full", take(cmGetRawMessage(0x00100001)));
  for (cmCatalog *c : open_) {
    cmCloseCatalog(c);
  }
  open_.clear();
  remove((exeDir + name).c_str());
}

TEST_F(Catalog, GetErrorFallsBackWithoutTheServicesCatalog) {
  // Whatever catalog answers, each code has a text; a code without its own
  // text shares the "other" one.
  EXPECT_EQ(take(cmGetError(5)), take(cmGetError(77)));
  EXPECT_EQ(take(cmGetRawMessage(CM_MSG_DAMAGED)), take(cmGetError(9)));
  EXPECT_EQ(take(cmGetRawMessage(CM_MSG_NO_ERROR)), take(cmGetError(0)));
}

}  // namespace

namespace {

// Before language support is initialised the built-in single-byte set
// stands in for the current one.
TEST(CatalogWithoutLanguageSupport, TextsComeInTheBuiltInSet) {
  const std::string dir = testsupport::makeScratchDir("catnonls");
  const std::string path = dir + testsupport::kSep + "a.cat";
  testsupport::writeFile(path, cattest::simple({{0x100, u"l, caf\u00e9"}, {0x101, u"l, "}}));
  cmCatalog *c = nullptr;
  ASSERT_EQ(0, cmOpenCatalog(&c, path.c_str()));
  EXPECT_EQ("caf\xe9", take(cmGetRawMessage(0x100)));
  EXPECT_EQ("", take(cmGetRawMessage(0x101)));
  EXPECT_EQ("Test catalog", take(cmGetRawMessage(3)));
  EXPECT_EQ("MSG: 102", take(cmGetRawMessage(0x102)));
  cmCloseCatalog(c);
  testsupport::removeTree(dir);
}

}  // namespace

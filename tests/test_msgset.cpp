// Message sets: building messages with tagged parameters, placeholders,
// stack and queue order, statuses, the alternate source.
#include <stdlib.h>

#include <string>

#include <gtest/gtest.h>

#include "orvane/catalog.h"
#include "orvane/charsets.h"
#include "orvane/msgset.h"
#include "orvane/nls.h"
#include "orvane/strings.h"
#include "support/test_support.h"
#include "test_catalog_files.h"
#include "test_nls_helpers.h"

namespace {

std::string native(orvString *s) {
  if (s == nullptr) {
    return "<null>";
  }
  char *t = orvStringNative(s);
  std::string out = t != nullptr ? t : "<null>";
  free(t);
  orvStringDestroy(s);
  return out;
}

class MsgSet : public ::testing::Test {
 protected:
  void SetUp() override {
    testsupport::useScratchProfileDir();
    nlstest::LanguageSetting setting("enu");
    ASSERT_EQ(0, nlstest::initWith(nlstest::shippedTable()).status);
    dir_ = testsupport::makeScratchDir("msgset");
    path_ = dir_ + testsupport::kSep + "m.cat";
    testsupport::writeFile(path_, cattest::simple({
                                      {0x100, u"x, Cannot open \u00011"},
                                      {0x101, u"x, \u00012 and \u00011 and \u00013"},
                                      {0x102, u"x, Plain"},
                                      {0x103, u"x, \u00010 and \u0001x and \u0001"},
                                      {0x104, u"x, <\u00011>"},
                                  }));
    set_ = orvMessageSetCreateNLS(path_.c_str());
    ASSERT_NE(nullptr, set_);
    ASSERT_EQ(0u, orvMessageSetGetStatus(set_));
  }
  void TearDown() override {
    orvMessageSetDestroy(set_);
    nlsTerminate();
    testsupport::removeTree(dir_);
  }
  std::string pop() { return native(orvMessageSetPop(set_)); }
  std::string dir_, path_;
  orvMessageSet *set_ = nullptr;
};

TEST_F(MsgSet, CatalogTextWithOneStringParameter) {
  EXPECT_EQ(1, orvMessageSetPush(set_, 0x100, ORV_MSG_TEXT, "x.dat", ORV_MSG_END));
  EXPECT_EQ(0u, orvMessageSetGetStatus(set_));
  EXPECT_EQ("Cannot open x.dat", pop());
}

TEST_F(MsgSet, LiteralIdTakesItsTextFromTheFirstParameter) {
  orvString *literal = orvStringCreate(ORV_CHARSET_ASCII,
                                       "Value \x01"
                                       "1");
  orvMessageSetPush(set_, ORV_MSG_LITERAL, ORV_MSG_STRING, literal, ORV_MSG_INT, 42, ORV_MSG_END);
  orvStringDestroy(literal);
  EXPECT_EQ("Value 42", pop());
}

TEST_F(MsgSet, PlaceholderBeyondTheParametersStays) {
  orvMessageSetPush(set_, 0x101, ORV_MSG_INT, 1, ORV_MSG_INT, 2, ORV_MSG_END);
  EXPECT_EQ(
      "2 and 1 and \x01"
      "3",
      pop());
}

TEST_F(MsgSet, PushIsLastInFirstOutAndAddLastFirstInFirstOut) {
  orvMessageSetPush(set_, ORV_MSG_LITERAL, ORV_MSG_TEXT, "A", ORV_MSG_END);
  orvMessageSetPush(set_, ORV_MSG_LITERAL, ORV_MSG_TEXT, "B", ORV_MSG_END);
  EXPECT_EQ(2u, orvMessageSetCount(set_));
  EXPECT_EQ("B", pop());
  EXPECT_EQ("A", pop());
  orvMessageSetAddLast(set_, ORV_MSG_LITERAL, ORV_MSG_TEXT, "A", ORV_MSG_END);
  orvMessageSetAddLast(set_, ORV_MSG_LITERAL, ORV_MSG_TEXT, "B", ORV_MSG_END);
  EXPECT_EQ("A", pop());
  EXPECT_EQ("B", pop());
  EXPECT_EQ(0u, orvMessageSetCount(set_));
}

TEST_F(MsgSet, UnknownIdGivesUpperCaseHexAndStatus15) {
  orvMessageSetPush(set_, 0xABCDEF, ORV_MSG_INT, 1, ORV_MSG_END);
  EXPECT_EQ(15u, orvMessageSetGetStatus(set_));
  EXPECT_EQ("ABCDEF", pop());
  orvMessageSetPush(set_, 0x102, ORV_MSG_END);
  EXPECT_EQ(0u, orvMessageSetGetStatus(set_));
}

TEST_F(MsgSet, PopOfAnEmptySetGivesStatus8) {
  EXPECT_EQ(nullptr, orvMessageSetPop(set_));
  EXPECT_EQ(8u, orvMessageSetGetStatus(set_));
  EXPECT_EQ(nullptr, orvMessageSetPopNLS(set_));
  EXPECT_EQ(8u, orvMessageSetGetStatus(set_));
}

TEST_F(MsgSet, EveryParameterTag) {
  orvString *s = orvStringCreate(ORV_CHARSET_ASCII, "str");
  orvMessageSetPush(set_, ORV_MSG_LITERAL, ORV_MSG_TEXT,
                    "\x01"
                    "1|\x01"
                    "2|\x01"
                    "3|\x01"
                    "4|\x01"
                    "5|\x01"
                    "6|\x01"
                    "7",
                    ORV_MSG_INT, -7, ORV_MSG_HEX, 0xBEEF, ORV_MSG_DOUBLE, 2.5, ORV_MSG_STRING, s,
                    ORV_MSG_TEXT, "caf\xe9", ORV_MSG_ID, 0x102u, ORV_MSG_ID, 0x999u, ORV_MSG_END);
  orvStringDestroy(s);
  EXPECT_EQ(0u, orvMessageSetGetStatus(set_));
  char *text = orvMessageSetPopNLS(set_);
  ASSERT_NE(nullptr, text);
  EXPECT_STREQ("-7|BEEF|2.5|str|caf\xe9|Plain|999", text);
  free(text);
}

TEST_F(MsgSet, TenthParameterIsIgnored) {
  orvMessageSetPush(set_, ORV_MSG_LITERAL, ORV_MSG_TEXT,
                    "\x01"
                    "9",
                    ORV_MSG_INT, 1, ORV_MSG_INT, 2, ORV_MSG_INT, 3, ORV_MSG_INT, 4, ORV_MSG_INT, 5,
                    ORV_MSG_INT, 6, ORV_MSG_INT, 7, ORV_MSG_INT, 8, ORV_MSG_INT, 9, ORV_MSG_END);
  // The literal is the first of the nine: "\x01" "9" has only eight after it.
  EXPECT_EQ(
      "\x01"
      "9",
      pop());
  orvMessageSetPush(set_, ORV_MSG_LITERAL, ORV_MSG_TEXT,
                    "\x01"
                    "8",
                    ORV_MSG_INT, 1, ORV_MSG_INT, 2, ORV_MSG_INT, 3, ORV_MSG_INT, 4, ORV_MSG_INT, 5,
                    ORV_MSG_INT, 6, ORV_MSG_INT, 7, ORV_MSG_INT, 8, ORV_MSG_INT, 9, ORV_MSG_END);
  EXPECT_EQ("8", pop());
}

TEST_F(MsgSet, ZeroAndOtherUnitsAfterUnit1AreNotPlaceholders) {
  orvMessageSetPush(set_, 0x103, ORV_MSG_TEXT, "p", ORV_MSG_END);
  EXPECT_EQ(
      "\x01"
      "0 and \x01x and \x01",
      pop());
}

TEST_F(MsgSet, WithoutParametersTheTextStaysAsItIs) {
  orvMessageSetPush(set_, 0x100, ORV_MSG_END);
  EXPECT_EQ(
      "Cannot open \x01"
      "1",
      pop());
}

TEST_F(MsgSet, InsertedTextIsScannedOnlyAtItsLastUnit) {
  // The parameter ends in unit 1: with the "1" after it in the template,
  // it forms a placeholder again. An earlier unit 1 of it stays.
  orvMessageSetPush(set_, ORV_MSG_LITERAL, ORV_MSG_TEXT,
                    "\x01"
                    "2"
                    "1",
                    ORV_MSG_TEXT,
                    "[\x01"
                    "1]",
                    ORV_MSG_TEXT, "a\x01", ORV_MSG_END);
  EXPECT_EQ(
      "a[\x01"
      "1]",
      pop());
}

TEST_F(MsgSet, LeadingFieldAndPseudoIds) {
  orvMessageSetPush(set_, 0x104 | 0x80000, ORV_MSG_END);
  EXPECT_EQ(15u, orvMessageSetGetStatus(set_));  // 0x80104 is not in the catalog
  pop();
  orvMessageSetPush(set_, 12, ORV_MSG_END);
  EXPECT_EQ("5", pop());
  orvMessageSetPush(set_, 3, ORV_MSG_END);
  EXPECT_EQ("Test catalog", pop());
}

TEST_F(MsgSet, ResetEmptiesAndClearsTheStatus) {
  orvMessageSetPush(set_, 0x999, ORV_MSG_END);
  EXPECT_EQ(15u, orvMessageSetGetStatus(set_));
  EXPECT_EQ(1, orvMessageSetReset(set_));
  EXPECT_EQ(0u, orvMessageSetCount(set_));
  EXPECT_EQ(0u, orvMessageSetGetStatus(set_));
}

orvString *goodSource(uint32_t id) {
  if (id == 0) {
    return orvStringCreate(ORV_CHARSET_ASCII, ORV_MSG_SOURCE_HANDSHAKE);
  }
  if (id == 0x555) {
    return orvStringCreate(ORV_CHARSET_ASCII,
                           "from the source \x01"
                           "1");
  }
  return nullptr;
}

orvString *wrongAnswer(uint32_t) { return orvStringCreate(ORV_CHARSET_ASCII, "Alternate message source OK"); }
orvString *noAnswer(uint32_t) { return nullptr; }

TEST_F(MsgSet, AlternateSourceHandshake) {
  EXPECT_EQ(0, orvMessageSetAlternateSource(set_, nullptr));
  EXPECT_EQ(0, orvMessageSetAlternateSource(set_, wrongAnswer));
  EXPECT_EQ(0, orvMessageSetAlternateSource(set_, noAnswer));
  orvMessageSetPush(set_, 0x555, ORV_MSG_END);
  EXPECT_EQ(15u, orvMessageSetGetStatus(set_));
  EXPECT_EQ("555", pop());
  EXPECT_EQ(1, orvMessageSetAlternateSource(set_, goodSource));
  EXPECT_EQ(0, orvMessageSetAlternateSource(set_, wrongAnswer));  // keeps goodSource
  orvMessageSetPush(set_, 0x555, ORV_MSG_INT, 3, ORV_MSG_END);
  EXPECT_EQ(0u, orvMessageSetGetStatus(set_));
  EXPECT_EQ("from the source 3", pop());
  // The catalog comes first.
  orvMessageSetPush(set_, 0x102, ORV_MSG_END);
  EXPECT_EQ("Plain", pop());
  orvMessageSetPush(set_, 0x556, ORV_MSG_END);
  EXPECT_EQ(15u, orvMessageSetGetStatus(set_));
  EXPECT_EQ("556", pop());
}

TEST_F(MsgSet, SetStaysUsableWhenItsCatalogFailsToOpen) {
  orvMessageSet *lost = orvMessageSetCreateNLS((dir_ + testsupport::kSep + "missing.cat").c_str());
  ASSERT_NE(nullptr, lost);
  EXPECT_EQ(3u, orvMessageSetGetStatus(lost));
  orvMessageSetAddLast(lost, 0x100, ORV_MSG_TEXT, "x", ORV_MSG_END);
  EXPECT_EQ(15u, orvMessageSetGetStatus(lost));
  EXPECT_EQ(1, orvMessageSetAlternateSource(lost, goodSource));
  orvMessageSetAddLast(lost, 0x555, ORV_MSG_TEXT, "y", ORV_MSG_END);
  EXPECT_EQ(0u, orvMessageSetGetStatus(lost));
  EXPECT_EQ("100", native(orvMessageSetPop(lost)));
  EXPECT_EQ("from the source y", native(orvMessageSetPop(lost)));
  orvMessageSetDestroy(lost);

  std::string damaged = cattest::simple({});
  damaged[damaged.size() - 1] ^= 1;
  testsupport::writeFile(dir_ + testsupport::kSep + "bad.cat", damaged);
  orvString *name = orvStringCreate(ORV_CHARSET_ASCII, (dir_ + testsupport::kSep + "bad.cat").c_str());
  lost = orvMessageSetCreate(name);
  orvStringDestroy(name);
  ASSERT_NE(nullptr, lost);
  EXPECT_EQ(9u, orvMessageSetGetStatus(lost));
  orvMessageSetDestroy(lost);
}

TEST_F(MsgSet, SetsShareTheirCatalog) {
  orvMessageSet *other = orvMessageSetCreateNLS(path_.c_str());
  ASSERT_NE(nullptr, other);
  orvMessageSetDestroy(other);  // the first set still has the catalog
  orvMessageSetPush(set_, 0x102, ORV_MSG_END);
  EXPECT_EQ("Plain", pop());
}

TEST_F(MsgSet, NullSetsAreRefused) {
  EXPECT_EQ(0, orvMessageSetPush(nullptr, 1, ORV_MSG_END));
  EXPECT_EQ(0, orvMessageSetAddLast(nullptr, 1, ORV_MSG_END));
  EXPECT_EQ(nullptr, orvMessageSetPop(nullptr));
  EXPECT_EQ(0, orvMessageSetReset(nullptr));
  orvMessageSetDestroy(nullptr);
}

}  // namespace

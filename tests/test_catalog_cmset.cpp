// The cm message set: capacity rules, parameters, part selection, cursor.
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

class CmSet : public ::testing::Test {
 protected:
  void SetUp() override {
    testsupport::useScratchProfileDir();
    nlstest::LanguageSetting setting("enu");
    ASSERT_EQ(0, nlstest::initWith(nlstest::shippedTable()).status);
    dir_ = testsupport::makeScratchDir("cmset");
    const std::string path = dir_ + testsupport::kSep + "m.cat";
    testsupport::writeFile(path, cattest::simple({
                                     {0x00100001, u"lead, ABC-E-0001, Disk full"},
                                     {0x00100002, u"x, Cannot open &"},
                                     {0x00100003, u"x, & of &"},
                                     {0x00100004, u"x, &2 before &1"},
                                     {0x00100005, u"x, Item"},
                                     {0x00100008, u"x, no dash here"},
                                     {0x00100009, u"x, A-B, only two"},
                                     {0x00700006, u"lead, ABC-I-0006, Whole text"},
                                     {0x00800007, u"lead, ABC-I-0007, Whole too"},
                                 }));
    ASSERT_EQ(0, cmOpenCatalog(&catalog_, path.c_str()));
    ASSERT_EQ(0, cmCreateMsgSet(&set_, 5));
  }
  void TearDown() override {
    cmDestroyMsgSet(set_);
    cmCloseCatalog(catalog_);
    nlsTerminate();
    testsupport::removeTree(dir_);
  }
  std::string next(uint32_t parts = CM_PARTS_ALL, int *rc = nullptr, uint32_t *a = nullptr,
                   uint32_t *b = nullptr) {
    char *text = nullptr;
    const int r = cmGetMessage(set_, parts, &text, a, b);
    if (rc != nullptr) {
      *rc = r;
    }
    std::string s = text != nullptr ? text : "<null>";
    free(text);
    return s;
  }
  std::string dir_;
  cmCatalog *catalog_ = nullptr;
  cmMsgSet *set_ = nullptr;
};

TEST_F(CmSet, PartSelection) {
  ASSERT_EQ(0, cmAddMsgLast(set_, 0x00100001));
  EXPECT_EQ("Disk full", next(CM_PART_D));
  cmResetCursor(set_);
  EXPECT_EQ("ABC-E", next(6));
  cmResetCursor(set_);
  EXPECT_EQ("ABC-E-0001, Disk full", next(15));
  cmResetCursor(set_);
  EXPECT_EQ("ABC-0001, Disk full", next(CM_PART_A | CM_PART_C | CM_PART_D));
  cmResetCursor(set_);
  EXPECT_EQ("E-0001", next(CM_PART_B | CM_PART_C));
  cmResetCursor(set_);
  EXPECT_EQ("", next(0));
}

TEST_F(CmSet, Kinds7And8AreWhole) {
  cmAddMsgLast(set_, 0x00700006);
  cmAddMsgLast(set_, 0x00800007);
  EXPECT_EQ("ABC-I-0006, Whole text", next(CM_PART_D));
  EXPECT_EQ("ABC-I-0007, Whole too", next(CM_PART_D));
}

TEST_F(CmSet, PartsOfTextsWithoutEveryField) {
  cmAddMsgLast(set_, 0x00100008);
  cmAddMsgLast(set_, 0x00100009);
  EXPECT_EQ("no dash here", next(CM_PART_A));
  // The split stops at the first separator that is missing: "B, only two"
  // is all B, and D is empty.
  EXPECT_EQ("", next(CM_PART_D));
  // Joiners of parts that are missing still come.
  cmAddMsgLast(set_, 0x00100008);
  cmAddMsgLast(set_, 0x00100008);
  EXPECT_EQ("no dash here-, ", next(CM_PART_A | CM_PART_C | CM_PART_D));
  EXPECT_EQ("no dash here--", next(CM_PART_A | CM_PART_B | CM_PART_C));
}

TEST_F(CmSet, CapacityTwoKeepsTheFirstTwoOfThreeAddedLast) {
  cmMsgSet *small = nullptr;
  ASSERT_EQ(0, cmCreateMsgSet(&small, 2));
  EXPECT_EQ(0, cmAddMsgLast(small, 0x00100005));
  EXPECT_EQ(0, cmAddString(small, "unused", 1, 0, 0));
  cmResetMsgSet(small);
  EXPECT_EQ(0, cmAddStringLast(small, "one", 1, 0, 0));
  EXPECT_EQ(0, cmAddStringLast(small, "two", 2, 0, 0));
  EXPECT_EQ(0, cmAddStringLast(small, "three", 3, 0, 0));
  EXPECT_EQ(2u, cmCount(small));
  char *t = nullptr;
  ASSERT_EQ(0, cmGetMessage(small, 15, &t, nullptr, nullptr));
  EXPECT_STREQ("one", t);
  free(t);
  ASSERT_EQ(0, cmGetMessage(small, 15, &t, nullptr, nullptr));
  EXPECT_STREQ("two", t);
  free(t);
  EXPECT_EQ(CM_ERR_NO_MORE, cmGetMessage(small, 15, &t, nullptr, nullptr));
  EXPECT_EQ(nullptr, t);
  cmDestroyMsgSet(small);
}

TEST_F(CmSet, CapacityTwoWithCatalogMessagesAddedLast) {
  cmMsgSet *small = nullptr;
  ASSERT_EQ(0, cmCreateMsgSet(&small, 0));  // below 2 becomes 2
  cmAddMsgLast(small, 0x00100001);
  cmAddMsgLast(small, 0x00100005);
  cmAddStringParm(small, "dropped with its message");
  EXPECT_EQ(0, cmAddMsgLast(small, 0x00100002));
  EXPECT_EQ(2u, cmCount(small));
  EXPECT_EQ(0x00100001u, cmGetMessageId(small));
  cmDestroyMsgSet(small);
}

TEST_F(CmSet, AddInFrontOfAFullSetDropsTheLast) {
  cmMsgSet *small = nullptr;
  ASSERT_EQ(0, cmCreateMsgSet(&small, 2));
  cmAddString(small, "one", 1, 0, 0);
  cmAddString(small, "two", 2, 0, 0);
  cmAddMsg(small, 0x00100005);
  EXPECT_EQ(2u, cmCount(small));
  char *t = nullptr;
  ASSERT_EQ(0, cmGetMessage(small, 15, &t, nullptr, nullptr));
  EXPECT_STREQ("Item", t);
  free(t);
  ASSERT_EQ(0, cmGetMessage(small, 15, &t, nullptr, nullptr));
  EXPECT_STREQ("two", t);
  free(t);
  cmDestroyMsgSet(small);
}

TEST_F(CmSet, StringEntriesCarryTheirValues) {
  cmAddStringLast(set_, "literal - text, kept", 77, 5, 6);
  cmAddMsgLast(set_, 0x00100005);
  uint32_t a = 9, b = 9;
  EXPECT_EQ("literal - text, kept", next(CM_PART_D, nullptr, &a, &b));
  EXPECT_EQ(5u, a);
  EXPECT_EQ(6u, b);
  EXPECT_EQ("Item", next(15, nullptr, &a, &b));
  EXPECT_EQ(0u, a);
  EXPECT_EQ(0u, b);
  EXPECT_EQ(77u, cmGetMessageId(set_));
}

TEST_F(CmSet, ParametersOfEachKind) {
  cmAddStringParm(set_, "x.dat");
  cmAddMsgLast(set_, 0x00100002);
  cmAddNumericParm(set_, -42);
  cmAddMsgParm(set_, 0x00100005);
  cmAddMsgLast(set_, 0x00100003);
  cmAddStringParm(set_, "first");
  cmAddStringParm(set_, "second");
  cmAddMsgLast(set_, 0x00100004);
  EXPECT_EQ("Cannot open x.dat", next());
  EXPECT_EQ("-42 of Item", next());
  EXPECT_EQ("second before first", next());
}

TEST_F(CmSet, MarkersBeyondTheParametersStay) {
  cmAddNumericParm(set_, 1);
  cmAddMsgLast(set_, 0x00100003);
  EXPECT_EQ("1 of &", next());
}

TEST_F(CmSet, EleventhParameterIsIgnored) {
  for (int i = 0; i < 11; ++i) {
    EXPECT_EQ(0, cmAddNumericParm(set_, i));
  }
  EXPECT_EQ(0, cmAddStringParm(set_, "twelfth"));
  cmAddMsgLast(set_, 0x00100002);
  EXPECT_EQ("Cannot open 0", next());
}

TEST_F(CmSet, StringEntryReleasesPendingParameters) {
  cmAddStringParm(set_, "lost");
  cmAddStringLast(set_, "text", 1, 0, 0);
  cmAddMsgLast(set_, 0x00100002);
  EXPECT_EQ("text", next());
  EXPECT_EQ("Cannot open &", next());
}

TEST_F(CmSet, CursorResetAndEnd) {
  int rc = -1;
  EXPECT_EQ("<null>", next(15, &rc));
  EXPECT_EQ(CM_ERR_NO_MORE, rc);
  cmAddMsg(set_, 0x00100005);
  cmAddMsg(set_, 0x00100001);
  EXPECT_EQ(2u, cmCount(set_));
  EXPECT_EQ(0x00100001u, cmGetMessageId(set_));
  EXPECT_EQ("Disk full", next(1));
  EXPECT_EQ("Item", next());
  EXPECT_EQ("<null>", next(15, &rc));
  EXPECT_EQ(CM_ERR_NO_MORE, rc);
  cmResetCursor(set_);
  EXPECT_EQ("Disk full", next(1));
  EXPECT_EQ(0, cmResetMsgSet(set_));
  EXPECT_EQ(0u, cmCount(set_));
  EXPECT_EQ(0u, cmGetMessageId(set_));
  EXPECT_EQ("<null>", next(15, &rc));
}

TEST_F(CmSet, UnknownIdInASetUsesTheFallback) {
  cmAddMsgLast(set_, 0x00100F00);
  EXPECT_EQ("MSG: 100f00", next());
}

}  // namespace

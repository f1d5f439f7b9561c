// The cm message set, more edges: every call on a null set, the parts of a
// text that has no "-" but a ", ", escaped markers, and a text whose
// markers are followed by all ten digits.
#include <stdlib.h>

#include <string>

#include <gtest/gtest.h>

#include "orvane/catalog.h"
#include "orvane/nls.h"
#include "support/test_support.h"
#include "test_catalog_files.h"
#include "test_nls_helpers.h"

namespace {

class CmSetMore : public ::testing::Test {
 protected:
  void SetUp() override {
    testsupport::useScratchProfileDir();
    nlstest::LanguageSetting setting("enu");
    ASSERT_EQ(0, nlstest::initWith(nlstest::shippedTable()).status);
    dir_ = testsupport::makeScratchDir("cmset-more");
    const std::string path = dir_ + testsupport::kSep + "m.cat";
    testsupport::writeFile(path, cattest::simple({
                                     {0x00100001, u"x, Plain, tail"},
                                     {0x00100002, u"x, 50\\& of &"},
                                     {0x00100003, u"x, &1&2&3&4&5&6&7&8&9&0"},
                                     {0x00100004, u"x, &1 and &1"},
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
  std::string next(uint32_t parts = CM_PARTS_ALL) {
    char *text = nullptr;
    cmGetMessage(set_, parts, &text, nullptr, nullptr);
    std::string s = text != nullptr ? text : "<null>";
    free(text);
    return s;
  }
  std::string dir_;
  cmCatalog *catalog_ = nullptr;
  cmMsgSet *set_ = nullptr;
};

}  // namespace

TEST(CmSetNull, EveryCallOnANullSetIsHarmless) {
  EXPECT_EQ(CM_ERR_NO_MEMORY, cmCreateMsgSet(nullptr, 4)) << "no place for the set";
  EXPECT_EQ(0, cmDestroyMsgSet(nullptr));
  EXPECT_EQ(0, cmResetMsgSet(nullptr));
  EXPECT_EQ(0, cmAddMsg(nullptr, 1));
  EXPECT_EQ(0, cmAddMsgLast(nullptr, 1));
  EXPECT_EQ(0, cmAddString(nullptr, "x", 1, 2, 3));
  EXPECT_EQ(0, cmAddStringLast(nullptr, "x", 1, 2, 3));
  EXPECT_EQ(0, cmAddStringParm(nullptr, "x"));
  EXPECT_EQ(0, cmAddNumericParm(nullptr, 5));
  EXPECT_EQ(0, cmAddMsgParm(nullptr, 1));
  char *text = reinterpret_cast<char *>(1);
  EXPECT_EQ(CM_ERR_NO_MORE, cmGetMessage(nullptr, CM_PARTS_ALL, &text, nullptr, nullptr));
  EXPECT_EQ(nullptr, text);
}

TEST_F(CmSetMore, GetMessageWithoutAPlaceForTheText) {
  ASSERT_EQ(0, cmAddMsgLast(set_, 0x00100001));
  EXPECT_EQ(CM_ERR_NO_MORE, cmGetMessage(set_, CM_PARTS_ALL, nullptr, nullptr, nullptr));
  EXPECT_EQ("Plain, tail", next()) << "the cursor did not move";
}

TEST_F(CmSetMore, WithoutADashTheTextIsPartAUpToTheComma) {
  ASSERT_EQ(0, cmAddMsgLast(set_, 0x00100001));
  EXPECT_EQ("Plain", next(CM_PART_A));
  cmResetCursor(set_);
  EXPECT_EQ("tail", next(CM_PART_D));
  cmResetCursor(set_);
  EXPECT_EQ("", next(CM_PART_B | CM_PART_C)) << "no B and no C";
}

TEST_F(CmSetMore, AnEscapedMarkerIsNoMarker) {
  ASSERT_EQ(0, cmAddStringParm(set_, "10"));
  ASSERT_EQ(0, cmAddMsgLast(set_, 0x00100002));
  EXPECT_EQ("50& of 10", next());
}

TEST_F(CmSetMore, MarkersWithAllTenDigitsLeaveTheTextAsItIs) {
  ASSERT_EQ(0, cmAddNumericParm(set_, 1));
  ASSERT_EQ(0, cmAddNumericParm(set_, 2));
  ASSERT_EQ(0, cmAddMsgLast(set_, 0x00100003));
  EXPECT_EQ("&1&2&3&4&5&6&7&8&9&0", next());
}

TEST_F(CmSetMore, ANumberedMarkerMayRepeat) {
  ASSERT_EQ(0, cmAddNumericParm(set_, -7));
  ASSERT_EQ(0, cmAddMsgLast(set_, 0x00100004));
  EXPECT_EQ("-7 and -7", next());
}

// String objects when memory runs out: every operation that allocates
// returns null or 0 and leaves its inputs as they were.
#include <string.h>

#include <gtest/gtest.h>

#include "common/nls/nls_alloc.h"
#include "common/strings/string_object.h"
#include "orvane/strings.h"

namespace {

class NoMemory : public ::testing::Test {
 protected:
  void SetUp() override {
    s = orvStringCreate(ORV_CHARSET_ASCII, "  ab,cd");
    ASSERT_NE(nullptr, s);
    delimiters = orvStringCreate(ORV_CHARSET_ASCII, " ,");
    ASSERT_NE(nullptr, delimiters);
    nls::testing::failAllocationsAfter(0);
  }
  void TearDown() override {
    nls::testing::failAllocationsAfter(-1);
    orvStringDestroy(s);
    orvStringDestroy(delimiters);
  }
  void expectUnchanged() {
    ASSERT_EQ(7u, s->length);
    EXPECT_EQ(0, memcmp(s->units, u"  ab,cd", 8 * sizeof(uint16_t)));
  }
  orvString *s = nullptr;
  orvString *delimiters = nullptr;
};

}  // namespace

TEST_F(NoMemory, MakingStringsGivesNull) {
  EXPECT_EQ(nullptr, orvStringCreate(ORV_CHARSET_ASCII, "x"));
  EXPECT_EQ(nullptr, orvStringExtract(s, 1, 2));
  EXPECT_EQ(nullptr, orvStringUpShift(s));
  EXPECT_EQ(nullptr, orvStringJoin(s, s, static_cast<orvString *>(nullptr)));
  EXPECT_EQ(nullptr, orvStringFromInteger(5, ORV_CHARSET_ASCII));
  EXPECT_EQ(nullptr, orvStringFromHex(5, ORV_CHARSET_ASCII));
  EXPECT_EQ(nullptr, orvStringFromFloat(5.0, ORV_CHARSET_ASCII));
  EXPECT_EQ(nullptr, orvStringNative(s));
  expectUnchanged();
}

TEST_F(NoMemory, RemoveAndTokenLeaveTheirInputs) {
  EXPECT_EQ(0, orvStringRemove(s, 1, 2));
  expectUnchanged();
  uint32_t position = 1;
  EXPECT_EQ(nullptr, orvStringToken(s, delimiters, &position));
  EXPECT_EQ(1u, position);
  expectUnchanged();
}

TEST_F(NoMemory, CreateWhenOnlyTheObjectFails) {
  nls::testing::failAllocationsAfter(1);  // the units succeed, the object does not
  EXPECT_EQ(nullptr, orvStringCreate(ORV_CHARSET_ASCII, "x"));
}

TEST(StringLayout, EveryStringHoldsExactlyItsUnits) {
  const uint16_t abc[] = {'a', 'b', 'c', 0};
  orvString *s = strings::makeString(abc, 3, ORV_CHARSET_ASCII);
  ASSERT_NE(nullptr, s);
  EXPECT_EQ(3u, s->length);
  EXPECT_EQ(0, s->units[3]);
  orvStringDestroy(s);
  orvString empty{nullptr, 0, ORV_CHARSET_ASCII};  // a freshly made empty object
  EXPECT_EQ(0u, orvStringLength(&empty));
  EXPECT_EQ(0, orvStringGetCharacter(&empty, 1));
  EXPECT_EQ(0, orvStringSetCharacter(&empty, 1, 'x'));
  orvString *copy = orvStringJoin(&empty, static_cast<orvString *>(nullptr));
  ASSERT_NE(nullptr, copy);
  EXPECT_EQ(0u, copy->length);
  orvStringDestroy(copy);
}

// Allocation failures in language support, character sets and string
// objects: nlsInit gives 3 (nothing set up), a character set 0 with error
// 2, conversions and string objects null (0 for the operations that change
// a string in place, which stays as it was). A retry succeeds.
#include <stdint.h>
#include <string.h>

#include <gtest/gtest.h>

#include "alloc/alloc_failure.h"
#include "orvane/charsets.h"
#include "orvane/frame.h"
#include "orvane/nls.h"
#include "orvane/strings.h"

using allocfail::forEachAllocationFailure;

TEST(AllocNls, InitGivesThreeAndSetsNothingUp) {
  EXPECT_ALLOCATION_FAILURES_REPORTED(forEachAllocationFailure([] {
    const int32_t status = nlsInit();
    if (status == NLS_ERR_MESSAGE_SET) {
      // The services message set could not be made: that counts as
      // success, without the set.
      EXPECT_EQ(1, nlsTerminate());
      return false;
    }
    if (status != NLS_OK) {
      EXPECT_EQ(NLS_ERR_NO_MEMORY, status);
      EXPECT_EQ(0, nlsTerminate());  // nothing to end
      return false;
    }
    EXPECT_NE(0, nlsGetCharSet());
    EXPECT_EQ(1, nlsTerminate());
    return true;
  }));
}

namespace {

class AllocStrings : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { ASSERT_EQ(0, servicesProcessInitialize(ORV_ITEM_END)); }
  static void TearDownTestSuite() { servicesProcessTerminate(0); }
};

const uint16_t kUnits[] = {'a', 0x3042, 'b', 0};

}  // namespace

TEST_F(AllocStrings, CharacterSetCreateGivesErrorTwo) {
  EXPECT_ALLOCATION_FAILURES_REPORTED(forEachAllocationFailure([] {
    int error = -1;
    orvCharSet set = orvCharacterSetCreate("s-jis", &error);
    if (set == 0) {
      EXPECT_EQ(ORV_CHARSET_ERR_NO_MEMORY, error);
      return false;
    }
    EXPECT_EQ(0, error);
    orvCharacterSetDestroy(set);
    return true;
  }));
}

TEST_F(AllocStrings, ConversionsGiveNull) {
  int error = 0;
  orvCharSet set = orvCharacterSetCreate("s-jis", &error);
  ASSERT_NE(0u, set);
  EXPECT_ALLOCATION_FAILURES_REPORTED(forEachAllocationFailure([&] {
    uint32_t length = 0;
    char *text = orvCharacterSetConvertFromUnicode(set, kUnits, &length, nullptr);
    if (text == nullptr) {
      return false;
    }
    uint32_t units = 0;
    uint16_t *back = orvCharacterSetConvertToUnicode(set, text, &units, nullptr);
    orvMemoryFreeFunc(text);
    if (back == nullptr) {
      return false;
    }
    EXPECT_EQ(0, memcmp(back, kUnits, sizeof kUnits));
    orvMemoryFreeFunc(back);
    return true;
  }));
  orvCharacterSetDestroy(set);
}

TEST_F(AllocStrings, StringObjectsGiveNullAndKeepTheirInputs) {
  EXPECT_ALLOCATION_FAILURES_REPORTED(forEachAllocationFailure([] {
    orvString *s = orvStringCreate(ORV_CHARSET_UNICODE, kUnits);
    if (s == nullptr) {
      return false;
    }
    EXPECT_EQ(3u, orvStringLength(s));
    orvStringDestroy(s);
    return true;
  }));
  orvString *a = orvStringCreate(ORV_CHARSET_UNICODE, kUnits);
  orvString *b = orvStringFromInteger(12345, ORV_CHARSET_UNICODE);
  ASSERT_NE(nullptr, a);
  ASSERT_NE(nullptr, b);
  EXPECT_ALLOCATION_FAILURES_REPORTED(forEachAllocationFailure([&] {
    orvString *joined = orvStringJoin(a, b, a, nullptr);
    if (joined == nullptr) {
      EXPECT_EQ(3u, orvStringLength(a));
      EXPECT_EQ(5u, orvStringLength(b));
      return false;
    }
    EXPECT_EQ(11u, orvStringLength(joined));
    orvStringDestroy(joined);
    return true;
  }));
  EXPECT_ALLOCATION_FAILURES_REPORTED(forEachAllocationFailure([&] {
    orvString *part = orvStringExtract(a, 2, 3);
    if (part == nullptr) {
      return false;
    }
    EXPECT_EQ(2u, orvStringLength(part));
    orvStringDestroy(part);
    return true;
  }));
  EXPECT_ALLOCATION_FAILURES_REPORTED(forEachAllocationFailure([&] {
    orvString *upper = orvStringUpShift(a);
    if (upper == nullptr) {
      return false;
    }
    EXPECT_EQ('A', orvStringGetCharacter(upper, 1));
    orvStringDestroy(upper);
    return true;
  }));
  EXPECT_ALLOCATION_FAILURES_REPORTED(forEachAllocationFailure([&] {
    char *native = orvStringNative(b);
    if (native == nullptr) {
      return false;
    }
    orvMemoryFreeFunc(native);
    return true;
  }));
  EXPECT_ALLOCATION_FAILURES_HANDLED(forEachAllocationFailure([&] {
    orvString *copy = orvStringJoin(a, nullptr);
    if (copy == nullptr) {
      return false;
    }
    const int removed = orvStringRemove(copy, 1, 1);
    if (removed == 0) {
      EXPECT_EQ(3u, orvStringLength(copy));
    } else {
      EXPECT_EQ(2u, orvStringLength(copy));
    }
    orvStringDestroy(copy);
    return removed != 0;
  }));
  orvStringDestroy(a);
  orvStringDestroy(b);
}

// Allocation failures in language support, character sets and string
// objects: nlsInit gives 3 (nothing set up), a character set 0 with error
// 2, conversions and string objects null (0 for the operations that change
// a string in place, which stays as it was). A retry succeeds.
#include <stdint.h>
#include <string.h>

#include <string>

#include <gtest/gtest.h>

#include "alloc/alloc_failure.h"
#include "orvane/charsets.h"
#include "orvane/frame.h"
#include "orvane/nls.h"
#include "orvane/nls_format.h"
#include "orvane/nls_text.h"
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

class AllocStrings : public allocfail::WithServices {};

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

// A picture wider than the stack buffers needs heap room: without it the
// call returns -1 and leaves the text as it was.
TEST_F(AllocStrings, WidePictureGivesMinusOneAndLeavesTheText) {
  std::string picture(5, ' ');
  picture += std::string(150, '9');
  picture[0] = ' ';
  EXPECT_ALLOCATION_FAILURES_REPORTED(forEachAllocationFailure([&] {
    char text[200] = "12345";
    int length = 5;
    const int rc =
        nlsNumericFormat(text, &length, 0, 0, picture.c_str(), static_cast<int>(picture.size()), '9');
    if (rc == -1) {
      EXPECT_STREQ("12345", text);
      EXPECT_EQ(5, length);
      return false;
    }
    EXPECT_EQ(1, rc);
    EXPECT_EQ(150, length);
    return true;
  }));
}

// The checksum needs no memory, and scrambling falls back to a byte loop.
TEST_F(AllocStrings, ChecksumAndScramblingNeedNoMemory) {
  static char data[20000];
  for (size_t i = 0; i < sizeof data; ++i) {
    data[i] = static_cast<char>('a' + i % 26);
  }
  const uint16_t sum = nlsChksum(data, sizeof data);
  static char copy[sizeof data];
  memcpy(copy, data, sizeof data);
  EXPECT_ALLOCATION_FAILURES_HANDLED(forEachAllocationFailure([&] {
    EXPECT_EQ(sum, nlsChksum(data, sizeof data));
    nlsEncryptN(copy, sizeof copy, "a key of some length", 20);
    nlsEncryptN(copy, sizeof copy, "a key of some length", 20);
    EXPECT_EQ(0, memcmp(copy, data, sizeof data));
    return true;
  }));
}

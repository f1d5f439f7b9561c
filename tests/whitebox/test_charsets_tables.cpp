// Internals of character sets: direct and sorted tables, the look-up
// accelerators, the parser's entries, and the out-of-memory paths.
#include <stdlib.h>
#include <string.h>

#include <string>

#include <gtest/gtest.h>

#include "../test_nls_helpers.h"
#include "common/nls/nls_alloc.h"
#include "common/strings/charset_internal.h"
#include "orvane/charsets.h"
#include "orvane/nls.h"
#include "support/test_support.h"

namespace {

charsets::CharSetRecord *build(const char *definition, int *error = nullptr) {
  charsets::ParsedDefinition d;
  int rc = charsets::parseDefinition(definition, d);
  if (error != nullptr) {
    *error = rc;
  }
  charsets::CharSetRecord *r = rc == 0 ? charsets::buildRecord("test", d) : nullptr;
  free(d.entries);
  return r;
}

}  // namespace

TEST(CharSetTables, TheExampleHasTwoSortedTables) {
  charsets::CharSetRecord *r = build("0 BASE 0x41 0x41 - 0x5A");
  ASSERT_NE(nullptr, r);
  EXPECT_EQ(27, r->entryCount);
  EXPECT_EQ(1, r->byUnicodeSorted);  // span 90 is not below 54
  EXPECT_EQ(1, r->byNativeSorted);
  EXPECT_EQ(27u, r->unicodeCount);
  EXPECT_EQ(1, r->maxLength);
  EXPECT_EQ(1, r->minLength);
  ASSERT_NE(nullptr, charsets::findByUnicode(r, 'Q'));
  EXPECT_EQ(static_cast<uint32_t>('Q'), static_cast<uint32_t>(charsets::findByUnicode(r, 'Q')->native));
  EXPECT_EQ(nullptr, charsets::findByUnicode(r, 'a'));
  EXPECT_EQ(nullptr, charsets::findByNative(r, 'A', 2));
  charsets::freeRecord(r);
}

TEST(CharSetTables, ADenseSetHasDirectTables) {
  charsets::CharSetRecord *r = build("0 - 0x7E");
  ASSERT_NE(nullptr, r);
  EXPECT_EQ(0, r->byUnicodeSorted);
  EXPECT_EQ(0, r->byNativeSorted);
  EXPECT_EQ(0u, r->unicodeBase);
  EXPECT_EQ(127u, r->unicodeCount);
  ASSERT_NE(nullptr, charsets::findByNative(r, 0x7E, 1));
  EXPECT_EQ(0x7E, static_cast<int>(charsets::findByNative(r, 0x7E, 1)->unicode));
  EXPECT_EQ(nullptr, charsets::findByNative(r, 0x7F, 1));
  charsets::freeRecord(r);
}

TEST(CharSetTables, DirectTablesHaveEmptySlots) {
  // Span 4 below twice 3 entries: direct, with a hole at 0x42.
  charsets::CharSetRecord *r = build("BASE 0x41 0x41 BASE 0x43 0x43 0x44");
  ASSERT_NE(nullptr, r);
  EXPECT_EQ(0, r->byUnicodeSorted);
  EXPECT_EQ(0x41u, r->unicodeBase);
  EXPECT_EQ(4u, r->unicodeCount);
  EXPECT_EQ(nullptr, charsets::findByUnicode(r, 0x42));
  EXPECT_EQ(nullptr, charsets::findByUnicode(r, 0x40));
  EXPECT_EQ(nullptr, charsets::findByUnicode(r, 0x45));
  charsets::freeRecord(r);
}

TEST(CharSetTables, WideCodesHaveNoAccelerator) {
  charsets::CharSetRecord *r = build("0 BASE 0x100 {1 2 3}");
  ASSERT_NE(nullptr, r);
  EXPECT_EQ(3, r->maxLength);
  EXPECT_EQ(nullptr, r->fast);
  ASSERT_NE(nullptr, charsets::findByNative(r, 0x030201, 3));
  charsets::freeRecord(r);
}

TEST(CharSetTables, TheAcceleratorsAnswerAsTheTablesDo) {
  testsupport::useScratchProfileDir();
  ASSERT_EQ(0, nlstest::initWith(nlstest::shippedTable()).status);
  for (const char *name : {"s-jis", "big5", "korean", "pc850"}) {
    int error = 0;
    orvCharSet s = orvCharacterSetCreate(name, &error);
    ASSERT_NE(0, s) << name;
    const charsets::CharSetRecord *r = charsets::recordOf(s);
    ASSERT_NE(nullptr, r->fast);
    for (uint32_t b = 0; b < 256; ++b) {
      const charsets::CharMapEntry *e = charsets::findByNative(r, b, 1);
      EXPECT_EQ(e != nullptr ? 0x10000u | e->unicode : 0u, r->fast->single[b]);
      for (uint32_t t = 0; t < 256; ++t) {
        const charsets::CharMapEntry *p = charsets::findByNative(r, b | t << 8, 2);
        uint32_t fast = r->fast->pairs[b] != nullptr ? r->fast->pairs[b][t] : 0;
        ASSERT_EQ(p != nullptr ? 0x10000u | p->unicode : 0u, fast) << name << " " << b << " " << t;
      }
    }
    for (uint32_t u = 0; u < 0x10000; ++u) {
      const charsets::CharMapEntry *e = charsets::findByUnicode(r, u);
      const uint32_t *page = r->fast->pages[u >> 8];
      uint32_t fast = page != nullptr ? page[u & 0xFF] : 0;
      ASSERT_EQ(e != nullptr ? 0x80000000u | static_cast<uint32_t>(e->length) << 24 | e->native : 0u, fast)
          << name << " U+" << u;
    }
    EXPECT_EQ(1, r->byUnicodeSorted);
    orvCharacterSetDestroy(s);
  }
  nlsTerminate();
}

TEST(CharSetTables, OutOfMemoryIsErrorTwoAndLeavesNothing) {
  testsupport::useScratchProfileDir();
  ASSERT_EQ(0, nlstest::initWith(nlstest::shippedTable()).status);
  int error = 2;
  long k = 0;
  for (; k < 400 && error == 2; ++k) {
    nls::testing::failAllocationsAfter(k);
    orvCharSet s = orvCharacterSetCreate("euc-j", &error);
    nls::testing::failAllocationsAfter(-1);
    if (s != 0) {
      orvCharacterSetDestroy(s);
      break;
    }
    EXPECT_TRUE(error == ORV_CHARSET_ERR_NO_MEMORY || error == ORV_CHARSET_ERR_NO_DEFINITION) << error;
    error = 2;
    EXPECT_EQ(nullptr, charsets::findLoaded("euc-j"));
  }
  EXPECT_LT(k, 400);
  nlsTerminate();
}

TEST(CharSetTables, ConversionsWithoutMemoryGiveNull) {
  const uint16_t units[] = {'a', 'b', 0};
  nls::testing::failAllocationsAfter(0);
  uint32_t length = 0;
  EXPECT_EQ(nullptr, orvCharacterSetConvertToUnicode(ORV_CHARSET_ASCII, "ab", &length, nullptr));
  EXPECT_EQ(nullptr, orvCharacterSetConvertFromUnicode(ORV_CHARSET_ASCII, units, &length, nullptr));
  nls::testing::failAllocationsAfter(-1);
}

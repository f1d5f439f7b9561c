// Language support start-up in the locales of every character set: the
// character-set object made for the chosen locale's set under the set's own
// name (single-byte, multi-byte and binary sets), or status 12 with ASCII
// standing in when no such object can be made.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "common/nls/nls_state.h"
#include "orvane/charsets.h"
#include "orvane/nls.h"
#include "support/test_support.h"
#include "test_nls_helpers.h"

namespace {

struct SetCase {
  const char *language;
  int32_t charSet;
  const char *objectName;
};

// One Windows row per character set; the multi-byte rows carry the lead-byte
// ranges and the special characters as the shipped table does.
const char *const kRows =
    "xx_RO:roman8:winnt:xro\n"
    "xx_DM:decMCS:winnt:xdm\n"
    "xx_DG:dg:winnt:xdg\n"
    "xx_PC:pc850:winnt:xpc\n"
    "xx_SC:sco8859-1:winnt:xsc\n"
    "xx_BI:binary8:winnt:xbi\n"
    "xx_EJ:euc-j:winnt:xej:142,142,2;161,254,2:161,161,161,164,165,167,168,162,163\n"
    "xx_DK:dec-kanji:winnt:xdk:161,254,2:161,161,161,164,165,167,168,162,163\n"
    "xx_S1:sbSpare1:winnt:xs1\n"
    "xx_S2:sbSpare2:winnt:xs2\n"
    "xx_S3:sbSpare3:winnt:xs3\n"
    "xx_M1:mbSpare1:winnt:xm1:161,254,2:161,161,161,164,165,167,168,162,163\n"
    "xx_M2:mbSpare2:winnt:xm2:161,254,2:161,161,161,164,165,167,168,162,163\n"
    "xx_M3:mbSpare3:winnt:xm3:161,254,2:161,161,161,164,165,167,168,162,163\n";

class NlsInitMore : public ::testing::Test {
 protected:
  void SetUp() override { testsupport::useScratchProfileDir(); }
  void TearDown() override { nlsTerminate(); }
};

}  // namespace

TEST_F(NlsInitMore, EachCharacterSetGetsAnObjectOfItsOwn) {
  nlstest::TableFile table(nlstest::minimalRows() + kRows);
  const std::vector<SetCase> cases = {
      {"xro", 5, "roman8"},    {"xdm", 6, "decMCS"},    {"xdg", 7, "dg"},        {"xpc", 8, "pc850"},
      {"xsc", 9, "sco8859-1"}, {"xbi", 2, "binary8"},   {"xej", 14, "euc-j"},    {"xdk", 17, "dec-kanji"},
      {"xs1", 10, "sbSpare1"}, {"xs2", 11, "sbSpare2"}, {"xs3", 12, "sbSpare3"}, {"xm1", 19, "mbSpare1"},
      {"xm2", 20, "mbSpare2"}, {"xm3", 21, "mbSpare3"}};
  for (const SetCase &c : cases) {
    SCOPED_TRACE(c.language);
    int status = -1;
    {
      nlstest::LanguageSetting setting(c.language);
      status = nlstest::initWith(table.path()).status;
    }
    EXPECT_EQ(c.charSet, nlsGetCharSet());
    // The object is made under the set's own name; a name that character-set
    // creation does not know gives 12, with ASCII standing in.
    int reason = 0;
    orvCharSet direct = orvCharacterSetCreate(c.objectName, &reason);
    const intptr_t object = nls::state().charSetObject;
    if (direct != 0) {
      EXPECT_EQ(0, status);
      EXPECT_NE(0, object);
      EXPECT_NE(static_cast<intptr_t>(ORV_CHARSET_ASCII), object);
      orvCharacterSetDestroy(direct);
    } else {
      EXPECT_EQ(NLS_ERR_CHARSET_OBJECT, status);
      EXPECT_EQ(static_cast<intptr_t>(ORV_CHARSET_ASCII), object) << "ASCII stands in";
    }
    nlsTerminate();
  }
}

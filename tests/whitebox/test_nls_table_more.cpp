// The NLS table, more edges: the MBCHARMAP blocks read again from a table
// file that is gone or has changed since it was loaded, and locale rows
// without a name.
#include <stdlib.h>

#include <string>

#include <gtest/gtest.h>

#include "common/nls/nls_table.h"
#include "orvane/charsets.h"
#include "orvane/nls.h"
#include "support/test_support.h"
#include "test_nls_helpers.h"

namespace {

class NlsTableMore : public ::testing::Test {
 protected:
  void SetUp() override { testsupport::useScratchProfileDir(); }
  void TearDown() override { nlsTerminate(); }
  // A copy of the shipped table, loaded in the "enu" locale.
  void loadCopy(const nlstest::TableFile &copy) {
    nlstest::LanguageSetting setting("enu");
    ASSERT_EQ(0, nlstest::initWith(copy.path()).status);
  }
  static std::string shipped() { return testsupport::readFile(nlstest::shippedTable()); }
};

}  // namespace

TEST_F(NlsTableMore, ABlockIsReadFromTheTableFileAsItIsNow) {
  nlstest::TableFile copy(shipped());
  loadCopy(copy);
  char *block = nls::readMbCharMap("roman8");
  ASSERT_NE(nullptr, block) << "read while the file is as it was loaded";
  EXPECT_NE(std::string::npos, std::string(block).find("BASE 0x0000"));
  free(block);
  // The file now ends inside the block: no "END", no block.
  const std::string text = shipped();
  const size_t at = text.find("MBCHARMAP roman8\n");
  ASSERT_NE(std::string::npos, at);
  testsupport::writeFile(copy.path(), text.substr(0, at + 17) + "BASE 0x0000 0x00\n");
  EXPECT_EQ(nullptr, nls::readMbCharMap("roman8"));
  // A block whose heading line is gone.
  EXPECT_EQ(nullptr, nls::readMbCharMap("decMCS"));
}

TEST_F(NlsTableMore, ATableFileThatIsGoneHasNoBlocks) {
  nlstest::TableFile copy(shipped());
  loadCopy(copy);
  testsupport::removeTree(copy.dir());
  bool noMemory = true;
  EXPECT_EQ(nullptr, nls::readMbCharMap("roman8", &noMemory));
  EXPECT_FALSE(noMemory);
  int reason = 0;
  EXPECT_EQ(0, orvCharacterSetCreate("dg", &reason));
  EXPECT_EQ(ORV_CHARSET_ERR_NO_DEFINITION, reason);
}

TEST_F(NlsTableMore, ARowWithoutALocaleNameIsSkipped) {
  nlstest::TableFile table(nlstest::minimalRows() + ":8859-1:winnt:xno\n");
  nlstest::LanguageSetting setting("xno");
  ASSERT_EQ(0, nlstest::initWith(table.path()).status);
  char name[32] = {};
  ASSERT_NE(nullptr, nlsIdToLocale(name, sizeof name, 0));
  EXPECT_STREQ("enu", name) << "no row for xno: the enu row is chosen";
}

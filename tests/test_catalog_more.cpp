// Message catalogs, more edges: cmGetError's text for each result code,
// opening without a place for the result, a file whose size field is right
// but that ends before its checksum, long texts, and the dialog texts of a
// null table.
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

std::string take(char *text) {
  std::string s = text != nullptr ? text : "<null>";
  free(text);
  return s;
}

class CatalogMore : public ::testing::Test {
 protected:
  void SetUp() override {
    testsupport::useScratchProfileDir();
    nlstest::LanguageSetting setting("enu");
    ASSERT_EQ(0, nlstest::initWith(nlstest::shippedTable()).status);
    dir_ = testsupport::makeScratchDir("catalog-more");
  }
  void TearDown() override {
    nlsTerminate();
    testsupport::removeTree(dir_);
  }
  std::string write(const std::string &name, const std::string &bytes) {
    const std::string path = dir_ + testsupport::kSep + name;
    testsupport::writeFile(path, bytes);
    return path;
  }
  std::string dir_;
};

}  // namespace

TEST_F(CatalogMore, EachResultCodeHasItsMessage) {
  struct Case {
    int code;
    uint32_t id;
  };
  const std::vector<Case> cases = {{CM_OK, CM_MSG_NO_ERROR},
                                   {CM_ERR_NO_MEMORY, CM_MSG_NO_MEMORY},
                                   {CM_ERR_SHORT_READ, CM_MSG_SHORT_READ},
                                   {CM_ERR_NOT_FOUND, CM_MSG_NOT_FOUND},
                                   {CM_ERR_NO_MORE, CM_MSG_NO_MORE},
                                   {CM_ERR_DAMAGED, CM_MSG_DAMAGED},
                                   {CM_ERR_BAD_VERSION, CM_MSG_OTHER},
                                   {-1, CM_MSG_OTHER},
                                   {4, CM_MSG_OTHER}};
  for (const Case &c : cases) {
    SCOPED_TRACE(c.code);
    const std::string text = take(cmGetError(c.code));
    EXPECT_NE("<null>", text);
    EXPECT_EQ(take(cmGetRawMessage(c.id)), text);
  }
  // The texts differ from one code to the next.
  EXPECT_NE(take(cmGetError(CM_ERR_NO_MEMORY)), take(cmGetError(CM_ERR_NOT_FOUND)));
  EXPECT_NE(take(cmGetError(CM_ERR_NO_MORE)), take(cmGetError(CM_ERR_DAMAGED)));
}

TEST_F(CatalogMore, OpeningWithoutAPlaceForTheResult) {
  const std::string path = write("a.cat", cattest::simple({{0x10, u"ten"}}));
  EXPECT_EQ(CM_ERR_NOT_FOUND, cmOpenCatalog(nullptr, path.c_str()));
  EXPECT_NE("ten", take(cmGetRawMessage(0x10))) << "nothing was opened";
}

TEST_F(CatalogMore, AFileThatEndsBeforeItsChecksumIsDamaged) {
  for (uint32_t size : {4u, 6u, 7u}) {
    SCOPED_TRACE(size);
    std::string bytes(size, '\0');
    cattest::set32(bytes, 0, size);  // the size field is right
    cmCatalog *c = nullptr;
    EXPECT_EQ(CM_ERR_DAMAGED, cmOpenCatalog(&c, write("short.cat", bytes).c_str()));
    EXPECT_EQ(nullptr, c);
  }
}

TEST_F(CatalogMore, LongTextsComeBackWhole) {
  std::u16string longText;
  std::string expected;
  for (int i = 0; i < 1500; ++i) {
    longText += static_cast<char16_t>('a' + i % 26);
    expected += static_cast<char>('a' + i % 26);
  }
  // A text without a comma loses its first character, long or short.
  expected.erase(0, 1);
  cmCatalog *c = nullptr;
  ASSERT_EQ(0, cmOpenCatalog(&c, write("long.cat", cattest::simple({{0x30, longText}})).c_str()));
  EXPECT_EQ(expected, take(cmGetRawMessage(0x30)));
  cmMsgSet *set = nullptr;
  ASSERT_EQ(0, cmCreateMsgSet(&set, 4));
  ASSERT_EQ(0, cmAddMsg(set, 0x30));
  char *text = nullptr;
  uint32_t a = 0;
  uint32_t b = 0;
  ASSERT_EQ(0, cmGetMessage(set, 15, &text, &a, &b));
  EXPECT_EQ(expected, take(text));
  cmDestroyMsgSet(set);
  cmCloseCatalog(c);
}

TEST_F(CatalogMore, ANullDialogTableSetsNothing) { EXPECT_EQ(0, cmSetDlgText(0, nullptr)); }

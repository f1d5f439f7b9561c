// Catalog internals: the table-driven CRC, cmSetDlgText on the platform
// layer's windows, and every out-of-memory result (allocations made to
// fail one after another).
#include <stdlib.h>

#include <string>

#include <gtest/gtest.h>

#include "common/catalog/cm_compile.h"
#include "common/catalog/cm_internal.h"
#include "common/nls/nls_alloc.h"
#include "common/nls/nls_state.h"
#include "orvane/catalog.h"
#include "orvane/msgset.h"
#include "orvane/nls.h"
#include "platform/pal.h"
#include "platform/pal_window.h"
#include "support/test_support.h"
#include "test_catalog_files.h"
#include "test_nls_helpers.h"

namespace {

class CatalogInternals : public ::testing::Test {
 protected:
  void SetUp() override {
    testsupport::useScratchProfileDir();
    nlstest::LanguageSetting setting("enu");
    ASSERT_EQ(0, nlstest::initWith(nlstest::shippedTable()).status);
    dir_ = testsupport::makeScratchDir("catint");
    path_ = dir_ + testsupport::kSep + "m.cat";
    testsupport::writeFile(path_, cattest::simple({{0x100, u"l, Caption"},
                                                   {0x101, u"l, First item"},
                                                   {0x102, u"l, Second & item"},
                                                   {0x103, u"l, Open \u00011"}}));
  }
  void TearDown() override {
    nls::testing::failAllocationsAfter(-1);
    nlsTerminate();
    testsupport::removeTree(dir_);
  }
  std::string dir_, path_;
};

TEST(CatalogCrc, CheckValueAndEveryLength) {
  const std::string check = "123456789";
  EXPECT_EQ(0xBB3D, catalog::crc16(0, reinterpret_cast<const unsigned char *>(check.data()), check.size()));
  std::string data;
  for (int i = 0; i < 100; ++i) {
    data.push_back(static_cast<char>(i * 37 + 11));
    std::string sealed = "xxxxxxxx" + data;
    EXPECT_EQ(cattest::crcArc(sealed, 8),
              catalog::crc16(0, reinterpret_cast<const unsigned char *>(data.data()), data.size()))
        << i;
  }
}

intptr_t PAL_WINDOW_CALL frameProcedure(pal::Handle window, uint32_t message, uintptr_t wParam,
                                        intptr_t lParam) {
  return pal::defaultWindowProc(window, message, wParam, lParam);
}

std::string windowText(pal::Handle window) {
  std::string text(256, '\0');
  const auto n = static_cast<size_t>(
      pal::sendMessage(window, pal::kWmGetText, text.size(), reinterpret_cast<intptr_t>(&text[0])));
  text.resize(n);
  return text;
}

TEST_F(CatalogInternals, SetDlgTextSetsCaptionAndItems) {
  static const bool registered =
      pal::registerWindowClass("OrvaneCatalogDialog", frameProcedure, pal::kNullHandle);
  ASSERT_TRUE(registered);
  pal::Handle dialog = pal::createWindow("OrvaneCatalogDialog", "old", 0, 0, 0, 100, 100, pal::kNullHandle, 0,
                                         pal::kNullHandle, nullptr);
  ASSERT_NE(pal::kNullHandle, dialog);
  pal::Handle one =
      pal::createWindow("edit", "", pal::kWsChild, 0, 0, 10, 10, dialog, 11, pal::kNullHandle, nullptr);
  pal::Handle two =
      pal::createWindow("edit", "", pal::kWsChild, 0, 0, 10, 10, dialog, 12, pal::kNullHandle, nullptr);
  ASSERT_NE(pal::kNullHandle, one);
  ASSERT_NE(pal::kNullHandle, two);
  cmCatalog *c = nullptr;
  ASSERT_EQ(0, cmOpenCatalog(&c, path_.c_str()));
  const uint32_t table[] = {0xDEADBEEF, 0x100, 11, 0x101, 12, 0x999, 0, 0x102};
  EXPECT_EQ(0, cmSetDlgText(dialog, table));
  EXPECT_EQ("Caption", windowText(dialog));
  EXPECT_EQ("First item", windowText(one));
  EXPECT_EQ("MSG: 999", windowText(two));
  cmCloseCatalog(c);
  pal::destroyWindow(dialog);
}

TEST_F(CatalogInternals, OpenOutOfMemoryGives1AndLeavesNothing) {
  int failures = 0;
  for (long n = 0; n < 200; ++n) {
    nls::testing::failAllocationsAfter(n);
    cmCatalog *c = nullptr;
    const int rc = cmOpenCatalog(&c, path_.c_str());
    nls::testing::failAllocationsAfter(-1);
    if (rc == 0) {
      ASSERT_NE(nullptr, c);
      cmCloseCatalog(c);
      break;
    }
    ++failures;
    EXPECT_EQ(CM_ERR_NO_MEMORY, rc) << n;
    EXPECT_EQ(nullptr, c);
    EXPECT_EQ(nullptr, catalog::firstCatalog());
  }
  EXPECT_GT(failures, 3);
}

// A lookup makes the catalog's table of texts in the current set, the
// message's entry and the caller's block: whichever of them runs out of
// memory, the lookup gives null or the right text, and a later one the text.
TEST_F(CatalogInternals, LookupOutOfMemoryGivesNullThenTheText) {
  int failures = 0;
  for (long n = 0; n < 20; ++n) {
    cmCatalog *c = nullptr;
    ASSERT_EQ(0, cmOpenCatalog(&c, path_.c_str()));
    nls::testing::failAllocationsAfter(n);
    char *text = cmGetRawMessage(0x101);
    nls::testing::failAllocationsAfter(-1);
    if (text == nullptr) {
      ++failures;
    } else {
      EXPECT_STREQ("First item", text);
      free(text);
    }
    text = cmGetRawMessage(0x101);
    EXPECT_STREQ("First item", text);
    free(text);
    EXPECT_EQ(0, cmCloseCatalog(c));
  }
  EXPECT_GE(failures, 3);
}

TEST_F(CatalogInternals, CmSetOutOfMemory) {
  cmMsgSet *set = reinterpret_cast<cmMsgSet *>(1);
  nls::testing::failAllocationsAfter(0);
  EXPECT_EQ(CM_ERR_NO_MEMORY, cmCreateMsgSet(&set, 4));
  nls::testing::failAllocationsAfter(-1);
  EXPECT_EQ(nullptr, set);
  ASSERT_EQ(0, cmCreateMsgSet(&set, 4));
  cmCatalog *c = nullptr;
  ASSERT_EQ(0, cmOpenCatalog(&c, path_.c_str()));

  nls::testing::failAllocationsAfter(0);
  EXPECT_EQ(CM_ERR_NO_MEMORY, cmAddStringParm(set, "x"));
  EXPECT_EQ(CM_ERR_NO_MEMORY, cmAddString(set, "x", 1, 0, 0));
  EXPECT_EQ(CM_ERR_NO_MEMORY, cmAddStringLast(set, "x", 1, 0, 0));
  nls::testing::failAllocationsAfter(-1);
  EXPECT_EQ(0u, cmCount(set));

  EXPECT_EQ(0, cmAddStringParm(set, "kept"));
  nls::testing::failAllocationsAfter(0);
  EXPECT_EQ(CM_ERR_NO_MEMORY, cmAddMsg(set, 0x102));
  nls::testing::failAllocationsAfter(1);  // the entry, not its parameters
  EXPECT_EQ(CM_ERR_NO_MEMORY, cmAddMsgLast(set, 0x102));
  nls::testing::failAllocationsAfter(-1);
  EXPECT_EQ(0u, cmCount(set));
  EXPECT_EQ(0, cmAddMsgLast(set, 0x102));  // the pending parameter was kept
  // Every failing allocation while composing gives 1 and keeps the cursor.
  int failures = 0;
  for (long n = 0; n < 50; ++n) {
    char *text = nullptr;
    nls::testing::failAllocationsAfter(n);
    const int rc = cmGetMessage(set, CM_PARTS_ALL, &text, nullptr, nullptr);
    nls::testing::failAllocationsAfter(-1);
    if (rc == 0) {
      EXPECT_STREQ("Second kept item", text);
      free(text);
      break;
    }
    ++failures;
    EXPECT_EQ(CM_ERR_NO_MEMORY, rc);
    EXPECT_EQ(nullptr, text);
  }
  EXPECT_GT(failures, 1);
  nls::testing::failAllocationsAfter(0);
  EXPECT_EQ(nullptr, cmGetRawMessage(0x101));
  EXPECT_EQ(nullptr, cmGetRawMessage(0x999));
  nls::testing::failAllocationsAfter(-1);
  cmDestroyMsgSet(set);
  cmCloseCatalog(c);
}

TEST_F(CatalogInternals, MessageSetOutOfMemory) {
  nls::testing::failAllocationsAfter(0);
  EXPECT_EQ(nullptr, orvMessageSetCreateNLS(path_.c_str()));
  nls::testing::failAllocationsAfter(-1);
  orvMessageSet *set = orvMessageSetCreateNLS(path_.c_str());
  ASSERT_NE(nullptr, set);
  orvMessageSetAddLast(set, 0x101, ORV_MSG_END);
  // A message that cannot be built or stored is dropped: the set is
  // unchanged.
  for (long n = 0; n < 20; ++n) {
    nls::testing::failAllocationsAfter(n);
    orvMessageSetPush(set, 0x103, ORV_MSG_TEXT, "x.dat", ORV_MSG_INT, 5, ORV_MSG_END);
    nls::testing::failAllocationsAfter(-1);
    if (orvMessageSetCount(set) == 2) {
      break;
    }
    EXPECT_EQ(1u, orvMessageSetCount(set)) << n;
  }
  ASSERT_EQ(2u, orvMessageSetCount(set));
  char *text = orvMessageSetPopNLS(set);
  EXPECT_STREQ("Open x.dat", text);
  free(text);
  orvMessageSetDestroy(set);
}

TEST(CatalogServicesSet, NlsInitReturns13WhenTheSetCannotBeMade) {
  testsupport::useScratchProfileDir();
  nlstest::LanguageSetting setting("enu");
  nlstest::TableSetting table(nlstest::shippedTable());
  bool saw13 = false;
  int status = 3;
  for (long k = 0; k < 20000 && status != 0; k += 1) {
    nls::testing::failAllocationsAfter(k);
    status = nlsInit();
    nls::testing::failAllocationsAfter(-1);
    if (status == NLS_ERR_MESSAGE_SET) {
      saw13 = true;
      EXPECT_EQ(nullptr, nls::state().servicesMessageSet);
    }
    if (status != 0) {
      nlsTerminate();
    }
  }
  EXPECT_EQ(0, status);
  EXPECT_TRUE(saw13);
  EXPECT_NE(nullptr, nls::state().servicesMessageSet);
  nlsTerminate();
  EXPECT_EQ(nullptr, nls::state().servicesMessageSet);
}

TEST(CatalogCompiler, ParsesAndWritesSortedIndex) {
  std::string bytes, error;
  ASSERT_TRUE(catalog::compileSource("title \"t\"\n0x20 \"b\"\n0x10 \"a\"\n", "s.txt", &bytes, &error))
      << error;
  EXPECT_EQ(cattest::build(u"t", {}, {}, {{0x10, u"a"}, {0x20, u"b"}}), bytes);
  catalog::Source source;
  std::string problem;
  ASSERT_EQ(0, catalog::readCatalog(bytes, &source, &problem));
  ASSERT_EQ(2u, source.messages.size());
  EXPECT_EQ(0x10u, source.messages[0].id);
  EXPECT_FALSE(catalog::compileSource("title \"a\"\ntitle \"b\"\n", "s.txt", &bytes, &error));
  EXPECT_EQ("s.txt:2: a second title", error);
  EXPECT_FALSE(catalog::compileSource("5 \"open\n", "s.txt", &bytes, &error));
  EXPECT_EQ("s.txt:1: text not closed by a double quote", error);
  EXPECT_FALSE(catalog::compileSource("5 \"\xC3\"\n", "s.txt", &bytes, &error));
  EXPECT_EQ("s.txt:1: invalid UTF-8 in a text", error);
  EXPECT_FALSE(catalog::compileSource("5 \"\\u{110000}\"\n", "s.txt", &bytes, &error));
  EXPECT_FALSE(catalog::compileSource("bogus \"x\"\n", "s.txt", &bytes, &error));
  EXPECT_EQ("s.txt:1: unknown keyword 'bogus'", error);
  EXPECT_FALSE(catalog::compileSource("5 \"a\" 6\n", "s.txt", &bytes, &error));
  EXPECT_EQ("s.txt:1: unexpected text after the entry", error);
}

}  // namespace

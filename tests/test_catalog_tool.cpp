// orv catalog: compile, dump, get, check; the dump-compile round trip; the
// library's own catalog against a fresh compile of its source; the services
// message set that nlsInit makes from it.
#include <stdlib.h>

#include <string>

#include <gtest/gtest.h>

#include "orvane/catalog.h"
#include "orvane/frame.h"
#include "orvane/msgset.h"
#include "orvane/nls.h"
#include "support/test_support.h"
#include "test_catalog_files.h"
#include "test_nls_helpers.h"

namespace {

std::string q(const std::string &path) { return "\"" + path + "\""; }

std::string besidePrograms(const std::string &name) {
  const std::string exe = testsupport::executablePath();
  return exe.substr(0, exe.find_last_of("/\\") + 1) + name;
}

class CatalogTool : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = testsupport::makeScratchDir("cattool");
    int status = 0;
    if (testsupport::runOrv("help", &status) == "<no orv>") {
      GTEST_SKIP() << "the build has no orv tool";
    }
  }
  void TearDown() override { testsupport::removeTree(dir_); }
  std::string path(const std::string &name) { return dir_ + testsupport::kSep + name; }
  std::string orv(const std::string &args, int *status) {
    return testsupport::runOrv(args + " 2>&1", status);
  }
  std::string dir_;
};

const char *const kSource =
    "# a test catalog\n"
    "title \"T\\u{e9}st \\\"catalog\\\"\"\n"
    "version1 1 2 0x10 \"v one\"\n"
    "version2 4 5 6 \"v\\ttwo\"\n"
    "\n"
    "0x200 \"lead, ABC-E-0200, Cannot open &\"   # a comment\n"
    "0x100 \"lead, ABC-I-0100, Line\\nbreak \\\\ back\\1slash \\u{1F600} \\u{D800}\"\n"
    "42 \"lead, ABC-W-0042, Plain\"\n";

TEST_F(CatalogTool, CompileCheckDumpAndRoundTrip) {
  testsupport::writeFile(path("a.txt"), kSource);
  int status = -1;
  orv("catalog compile " + q(path("a.txt")) + " -o " + q(path("a.cat")), &status);
  ASSERT_EQ(0, status);
  const std::string bytes = testsupport::readFile(path("a.cat"));
  // The layout: index sorted, title with its escapes resolved.
  const std::string expected = cattest::build(
      u"T\u00e9st \"catalog\"", cattest::Version{1, 2, 16, u"v one"}, cattest::Version{4, 5, 6, u"v\ttwo"},
      {{42, u"lead, ABC-W-0042, Plain"},
       {0x100, u"lead, ABC-I-0100, Line\nbreak \\ back\u0001slash \U0001F600 \xD800"},
       {0x200, u"lead, ABC-E-0200, Cannot open &"}});
  EXPECT_EQ(expected, bytes);
  const std::string check = orv("catalog check " + q(path("a.cat")), &status);
  EXPECT_EQ(0, status);
  EXPECT_NE(std::string::npos, check.find("ok, 3 messages")) << check;
  const std::string dump = orv("catalog dump " + q(path("a.cat")), &status);
  ASSERT_EQ(0, status);
  EXPECT_NE(std::string::npos, dump.find("0x00000100 \"lead, ABC-I-0100, Line\\nbreak \\\\ back\\1slash "
                                         "\xF0\x9F\x98\x80 \\u{D800}\""))
      << dump;
  testsupport::writeFile(path("b.txt"), dump);
  orv("catalog compile " + q(path("b.txt")) + " -o " + q(path("b.cat")), &status);
  ASSERT_EQ(0, status);
  EXPECT_EQ(bytes, testsupport::readFile(path("b.cat")));
}

TEST_F(CatalogTool, GetAsAnApplicationGetsIt) {
  testsupport::writeFile(path("a.txt"), kSource);
  int status = -1;
  orv("catalog compile " + q(path("a.txt")) + " -o " + q(path("a.cat")), &status);
  ASSERT_EQ(0, status);
  EXPECT_EQ("ABC-E-0200, Cannot open x.dat\n",
            orv("catalog get " + q(path("a.cat")) + " 0x200 --param x.dat", &status));
  EXPECT_EQ(0, status);
  EXPECT_EQ("Cannot open &\n", orv("catalog get " + q(path("a.cat")) + " 0x200 --parts 1", &status));
  EXPECT_EQ("ABC-W\n", orv("catalog get " + q(path("a.cat")) + " 42 --parts 6", &status));
  EXPECT_EQ("3\n", orv("catalog get " + q(path("a.cat")) + " 12", &status));
  EXPECT_EQ("MSG: 777\n", orv("catalog get " + q(path("a.cat")) + " 0x777", &status));
}

TEST_F(CatalogTool, CompileErrorsNameTheFileAndLine) {
  int status = -1;
  testsupport::writeFile(path("dup.txt"), "title \"x\"\n0x10 \"a\"\n\n16 \"b\"\n");
  std::string out = orv("catalog compile " + q(path("dup.txt")) + " -o " + q(path("x.cat")), &status);
  EXPECT_NE(0, status);
  EXPECT_NE(std::string::npos, out.find("dup.txt:4: duplicate message id 0x00000010 (first on line 2)"))
      << out;
  testsupport::writeFile(path("esc.txt"), "\n\n5 \"a\\qb\"\n");
  out = orv("catalog compile " + q(path("esc.txt")) + " -o " + q(path("x.cat")), &status);
  EXPECT_NE(0, status);
  EXPECT_NE(std::string::npos, out.find("esc.txt:3: bad escape '\\q'")) << out;
  testsupport::writeFile(path("range.txt"), "4294967296 \"a\"\n");
  out = orv("catalog compile " + q(path("range.txt")) + " -o " + q(path("x.cat")), &status);
  EXPECT_NE(0, status);
  EXPECT_NE(std::string::npos, out.find("range.txt:1: message id '4294967296' out of range")) << out;
  EXPECT_FALSE(testsupport::fileExists(path("x.cat")));
}

TEST_F(CatalogTool, CheckNamesTheFirstProblem) {
  std::string bytes = cattest::simple({{1, u"a"}});
  bytes[bytes.size() - 1] ^= 1;
  testsupport::writeFile(path("bad.cat"), bytes);
  int status = -1;
  const std::string out = orv("catalog check " + q(path("bad.cat")), &status);
  EXPECT_EQ(1, status);
  EXPECT_NE(std::string::npos, out.find("error 9: the checksum does not match the contents")) << out;
}

TEST_F(CatalogTool, CommittedServicesCatalogMatchesItsSource) {
  int status = -1;
  orv("catalog compile " + q(besidePrograms("orvane_messages.txt")) + " -o " + q(path("fresh.cat")), &status);
  ASSERT_EQ(0, status);
  EXPECT_EQ(testsupport::readFile(besidePrograms("orvane.cat")), testsupport::readFile(path("fresh.cat")));
}

TEST_F(CatalogTool, InfoReportsTheServicesCatalog) {
  testsupport::useScratchProfileDir();
  testsupport::setEnv("SRVCMSGS", "orvane.cat");
  int status = -1;
  std::string out = orv("info", &status);
  EXPECT_NE(std::string::npos, out.find("services catalog")) << out;
  EXPECT_NE(std::string::npos, out.find("Orvane services messages")) << out;
  EXPECT_NE(std::string::npos, out.find("orvane.cat")) << out;
  testsupport::setEnv("SRVCMSGS", "no-such-catalog.cat");
  out = orv("info", &status);
  EXPECT_NE(std::string::npos, out.find("not open: error 3")) << out;
  testsupport::unsetEnv("SRVCMSGS");
}

#if !defined(_WIN32)
TEST_F(CatalogTool, InfoListsTheSystemWideProfileDirectories) {
  testsupport::useScratchProfileDir();
  int status = -1;
  std::string out = orv("info", &status);
  EXPECT_NE(std::string::npos, out.find("system profiles")) << out;
  EXPECT_NE(std::string::npos, out.find(testsupport::scratchSystemConfigDir() + "/orvane")) << out;
}
#endif

class ServicesCatalog : public ::testing::Test {
 protected:
  void SetUp() override { testsupport::useScratchProfileDir(); }
  void TearDown() override {
    nlsTerminate();
    testsupport::unsetEnv("SRVCMSGS");
  }
};

std::string take(char *text) {
  std::string s = text != nullptr ? text : "<null>";
  free(text);
  return s;
}

#if !defined(_WIN32)
// An installed library finds the table and the catalog through the
// system-wide "ORVANE.INI" with no setting of the user's.
TEST_F(ServicesCatalog, TheSystemWideProfileNamesTableAndCatalog) {
  std::string dir = nlstest::shippedTable();
  dir.erase(dir.find_last_of('/') + 1);
  const char *table = getenv("ORVNLSTAB");
  const bool hadTable = table != nullptr;
  const std::string savedTable = hadTable ? table : "";
  testsupport::unsetEnv("ORVNLSTAB");
  testsupport::unsetEnv("SRVCMSGS");
  testsupport::removeProfile("ORVANE.INI");
  testsupport::writeSystemProfile(
      "ORVANE.INI", "[Services]\nORVNLSTAB=" + dir + "orvane.nls\nSRVCMSGS=" + dir + "orvane.cat\n");
  nlstest::LanguageSetting setting("enu");
  ASSERT_EQ(0, servicesProcessInitialize(ORV_ITEM_END));
  EXPECT_EQ("ORV-E-0009, The message catalog file is damaged (its size, checksum or index is wrong).",
            take(cmGetError(9)));
  servicesProcessTerminate(0);
  // The user's own profile still comes first, key by key.
  testsupport::writeProfile("ORVANE.INI", "[Services]\nORVNLSTAB=" + dir + "no-such-table.nls\n");
  EXPECT_EQ(1002, servicesProcessInitialize(ORV_ITEM_END));
  servicesProcessTerminate(0);
  testsupport::removeProfile("ORVANE.INI");
  testsupport::removeSystemProfile("ORVANE.INI");
  if (hadTable) {
    testsupport::setEnv("ORVNLSTAB", savedTable);
  }
}
#endif

TEST_F(ServicesCatalog, NlsInitOpensItAndCmGetErrorUsesIt) {
  testsupport::setEnv("SRVCMSGS", "orvane.cat");  // found beside the programs
  nlstest::LanguageSetting setting("enu");
  ASSERT_EQ(0, nlstest::initWith(nlstest::shippedTable()).status);
  EXPECT_EQ("ORV-E-0009, The message catalog file is damaged (its size, checksum or index is wrong).",
            take(cmGetError(9)));
  EXPECT_EQ("ORV-I-0000, No error.", take(cmGetError(0)));
  EXPECT_EQ(take(cmGetError(5)), take(cmGetError(4)));
  EXPECT_EQ("Orvane services messages", take(cmGetRawMessage(3)));
  nlsTerminate();
  // nlsTerminate destroyed the set and with it the catalog.
  EXPECT_EQ("MSG: 792a9a53", take(cmGetError(9)));
}

TEST_F(ServicesCatalog, WithoutTheCatalogNlsInitStillSucceeds) {
  testsupport::setEnv("SRVCMSGS", "no-such-catalog.cat");
  nlstest::LanguageSetting setting("enu");
  ASSERT_EQ(0, nlstest::initWith(nlstest::shippedTable()).status);
  EXPECT_EQ("MSG: 792a9a53", take(cmGetError(9)));
}

}  // namespace

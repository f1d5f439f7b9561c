// The orv tool's "match" command: the lines a pattern matches whole, the
// modes, LIKE patterns, a table file, a stored automaton, and the exit
// statuses (0 a line matched, 1 none, 2 an error).
#include <string>

#include <gtest/gtest.h>

#include "orvane/pattern.h"
#include "support/test_support.h"

namespace {

class OrvMatch : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = testsupport::makeScratchDir("orvmatch");
    input_ = path("lines.txt");
    testsupport::writeFile(input_, "abc\nabd\n  abc \nx*y\n50%\nlast");
  }
  void TearDown() override { testsupport::removeTree(dir_); }
  std::string path(const std::string &name) const { return dir_ + testsupport::kSep + name; }
  std::string q(const std::string &s) const { return "\"" + s + "\""; }
  std::string run(const std::string &args, int *status) {
    std::string out = testsupport::runOrv("match " + args, status);
    return out;
  }
  std::string dir_;
  std::string input_;
};

#define SKIP_WITHOUT_ORV(out)                    \
  if ((out) == "<no orv>") {                     \
    GTEST_SKIP() << "the build has no orv tool"; \
  }

TEST_F(OrvMatch, PrintsTheMatchingLines) {
  int status = -1;
  std::string out = run(q("ab?") + " " + q(input_), &status);
  SKIP_WITHOUT_ORV(out);
  EXPECT_EQ(0, status);
  EXPECT_EQ("abc\nabd\n", out);
  out = run(q("zzz") + " " + q(input_), &status);
  EXPECT_EQ(1, status);
  EXPECT_EQ("", out);
  out = run(q("last") + " " + q(input_), &status);
  EXPECT_EQ(0, status);
  EXPECT_EQ("last\n", out);
}

TEST_F(OrvMatch, ModeAndStandardInput) {
  int status = -1;
  std::string out = run("--mode 3 abc < " + q(input_), &status);
  SKIP_WITHOUT_ORV(out);
  EXPECT_EQ(0, status);
  EXPECT_EQ("abc\n  abc \n", out);
}

TEST_F(OrvMatch, LikePatterns) {
  int status = -1;
  std::string out = run("--like " + q("x_y") + " " + q(input_), &status);
  SKIP_WITHOUT_ORV(out);
  EXPECT_EQ(0, status);
  EXPECT_EQ("x*y\n", out);
  out = run("--like --escape " + q("#") + " " + q("50#%") + " " + q(input_), &status);
  EXPECT_EQ(0, status);
  EXPECT_EQ("50%\n", out);
  out = run("--like --escape " + q("#") + " " + q("5#0") + " " + q(input_) + " 2>&1", &status);
  EXPECT_EQ(2, status);
}

TEST_F(OrvMatch, BadPatternShowsItsErrorAndACaret) {
  int status = -1;
  std::string out = run("--mode 2 " + q("a|") + " " + q(input_) + " 2>&1", &status);
  SKIP_WITHOUT_ORV(out);
  EXPECT_EQ(2, status);
  EXPECT_NE(std::string::npos, out.find("missing alternative (error -4 at position 5)")) << out;
  EXPECT_NE(std::string::npos, out.find("   *(a|)\n       ^")) << out;
  out = run("--mode 9 a " + q(input_) + " 2>&1", &status);
  EXPECT_EQ(2, status);
  EXPECT_NE(std::string::npos, out.find("bad mode")) << out;
}

TEST_F(OrvMatch, BuildAndRunAStoredAutomaton) {
  int status = -1;
  std::string fa = path("p.fa");
  std::string out = run("--build " + q(fa) + " " + q("ab@"), &status);
  SKIP_WITHOUT_ORV(out);
  EXPECT_EQ(0, status) << out;
  ASSERT_TRUE(testsupport::fileExists(fa));
  out = run("--automaton " + q(fa) + " " + q(input_) + " " + q(input_), &status);
  EXPECT_EQ(0, status);
  EXPECT_EQ(input_ + ":abc\n" + input_ + ":abd\n" + input_ + ":abc\n" + input_ + ":abd\n", out);
  // A truncated block is refused.
  std::string block = testsupport::readFile(fa);
  testsupport::writeFile(fa, block.substr(0, block.size() - 1));
  out = run("--automaton " + q(fa) + " " + q(input_) + " 2>&1", &status);
  EXPECT_EQ(2, status);
  EXPECT_NE(std::string::npos, out.find("not a stored automaton")) << out;
}

TEST_F(OrvMatch, TableFile) {
  // "%" as the any-string wildcard, "@" a literal.
  std::string table(NLS_PATTERN_DEFAULT_TABLE, NLS_PM_TABLE_SIZE - 1);
  table[NLS_PM_ANY_STRING] = '%';
  std::string tableFile = path("table.bin");
  testsupport::writeFile(tableFile, table);
  int status = -1;
  std::string out = run("--table " + q(tableFile) + " " + q("a%") + " " + q(input_), &status);
  SKIP_WITHOUT_ORV(out);
  EXPECT_EQ(0, status);
  EXPECT_EQ("abc\nabd\n", out);
  testsupport::writeFile(tableFile, "short");
  out = run("--table " + q(tableFile) + " a " + q(input_) + " 2>&1", &status);
  EXPECT_EQ(2, status);
}

TEST_F(OrvMatch, MissingFileAndBadUsage) {
  int status = -1;
  std::string out = run("abc " + q(path("none.txt")) + " 2>&1", &status);
  SKIP_WITHOUT_ORV(out);
  EXPECT_EQ(2, status);
  out = run("2>&1", &status);
  EXPECT_EQ(2, status);
  out = run("--bogus a 2>&1", &status);
  EXPECT_EQ(2, status);
}

}  // namespace

// Internals of the pattern matcher: the postfix form and its mark bits, the
// state count, and the cache of deterministic states with its fallback to
// the set simulation when it fills.
#include <string.h>

#include <random>
#include <string>

#include <gtest/gtest.h>

#include "common/nls/nlspm_internal.h"

namespace {

using namespace nls::pm;

std::string postfixOf(const char *pattern, std::vector<uint8_t> *marks = nullptr) {
  const unsigned char *t = loadTable(nullptr);
  Postfix out;
  ParseResult r = parse(wrapPattern(0, pattern, t), t, out);
  EXPECT_TRUE(r.ok) << pattern;
  if (marks != nullptr) {
    *marks = out.marks;
  }
  return std::string(out.tokens.begin(), out.tokens.end());
}

TEST(PatternInternal, PostfixOrderAndMarks) {
  std::vector<uint8_t> marks;
  EXPECT_EQ("ab|\r", postfixOf("a|b"));
  EXPECT_EQ("ab*\nc\n\r", postfixOf("ab*c", &marks));
  EXPECT_EQ((std::vector<uint8_t>{0, 0, 1, 1, 0, 1, 0}), marks);
  EXPECT_EQ("a\\@\n\r", postfixOf("\\a@", &marks));
  EXPECT_EQ((std::vector<uint8_t>{0, 1, 1, 1, 0}), marks);
  EXPECT_EQ("*0\n\r", postfixOf("!*!0", &marks));
  EXPECT_EQ((std::vector<uint8_t>{0, 1, 1, 0}), marks);
}

TEST(PatternInternal, MarkBitArrayLayout) {
  std::vector<uint8_t> flags(18, 0);
  flags[0] = 1;
  flags[15] = 1;
  flags[16] = 1;
  std::vector<uint16_t> words = packBits(flags);
  ASSERT_EQ(2u, words.size());
  EXPECT_EQ(0x8001, words[0]);
  EXPECT_EQ(0x8000, words[1]);
}

TEST(PatternInternal, StateCount) {
  const unsigned char *t = loadTable(nullptr);
  Postfix out;
  ASSERT_TRUE(parse(wrapPattern(0, "a@b", t), t, out).ok);
  EXPECT_EQ(2 + 4 + 2, stateCount(out, t));
  ASSERT_TRUE(parse(wrapPattern(0, "\\a|b", t), t, out).ok);
  EXPECT_EQ(2 + 2 + 2 + 2, stateCount(out, t));
}

std::unique_ptr<Matcher> compile(const std::string &pattern) {
  const unsigned char *t = loadTable(nullptr);
  std::string working = wrapPattern(0, pattern.c_str(), t);
  Postfix out;
  EXPECT_TRUE(parse(working, t, out).ok) << pattern;
  Automaton fa;
  build(out, t, working.size(), fa);
  return std::make_unique<Matcher>(std::move(fa), t);
}

TEST(PatternInternal, FullCacheFallsBackToSets) {
  // (a|b)@a(a|b)(a|b)(a|b)(a|b)(a|b): the deterministic form needs many
  // states; with room for a handful the run finishes on sets.
  std::unique_ptr<Matcher> m = compile("(a|b)@a(a|b)(a|b)(a|b)(a|b)(a|b)");
  std::mt19937 rng(3);
  for (size_t limit : {size_t{0}, size_t{1}, size_t{4}, size_t{10000}}) {
    m->setCacheLimit(limit);
    bool fell = false;
    for (int i = 0; i < 300; ++i) {
      std::string text;
      int n = static_cast<int>(rng() % 24);
      for (int k = 0; k < n; ++k) {
        text += (rng() & 1) ? 'a' : 'b';
      }
      int fast = m->run(text.c_str());
      fell = fell || m->fellBack();
      ASSERT_EQ(m->runSets(text.c_str()), fast) << text << " limit " << limit;
      EXPECT_LE(m->cachedStates(), limit);
    }
    EXPECT_EQ(limit < 10000, fell) << limit;
  }
}

TEST(PatternInternal, LargeAutomatonUsesWorklistClosures) {
  // Above the size of the closure table: closures come from the worklist.
  std::string p;
  for (int i = 0; i < 3000; ++i) {
    p += "a<";
  }
  std::unique_ptr<Matcher> m = compile(p);
  EXPECT_EQ(1, m->run(std::string(3000, 'a').c_str()));
  EXPECT_EQ(0, m->run(std::string(3001, 'a').c_str()));
  EXPECT_EQ(1, m->runSets(std::string(17, 'a').c_str()));
}

TEST(PatternInternal, SerialiseAndReadBack) {
  std::unique_ptr<Matcher> m = compile("(ab|c)>\\d@");
  std::vector<unsigned char> block = serialise(m->automaton());
  EXPECT_EQ(block.size(), serialisedSize(block.data()));
  Automaton back;
  ASSERT_TRUE(deserialise(block.data(), back));
  EXPECT_EQ(block, serialise(back));
}

}  // namespace

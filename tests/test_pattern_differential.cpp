// Pattern matching, differential: generated patterns and texts (fixed seed)
// run through nlsMatchPattern, through nlsSimulFA of the stored automaton,
// and through the plain set simulation below, which reads the stored block
// and keeps a list of active states one text byte at a time. All three must
// agree on every pair.
#include <ctype.h>
#include <string.h>

#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "orvane/frame.h"
#include "orvane/nls.h"
#include "orvane/pattern.h"
#include "support/test_support.h"
#include "test_nls_helpers.h"

namespace {

// The stored automaton, read back field by field.
struct Reference {
  int initial = 0;
  int states = 0;
  int transitions = 0;
  std::vector<int> count, first, target;
  std::vector<bool> accepting, mark, negate;
  std::vector<unsigned char> label;
};

int get16(const unsigned char *p) { return static_cast<int16_t>(static_cast<uint16_t>((p[0] << 8) | p[1])); }
bool bit(const unsigned char *words, int i) {
  int w = (words[2 * (i / 16)] << 8) | words[2 * (i / 16) + 1];
  return (w >> (15 - i % 16)) & 1;
}

Reference readBlock(const unsigned char *b) {
  Reference r;
  r.initial = get16(b + 4);
  r.states = get16(b + 6) + 1;
  int stateWords = get16(b + 8) + 1;
  r.transitions = get16(b + 10) + 1;
  int transWords = get16(b + 12) + 1;
  const unsigned char *p = b + 14;
  for (int i = 0; i < r.states; ++i) {
    r.count.push_back(p[i]);
  }
  p += r.states;
  for (int i = 0; i < r.states; ++i) {
    r.accepting.push_back(bit(p, i));
  }
  p += 2 * stateWords;
  for (int i = 0; i < r.states; ++i) {
    r.first.push_back(get16(p + 2 * i));
  }
  p += 2 * r.states;
  for (int i = 0; i < r.transitions; ++i) {
    r.target.push_back(get16(p + 2 * i));
  }
  p += 2 * r.transitions;
  for (int i = 0; i < r.transitions; ++i) {
    r.mark.push_back(bit(p, i));
  }
  p += 2 * transWords;
  for (int i = 0; i < r.transitions; ++i) {
    r.negate.push_back(bit(p, i));
  }
  p += 2 * transWords;
  r.label.assign(p, p + r.transitions);
  return r;
}

// The plain simulation: a list of states, closed with a worklist and a
// membership array; each text byte maps the list through every transition
// whose test passes. The text ends at its NUL or at the end marker.
int plainSimulation(const Reference &fa, const char *table, const char *text) {
  const unsigned char *t = reinterpret_cast<const unsigned char *>(table);
  std::string work(text);
  work += static_cast<char>(t[20]);
  auto test = [&](int tr, unsigned char c) {
    bool ok;
    unsigned char l = fa.label[tr];
    if (!fa.mark[tr]) {
      ok = l == c;
    } else if (l == t[8]) {
      ok = true;
    } else if (l == t[9]) {
      ok = isupper(c) || islower(c) || isalpha(c);
    } else if (l == t[10]) {
      ok = isdigit(c) != 0;
    } else {
      ok = false;
    }
    return fa.negate[tr] ? !ok : ok;
  };
  auto close = [&](std::vector<int> &set) {
    std::vector<bool> in(fa.states, false);
    for (int s : set) {
      in[s] = true;
    }
    for (size_t i = 0; i < set.size(); ++i) {
      int s = set[i];
      for (int k = 0; k < fa.count[s]; ++k) {
        int tr = fa.first[s] + k;
        if (fa.mark[tr] && !fa.negate[tr] && fa.label[tr] == t[22] && !in[fa.target[tr]]) {
          in[fa.target[tr]] = true;
          set.push_back(fa.target[tr]);
        }
      }
    }
  };
  std::vector<int> current{fa.initial};
  close(current);
  for (size_t i = 0; static_cast<unsigned char>(work[i]) != t[20]; ++i) {
    unsigned char c = static_cast<unsigned char>(work[i]);
    std::vector<int> next;
    std::vector<bool> in(fa.states, false);
    for (int s : current) {
      for (int k = 0; k < fa.count[s]; ++k) {
        int tr = fa.first[s] + k;
        if (test(tr, c) && !in[fa.target[tr]]) {
          in[fa.target[tr]] = true;
          next.push_back(fa.target[tr]);
        }
      }
    }
    close(next);
    current.swap(next);
  }
  for (int s : current) {
    if (fa.accepting[s]) {
      return 1;
    }
  }
  return 0;
}

std::string randomPattern(std::mt19937 &rng) {
  static const char *pieces[] = {"a", "b", "c", "1",  " ",  "?",  "^", "#", "@", "*", ">", "<", "\\",
                                 "|", "(", ")", "!0", "!*", "!!", "[", "a", "b", "(", ")", "|", "\\a"};
  std::uniform_int_distribution<int> len(1, 10);
  std::uniform_int_distribution<int> pick(0, sizeof pieces / sizeof pieces[0] - 1);
  std::string p;
  int n = len(rng);
  for (int i = 0; i < n; ++i) {
    p += pieces[pick(rng)];
  }
  return p;
}

std::string randomText(std::mt19937 &rng) {
  static const char chars[] = "abc1 ?*!X\xE9";
  std::uniform_int_distribution<int> len(0, 9);
  std::uniform_int_distribution<int> pick(0, sizeof chars - 2);
  std::string s;
  int n = len(rng);
  for (int i = 0; i < n; ++i) {
    s += chars[pick(rng)];
  }
  return s;
}

TEST(PatternDifferential, GeneratedPatternsAgreeWithThePlainSimulation) {
  std::mt19937 rng(20261123);
  int valid = 0;
  int compared = 0;
  int matched = 0;
  for (int i = 0; i < 4000; ++i) {
    std::string pattern = randomPattern(rng);
    int mode = static_cast<int>(rng() % 4);
    uint16_t error = 0;
    uint16_t position = 0;
    int32_t length = 0;
    unsigned char *block =
        nlsBuildFA(static_cast<int16_t>(mode), pattern.c_str(), &error, &position, nullptr, &length);
    if (block == nullptr) {
      // Invalid: nlsMatchPattern reports the same error.
      uint16_t e2 = 0;
      uint16_t p2 = 0;
      EXPECT_EQ(0, nlsMatchPattern(static_cast<int16_t>(mode), pattern.c_str(), "a", &e2, &p2, nullptr));
      EXPECT_EQ(error, e2) << pattern;
      EXPECT_EQ(position, p2) << pattern;
      continue;
    }
    ++valid;
    Reference fa = readBlock(block);
    for (int j = 0; j < 8; ++j) {
      std::string text = randomText(rng);
      int expected = plainSimulation(fa, NLS_PATTERN_DEFAULT_TABLE, text.c_str());
      int viaMatch = nlsMatchPattern(static_cast<int16_t>(mode), pattern.c_str(), text.c_str(), nullptr,
                                     nullptr, nullptr);
      int viaBlock = nlsSimulFA(block, nullptr, text.c_str());
      ASSERT_EQ(expected, viaMatch) << "mode " << mode << " pattern '" << pattern << "' text '" << text
                                    << "'";
      ASSERT_EQ(expected, viaBlock) << "mode " << mode << " pattern '" << pattern << "' text '" << text
                                    << "'";
      ++compared;
      matched += expected;
    }
    orvMemoryFreeFunc(block);
  }
  // The generator must reach both answers often enough to mean something.
  EXPECT_GT(valid, 1000);
  EXPECT_GT(matched, 300);
  EXPECT_GT(compared - matched, 500);
}

TEST(PatternDifferential, InterleavedPatternsAndTablesAgree) {
  // Alternating patterns (so the per-thread cache is replaced each time)
  // and a second table.
  char table[NLS_PM_TABLE_SIZE];
  memcpy(table, NLS_PATTERN_DEFAULT_TABLE, NLS_PM_TABLE_SIZE);
  table[NLS_PM_ANY_STRING] = '%';
  std::mt19937 rng(7);
  for (int i = 0; i < 500; ++i) {
    std::string text = randomText(rng);
    const char *tab = (i % 3 == 0) ? table : nullptr;
    const char *pattern = (i % 2 == 0) ? "(a|b)@1<" : "%a%";
    int32_t length = 0;
    unsigned char *block = nlsBuildFA(0, pattern, nullptr, nullptr, tab, &length);
    ASSERT_NE(nullptr, block);
    Reference fa = readBlock(block);
    int expected = plainSimulation(fa, tab != nullptr ? tab : NLS_PATTERN_DEFAULT_TABLE, text.c_str());
    EXPECT_EQ(expected, nlsMatchPattern(0, pattern, text.c_str(), nullptr, nullptr, tab)) << pattern << text;
    EXPECT_EQ(expected, nlsSimulFA(block, tab, text.c_str())) << pattern << text;
    orvMemoryFreeFunc(block);
  }
}

// Patterns of literals and the any-wildcards (which nlsMatchPattern matches
// without an automaton), with double-byte characters in pattern and text,
// in a double-byte locale (Shift-JIS) and with a second table: matching
// stays byte by byte, as the plain simulation of the stored block does it.
class PatternDifferentialShiftJis : public ::testing::Test {
 protected:
  void SetUp() override {
    testsupport::useScratchProfileDir();
    nlstest::LanguageSetting setting("jpn");
    ASSERT_EQ(0, nlstest::initWith(nlstest::shippedTable()).status);
    ASSERT_EQ(13, nlsGetCharSet());
  }
  void TearDown() override { nlsTerminate(); }
};

TEST_F(PatternDifferentialShiftJis, WildcardPatternsAgreeWithThePlainSimulation) {
  char table[NLS_PM_TABLE_SIZE];
  memcpy(table, NLS_PATTERN_DEFAULT_TABLE, NLS_PM_TABLE_SIZE);
  table[NLS_PM_ANY_STRING] = '%';
  table[NLS_PM_ANY_CHAR] = '_';
  // Double-byte characters whose trail bytes are a letter, '@' (the
  // any-string wildcard of the default table) and '_'.
  static const char *pieces[] = {"a", "b", "\x93\xFA", "\x82\x40", "\x83\x5F", "\x82\x61", "?",
                                 "@", "%", "_",        "!?",       "(ab)",     "x"};
  static const char *textPieces[] = {"a",        "b", "\x93\xFA", "\x82\x40", "\x83\x5F",
                                     "\x82\x61", "x", "@",        "_",        "\r"};
  std::mt19937 rng(1123);
  int compared = 0;
  int matched = 0;
  for (int i = 0; i < 3000; ++i) {
    const char *tab = (i % 2 == 0) ? nullptr : table;
    std::string pattern;
    int n = 1 + static_cast<int>(rng() % 6);
    for (int k = 0; k < n; ++k) {
      pattern += pieces[rng() % (sizeof pieces / sizeof pieces[0])];
    }
    int32_t length = 0;
    unsigned char *block = nlsBuildFA(0, pattern.c_str(), nullptr, nullptr, tab, &length);
    if (block == nullptr) {
      continue;
    }
    Reference fa = readBlock(block);
    for (int j = 0; j < 6; ++j) {
      std::string text;
      int m = static_cast<int>(rng() % 7);
      for (int k = 0; k < m; ++k) {
        text += textPieces[rng() % (sizeof textPieces / sizeof textPieces[0])];
      }
      int expected = plainSimulation(fa, tab != nullptr ? tab : NLS_PATTERN_DEFAULT_TABLE, text.c_str());
      ASSERT_EQ(expected, nlsMatchPattern(0, pattern.c_str(), text.c_str(), nullptr, nullptr, tab))
          << "pattern '" << pattern << "' text '" << text << "'";
      ASSERT_EQ(expected, nlsSimulFA(block, tab, text.c_str())) << pattern << " / " << text;
      ++compared;
      matched += expected;
    }
    orvMemoryFreeFunc(block);
  }
  EXPECT_GT(matched, 300);
  EXPECT_GT(compared - matched, 2000);
}

}  // namespace

// Character sets: built-in sets, definitions of the NLS table and their
// error codes, conversions both ways with their buffer rules, sharing by
// name, and the round trip of every shipped set.
#include <stdlib.h>
#include <string.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "orvane/charsets.h"
#include "orvane/frame.h"
#include "orvane/nls.h"
#include "support/test_support.h"
#include "test_nls_helpers.h"

namespace {

using Units = std::vector<uint16_t>;

// A table of the minimal rows and one definition block per name.
std::string tableWith(const std::vector<std::pair<std::string, std::string>> &definitions) {
  std::string t = nlstest::minimalRows();
  for (const auto &d : definitions) {
    t += "MBCHARMAP " + d.first + "\n" + d.second + "\nEND\n";
  }
  return t;
}

class CharSets : public ::testing::Test {
 protected:
  void SetUp() override { testsupport::useScratchProfileDir(); }
  void TearDown() override {
    for (orvCharSet s : made_) {
      orvCharacterSetDestroy(s);
    }
    nlsTerminate();
  }

  // Loads a table with these definitions.
  void useDefinitions(const std::vector<std::pair<std::string, std::string>> &definitions) {
    table_ = std::make_unique<nlstest::TableFile>(tableWith(definitions));
    ASSERT_EQ(0, nlstest::initWith(table_->path()).status);
  }

  void useShippedTable() { ASSERT_EQ(0, nlstest::initWith(nlstest::shippedTable()).status); }

  orvCharSet make(const char *name, int *error = nullptr) {
    int e = -1;
    orvCharSet s = orvCharacterSetCreate(name, &e);
    if (error != nullptr) {
      *error = e;
    }
    if (s != 0) {
      made_.push_back(s);
    }
    return s;
  }

  // The error code of making a set from one definition.
  int errorOf(const std::string &definition) {
    nlsTerminate();
    useDefinitions({{"probe", definition}});
    int error = -1;
    orvCharSet s = make("probe", &error);
    EXPECT_EQ(0, s) << definition;
    return error;
  }

  std::unique_ptr<nlstest::TableFile> table_;
  std::vector<orvCharSet> made_;
};

Units toUnicode(orvCharSet s, const std::string &bytes, bool withLength = true, uint32_t *size = nullptr) {
  uint32_t length = withLength ? static_cast<uint32_t>(bytes.size()) : 0;
  uint32_t byteSize = 0;
  uint16_t *u = orvCharacterSetConvertToUnicode(s, bytes.c_str(), &length, &byteSize);
  if (u == nullptr) {
    return Units{0xDEAD};
  }
  Units out(u, u + length);
  EXPECT_EQ(0, u[length]);
  EXPECT_EQ((length + 1) * 2, byteSize);
  if (size != nullptr) {
    *size = byteSize;
  }
  orvMemoryFreeFunc(u);
  return out;
}

std::string fromUnicode(orvCharSet s, const Units &units, bool withLength = true) {
  Units input = units;
  input.push_back(0);
  uint32_t length = withLength ? static_cast<uint32_t>(units.size()) : 0;
  uint32_t byteSize = 0;
  char *n = orvCharacterSetConvertFromUnicode(s, input.data(), &length, &byteSize);
  if (n == nullptr) {
    return "<null>";
  }
  EXPECT_EQ(units.size(), length);
  std::string out(n, byteSize);
  orvMemoryFreeFunc(n);
  return out;
}

}  // namespace

// --- Built-in sets --------------------------------------------------------------------

TEST_F(CharSets, AsciiAndUnicodeAreBuiltInWhateverTheirCase) {
  EXPECT_EQ(ORV_CHARSET_ASCII, make("ascii"));
  EXPECT_EQ(ORV_CHARSET_ASCII, make("ASCII"));
  EXPECT_EQ(ORV_CHARSET_UNICODE, make("Unicode"));
  EXPECT_EQ(ORV_CHARSET_UNICODE, make("UNICODE"));
  int error = -1;
  EXPECT_EQ(ORV_CHARSET_ASCII, make("aScIi", &error));
  EXPECT_EQ(0, error);
}

TEST_F(CharSets, AsciiMapsBytesToUnitsAndKeepsTheLowByteBack) {
  EXPECT_EQ((Units{'a', 0xE9, 0xFF}), toUnicode(ORV_CHARSET_ASCII, "a\xE9\xFF"));
  EXPECT_EQ((Units{'a', 0xE9, 0xFF}), toUnicode(ORV_CHARSET_ASCII, "a\xE9\xFF", false));
  // An explicit length takes embedded NULs too.
  EXPECT_EQ((Units{'a', 0, 'b'}), toUnicode(ORV_CHARSET_ASCII, std::string("a\0b", 3)));
  EXPECT_EQ(std::string("a\xE9\x34", 4), fromUnicode(ORV_CHARSET_ASCII, Units{'a', 0xE9, 0x1234}));
}

TEST_F(CharSets, UnicodeCopiesUnits) {
  const uint16_t text[] = {0x3042, 'x', 0xD83D, 0xDE00, 0};
  uint32_t length = 0;
  uint32_t size = 0;
  uint16_t *u = orvCharacterSetConvertToUnicode(ORV_CHARSET_UNICODE, text, &length, &size);
  ASSERT_NE(nullptr, u);
  EXPECT_EQ(4u, length);
  EXPECT_EQ(10u, size);
  EXPECT_EQ(0, memcmp(u, text, sizeof text));
  orvMemoryFreeFunc(u);
  length = 2;
  char *n = orvCharacterSetConvertFromUnicode(ORV_CHARSET_UNICODE, text, &length, &size);
  ASSERT_NE(nullptr, n);
  EXPECT_EQ(2u, length);
  EXPECT_EQ(6u, size);
  EXPECT_EQ(0, memcmp(n, text, 4));
  EXPECT_EQ(0, n[4]);
  EXPECT_EQ(0, n[5]);
  orvMemoryFreeFunc(n);
}

TEST_F(CharSets, BadArgumentsGiveNull) {
  uint32_t length = 0;
  EXPECT_EQ(nullptr, orvCharacterSetConvertToUnicode(0, "a", &length, nullptr));
  EXPECT_EQ(nullptr, orvCharacterSetConvertToUnicode(ORV_CHARSET_ASCII, nullptr, &length, nullptr));
  EXPECT_EQ(nullptr, orvCharacterSetConvertFromUnicode(ORV_CHARSET_ASCII, nullptr, &length, nullptr));
  EXPECT_EQ(0, orvCharacterSetCreate(nullptr, nullptr));
  orvCharacterSetDestroy(0);
  orvCharacterSetDestroy(ORV_CHARSET_ASCII);
  orvCharacterSetDestroy(ORV_CHARSET_UNICODE);
  // Null length and size pointers: up to the terminator, nothing reported.
  uint16_t *u = orvCharacterSetConvertToUnicode(ORV_CHARSET_ASCII, "ab", nullptr, nullptr);
  ASSERT_NE(nullptr, u);
  EXPECT_EQ('b', u[1]);
  EXPECT_EQ(0, u[2]);
  orvMemoryFreeFunc(u);
}

// --- Definitions -----------------------------------------------------------------------

TEST_F(CharSets, TheDefinitionOfTheExample) {
  useDefinitions({{"upper", "0 BASE 0x41 0x41 - 0x5A"}});
  orvCharSet s = make("upper");
  ASSERT_NE(0, s);
  EXPECT_EQ((Units{'A', 'M', 'Z'}), toUnicode(s, "AMZ"));
  EXPECT_EQ((Units{'A', 'M', 'Z'}), toUnicode(s, "AMZ", false));
  EXPECT_EQ(std::string("QED\0", 4), fromUnicode(s, Units{'Q', 'E', 'D'}));
  EXPECT_EQ((Units{0xDEAD}), toUnicode(s, "AbC"));  // b has no entry
  EXPECT_EQ("<null>", fromUnicode(s, Units{'a'}));
}

TEST_F(CharSets, AByteWithoutAnEntryFailsTheConversion) {
  useDefinitions({{"digits", "0 BASE 0x30 0x30 - 0x39"}});
  orvCharSet s = make("digits");
  ASSERT_NE(0, s);
  EXPECT_EQ((Units{'1', '2'}), toUnicode(s, "12"));
  EXPECT_EQ((Units{0xDEAD}), toUnicode(s, "1x2"));
  EXPECT_EQ((Units{0xDEAD}), toUnicode(s, "\x80"));
}

TEST_F(CharSets, BracesRangesCommentsAndBase) {
  useDefinitions({{"mixed",
                   "# a set of one-, two- and four-byte codes\n"
                   "0x00 BASE 0x41 0x41 - 0x43   # A to C\n"
                   "BASE 0x3042 {0x82 0xA0} {0x82 0xA2}\n"
                   "base 0x4E00 {0x81 0x82 0x83 0x84}\n"
                   "BASE 10 10\n"}});
  orvCharSet s = make("mixed");
  ASSERT_NE(0, s);
  EXPECT_EQ((Units{'A', 0x3042, 0x4E00, 0x3043, 'C', '\n'}), toUnicode(s,
                                                                       "A\x82\xA0\x81\x82\x83\x84\x82\xA2"
                                                                       "C\n"));
  EXPECT_EQ(std::string("\x82\xA2\x81\x82\x83\x84"
                        "B\0",
                        8),
            fromUnicode(s, Units{0x3043, 0x4E00, 'B'}));
  // A lead byte without its trail byte at the end matches nothing.
  EXPECT_EQ((Units{0xDEAD}), toUnicode(s, "A\x82"));
}

TEST_F(CharSets, TheLongestCodeWins) {
  // 0x41 alone is A; 0x41 0x42 together is one character.
  useDefinitions({{"greedy", "0 BASE 0x41 0x41 0x42 BASE 0x263A {0x41 0x42}"}});
  orvCharSet s = make("greedy");
  ASSERT_NE(0, s);
  EXPECT_EQ((Units{0x263A, 'A'}), toUnicode(s, "ABA"));
  EXPECT_EQ((Units{'B', 'A'}), toUnicode(s, "BA"));
}

TEST_F(CharSets, TheFirstDefinitionOfAValueCounts) {
  useDefinitions({{"twice", "0 BASE 0x41 0x41 BASE 0x41 0x61 BASE 0x62 0x61"}});
  orvCharSet s = make("twice");
  ASSERT_NE(0, s);
  EXPECT_EQ(std::string("A\0", 2), fromUnicode(s, Units{'A'}));
  EXPECT_EQ((Units{'A'}), toUnicode(s, "a"));
}

TEST_F(CharSets, ASetWithoutAnEntryForZeroNeverConvertsFromUnicode) {
  useDefinitions({{"nozero", "BASE 0x41 0x41 - 0x5A"}});
  orvCharSet s = make("nozero");
  ASSERT_NE(0, s);
  EXPECT_EQ("<null>", fromUnicode(s, Units{'A'}));
  EXPECT_EQ((Units{'A', 'B'}), toUnicode(s, "AB"));       // with a length: no terminator needed
  EXPECT_EQ((Units{0xDEAD}), toUnicode(s, "AB", false));  // up to the NUL, which has no entry
}

TEST_F(CharSets, ErrorCodesOfTheDefinitionParser) {
  EXPECT_EQ(ORV_CHARSET_ERR_NOT_BASE, errorOf("0 BASIC 1"));
  EXPECT_EQ(ORV_CHARSET_ERR_NOT_BASE, errorOf("0 B 1"));
  EXPECT_EQ(ORV_CHARSET_ERR_COMMENT_INSIDE, errorOf("0 { 0x81 # no\n 0x40 }"));
  EXPECT_EQ(ORV_CHARSET_ERR_COMMENT_INSIDE, errorOf("0 BASE # no\n 0x41"));
  EXPECT_EQ(ORV_CHARSET_ERR_BASE_INSIDE, errorOf("0 { BASE 1 }"));
  EXPECT_EQ(ORV_CHARSET_ERR_BASE_INSIDE, errorOf("0 - BASE"));
  EXPECT_EQ(ORV_CHARSET_ERR_BRACE_INSIDE, errorOf("0 { {"));
  EXPECT_EQ(ORV_CHARSET_ERR_BRACE_INSIDE, errorOf("0 BASE {"));
  EXPECT_EQ(ORV_CHARSET_ERR_CLOSE_WITHOUT_OPEN, errorOf("0 }"));
  EXPECT_EQ(ORV_CHARSET_ERR_CLOSE_WITHOUT_OPEN, errorOf("0 BASE }"));
  EXPECT_EQ(ORV_CHARSET_ERR_DASH_INSIDE, errorOf("0 { 1 - 2 }"));
  EXPECT_EQ(ORV_CHARSET_ERR_DASH_INSIDE, errorOf("0 1 - - 5"));
  EXPECT_EQ(ORV_CHARSET_ERR_BAD_CHARACTER, errorOf("0 x"));
  EXPECT_EQ(ORV_CHARSET_ERR_BAD_CHARACTER, errorOf("0 12ab"));
  EXPECT_EQ(ORV_CHARSET_ERR_BAD_CHARACTER, errorOf("0 0x"));
  EXPECT_EQ(ORV_CHARSET_ERR_BAD_CHARACTER, errorOf("0 256"));  // not one byte
  EXPECT_EQ(ORV_CHARSET_ERR_BAD_CHARACTER, errorOf("0 { 0x100 }"));
  EXPECT_EQ(ORV_CHARSET_ERR_BAD_CHARACTER, errorOf("0 BASE 0x10000"));  // not 16 bits
  EXPECT_EQ(ORV_CHARSET_ERR_BAD_CHARACTER, errorOf("0 {}"));
  EXPECT_EQ(ORV_CHARSET_ERR_BAD_CHARACTER, errorOf("0 BASE 0xFFFF 1 2"));  // past U+FFFF
  EXPECT_EQ(ORV_CHARSET_ERR_BAD_CHARACTER, errorOf("0 99999999999"));
  EXPECT_EQ(ORV_CHARSET_ERR_FIFTH_BYTE, errorOf("0 {1 2 3 4 5}"));
  EXPECT_EQ(ORV_CHARSET_ERR_RANGE_END, errorOf("0 0x41 - 0x41"));
  EXPECT_EQ(ORV_CHARSET_ERR_RANGE_END, errorOf("0 0x41 - 0x40"));
  EXPECT_EQ(ORV_CHARSET_ERR_RANGE_END, errorOf("0 0x41 - 255"));
  EXPECT_EQ(ORV_CHARSET_ERR_DASH_ALONE, errorOf("- 5"));
  EXPECT_EQ(ORV_CHARSET_ERR_DASH_ALONE, errorOf("0 {1 2} - 5"));
  EXPECT_EQ(ORV_CHARSET_ERR_DASH_ALONE, errorOf("0 BASE 5 - 9"));
  EXPECT_EQ(ORV_CHARSET_ERR_EMPTY, errorOf("# nothing but a comment"));
  EXPECT_EQ(ORV_CHARSET_ERR_EMPTY, errorOf("BASE 0x41"));
  EXPECT_EQ(ORV_CHARSET_ERR_EMPTY, errorOf("{1 2"));  // the end of the text drops an open construct
}

TEST_F(CharSets, ARangeEndsBelow255) {
  useDefinitions({{"high", "0 BASE 0xA0 0xA0 - 0xFE 0xFF"}});
  orvCharSet s = make("high");
  ASSERT_NE(0, s);
  EXPECT_EQ((Units{0xA0, 0xFE, 0xFF}), toUnicode(s, "\xA0\xFE\xFF"));
}

TEST_F(CharSets, WithoutADefinitionTheErrorIsOne) {
  useDefinitions({{"present", "0 1 2"}});
  int error = -1;
  EXPECT_EQ(0, make("absent", &error));
  EXPECT_EQ(ORV_CHARSET_ERR_NO_DEFINITION, error);
  nlsTerminate();
  EXPECT_EQ(0, make("present", &error));  // no table loaded at all
  EXPECT_EQ(ORV_CHARSET_ERR_NO_DEFINITION, error);
}

TEST_F(CharSets, TheFirstLineNamingTheSetHoldsItsDefinition) {
  // The reader takes the first line that contains both MBCHARMAP and the
  // name: "big5x" contains "big5".
  useDefinitions({{"big5x", "0 BASE 0x41 0x61"}, {"big5", "0 BASE 0x41 0x41"}});
  orvCharSet s = make("big5");
  ASSERT_NE(0, s);
  EXPECT_EQ((Units{'A'}), toUnicode(s, "a"));
}

// --- Buffers ------------------------------------------------------------------------------

TEST_F(CharSets, TheResultIsCutToItsExactSize) {
  useShippedTable();
  orvCharSet s = make("s-jis");
  ASSERT_NE(0, s);
  // Four bytes, two characters: five units of working buffer, three used.
  uint32_t size = 0;
  EXPECT_EQ((Units{0x3042, 0x3044}), toUnicode(s, "\x82\xA0\x82\xA2", true, &size));
  EXPECT_EQ(6u, size);
  EXPECT_EQ(std::string("\x82\xA0\x82\xA2\0", 5), fromUnicode(s, Units{0x3042, 0x3044}));
}

TEST_F(CharSets, UnknownLengthsGrowTheBuffer) {
  useShippedTable();
  orvCharSet s = make("8859-1");
  ASSERT_NE(0, s);
  std::string text;
  for (int i = 0; i < 5000; ++i) {
    text += static_cast<char>('a' + i % 26);
  }
  Units u = toUnicode(s, text, false);
  ASSERT_EQ(5000u, u.size());
  EXPECT_EQ('a', u[0]);
  EXPECT_EQ('a' + 4999 % 26, u[4999]);
  EXPECT_EQ(text + std::string(1, '\0'), fromUnicode(s, u, false));
}

TEST_F(CharSets, ConversionEndsAtTheEntryForZero) {
  useShippedTable();
  orvCharSet s = make("8859-1");
  ASSERT_NE(0, s);
  EXPECT_EQ((Units{'a', 'b'}), toUnicode(s, std::string("ab\0cd", 5)));
}

// --- Sharing ------------------------------------------------------------------------------

TEST_F(CharSets, SetsAreSharedByNameAndCounted) {
  useShippedTable();
  orvCharSet a = orvCharacterSetCreate("s-jis", nullptr);
  orvCharSet b = orvCharacterSetCreate("S-JIS", nullptr);
  ASSERT_NE(0, a);
  EXPECT_EQ(a, b);
  orvCharacterSetDestroy(a);
  EXPECT_EQ((Units{0x3042}), toUnicode(b, "\x82\xA0"));  // still alive: one create left
  orvCharacterSetDestroy(b);
  orvCharSet c = orvCharacterSetCreate("s-jis", nullptr);
  ASSERT_NE(0, c);
  EXPECT_EQ((Units{0x3042}), toUnicode(c, "\x82\xA0"));
  orvCharacterSetDestroy(c);
  orvCharacterSetDestroy(c);  // an unknown handle now: ignored
}

TEST_F(CharSets, TheCurrentSetGetsItsObjectAtStartUp) {
  nlstest::LanguageSetting japanese("jpn");
  useShippedTable();
  // The object of the current set is already made: making it again shares it.
  orvCharSet s = make("s-jis");
  ASSERT_NE(0, s);
  EXPECT_EQ((Units{0x65E5, 0x672C}), toUnicode(s, "\x93\xFA\x96\x7B"));
}

TEST_F(CharSets, TheShippedCp1252LocaleStartsWithItsSetObject) {
  nlstest::LanguageSetting latin1("enu-cp1252");
  useShippedTable();
  EXPECT_EQ(NLS_CHARSET_SBSPARE1, nlsGetCharSet());
  EXPECT_EQ(NLS_CHARSET_SBSPARE1, nlsCharSetIdFromName("cp1252"));
  uint32_t langId = 0;
  int32_t charSet = 0;
  ASSERT_EQ(1, nlsMapDBId("english-cp1252", &langId, &charSet));
  EXPECT_EQ(NLS_CHARSET_SBSPARE1, charSet);
  // The object of slot 10 is made under its slot name at start-up; making it
  // again shares it, and it converts the bytes of the Windows Latin-1 set.
  orvCharSet s = make("sbSpare1");
  ASSERT_NE(0, s);
  EXPECT_EQ((Units{0x20AC, 0x0178, 0x00E9}), toUnicode(s, "\x80\x9F\xE9"));
}

// --- The shipped sets ------------------------------------------------------------------------

TEST_F(CharSets, EveryCharacterOfEveryShippedSetRoundTrips) {
  useShippedTable();
  const char *sets[] = {"binary8", "ascii7",   "8859-1", "roman8", "decMCS", "dg",   "pc850",    "sco8859-1",
                        "cp1252",  "sbSpare1", "s-jis",  "euc-j",  "korean", "big5", "s-chinese"};
  for (const char *name : sets) {
    int error = -1;
    orvCharSet s = make(name, &error);
    ASSERT_NE(0, s) << name << " error " << error;
    int characters = 0;
    int doubles = 0;
    for (int first = 0; first < 256; ++first) {
      // second -1: a one-byte code; 0 is left out (a NUL ends the text).
      for (int second = -1; second < 256; second = second == -1 ? 1 : second + 1) {
        std::string code(1, static_cast<char>(first));
        if (second >= 0) {
          code += static_cast<char>(second);
        }
        uint32_t length = static_cast<uint32_t>(code.size());
        uint16_t *u = orvCharacterSetConvertToUnicode(s, code.data(), &length, nullptr);
        if (u == nullptr) {
          continue;
        }
        // A code that gives exactly one unit is one character of the set (a
        // two-byte code of two characters gives two).
        if (length == 1) {
          uint32_t back = 1;
          uint32_t size = 0;
          char *n = orvCharacterSetConvertFromUnicode(s, u, &back, &size);
          ASSERT_NE(nullptr, n) << name << " code " << std::hex << first << " " << second;
          EXPECT_EQ(code.size() + 1, size) << name << " " << std::hex << first << " " << second;
          EXPECT_EQ(0, memcmp(n, code.data(), code.size()))
              << name << " " << std::hex << first << " " << second;
          orvMemoryFreeFunc(n);
          ++characters;
          doubles += second >= 0 ? 1 : 0;
        }
        orvMemoryFreeFunc(u);
      }
    }
    EXPECT_GT(characters, 100) << name;
    if (strcmp(name, "s-jis") == 0) {
      EXPECT_GT(doubles, 7000);
    }
  }
}

// --- Threads ------------------------------------------------------------------------------------

TEST_F(CharSets, ThreadsShareSetsAndConvertAtOnce) {
  useShippedTable();
  std::vector<std::thread> threads;
  std::atomic<int> failures{0};
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([t, &failures] {
      const char *names[] = {"s-jis", "big5", "euc-j", "pc850"};
      for (int i = 0; i < 50; ++i) {
        int error = 0;
        orvCharSet s = orvCharacterSetCreate(names[(t + i) % 4], &error);
        if (s == 0) {
          ++failures;
          continue;
        }
        uint32_t length = 1;
        uint16_t *u = orvCharacterSetConvertToUnicode(s, "A", &length, nullptr);
        if (u == nullptr || u[0] != 'A') {
          ++failures;
        }
        orvMemoryFreeFunc(u);
        orvCharacterSetDestroy(s);
      }
    });
  }
  for (std::thread &th : threads) {
    th.join();
  }
  EXPECT_EQ(0, failures.load());
}

// Parameter substitution (nlsSubstituteParameters, with its "NLSSUBST"
// assertions) and nlsFormatString, in single-byte and Shift-JIS locales.
#include <string.h>

#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "orvane/frame.h"
#include "orvane/nls.h"
#include "support/test_support.h"
#include "test_nls_helpers.h"

#if !defined(_WIN32)
#include <signal.h>
#endif

namespace {

#define KANJI_SUN "\x93\xFA"
#define TRAIL_AMP "\x82\x26"  // not a real character: a lead byte and "&"

class Subst : public ::testing::Test {
 protected:
  void SetUp() override { testsupport::useScratchProfileDir(); }
  void TearDown() override { nlsTerminate(); }
  void initIn(const std::string &language) {
    nlstest::LanguageSetting setting(language);
    ASSERT_EQ(0, nlstest::initWith(nlstest::shippedTable()).status);
  }
};

class SingleByteSubst : public Subst {
 protected:
  void SetUp() override {
    Subst::SetUp();
    initIn("enu");
  }
};

class ShiftJisSubst : public Subst {
 protected:
  void SetUp() override {
    Subst::SetUp();
    initIn("jpn");
    ASSERT_EQ(13, nlsGetCharSet());
  }
};

// Substitution of an array of parameters (mode 0) into a large buffer,
// checked not to write past the result's NUL.
std::string subst(const char *templ, std::vector<const char *> params, int numbered = 0, int count = -1,
                  const char *marker = "&") {
  std::vector<char> out(512, 'x');
  const int n = count < 0 ? static_cast<int>(params.size()) : count;
  static const char *const kNone[1] = {nullptr};
  const char *const *array = params.empty() ? kNone : params.data();
  EXPECT_EQ(1, nlsSubstituteParameters(out.data(), static_cast<int>(out.size()), templ, marker, numbered, n,
                                       0, array));
  const size_t length = strlen(out.data());
  EXPECT_EQ('x', out[length + 1]);
  return std::string(out.data());
}

// Mode 1: one parameter string split at the marker.
std::string substString(const char *templ, const char *params, int count, int numbered = 0) {
  std::vector<char> out(512, 'x');
  EXPECT_EQ(1, nlsSubstituteParameters(out.data(), static_cast<int>(out.size()), templ, "&", numbered, count,
                                       1, params));
  return std::string(out.data());
}

bool assertionDeath(int status) {
#if defined(_WIN32)
  (void)status;
  return true;  // FatalExit ends the process; its code is the system's
#else
  return ::testing::KilledBySignal(SIGABRT)(status);
#endif
}

std::string assertionAt(int line) {
  return "Assertion Failure at line <" + std::to_string(line) + "> of file <NLSSUBST>.";
}

const char *const kTwo[] = {"a.txt", "c:\\tmp"};

}  // namespace

// --- Sequential and numbered substitution ------------------------------------------------------

TEST_F(SingleByteSubst, SequentialMarkers) {
  EXPECT_EQ("File a.txt not found in c:\\tmp", subst("File & not found in &", {"a.txt", "c:\\tmp"}));
  EXPECT_EQ("no markers", subst("no markers", {"a"}));
  EXPECT_EQ("", subst("", {}));
  EXPECT_EQ("&&", subst("&&", {"&", "&"}));  // parameter text is not rescanned
}

TEST_F(SingleByteSubst, MarkersWithOneAndTwoAreNotAutoNumbered) {
  EXPECT_EQ("a.txt1 c:\\tmp2", subst("&1 &2", {"a.txt", "c:\\tmp"}));
  // Given explicitly, the digits name the parameters and may repeat.
  EXPECT_EQ("c:\\tmp a.txt c:\\tmp", subst("&2 &1 &2", {"a.txt", "c:\\tmp"}, 1));
}

TEST_F(SingleByteSubst, AllTenDigitsMakeATemplateNumbered) {
  // Nine distinct digits (and a repeat) stay sequential.
  EXPECT_EQ("a1b2c3d4e5f6g7h8i9", subst("&1&2&3&4&5&6&7&8&9", {"a", "b", "c", "d", "e", "f", "g", "h", "i"}));
  std::vector<const char *> ten = {"a", "b", "c", "d", "e", "f", "g", "h", "i", "j"};
  EXPECT_EQ("a1b2c3d4e5f6g7h8i9", subst("&1&2&3&4&5&6&7&8&9", ten));
  EXPECT_EQ("a1b1", subst("&1&1", ten));
  // A marker without a digit makes the template sequential too.
  EXPECT_EQ("a0b1c2d3e4f5g6h7i8j9k",
            subst("&0&1&2&3&4&5&6&7&8&9&", {"a", "b", "c", "d", "e", "f", "g", "h", "i", "j", "k"}));
  // An escaped marker-digit pair does not count.
  EXPECT_EQ("&1a2", subst("\\&1&2", ten));
}

TEST_F(SingleByteSubst, BackslashRules) {
  EXPECT_EQ("a & b", subst("& \\& &", {"a", "b"}));  // a literal marker, no parameter used
  EXPECT_EQ("\\n\\t\\\\", subst("\\n\\t\\\\", {}));  // these stay as text
  EXPECT_EQ("xqy", subst("x\\qy", {}));              // the backslash is dropped
  EXPECT_EQ("end", subst("end\\", {}));              // a backslash before the NUL is dropped
  EXPECT_EQ("a\\\\", subst("a\\\\", {}));
}

TEST_F(SingleByteSubst, NullParameterWritesTheCharacterUnderTheCursor) {
  EXPECT_EQ("[&] [b]", subst("[&] [&]", {nullptr, "b"}));
  EXPECT_EQ("[2] [a]", subst("[&2] [&1]", {"a", nullptr}, 1));
}

TEST_F(SingleByteSubst, MarkerFirstByteAndMissingMarker) {
  EXPECT_EQ("a b", subst("% %", {"a", "b"}, 0, -1, "%xyz"));
  EXPECT_EQ("& &", subst("& &", {"a", "b"}, 0, -1, ""));
  EXPECT_EQ("& &", subst("& &", {"a", "b"}, 0, -1, nullptr));
}

TEST_F(SingleByteSubst, ModeOneSplitsTheParameterString) {
  EXPECT_EQ("File a.txt not found in c:\\tmp", substString("File & not found in &", "a.txt&c:\\tmp", 2));
  // count - 1 is the limit: the last parameter keeps the markers.
  EXPECT_EQ("<a> <b&c>", substString("<&> <&>", "a&b&c", 2));
  // Fewer pieces than markers: the missing ones are null.
  EXPECT_EQ("<a> <&>", substString("<&> <&>", "a", 2));
  EXPECT_EQ("<b> <a>", substString("<&2> <&1>", "a&b", 2, 1));
  // More than ten parameters: the tenth holds the rest, the others are null.
  EXPECT_EQ("1 2 3 4 5 6 7 8 9 j&k &", substString("& & & & & & & & & & &", "1&2&3&4&5&6&7&8&9&j&k", 11));
}

TEST_F(ShiftJisSubst, StepsByWholeCharacters) {
  // The trail byte of a two-byte character is never a marker.
  EXPECT_EQ(TRAIL_AMP "a", subst(TRAIL_AMP "&", {"a"}));
  EXPECT_EQ(KANJI_SUN "a" KANJI_SUN, subst(KANJI_SUN "&" KANJI_SUN, {"a"}));
  // An escaped two-byte character is written whole.
  EXPECT_EQ(KANJI_SUN, subst("\\" KANJI_SUN, {}));
  // A lead byte before the NUL, in a template and behind a backslash.
  EXPECT_EQ("a\x81", subst("&\x81", {"a"}));
  EXPECT_EQ("\x81", subst("\\\x81", {}));
  EXPECT_EQ(KANJI_SUN, substString("&", KANJI_SUN, 1));
  // A lead byte before the NUL in a mode-1 parameter string.
  EXPECT_EQ("a|\x81", substString("&|&", "a&\x81", 2));
}

TEST_F(SingleByteSubst, WritesExactlyTheResult) {
  // dst is sized by the caller for the whole result: the exact fit is used
  // to the byte and nothing after it changes.
  const std::string expected = "File a.txt not found in c:\\tmp";
  std::vector<char> out(expected.size() + 1 + 8, 'x');
  ASSERT_EQ(1, nlsSubstituteParameters(out.data(), static_cast<int>(expected.size() + 1),
                                       "File & not found in &", "&", 0, 2, 0, kTwo));
  EXPECT_EQ(expected, std::string(out.data()));
  for (size_t i = expected.size() + 1; i < out.size(); ++i) {
    EXPECT_EQ('x', out[i]);
  }
}

// --- Assertions --------------------------------------------------------------------------------------

TEST(SubstDeathTest, AThirdMarkerWithTwoParametersAssertsAt298) {
  char out[64];
  EXPECT_EXIT(nlsSubstituteParameters(out, sizeof out, "File & not found in & &", "&", 0, 2, 0, kTwo),
              assertionDeath, ::testing::HasSubstr(assertionAt(298)));
}

TEST(SubstDeathTest, DigitZeroIsAlwaysRejected) {
  char out[64];
  EXPECT_EXIT(nlsSubstituteParameters(out, sizeof out, "&0", "&", 1, 2, 0, kTwo), assertionDeath,
              ::testing::HasSubstr(assertionAt(298)));
  // Auto-detection needs the 0 as well, so a numbered template always
  // reaches it.
  const char *ten[] = {"a", "b", "c", "d", "e", "f", "g", "h", "i", "j"};
  EXPECT_EXIT(nlsSubstituteParameters(out, sizeof out, "&1&2&3&4&5&6&7&8&9&0", "&", 0, 10, 0, ten),
              assertionDeath, ::testing::HasSubstr(assertionAt(298)));
  EXPECT_EXIT(nlsSubstituteParameters(out, sizeof out, "&3", "&", 1, 2, 0, kTwo), assertionDeath,
              ::testing::HasSubstr(assertionAt(298)));
}

TEST(SubstDeathTest, NumberedMarkerWithoutADigitAssertsAt288) {
  char out[64];
  EXPECT_EXIT(nlsSubstituteParameters(out, sizeof out, "&x", "&", 1, 2, 0, kTwo), assertionDeath,
              ::testing::HasSubstr(assertionAt(288)));
  // A marker just before the NUL: the NUL is not a digit.
  EXPECT_EXIT(nlsSubstituteParameters(out, sizeof out, "a&", "&", 1, 2, 0, kTwo), assertionDeath,
              ::testing::HasSubstr(assertionAt(288)));
}

TEST(SubstDeathTest, NullArgumentsAssertAtTheirLines) {
  char out[64];
  EXPECT_EXIT(nlsSubstituteParameters(out, sizeof out, nullptr, "&", 0, 2, 0, kTwo), assertionDeath,
              ::testing::HasSubstr(assertionAt(253)));
  EXPECT_EXIT(nlsSubstituteParameters(nullptr, 64, "a", "&", 0, 2, 0, kTwo), assertionDeath,
              ::testing::HasSubstr(assertionAt(254)));
  EXPECT_EXIT(nlsSubstituteParameters(out, sizeof out, "a", "&", 0, 2, 1, nullptr), assertionDeath,
              ::testing::HasSubstr(assertionAt(262)));
  EXPECT_EXIT(nlsSubstituteParameters(out, sizeof out, "a", "&", 0, 2, 0, nullptr), assertionDeath,
              ::testing::HasSubstr(assertionAt(267)));
}

TEST(SubstDeathTest, ZeroParametersRejectAnyMarker) {
  char out[64];
  EXPECT_EXIT(nlsSubstituteParameters(out, sizeof out, "&", "&", 0, 0, 0, kTwo), assertionDeath,
              ::testing::HasSubstr(assertionAt(298)));
}

// --- nlsFormatString --------------------------------------------------------------------------------

TEST_F(SingleByteSubst, FormatStringThroughAMask) {
  char out[32];
  EXPECT_EQ(14, nlsFormatString(out, sizeof out, "12345", "(###) ###-####", '#'));
  EXPECT_STREQ("(123) 45 -    ", out);
  EXPECT_EQ(3, nlsFormatString(out, sizeof out, "123456", "###", '#'));  // extra value ignored
  EXPECT_STREQ("123", out);
  EXPECT_EQ(2, nlsFormatString(out, sizeof out, nullptr, "#-", '#'));
  EXPECT_STREQ(" -", out);
  EXPECT_EQ(0, nlsFormatString(out, sizeof out, "1", nullptr, '#'));
  EXPECT_STREQ("", out);
}

TEST_F(SingleByteSubst, FormatStringBufferSizes) {
  // "(123) 45 -    " is 14 bytes: the exact fit is 15.
  char out[24];
  memset(out, 'x', sizeof out);
  EXPECT_EQ(0, nlsFormatString(out, 0, "12345", "(###) ###-####", '#'));
  EXPECT_EQ('x', out[0]);  // dstSize 0 writes nothing
  EXPECT_EQ(0, nlsFormatString(nullptr, 5, "12345", "(###) ###-####", '#'));
  EXPECT_EQ(0, nlsFormatString(out, 1, "12345", "(###) ###-####", '#'));
  EXPECT_EQ('\0', out[0]);
  EXPECT_EQ('x', out[1]);
  memset(out, 'x', sizeof out);
  EXPECT_EQ(13, nlsFormatString(out, 14, "12345", "(###) ###-####", '#'));
  EXPECT_STREQ("(123) 45 -   ", out);
  EXPECT_EQ('x', out[14]);
  memset(out, 'x', sizeof out);
  EXPECT_EQ(14, nlsFormatString(out, 15, "12345", "(###) ###-####", '#'));
  EXPECT_STREQ("(123) 45 -    ", out);
  EXPECT_EQ('x', out[15]);
}

TEST_F(ShiftJisSubst, FormatStringKeepsCharactersWhole) {
  char out[32];
  // Two-byte value characters, and a two-byte literal in the mask.
  EXPECT_EQ(7, nlsFormatString(out, sizeof out, KANJI_SUN "1" KANJI_SUN, "#" KANJI_SUN "##", '#'));
  EXPECT_STREQ(KANJI_SUN KANJI_SUN "1" KANJI_SUN, out);
  // A mask character whose trail byte is the placeholder is a literal.
  EXPECT_EQ(3, nlsFormatString(out, sizeof out, "1",
                               "\x82#"
                               "#",
                               '#'));
  EXPECT_STREQ("\x82#1", out);
  // A two-byte item that does not fit stops the walk: never half of it.
  EXPECT_EQ(1, nlsFormatString(out, 3, "1" KANJI_SUN, "##", '#'));
  EXPECT_STREQ("1", out);
  EXPECT_EQ(0, nlsFormatString(out, 2, "1", KANJI_SUN "#", '#'));
  EXPECT_STREQ("", out);
  EXPECT_EQ(3, nlsFormatString(out, 4, "1", KANJI_SUN "#", '#'));
  EXPECT_STREQ(KANJI_SUN "1", out);
  // Lead bytes before the NUL in the value and in the mask.
  EXPECT_EQ(3, nlsFormatString(out, sizeof out, "\x81", "##\x81", '#'));
  EXPECT_STREQ("\x81 \x81", out);
}

// --- Buffer sizes in a double-byte locale ---------------------------------------------------------
//
// Each buffer is a heap block of exactly the size passed, so that a write
// past it is caught by the address sanitizer as well as by the checks.

namespace {

// Runs nlsFormatString into an exact block of size bytes; the result text.
std::string formatInto(int size, const char *value, const char *mask) {
  std::unique_ptr<char[]> block(new char[size > 0 ? size : 1]);
  block[0] = 'x';
  const int n = nlsFormatString(block.get(), size, value, mask, '#');
  if (size == 0) {
    EXPECT_EQ('x', block[0]);
    return "<nothing>";
  }
  EXPECT_EQ(static_cast<size_t>(n), strlen(block.get()));
  return std::string(block.get());
}

}  // namespace

TEST_F(ShiftJisSubst, FormatStringExactBlocks) {
  // KANJI "1" KANJI through "#-##": 2 + 1 + 1 + 2 = 6 bytes, exact fit 7.
  const char *value = KANJI_SUN "1" KANJI_SUN;
  EXPECT_EQ("<nothing>", formatInto(0, value, "#-##"));
  EXPECT_EQ("", formatInto(1, value, "#-##"));
  EXPECT_EQ(KANJI_SUN "-1", formatInto(6, value, "#-##"));  // the last kanji would leave no room
  EXPECT_EQ(KANJI_SUN "-1" KANJI_SUN, formatInto(7, value, "#-##"));
}

TEST_F(ShiftJisSubst, DigitsAndPiecesExactBlocks) {
  const char *src =
      "\x81\x40"
      "12"
      "\x81\x40"
      "345";
  for (int size : {0, 1, 2, 3}) {
    std::unique_ptr<char[]> block(new char[size > 0 ? size : 1]);
    block[0] = 'x';
    const int consumed = nlsNLSDigitsToAscii(block.get(), size, src);
    if (size == 0) {
      EXPECT_EQ(0, consumed);
      EXPECT_EQ('x', block[0]);
    } else {
      EXPECT_EQ(static_cast<size_t>(size - 1), strlen(block.get()));
      EXPECT_EQ(1 + size - 1, consumed);
    }
  }
  // Pieces "12" and "345": 3 + 4 bytes, exact fit 7.
  char *pieces[4];
  for (int size : {0, 1, 6, 7}) {
    std::unique_ptr<char[]> block(new char[size > 0 ? size : 1]);
    const int n = nlsStrToArray(src, nullptr, -1, pieces, 4, block.get(), size);
    EXPECT_EQ(size == 7 ? 2 : -1, n) << size;
  }
  std::unique_ptr<char[]> block(new char[7]);
  ASSERT_EQ(2, nlsStrToArray(src, nullptr, -1, pieces, 4, block.get(), 7));
  EXPECT_STREQ("12", pieces[0]);
  EXPECT_STREQ("345", pieces[1]);
}

TEST_F(ShiftJisSubst, SubstitutionIntoAnExactBlock) {
  // "<" KANJI ">" with "a" + KANJI: 1 + 3 + 1 bytes and the NUL.
  const char *params[] = {"a" KANJI_SUN};
  std::unique_ptr<char[]> block(new char[6]);
  ASSERT_EQ(1, nlsSubstituteParameters(block.get(), 6, "<&>", "&", 0, 1, 0, params));
  EXPECT_STREQ("<a" KANJI_SUN ">", block.get());
  // A value that ends in a lead byte is copied as it is.
  const char *lead[] = {"\x81"};
  std::unique_ptr<char[]> small(new char[2]);
  ASSERT_EQ(1, nlsSubstituteParameters(small.get(), 2, "&", "&", 0, 1, 0, lead));
  EXPECT_STREQ("\x81", small.get());
}

TEST(PortFloatSizes, WidthIsTheBlockSize) {
  // The width is the caller's block: exactly that many bytes are written.
  for (int width : {0, 1, 6, 7, 12, 25, 26}) {
    std::unique_ptr<char[]> block(new char[width > 0 ? width : 1]);
    block[0] = 'x';
    int error = 0;
    const int r = nlsR8ToPortFloat(-1234.5, block.get(), width, &error);
    EXPECT_EQ(width >= 7 ? 1 : 0, r) << width;
    if (width == 0) {
      EXPECT_EQ('x', block[0]);
    } else if (width < 7) {
      EXPECT_EQ(std::string(static_cast<size_t>(width), '0'), std::string(block.get(), width));
    } else {
      // One mantissa digit at width 7: -.1E+04.
      EXPECT_EQ(width == 7 ? -1000.0 : -1234.5, nlsPortFloatToR8(block.get(), width, &error)) << width;
      EXPECT_EQ(0, error);
    }
  }
}

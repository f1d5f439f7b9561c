// Numeric conversion and formatting: pictures, padded integers, the
// caller's decimal character, the free-form reader, digits padded with
// double-byte spaces, nlsStrToArray and the portable float text, in
// single-byte and Shift-JIS locales.
#include <math.h>
#include <stdint.h>
#include <string.h>

#include <cfloat>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "orvane/nls.h"
#include "support/test_support.h"
#include "test_nls_helpers.h"

namespace {

// The Shift-JIS double-byte space and a kanji.
#define DB_SPACE "\x81\x40"
#define KANJI_SUN "\x93\xFA"

class NlsNumbers : public ::testing::Test {
 protected:
  void SetUp() override { testsupport::useScratchProfileDir(); }
  void TearDown() override { nlsTerminate(); }
  void initIn(const std::string &language) {
    nlstest::LanguageSetting setting(language);
    ASSERT_EQ(0, nlstest::initWith(nlstest::shippedTable()).status);
  }
};

class SingleByteNumbers : public NlsNumbers {
 protected:
  void SetUp() override {
    NlsNumbers::SetUp();
    initIn("enu");
  }
};

class ShiftJisNumbers : public NlsNumbers {
 protected:
  void SetUp() override {
    NlsNumbers::SetUp();
    initIn("jpn");
    ASSERT_EQ(13, nlsGetCharSet());
  }
};

// A picture record: fill, floating symbol, leading sign, two marker bytes,
// then the picture text.
std::string record(const std::string &text, char fill = ' ', char floating = ' ', char sign = ' ',
                   const char *marker = "  ") {
  return std::string(1, fill) + floating + sign + marker + text;
}

// nlsNumericFormat of number through the record; the result as a string.
std::string format(const std::string &number, const std::string &rec, int minPositions = 0,
                   int blankWhenZero = 0, int *result = nullptr) {
  const int width = static_cast<int>(rec.size()) - 5;
  std::vector<char> buffer(number.size() > static_cast<size_t>(width) ? number.size() : width);
  memcpy(buffer.data(), number.data(), number.size());
  int length = static_cast<int>(number.size());
  int r = nlsNumericFormat(buffer.data(), &length, blankWhenZero, minPositions, rec.data(),
                           static_cast<int>(rec.size()), '9');
  if (result != nullptr) {
    *result = r;
  }
  EXPECT_EQ(width, length);
  return std::string(buffer.data(), static_cast<size_t>(length));
}

std::string port(double value, int width, int *error = nullptr) {
  std::vector<char> out(static_cast<size_t>(width > 0 ? width : 1), '?');
  int dummy = 0;
  nlsR8ToPortFloat(value, out.data(), width, error != nullptr ? error : &dummy);
  return std::string(out.data(), static_cast<size_t>(width > 0 ? width : 0));
}

}  // namespace

// --- Pictures ------------------------------------------------------------------------------

TEST_F(SingleByteNumbers, PictureFillsFromTheRight) {
  EXPECT_EQ(" 1,234", format("1234", record("99,999")));
  EXPECT_EQ("    12", format("12", record("99,999")));  // the comma is not reached
  int r = 1;
  EXPECT_EQ("######", format("1234567", record("99,999"), 0, 0, &r));
  EXPECT_EQ(0, r);
}

TEST_F(SingleByteNumbers, MinPositionsCountsPositionsLiteralsIncluded) {
  EXPECT_EQ(" 0,012", format("12", record("99,999"), 5));
  EXPECT_EQ("  ,012", format("12", record("99,999"), 4));
  EXPECT_EQ("   012", format("12", record("99,999"), 3));
}

TEST_F(SingleByteNumbers, NegativeWithoutSignOrMarkerOverflows) {
  EXPECT_EQ("######", format("-12", record("99,999")));
  EXPECT_EQ("   -12", format("-12", record("99,999", ' ', ' ', '-')));
}

TEST_F(SingleByteNumbers, BlankWhenZeroGivesOnlySpaces) {
  EXPECT_EQ("      ", format("0", record("99,999", '*', '$'), 3, 1));
  EXPECT_EQ("      ", format("  0  ", record("99,999", '*'), 0, 1));
}

TEST_F(SingleByteNumbers, ZeroWithoutMinPositionsHasNoDigits) {
  EXPECT_EQ("******", format("0", record("99,999", '*')));
  EXPECT_EQ("*****0", format("0", record("99,999", '*'), 1));
  EXPECT_EQ("***-00", format("-00", record("99,999", '*', ' ', '-')));  // "00" is not the number 0
}

TEST_F(SingleByteNumbers, FillFloatingSymbolAndLeadingSign) {
  EXPECT_EQ("*$1,234.56", format("123456", record("999,999.99", '*', '$')));
  EXPECT_EQ("-$1,234.56", format("-123456", record("999,999.99", ' ', '$', '-')));
  EXPECT_EQ(" -$12.34 ", format("-1234", record("9,999.99 ", ' ', '$', '-')));
  EXPECT_EQ("   $0.05", format("5", record("9,999.99", ' ', '$'), 4));
  // No room left for the symbol or the sign.
  EXPECT_EQ("#####", format("12345", record("99999", ' ', '$')));
  EXPECT_EQ("#####", format("-12345", record("99999", ' ', ' ', '-')));
}

TEST_F(SingleByteNumbers, TrailingMarkers) {
  EXPECT_EQ(" 1,234CR", format("-1234", record("99,999CR", ' ', ' ', ' ', "CR")));
  EXPECT_EQ(" 1,234  ", format("1234", record("99,999  ", ' ', ' ', ' ', "CR")));
  EXPECT_EQ(" 1,234-", format("-1234", record("99,999 ", ' ', ' ', ' ', "- ")));
  // A marker over digit positions overflows.
  EXPECT_EQ("######", format("-1234", record("99,999", ' ', ' ', ' ', "CR")));
  // Leading sign and marker together.
  EXPECT_EQ("(1,234)", format("-1234", record("99,999 ", ' ', ' ', '(', ") ")));
}

TEST_F(SingleByteNumbers, NumbersThatAreNotDigitStrings) {
  int r = 1;
  EXPECT_EQ("#####", format("12a", record("99999"), 0, 0, &r));
  EXPECT_EQ(0, r);
  EXPECT_EQ("#####", format("1 2", record("99999")));
  EXPECT_EQ("#####", format("--1", record("99999", ' ', ' ', '-')));
  EXPECT_EQ("     ", format("", record("99999")));
  EXPECT_EQ("     ", format("   ", record("99999")));
}

TEST_F(SingleByteNumbers, BadArgumentsWriteNothing) {
  char text[8] = "123";
  int length = 3;
  EXPECT_EQ(-1, nlsNumericFormat(text, &length, 0, 0, "    ", 4, '9'));
  EXPECT_EQ(-1, nlsNumericFormat(nullptr, &length, 0, 0, "     9", 6, '9'));
  EXPECT_EQ(-1, nlsNumericFormat(text, nullptr, 0, 0, "     9", 6, '9'));
  EXPECT_EQ(-1, nlsNumericFormat(text, &length, 0, 0, nullptr, 6, '9'));
  length = -1;
  EXPECT_EQ(-1, nlsNumericFormat(text, &length, 0, 0, "     9", 6, '9'));
  EXPECT_STREQ("123", text);
  length = 3;
  // A picture of width 0 has no room for any digit.
  EXPECT_EQ(0, nlsNumericFormat(text, &length, 0, 0, "     ", 5, '9'));
  EXPECT_EQ(0, length);
  length = 0;
  EXPECT_EQ(1, nlsNumericFormat(text, &length, 0, 0, "     ", 5, '9'));
}

TEST_F(SingleByteNumbers, PictureWritesExactlyItsWidth) {
  // The field is written in place; nothing past the picture width changes
  // when the number is shorter.
  char text[16];
  memset(text, 'x', sizeof text);
  memcpy(text, "42", 2);
  int length = 2;
  std::string rec = record("9,999");
  ASSERT_EQ(1, nlsNumericFormat(text, &length, 0, 0, rec.data(), static_cast<int>(rec.size()), '9'));
  EXPECT_EQ(std::string("   42xxxxxxxxxxx"), std::string(text, sizeof text));
}

TEST_F(ShiftJisNumbers, MultiByteLiteralIsNeverSplit) {
  // A kanji between the digit groups, and a kanji whose trail byte is "9".
  EXPECT_EQ(" 12" KANJI_SUN "345", format("12345", record("999" KANJI_SUN "999")));
  const std::string trailNine = "\x93\x39";  // not a placeholder: the whole character is a literal
  EXPECT_EQ(" 1" + trailNine + "23", format("123", record("99" + trailNine + "99")));
  // A multi-byte literal under a trailing marker is covered whole...
  EXPECT_EQ(" 12CR", format("-12", record("999" KANJI_SUN, ' ', ' ', ' ', "CR")));
  // ...but a one-byte marker would split it: overflow.
  EXPECT_EQ("#####", format("-12", record("999" KANJI_SUN, ' ', ' ', ' ', "- ")));
  // A lead byte at the end of the picture is a character of its own.
  EXPECT_EQ(" 12\x81", format("12", record("999\x81")));
}

TEST_F(ShiftJisNumbers, DoubleByteFillIsNotPossibleButSymbolsAre) {
  EXPECT_EQ("*$1,234", format("1234", record("999,999", '*', '$')));
}

// --- nlsLtoa and nlsFtoa ---------------------------------------------------------------------

TEST(NlsLtoa, PaddingRules) {
  char out[32];
  EXPECT_EQ(out, nlsLtoa(out, sizeof out, 42, 5, 8));
  EXPECT_STREQ("   00042", out);
  EXPECT_EQ(out, nlsLtoa(out, sizeof out, -42, 5, 0));
  EXPECT_STREQ("00-42", out);  // zeros before the sign, exactly so
  EXPECT_EQ(out, nlsLtoa(out, sizeof out, 0, 0, 0));
  EXPECT_STREQ("0", out);
  EXPECT_EQ(out, nlsLtoa(out, sizeof out, -7, 0, 4));
  EXPECT_STREQ("  -7", out);
}

TEST(NlsLtoa, Int32MinAndMax) {
  char out[12];
  EXPECT_EQ(out, nlsLtoa(out, sizeof out, INT32_MIN, 0, 0));
  EXPECT_STREQ("-2147483648", out);
  EXPECT_EQ(out, nlsLtoa(out, sizeof out, INT32_MAX, 0, 0));
  EXPECT_STREQ("2147483647", out);
  EXPECT_EQ(nullptr, nlsLtoa(out, 11, INT32_MIN, 0, 0));  // one byte short
  EXPECT_STREQ("", out);
}

TEST(NlsLtoa, BufferSizes) {
  // "   00042" needs 9 bytes.
  char out[16];
  memset(out, 'x', sizeof out);
  EXPECT_EQ(nullptr, nlsLtoa(out, 0, 42, 5, 8));
  EXPECT_EQ('x', out[0]);
  EXPECT_EQ(nullptr, nlsLtoa(out, 1, 42, 5, 8));
  EXPECT_EQ('\0', out[0]);
  EXPECT_EQ('x', out[1]);
  memset(out, 'x', sizeof out);
  EXPECT_EQ(nullptr, nlsLtoa(out, 8, 42, 5, 8));
  EXPECT_EQ('x', out[8]);
  EXPECT_EQ(out, nlsLtoa(out, 9, 42, 5, 8));
  EXPECT_STREQ("   00042", out);
  EXPECT_EQ('x', out[9]);
  // minDigits alone must stay below dstSize.
  EXPECT_EQ(nullptr, nlsLtoa(out, 5, 1, 5, 0));
  EXPECT_EQ(nullptr, nlsLtoa(nullptr, 5, 1, 0, 0));
}

TEST(NlsFtoa, IntegralPartTruncated) {
  char out[64];
  EXPECT_EQ(1, nlsFtoa(out, sizeof out, 1234.99, 0, 0));
  EXPECT_STREQ("1234", out);
  EXPECT_EQ(1, nlsFtoa(out, sizeof out, -1234.99, 6, 8));
  EXPECT_STREQ("  0-1234", out);
  EXPECT_EQ(1, nlsFtoa(out, sizeof out, -42.5, 5, 0));
  EXPECT_STREQ("00-42", out);
  EXPECT_EQ(1, nlsFtoa(out, sizeof out, -0.5, 0, 0));
  EXPECT_STREQ("0", out);
  EXPECT_EQ(1, nlsFtoa(out, sizeof out, 0.0, 3, 0));
  EXPECT_STREQ("000", out);
}

TEST(NlsFtoa, BeyondTenToTheNineteenEveryDigitIsExact) {
  char out[400];
  EXPECT_EQ(1, nlsFtoa(out, sizeof out, 1e20, 0, 0));
  EXPECT_STREQ("100000000000000000000", out);
  EXPECT_EQ(1, nlsFtoa(out, sizeof out, -1e19, 0, 0));
  EXPECT_STREQ("-10000000000000000000", out);
  EXPECT_EQ(1, nlsFtoa(out, sizeof out, 9223372036854775808.0, 0, 0));
  EXPECT_STREQ("9223372036854775808", out);
  EXPECT_EQ(1, nlsFtoa(out, sizeof out, DBL_MAX, 0, 0));
  EXPECT_EQ(309u, strlen(out));
  EXPECT_EQ(0, strncmp(out, "17976931348623157", 17));
  EXPECT_EQ(0, nlsFtoa(out, 309, DBL_MAX, 0, 0));  // one byte short
  EXPECT_STREQ("", out);
}

TEST(NlsFtoa, NotANumberAndInfinitiesHaveNoDigits) {
  char out[16];
  memset(out, 'x', sizeof out);
  EXPECT_EQ(0, nlsFtoa(out, sizeof out, std::numeric_limits<double>::quiet_NaN(), 0, 0));
  EXPECT_STREQ("", out);
  EXPECT_EQ(0, nlsFtoa(out, sizeof out, HUGE_VAL, 0, 0));
  EXPECT_EQ(0, nlsFtoa(out, sizeof out, -HUGE_VAL, 0, 0));
  EXPECT_EQ(0, nlsFtoa(out, 0, std::numeric_limits<double>::quiet_NaN(), 0, 0));
}

TEST(NlsFtoa, BufferSizes) {
  char out[16];
  memset(out, 'x', sizeof out);
  EXPECT_EQ(0, nlsFtoa(out, 0, 123.0, 0, 0));
  EXPECT_EQ('x', out[0]);
  EXPECT_EQ(0, nlsFtoa(out, 1, 123.0, 0, 0));
  EXPECT_EQ('\0', out[0]);
  EXPECT_EQ(0, nlsFtoa(out, 3, 123.0, 0, 0));
  memset(out, 'x', sizeof out);
  EXPECT_EQ(1, nlsFtoa(out, 4, 123.0, 0, 0));
  EXPECT_STREQ("123", out);
  EXPECT_EQ('x', out[4]);
}

// --- Text to numbers --------------------------------------------------------------------------

TEST_F(SingleByteNumbers, AtolReadsALeadingInteger) {
  EXPECT_EQ(42, nlsAtol("  42abc"));
  EXPECT_EQ(-42, nlsAtol("-42"));
  EXPECT_EQ(7, nlsAtol("+7"));
  EXPECT_EQ(0, nlsAtol("x"));
  EXPECT_EQ(0, nlsAtol(nullptr));
  EXPECT_EQ(INT32_MIN, nlsAtol("-2147483648"));
  EXPECT_EQ(INT32_MAX, nlsAtol("99999999999999999999"));
  EXPECT_EQ(INT32_MIN, nlsAtol("-99999999999999999999"));
}

TEST_F(ShiftJisNumbers, AtolSkipsDoubleByteSpaces) { EXPECT_EQ(12, nlsAtol(DB_SPACE " 12")); }

TEST_F(SingleByteNumbers, AtofHonoursTheCallersDecimalCharacter) {
  char point[8] = {};
  ASSERT_EQ(1, nlsGetLocaleInfo(NLS_INFO_DECIMAL_POINT, point, sizeof point));
  ASSERT_STREQ(".", point);
  double v = 0;
  EXPECT_EQ(1, nlsAtof(&v, "3,5", ','));
  EXPECT_DOUBLE_EQ(3.5, v);
  EXPECT_EQ(1, nlsAtof(&v, "3.25  ", '.'));
  EXPECT_DOUBLE_EQ(3.25, v);
  EXPECT_EQ(1, nlsAtof(&v, "1,5,5", ','));  // only the first one
  EXPECT_DOUBLE_EQ(1.5, v);
  EXPECT_EQ(1, nlsAtof(&v, "abc", '.'));
  EXPECT_EQ(0.0, v);
}

TEST_F(SingleByteNumbers, AtofRefusesTextLongerThan32Bytes) {
  double v = 1.0;
  std::string text32(32, '1');
  EXPECT_EQ(1, nlsAtof(&v, text32.c_str(), '.'));
  EXPECT_DOUBLE_EQ(1.1111111111111111e31, v);
  v = 1.0;
  EXPECT_EQ(0, nlsAtof(&v, (text32 + "1").c_str(), '.'));
  EXPECT_EQ(0.0, v);
  v = 1.0;
  EXPECT_EQ(0, nlsAtof(&v, nullptr, '.'));
  EXPECT_EQ(0.0, v);
  EXPECT_EQ(0, nlsAtof(nullptr, "1", '.'));
}

TEST_F(SingleByteNumbers, FreeFormNumberScalesAndAdvances) {
  const char *text = "  12.3  -4,5 ";
  int pos = 0;
  int decimals = 0;
  int error = 0;
  const int length = static_cast<int>(strlen(text));
  EXPECT_DOUBLE_EQ(1230.0, nlsGetFreeFormNumber(text, length, &decimals, &pos, 2, '.', 0, &error));
  EXPECT_EQ(1, decimals);
  EXPECT_EQ(8, pos);
  EXPECT_DOUBLE_EQ(-4.0, nlsGetFreeFormNumber(text, length, &decimals, &pos, 0, '.', 0, &error));
  EXPECT_EQ(0xFFFF, decimals);  // no decimal character
  EXPECT_EQ(10, pos);           // stops at the ","
  EXPECT_EQ(0, error);
}

TEST_F(SingleByteNumbers, FreeFormTrailingZerosAndSigns) {
  int pos = 0;
  int decimals = 0;
  int error = 0;
  EXPECT_DOUBLE_EQ(1234.0, nlsGetFreeFormNumber("12.3400", 7, &decimals, &pos, 2, '.', 0, &error));
  EXPECT_EQ(2, decimals);
  pos = 0;
  EXPECT_DOUBLE_EQ(1234.5, nlsGetFreeFormNumber("12.345", 6, &decimals, &pos, 2, '.', 0, &error));
  EXPECT_EQ(3, decimals);
  pos = 0;
  EXPECT_DOUBLE_EQ(-1250.0, nlsGetFreeFormNumber("12,5- x", 7, &decimals, &pos, 2, ',', 1, &error));
  EXPECT_EQ(6, pos);
  pos = 0;
  EXPECT_DOUBLE_EQ(125.0, nlsGetFreeFormNumber("12,5-", 5, &decimals, &pos, 1, ',', 0, &error));
  EXPECT_EQ(4, pos);  // without signsAllowed the "-" is not read
  pos = 0;
  EXPECT_DOUBLE_EQ(5e6, nlsGetFreeFormNumber("5", 1, &decimals, &pos, 6, '.', 0, &error));
  pos = 0;
  EXPECT_DOUBLE_EQ(5e-6, nlsGetFreeFormNumber("5", 1, &decimals, &pos, -6, '.', 0, &error));
  EXPECT_EQ(0, error);
}

TEST_F(SingleByteNumbers, FreeFormWithoutDigitsOrTooManyDigits) {
  int pos = 1;
  int decimals = 0;
  int error = 0;
  EXPECT_EQ(0.0, nlsGetFreeFormNumber("x  abc", 6, &decimals, &pos, 2, '.', 1, &error));
  EXPECT_EQ(1, pos);
  EXPECT_EQ(0xFFFF, decimals);
  EXPECT_EQ(0, error);
  std::string many(40, '7');
  pos = 0;
  EXPECT_EQ(0.0, nlsGetFreeFormNumber(many.c_str(), 40, &decimals, &pos, 0, '.', 0, &error));
  EXPECT_EQ(1, error);
  EXPECT_EQ(40, pos);
  // The length bounds the read even without a NUL.
  char unterminated[3] = {'1', '2', '3'};
  pos = 0;
  error = 0;
  EXPECT_DOUBLE_EQ(12.0, nlsGetFreeFormNumber(unterminated, 2, nullptr, &pos, 0, '.', 0, nullptr));
  EXPECT_EQ(2, pos);
  EXPECT_EQ(0.0, nlsGetFreeFormNumber(unterminated, 2, nullptr, &pos, 0, '.', 0, nullptr));
  EXPECT_EQ(0.0, nlsGetFreeFormNumber(nullptr, 2, nullptr, &pos, 0, '.', 0, nullptr));
}

TEST_F(ShiftJisNumbers, FreeFormSkipsDoubleByteSpaces) {
  const std::string text = DB_SPACE "12" DB_SPACE DB_SPACE "34";
  int pos = 0;
  EXPECT_DOUBLE_EQ(12.0, nlsGetFreeFormNumber(text.c_str(), static_cast<int>(text.size()), nullptr, &pos, 0,
                                              '.', 0, nullptr));
  EXPECT_EQ(8, pos);
  EXPECT_DOUBLE_EQ(34.0, nlsGetFreeFormNumber(text.c_str(), static_cast<int>(text.size()), nullptr, &pos, 0,
                                              '.', 0, nullptr));
}

TEST(NlsIsDigits, OnlyAsciiDigits) {
  EXPECT_EQ(1, nlsIsDigits("0123456789"));
  EXPECT_EQ(0, nlsIsDigits(""));
  EXPECT_EQ(0, nlsIsDigits(nullptr));
  EXPECT_EQ(0, nlsIsDigits("12 "));
  EXPECT_EQ(0, nlsIsDigits("-1"));
  EXPECT_EQ(0, nlsIsDigits("\x82\x4F"));  // a full-width digit
}

TEST_F(ShiftJisNumbers, NlsDigitsSkipDoubleByteSpaces) {
  char out[16];
  EXPECT_EQ(6, nlsNLSDigitsToAscii(out, sizeof out, DB_SPACE " " DB_SPACE "-12x"));  // 3 blanks, 3 copied
  EXPECT_STREQ("-12", out);
  EXPECT_EQ(7, nlsAsciiDigitsToNLS(out, sizeof out, "\t " DB_SPACE "+34" KANJI_SUN));
  EXPECT_STREQ("+34", out);
  // A lead byte before the NUL is neither a blank nor a digit.
  EXPECT_EQ(0, nlsNLSDigitsToAscii(out, sizeof out, "\x81"));
  EXPECT_STREQ("", out);
}

TEST_F(SingleByteNumbers, NlsDigitsAreSingleByteSpacesOnly) {
  char out[16];
  EXPECT_EQ(0, nlsNLSDigitsToAscii(out, sizeof out, DB_SPACE "12"));
  EXPECT_STREQ("", out);
  EXPECT_EQ(0, nlsNLSDigitsToAscii(out, sizeof out, "\t12"));  // a tab is not a blank here
}

TEST_F(SingleByteNumbers, DigitBufferSizes) {
  char out[8];
  memset(out, 'x', sizeof out);
  EXPECT_EQ(0, nlsNLSDigitsToAscii(out, 0, "  123"));
  EXPECT_EQ('x', out[0]);
  EXPECT_EQ(2, nlsNLSDigitsToAscii(out, 1, "  123"));
  EXPECT_STREQ("", out);
  EXPECT_EQ('x', out[1]);
  EXPECT_EQ(4, nlsNLSDigitsToAscii(out, 3, "  123"));  // one short
  EXPECT_STREQ("12", out);
  EXPECT_EQ('x', out[3]);
  EXPECT_EQ(5, nlsNLSDigitsToAscii(out, 4, "  123"));  // exact fit
  EXPECT_STREQ("123", out);
  EXPECT_EQ('x', out[4]);
  memset(out, 'x', sizeof out);
  EXPECT_EQ(0, nlsAsciiDigitsToNLS(out, 0, " 1"));
  EXPECT_EQ('x', out[0]);
  EXPECT_EQ(1, nlsAsciiDigitsToNLS(out, 1, " 1"));
  EXPECT_STREQ("", out);
  EXPECT_EQ(2, nlsAsciiDigitsToNLS(out, 2, " 1"));
  EXPECT_STREQ("1", out);
  EXPECT_EQ('x', out[2]);
}

// --- A locale without attributes ------------------------------------------------------------

TEST_F(NlsNumbers, ALocaleWithoutAttributesHasNoDoubleByteSpace) {
  std::string table = testsupport::readFile(nlstest::shippedTable());
  const std::string row = "ja_JP:s-jis:winnt:jpn:129,159,2;224,252,2:129,129,64,67,68,70,71,65,66";
  const size_t at = table.find(row);
  ASSERT_NE(std::string::npos, at);
  table.replace(at, row.size(), "ja_JP:s-jis:winnt:jpn:129,159,2;224,252,2");
  nlstest::TableFile file(table);
  nlstest::LanguageSetting setting("jpn");
  ASSERT_EQ(0, nlstest::initWith(file.path()).status);
  ASSERT_EQ(13, nlsGetCharSet());
  char out[8];
  EXPECT_EQ(0, nlsNLSDigitsToAscii(out, sizeof out, DB_SPACE "12"));
  EXPECT_EQ(3, nlsNLSDigitsToAscii(out, sizeof out, " 12"));
  EXPECT_STREQ("12", out);
  // Not even the bytes 00 00: the NUL ends the text.
  const char zeros[4] = {'\0', '\0', '1', '\0'};
  EXPECT_EQ(0, nlsNLSDigitsToAscii(out, sizeof out, zeros));
  char *pieces[4];
  char buffer[16];
  EXPECT_EQ(1, nlsStrToArray(DB_SPACE "12", nullptr, -1, pieces, 4, buffer, sizeof buffer));
  EXPECT_STREQ(DB_SPACE "12", pieces[0]);
  EXPECT_EQ(3, nlsAtol("  3"));
}

// --- nlsStrToArray ------------------------------------------------------------------------------

TEST_F(SingleByteNumbers, StrToArrayAtASeparatorForParameters) {
  char *pieces[10];
  char buffer[64];
  EXPECT_EQ(2, nlsStrToArray("a.txt&c:\\tmp", "&", 1, pieces, 10, buffer, sizeof buffer));
  EXPECT_STREQ("a.txt", pieces[0]);
  EXPECT_STREQ("c:\\tmp", pieces[1]);
  // The limit keeps the rest, separators included, in the last piece.
  EXPECT_EQ(2, nlsStrToArray("a&b&c", "&", 1, pieces, 10, buffer, sizeof buffer));
  EXPECT_STREQ("b&c", pieces[1]);
  EXPECT_EQ(4, nlsStrToArray("&a&&", "&", -1, pieces, 10, buffer, sizeof buffer));
  EXPECT_STREQ("", pieces[0]);
  EXPECT_STREQ("a", pieces[1]);
  EXPECT_STREQ("", pieces[2]);
  EXPECT_STREQ("", pieces[3]);
  EXPECT_EQ(1, nlsStrToArray("", "&", -1, pieces, 10, buffer, sizeof buffer));
  EXPECT_STREQ("", pieces[0]);
  EXPECT_EQ(1, nlsStrToArray("a&b", "&", 0, pieces, 10, buffer, sizeof buffer));
  EXPECT_STREQ("a&b", pieces[0]);
  // The array size limits as well.
  EXPECT_EQ(2, nlsStrToArray("a&b&c", "&", -1, pieces, 2, buffer, sizeof buffer));
  EXPECT_STREQ("b&c", pieces[1]);
}

TEST_F(SingleByteNumbers, StrToArrayAtBlanksForNumbers) {
  char *pieces[10];
  char buffer[64];
  EXPECT_EQ(3, nlsStrToArray("  12 \t 34 5  ", nullptr, -1, pieces, 10, buffer, sizeof buffer));
  EXPECT_STREQ("12", pieces[0]);
  EXPECT_STREQ("34", pieces[1]);
  EXPECT_STREQ("5", pieces[2]);
  EXPECT_EQ(0, nlsStrToArray("   ", "", -1, pieces, 10, buffer, sizeof buffer));
  EXPECT_EQ(2, nlsStrToArray(" 1 2  3 ", "", 1, pieces, 10, buffer, sizeof buffer));
  EXPECT_STREQ("1", pieces[0]);
  EXPECT_STREQ("2  3", pieces[1]);
}

TEST_F(SingleByteNumbers, StrToArrayManyPieces) {
  std::string src;
  for (int i = 0; i < 40; ++i) {
    src += std::to_string(i) + ",";
  }
  std::vector<char *> pieces(50);
  std::vector<char> buffer(src.size() + 1);
  EXPECT_EQ(41, nlsStrToArray(src.c_str(), ",", -1, pieces.data(), 50, buffer.data(),
                              static_cast<int>(buffer.size())));
  EXPECT_STREQ("39", pieces[39]);
  EXPECT_STREQ("", pieces[40]);
  EXPECT_EQ(20, nlsStrToArray(src.c_str(), ",", -1, pieces.data(), 20, buffer.data(),
                              static_cast<int>(buffer.size())));
  EXPECT_EQ(src.substr(src.find("19,")), pieces[19]);
  EXPECT_EQ(18, nlsStrToArray(src.c_str(), ",", 17, pieces.data(), 50, buffer.data(),
                              static_cast<int>(buffer.size())));
  EXPECT_EQ(src.substr(src.find("17,")), pieces[17]);
  // The same numbers separated by runs of blanks.
  std::string blanks = "  ";
  for (int i = 0; i < 40; ++i) {
    blanks += std::to_string(i) + (i % 2 ? " \t " : " ");
  }
  ASSERT_EQ(40, nlsStrToArray(blanks.c_str(), nullptr, -1, pieces.data(), 50, buffer.data(),
                              static_cast<int>(buffer.size())));
  for (int i = 0; i < 40; ++i) {
    EXPECT_EQ(std::to_string(i), pieces[static_cast<size_t>(i)]);
  }
  // The rest keeps its inner blanks: the source's size is enough.
  buffer.resize(blanks.size() + 1);
  ASSERT_EQ(17, nlsStrToArray(blanks.c_str(), nullptr, 16, pieces.data(), 50, buffer.data(),
                              static_cast<int>(buffer.size())));
  EXPECT_EQ(0, strncmp(pieces[16], "16 17 \t 18", 10)) << pieces[16];
  EXPECT_EQ(' ', blanks.back());
  EXPECT_EQ('9', pieces[16][strlen(pieces[16]) - 1]);  // no trailing blanks
}

TEST_F(SingleByteNumbers, StrToArrayBufferSizes) {
  char *pieces[4];
  char buffer[8];
  memset(buffer, 'x', sizeof buffer);
  EXPECT_EQ(-1, nlsStrToArray("ab&c", "&", -1, pieces, 4, buffer, 0));
  EXPECT_EQ('x', buffer[0]);
  EXPECT_EQ(-1, nlsStrToArray("ab&c", "&", -1, pieces, 4, buffer, 1));
  EXPECT_EQ('x', buffer[0]);
  EXPECT_EQ(-1, nlsStrToArray("ab&c", "&", -1, pieces, 4, buffer, 4));  // one short
  EXPECT_EQ('x', buffer[4]);
  EXPECT_EQ(2, nlsStrToArray("ab&c", "&", -1, pieces, 4, buffer, 5));  // exact fit
  EXPECT_EQ('x', buffer[5]);
  EXPECT_EQ(-1, nlsStrToArray(nullptr, "&", -1, pieces, 4, buffer, 5));
  EXPECT_EQ(-1, nlsStrToArray("a", "&", -1, pieces, 0, buffer, 5));
  EXPECT_EQ(-1, nlsStrToArray("a", "&", -1, nullptr, 4, buffer, 5));
}

TEST_F(ShiftJisNumbers, StrToArrayDoubleByteSpacesAndSeparators) {
  char *pieces[10];
  char buffer[64];
  EXPECT_EQ(2, nlsStrToArray(DB_SPACE "12" DB_SPACE DB_SPACE "34" DB_SPACE, nullptr, -1, pieces, 10, buffer,
                             sizeof buffer));
  EXPECT_STREQ("12", pieces[0]);
  EXPECT_STREQ("34", pieces[1]);
  // A separator byte inside a two-byte character does not separate: the
  // trail byte of \x82\x61 is "a".
  EXPECT_EQ(2, nlsStrToArray("\x82\x61"
                             "a"
                             "b",
                             "a", -1, pieces, 10, buffer, sizeof buffer));
  EXPECT_STREQ("\x82\x61", pieces[0]);
  EXPECT_STREQ("b", pieces[1]);
  // A two-byte separator, whole.
  EXPECT_EQ(2, nlsStrToArray("x" KANJI_SUN "y", KANJI_SUN, -1, pieces, 10, buffer, sizeof buffer));
  EXPECT_STREQ("y", pieces[1]);
  // A lead byte before the NUL.
  EXPECT_EQ(1, nlsStrToArray("12\x81", nullptr, -1, pieces, 10, buffer, sizeof buffer));
  EXPECT_STREQ("12\x81", pieces[0]);
}

// --- Portable float text ------------------------------------------------------------------------

TEST(NlsPortFloat, Examples) {
  EXPECT_EQ("+.123450E+04", port(1234.5, 12));
  EXPECT_EQ("+.000000E+00", port(0.0, 12));
  EXPECT_EQ("+.000000E+00", port(-0.0, 12));
  EXPECT_EQ("-.100000E+01", port(-1.0, 12));
  EXPECT_EQ("+.100000E+00", port(0.1, 12));
  EXPECT_EQ("+.100000E-04", port(1e-5, 12));
  EXPECT_EQ("+.1E+02", port(10.0, 7));
  EXPECT_EQ("+.1E+03", port(99.99, 7));  // rounding carries into the exponent
}

TEST(NlsPortFloat, WideLayout) {
  const std::string t = port(1234.5, 30);
  EXPECT_EQ("+.1234500000000000000E+04     ", t);
  EXPECT_EQ("+.1234500000000000000E+04", port(1234.5, 25));
  int error = 0;
  EXPECT_EQ(1234.5, nlsPortFloatToR8(t.c_str(), 30, &error));
  EXPECT_EQ(0, error);
}

TEST(NlsPortFloat, ErrorsFillWithZeros) {
  int error = 0;
  EXPECT_EQ("000000", port(1.0, 6, &error));
  EXPECT_EQ(1, error);
  error = 0;
  EXPECT_EQ(std::string(26, '0'), port(1e100, 26, &error));  // exponent 101
  EXPECT_EQ(1, error);
  error = 0;
  EXPECT_EQ(std::string(26, '0'), port(1e99 * (1 + 1e-15), 26, &error));  // exponent 100
  EXPECT_EQ(1, error);
  error = 0;
  EXPECT_EQ("+.9999999999999999673E+99 ", port(1e99, 26, &error));  // the double just below 10^99
  EXPECT_EQ(0, error);
  port(1e-100, 26, &error);
  EXPECT_EQ(0, error);
  port(9.99e-101, 26, &error);
  EXPECT_EQ(1, error);
  for (double v : {DBL_MAX, -DBL_MAX, DBL_MIN, DBL_TRUE_MIN, 4.9e-320,
                   std::numeric_limits<double>::quiet_NaN(), HUGE_VAL, -HUGE_VAL}) {
    error = 0;
    EXPECT_EQ(std::string(23, '0'), port(v, 23, &error)) << v;
    EXPECT_EQ(1, error) << v;
  }
  // A null error flag is allowed; a width of 0 writes nothing.
  char out[8] = "abcdefg";
  EXPECT_EQ(0, nlsR8ToPortFloat(1.0, out, 0, nullptr));
  EXPECT_STREQ("abcdefg", out);
}

TEST(NlsPortFloat, ReadingChecksTheLayout) {
  int error = 0;
  EXPECT_EQ(1234.5, nlsPortFloatToR8("+.123450E+04", 12, &error));
  EXPECT_EQ(-0.1, nlsPortFloatToR8("-.100000E+00", 12, &error));
  EXPECT_EQ(0.0, nlsPortFloatToR8("+.000000E+00", 12, &error));
  EXPECT_EQ(0, error);
  for (const char *bad : {"*.123450E+04", "+,123450E+04", "+.12345xE+04", "+.123450e+04", "+.123450E*04",
                          "+.123450E+0x", "+.123"}) {
    error = 0;
    EXPECT_EQ(0.0, nlsPortFloatToR8(bad, 12, &error)) << bad;
    EXPECT_EQ(1, error) << bad;
  }
  error = 0;
  EXPECT_EQ(0.0, nlsPortFloatToR8("+.1E+00", 6, &error));
  EXPECT_EQ(1, error);
  error = 0;
  EXPECT_EQ(0.0, nlsPortFloatToR8("+.1234500000000000000E+04    x", 30, &error));
  EXPECT_EQ(1, error);
  EXPECT_EQ(0.0, nlsPortFloatToR8(nullptr, 30, nullptr));
}

TEST(NlsPortFloat, ExactPowersOfTen) {
  for (int e = -99; e < 99; ++e) {
    const double v = std::stod("1e" + std::to_string(e));
    char expected[32];
    snprintf(expected, sizeof expected, "+.100000E%c%02d", e + 1 < 0 ? '-' : '+', abs(e + 1));
    EXPECT_EQ(expected, port(v, 12)) << e;
    int error = 0;
    EXPECT_EQ(v, nlsPortFloatToR8(port(v, 26).c_str(), 26, &error)) << e;
  }
}

// Every finite double whose decimal exponent fits survives a round trip at
// widths of 23 and more, bit for bit.
TEST(NlsPortFloat, RandomRoundTripIsExact) {
  std::mt19937_64 random(20261123);
  std::uniform_int_distribution<uint64_t> bits;
  int tested = 0;
  for (int width : {23, 24, 25, 26}) {
    std::vector<char> out(static_cast<size_t>(width));
    for (int i = 0; i < 500000; ++i) {
      uint64_t b = bits(random);
      // Keep the binary exponent where decimal exponents fit: 2^-328 .. 2^325.
      const uint64_t exponent = 1023 - 325 + (b >> 52 & 0x7FF) % 650;
      b = (b & 0x800FFFFFFFFFFFFFull) | exponent << 52;
      double v;
      memcpy(&v, &b, sizeof v);
      if (fabs(v) < 1e-100 || fabs(v) >= 1e99) {
        continue;
      }
      int error = 0;
      ASSERT_EQ(1, nlsR8ToPortFloat(v, out.data(), width, &error));
      const double back = nlsPortFloatToR8(out.data(), width, &error);
      ASSERT_EQ(0, error);
      uint64_t backBits;
      memcpy(&backBits, &back, sizeof back);
      ASSERT_EQ(b, backBits) << std::string(out.data(), out.size());
      ++tested;
    }
  }
  EXPECT_GT(tested, 1900000);
}

TEST(NlsPortFloat, NarrowWidthsRoundCorrectly) {
  EXPECT_EQ("+.666667E+00", port(2.0 / 3.0, 12));
  EXPECT_EQ("-.333333E+00", port(-1.0 / 3.0, 12));
  EXPECT_EQ("+.9999999999999999E+00", port(0.9999999999999999, 22).substr(0, 22));
}

// --- orv nls format ------------------------------------------------------------------------------

TEST(OrvNlsFormat, NumberPictureAndFloat) {
  int status = -1;
  std::string out = testsupport::runOrv("nls format number --symbol @ --sign - 999,999.99 -123456", &status);
  if (out == "<no orv>") {
    GTEST_SKIP() << "the build has no orv tool";
  }
  EXPECT_EQ(0, status);
  EXPECT_EQ("[-@1,234.56]", out.substr(0, out.find_last_not_of("\r\n") + 1));
  out = testsupport::runOrv("nls format number --min 4 99,999 12", &status);
  EXPECT_EQ(0, status);
  EXPECT_NE(std::string::npos, out.find("[  ,012]")) << out;
  out = testsupport::runOrv("nls format picture \"*@-  999,999.99\" 5", &status);
  EXPECT_EQ(0, status);
  EXPECT_NE(std::string::npos, out.find("[********@5]")) << out;
  out = testsupport::runOrv("nls format number 99 123", &status);
  EXPECT_EQ(1, status);
  EXPECT_NE(std::string::npos, out.find("[##]")) << out;
  out = testsupport::runOrv("nls format float 1234.5 --width 12", &status);
  EXPECT_EQ(0, status);
  EXPECT_NE(std::string::npos, out.find("[+.123450E+04]")) << out;
  out = testsupport::runOrv("nls format float --read +.123450E+04", &status);
  EXPECT_EQ(0, status);
  EXPECT_NE(std::string::npos, out.find("1234.5")) << out;
  out = testsupport::runOrv("nls format float 1e300", &status);
  EXPECT_EQ(1, status);
}

TEST(OrvNlsFormat, UnknownKindsAndHelp) {
  int status = -1;
  std::string out = testsupport::runOrv("nls format date 2026", &status);
  if (out == "<no orv>") {
    GTEST_SKIP() << "the build has no orv tool";
  }
  EXPECT_EQ(2, status);
  out = testsupport::runOrv("nls format --help", &status);
  EXPECT_EQ(0, status);
  EXPECT_NE(std::string::npos, out.find("picture record")) << out;
  testsupport::runOrv("nls format number --bogus 9 1", &status);
  EXPECT_EQ(2, status);
}

TEST_F(NlsNumbers, AtofReadsTheCallersCharacterWhateverTheLocalesPointIs) {
  // In a German locale the runtime's decimal point is "," where the system
  // has that locale, "." where it falls back to "C": either way the
  // caller's character stands for it.
  initIn("deu");
  char point[8] = {};
  nlsGetLocaleInfo(NLS_INFO_DECIMAL_POINT, point, sizeof point - 1);
  double v = 0;
  EXPECT_EQ(1, nlsAtof(&v, "3.5", '.'));
  EXPECT_DOUBLE_EQ(3.5, v) << "locale point " << point;
  EXPECT_EQ(1, nlsAtof(&v, "3,5", ','));
  EXPECT_DOUBLE_EQ(3.5, v) << "locale point " << point;
  EXPECT_EQ(1, nlsAtof(&v, "-0;25", ';'));
  EXPECT_DOUBLE_EQ(-0.25, v) << "locale point " << point;
}

// Date and time formatting: every token, the order of trial, the name table
// and its defaults, names out of range, and the result and contents of dst
// when the result does not fit, in single- and double-byte locales.
#include <string.h>

#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "orvane/nls.h"
#include "support/test_support.h"
#include "test_nls_helpers.h"

namespace {

#define HIRA_A "\x82\xA0"

std::string fmt(const char *format, int32_t date, int32_t time, int dayOfYear = 0, int weekday = 0,
                const char *const *names = nullptr, int *result = nullptr) {
  char out[256];
  memset(out, 'x', sizeof out);
  int r = nlsFormatDateTime(out, sizeof out, date, time, dayOfYear, weekday, format, names);
  if (result != nullptr) {
    *result = r;
  }
  return out;
}

class NlsDates : public nlstest::LocaleTest {};

// Formats into a heap buffer of exactly size bytes (so that the address
// sanitizer sees any byte written past it), with day of year 1, and
// returns the result and the text (when size > 0).
struct Sized {
  int result;
  std::string text;
};

Sized formatSized(int size, const char *format, int32_t date, int32_t time, int weekday = 0,
                  const char *const *names = nullptr) {
  std::unique_ptr<char[]> buf(new char[size > 0 ? size : 0]);
  if (size > 0) {
    memset(buf.get(), 'x', static_cast<size_t>(size));
  }
  Sized s;
  s.result = nlsFormatDateTime(size > 0 ? buf.get() : nullptr, size, date, time, 1, weekday, format, names);
  if (size > 0) {
    s.text = buf.get();
  }
  return s;
}

}  // namespace

// --- The examples -------------------------------------------------------------------------

TEST(NlsDateFormat, DayMonthYear) { EXPECT_EQ("04/07/1999", fmt("DD/MM/YYYY", 19990704, 0)); }

TEST(NlsDateFormat, TimeWithMarker) { EXPECT_EQ("13:45:02.007 Pm", fmt("HH:MN:SS.MS AP", 0, 134502007)); }

TEST(NlsDateFormat, WeekdayAndMonthNames) {
  EXPECT_EQ("Sunday, July 04", fmt("WWWW, MMMM DD", 19990704, 0, 185, 0));
  const char *names[NLS_DATE_NAME_COUNT] = {};
  names[24] = "Dimanche";
  EXPECT_EQ("Dimanche, July 04", fmt("WWWW, MMMM DD", 19990704, 0, 185, 0, names));
}

TEST(NlsDateFormat, LoneLetterDIsNotAToken) {
  // "Day D": D alone, a, y are copied; only DD and DDD are tokens.
  EXPECT_EQ("Day D", fmt("Day D", 19990704, 0));
}

TEST(NlsDateFormat, LowerCaseIsNeverAToken) {
  EXPECT_EQ("yyyy mm dd hh mn ss ms ap wwww", fmt("yyyy mm dd hh mn ss ms ap wwww", 19990704, 134502007));
}

TEST(NlsDateFormat, EmptyFormat) {
  char out[4] = "abc";
  EXPECT_EQ(0, nlsFormatDateTime(out, sizeof out, 19990704, 0, 1, 0, "", nullptr));
  EXPECT_STREQ("", out);
}

// --- Every token and the order of trial ---------------------------------------------------

TEST(NlsDateFormat, EveryToken) {
  const int32_t date = 20240229;
  const int32_t time = 90807006;  // 09:08:07.006
  EXPECT_EQ("2024", fmt("YYYY", date, time));
  EXPECT_EQ("24", fmt("YY", date, time));
  EXPECT_EQ("February", fmt("MMMM", date, time));
  EXPECT_EQ("Feb", fmt("MMM", date, time));
  EXPECT_EQ("02", fmt("MM", date, time));
  EXPECT_EQ("08", fmt("MN", date, time));
  EXPECT_EQ("006", fmt("MS", date, time));
  EXPECT_EQ("060", fmt("DDD", date, time, 60));
  EXPECT_EQ("29", fmt("DD", date, time));
  EXPECT_EQ("Thursday", fmt("WWWW", date, time, 60, 4));
  EXPECT_EQ("Thu", fmt("WWW", date, time, 60, 4));
  EXPECT_EQ("09", fmt("HH", date, time));
  EXPECT_EQ("07", fmt("SS", date, time));
  EXPECT_EQ("Am", fmt("AP", date, time));
}

TEST(NlsDateFormat, OrderOfTrial) {
  // Longest first: five Y are YYYY then a lone Y; three Y are YY and Y.
  EXPECT_EQ("1999Y", fmt("YYYYY", 19990704, 0));
  EXPECT_EQ("99Y", fmt("YYY", 19990704, 0));
  // DDDD is DDD then D.
  EXPECT_EQ("185D", fmt("DDDD", 19990704, 0, 185));
  // MMMMM is the full name then M; MMN is MM then N; MNS is MN then S.
  EXPECT_EQ("JulyM", fmt("MMMMM", 19990704, 0));
  EXPECT_EQ("07N", fmt("MMN", 19990704, 0));
  EXPECT_EQ("45S", fmt("MNS", 0, 134502007));
  EXPECT_EQ("007", fmt("MS", 0, 134502007));
  // WW is no token; WWWWW is the full name then W.
  EXPECT_EQ("WW", fmt("WW", 19990704, 0));
  EXPECT_EQ("SundayW", fmt("WWWWW", 19990704, 0, 0, 0));
  // H, S and A alone are copied; APM is the marker then M.
  EXPECT_EQ("H S A", fmt("H S A", 0, 0));
  EXPECT_EQ("AmM", fmt("APM", 0, 0));
  // Z is outside A to Y and is always copied.
  EXPECT_EQ("ZZ", fmt("ZZ", 0, 0));
}

TEST(NlsDateFormat, MarkerBoundary) {
  EXPECT_EQ("Am", fmt("AP", 0, 115959999));
  EXPECT_EQ("Pm", fmt("AP", 0, 120000000));
  EXPECT_EQ("Am", fmt("AP", 0, 0));
  EXPECT_EQ("Pm", fmt("AP", 0, 235959999));
}

TEST(NlsDateFormat, DefaultNamesOfEveryMonthAndWeekday) {
  const char *full[] = {"January", "February", "March",     "April",   "May",      "June",
                        "July",    "August",   "September", "October", "November", "December"};
  const char *abbr[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  for (int m = 1; m <= 12; ++m) {
    EXPECT_EQ(std::string(full[m - 1]) + "/" + abbr[m - 1], fmt("MMMM/MMM", 20000001 + m * 100, 0));
  }
  const char *wfull[] = {"Sunday",   "Monday", "Tuesday",  "Wednesday",
                         "Thursday", "Friday", "Saturday", "Sunday"};
  const char *wabbr[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat", "Sun"};
  for (int w = 0; w <= 7; ++w) {
    EXPECT_EQ(std::string(wfull[w]) + "/" + wabbr[w], fmt("WWWW/WWW", 20000101, 0, 1, w));
  }
}

TEST(NlsDateFormat, WeekdaySevenIsSundayAgain) {
  EXPECT_EQ("Sunday Sun", fmt("WWWW WWW", 19990704, 0, 0, 7));
  const char *names[NLS_DATE_NAME_COUNT] = {};
  names[31] = "Dim7";
  names[39] = "D7";
  EXPECT_EQ("Dim7 D7", fmt("WWWW WWW", 19990704, 0, 0, 7, names));
}

TEST(NlsDateFormat, NameTableEntriesAndNullEntries) {
  const char *names[NLS_DATE_NAME_COUNT] = {};
  names[6] = "juillet";
  names[18] = "juil.";
  names[40] = "matin";
  names[41] = "soir";
  names[32] = "dim.";
  EXPECT_EQ("juillet juil. dim. matin", fmt("MMMM MMM WWW AP", 19990704, 90000000, 0, 0, names));
  EXPECT_EQ("soir", fmt("AP", 19990704, 130000000, 0, 0, names));
  // An entry left null falls back to the default.
  EXPECT_EQ("August Aug", fmt("MMMM MMM", 19990804, 0, 0, 0, names));
}

TEST(NlsDateFormat, MonthAndWeekdayOutOfRangeWriteNoName) {
  // Names are looked up only for months 1-12 and weekdays 0-7; other values
  // write no name (the table is never read outside its 42 entries), while
  // the number tokens write the value as it is.
  const char *names[NLS_DATE_NAME_COUNT] = {};
  for (int32_t month : {0, 13, 99}) {
    const int32_t date = 19990004 + month * 100;
    EXPECT_EQ("[][]", fmt("[MMMM][MMM]", date, 0, 0, 0, names));
    EXPECT_EQ("[][]", fmt("[MMMM][MMM]", date, 0));
  }
  EXPECT_EQ("13", fmt("MM", 19991304, 0));
  for (int weekday : {-1, 8, 1000, INT32_MIN, INT32_MAX}) {
    EXPECT_EQ("[][]", fmt("[WWWW][WWW]", 19990704, 0, 0, weekday, names));
  }
  // A negative date gives negative fields: month -7 has no name.
  EXPECT_EQ("[]", fmt("[MMMM]", -19990704, 0));
}

TEST(NlsDateFormat, NumbersWiderOrNegative) {
  EXPECT_EQ("12345", fmt("YYYY", 123450101, 0));
  EXPECT_EQ("0099", fmt("YYYY", 990101, 0));
  EXPECT_EQ("45", fmt("YY", 123450101, 0));
  EXPECT_EQ("1234", fmt("DDD", 0, 0, 1234));
  EXPECT_EQ("-001", fmt("DDD", 0, 0, -1));
  EXPECT_EQ("-0001", fmt("YYYY", -10000, 0));
  EXPECT_EQ("-01", fmt("YY", -10000, 0));
  EXPECT_EQ("-214748", fmt("YYYY", INT32_MIN, 0));
  EXPECT_EQ("-2147483648", fmt("DDD", 0, 0, INT32_MIN));
  EXPECT_EQ("214", fmt("HH", 0, INT32_MAX));
}

TEST(NlsDateFormat, NullFormatIsEmpty) {
  char out[4] = "abc";
  EXPECT_EQ(0, nlsFormatDateTime(out, sizeof out, 0, 0, 0, 0, nullptr, nullptr));
  EXPECT_STREQ("", out);
}

// --- Results that do not fit ---------------------------------------------------------------

TEST(NlsDateFormat, ItemThatDoesNotFitIsLeftOutWhole) {
  char out[8];
  memset(out, 'x', sizeof out);
  // "04/07/1999" needs 10 bytes; with 7 bytes of room, "04/07/" fits and
  // the year is left out whole.
  EXPECT_EQ(1, nlsFormatDateTime(out, sizeof out, 19990704, 0, 0, 0, "DD/MM/YYYY", nullptr));
  EXPECT_STREQ("04/07/", out);
  EXPECT_EQ('x', out[7]);
  // A name is never cut either.
  EXPECT_EQ(1, nlsFormatDateTime(out, sizeof out, 19990904, 0, 0, 0, "DD MMMM", nullptr));
  EXPECT_STREQ("04 ", out);
}

TEST(NlsDateFormat, ExactFitAndOneLess) {
  const char *format = "YYYY-MM-DD HH:MN:SS.MS";
  const std::string full = "1999-07-04 13:45:02.007";
  const int exact = static_cast<int>(full.size()) + 1;
  Sized s = formatSized(exact, format, 19990704, 134502007);
  EXPECT_EQ(0, s.result);
  EXPECT_EQ(full, s.text);
  s = formatSized(exact - 1, format, 19990704, 134502007);
  EXPECT_EQ(1, s.result);
  EXPECT_EQ("1999-07-04 13:45:02.", s.text);
  s = formatSized(1, format, 19990704, 134502007);
  EXPECT_EQ(1, s.result);
  EXPECT_EQ("", s.text);
  s = formatSized(0, format, 19990704, 134502007);
  EXPECT_EQ(1, s.result);
  // Size 0 writes nothing and an empty format needs no room.
  EXPECT_EQ(0, formatSized(0, "", 0, 0).result);
}

TEST(NlsDateFormat, SizeZeroLeavesDstUntouched) {
  char out[4] = "abc";
  EXPECT_EQ(1, nlsFormatDateTime(out, 0, 19990704, 0, 0, 0, "DD", nullptr));
  EXPECT_STREQ("abc", out);
  EXPECT_EQ(1, nlsFormatDateTime(out, -5, 19990704, 0, 0, 0, "DD", nullptr));
  EXPECT_STREQ("abc", out);
}

TEST(NlsDateFormat, EveryBufferSizeStaysInside) {
  const char *names[NLS_DATE_NAME_COUNT] = {};
  names[6] = "Juli";
  const char *format = "WWWW, DD. MMMM YYYY HH:MN AP (DDD)";
  const std::string full = fmt(format, 19990704, 134502007, 1, 0, names);
  for (int size = 0; size <= static_cast<int>(full.size()) + 2; ++size) {
    Sized s = formatSized(size, format, 19990704, 134502007, 0, names);
    EXPECT_EQ(size >= static_cast<int>(full.size()) + 1 ? 0 : 1, s.result) << size;
    if (size > 0) {
      EXPECT_EQ(0u, full.find(s.text)) << size;
      EXPECT_LE(s.text.size(), static_cast<size_t>(size - 1));
    }
  }
}

// --- Double-byte locale -----------------------------------------------------------------------

TEST_F(NlsDates, DoubleByteLiteralsAndNamesAreWholeItems) {
  initIn("jpn");
  ASSERT_EQ(13, nlsGetCharSet());
  const char *names[NLS_DATE_NAME_COUNT] = {};
  names[6] = HIRA_A HIRA_A;
  // A two-byte character of the format is copied whole; one whose trail
  // byte is a letter (0x82 0x44 has trail byte "D") never starts a token.
  EXPECT_EQ("1999" HIRA_A "07" HIRA_A HIRA_A HIRA_A,
            fmt("YYYY" HIRA_A "MM" HIRA_A "MMMM", 19990704, 0, 0, 0, names));
  EXPECT_EQ(
      "\x82\x44"
      "D",
      fmt("\x82\x44"
          "D",
          19990704, 0));
  const char *format = "YYYY" HIRA_A "MM";
  const std::string full = "1999" HIRA_A "07";
  for (int size = 0; size <= static_cast<int>(full.size()) + 1; ++size) {
    Sized s = formatSized(size, format, 19990704, 0);
    EXPECT_EQ(size == static_cast<int>(full.size()) + 1 ? 0 : 1, s.result) << size;
    if (size > 0) {
      // Never half of the two-byte character.
      EXPECT_TRUE(s.text == "" || s.text == "1999" || s.text == "1999" HIRA_A || s.text == full) << size;
    }
  }
  // A lead byte as the last byte of the format is copied alone.
  EXPECT_EQ("04\x82", fmt("DD\x82", 19990704, 0));
}

TEST_F(NlsDates, SingleByteLocale) {
  initIn("deu");
  EXPECT_EQ("04.07.1999", fmt("DD.MM.YYYY", 19990704, 0));
}

// --- orv nls format date --------------------------------------------------------------------

TEST_F(NlsDates, OrvFormatsADateAndReportsWhatDoesNotFit) {
  nlstest::TableSetting setting(nlstest::shippedTable());
  int status = 0;
  std::string out = testsupport::runOrv(
      "nls format date --date 19990704 --time 134502007 \"WWWW, MMMM DD YYYY HH:MN:SS.MS AP DDD\"", &status);
  if (out == "<no orv>") {
    GTEST_SKIP() << "the build has no orv tool";
  }
  EXPECT_EQ(0, status) << out;
  EXPECT_EQ(0u, out.find("Sunday, July 04 1999 13:45:02.007 Pm 185")) << out;
  out = testsupport::runOrv("nls format date --date 19990704 --size 8 DD/MM/YYYY", &status);
  EXPECT_EQ(1, status) << out;
  EXPECT_EQ(0u, out.find("04/07/")) << out;
  out = testsupport::runOrv("nls format date --date 20240229 --weekday 9 \"[WWWW] DDD\"", &status);
  EXPECT_EQ(0, status) << out;
  EXPECT_EQ(0u, out.find("[] 060")) << out;
  out = testsupport::runOrv("nls format date --help", &status);
  EXPECT_EQ(0, status);
  EXPECT_NE(std::string::npos, out.find("MMMM  full month name")) << out;
  out = testsupport::runOrv("nls format date --date x YYYY", &status);
  EXPECT_EQ(2, status);
}

// orv nls format date: formats a date and a time through a format of
// tokens, as nlsFormatDateTime does in a program, so that a user can try a
// format (and a table of month and weekday names) before putting it into
// code. The locale is the one of the NLS table that ORVNLSTAB names.
//
//   orv nls format date [--date YYYYMMDD] [--time HHMMSSmmm]
//                       [--day-of-year N] [--weekday N] [--names FILE]
//                       [--size N] FORMAT
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include <fstream>
#include <string>
#include <vector>

#include "nls_commands.h"
#include "orvane/nls.h"

namespace orv {

namespace {

void help(FILE *to) {
  fputs(
      "usage: orv nls format date [options] FORMAT\n"
      "\n"
      "Formats a date and a time through FORMAT with the locale of the NLS table\n"
      "that ORVNLSTAB names. Without --date and --time the current local date and\n"
      "time are used.\n"
      "\n"
      "options:\n"
      "  --date YYYYMMDD     the date, a packed decimal number (19990704)\n"
      "  --time HHMMSSmmm    the time, a packed decimal number (134502007)\n"
      "  --day-of-year N     the day of the year for DDD (default: from the date)\n"
      "  --weekday N         0 Sunday to 6 Saturday, 7 Sunday again (default: from\n"
      "                      the date)\n"
      "  --names FILE        a name table: up to 42 lines, line 1-12 full month\n"
      "                      names, 13-24 abbreviated month names, 25-32 full weekday\n"
      "                      names (Sunday to Sunday), 33-40 abbreviated weekday\n"
      "                      names, 41 the morning and 42 the afternoon marker; an\n"
      "                      empty line keeps the English default\n"
      "  --size N            the size of the destination buffer in bytes, to see\n"
      "                      what a result that does not fit leaves (default 4096)\n"
      "\n"
      "tokens (upper case only; at a letter the longest token is tried first; any\n"
      "other character is copied as it stands):\n"
      "  YYYY  year, 4 digits            YY    year mod 100, 2 digits\n"
      "  MMMM  full month name           MMM   abbreviated month name\n"
      "  MM    month, 2 digits           MN    minute, 2 digits\n"
      "  MS    millisecond, 3 digits     DDD   day of the year, 3 digits\n"
      "  DD    day of the month          WWWW  full weekday name\n"
      "  WWW   abbreviated weekday name  HH    hour 0-23, 2 digits\n"
      "  SS    second, 2 digits          AP    Am below hour 12, else Pm\n"
      "\n"
      "example: orv nls format date --date 19990704 --time 134502007 \\\n"
      "             'WWWW, MMMM DD YYYY HH:MN:SS.MS AP'\n"
      "         Sunday, July 04 1999 13:45:02.007 Pm\n"
      "\n"
      "exit status: 0 when the result fit, 1 when it did not (the part that fit is\n"
      "printed) or the table did not load, 2 for a usage error\n",
      to);
}

int usageError(const char *what) {
  fprintf(stderr, "orv nls format date: %s (see --help)\n", what);
  return 2;
}

bool parseNumber(const char *text, long long low, long long high, long long *out) {
  char *end = nullptr;
  const long long v = strtoll(text, &end, 10);
  if (end == text || *end != '\0' || v < low || v > high) {
    return false;
  }
  *out = v;
  return true;
}

// Days since 1970-01-01 of a proleptic Gregorian date.
long long daysFromCivil(long long y, unsigned m, unsigned d) {
  y -= m <= 2 ? 1 : 0;
  const long long era = (y >= 0 ? y : y - 399) / 400;
  const auto yoe = static_cast<unsigned>(y - era * 400);
  const unsigned doy = (153 * (m > 2 ? m - 3 : m + 9) + 2) / 5 + d - 1;
  const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + static_cast<long long>(doe) - 719468;
}

// Weekday (0 Sunday) and day of year (1 January 1st) of a packed date, when
// its month and day are plausible.
bool calendarOf(int32_t date, int *weekday, int *dayOfYear) {
  const long long y = date / 10000;
  const int m = (date / 100) % 100;
  const int d = date % 100;
  if (m < 1 || m > 12 || d < 1 || d > 31) {
    return false;
  }
  const long long days = daysFromCivil(y, static_cast<unsigned>(m), static_cast<unsigned>(d));
  *weekday = static_cast<int>(((days % 7) + 7 + 4) % 7);  // 1970-01-01 was a Thursday
  *dayOfYear = static_cast<int>(days - daysFromCivil(y, 1, 1) + 1);
  return true;
}

}  // namespace

int runNlsFormatDate(int argc, char **argv) {
  long long date = -1;
  long long timeOfDay = -1;
  long long dayOfYear = 0;
  long long weekday = 0;
  bool haveDayOfYear = false;
  bool haveWeekday = false;
  long long size = 4096;
  const char *namesFile = nullptr;
  const char *format = nullptr;
  for (int i = 0; i < argc; ++i) {
    const std::string arg = argv[i];
    const bool hasValue = i + 1 < argc;
    if (arg == "--help" || arg == "-h") {
      help(stdout);
      return 0;
    }
    if (arg == "--date" && hasValue) {
      if (!parseNumber(argv[++i], INT32_MIN, INT32_MAX, &date)) {
        return usageError("--date takes a number YYYYMMDD");
      }
    } else if (arg == "--time" && hasValue) {
      if (!parseNumber(argv[++i], INT32_MIN, INT32_MAX, &timeOfDay)) {
        return usageError("--time takes a number HHMMSSmmm");
      }
    } else if (arg == "--day-of-year" && hasValue) {
      if (!parseNumber(argv[++i], INT32_MIN, INT32_MAX, &dayOfYear)) {
        return usageError("--day-of-year takes a number");
      }
      haveDayOfYear = true;
    } else if (arg == "--weekday" && hasValue) {
      if (!parseNumber(argv[++i], INT32_MIN, INT32_MAX, &weekday)) {
        return usageError("--weekday takes a number");
      }
      haveWeekday = true;
    } else if (arg == "--size" && hasValue) {
      if (!parseNumber(argv[++i], 0, 1 << 20, &size)) {
        return usageError("--size takes a number from 0 to 1048576");
      }
    } else if (arg == "--names" && hasValue) {
      namesFile = argv[++i];
    } else if (format == nullptr && (arg.empty() || arg[0] != '-' || arg == "-")) {
      format = argv[i];
    } else {
      return usageError(("unexpected argument " + arg).c_str());
    }
  }
  if (format == nullptr) {
    return usageError("no FORMAT given");
  }

  // The locale of the table, when one is configured.
  const int status = nlsInit();
  if (status != NLS_OK && status != NLS_ERR_NOT_CONFIGURED && status != NLS_ERR_CHARSET_OBJECT &&
      status != NLS_ERR_MESSAGE_SET) {
    fprintf(stderr, "orv nls format date: the NLS table did not load: error %d (%s)\n", status,
            nlsStatusText(status));
    return 1;
  }

  if (date < 0 || timeOfDay < 0) {
    const time_t now = time(nullptr);
    struct tm local {};
    if (const struct tm *lt = localtime(&now)) {
      local = *lt;
    }
    if (date < 0) {
      date = (local.tm_year + 1900LL) * 10000 + (local.tm_mon + 1LL) * 100 + local.tm_mday;
    }
    if (timeOfDay < 0) {
      timeOfDay = local.tm_hour * 10000000LL + local.tm_min * 100000LL + local.tm_sec * 1000LL;
    }
  }
  int calWeekday = 0;
  int calDayOfYear = 0;
  if (!calendarOf(static_cast<int32_t>(date), &calWeekday, &calDayOfYear)) {
    calWeekday = 0;
    calDayOfYear = 0;
  }
  if (!haveWeekday) {
    weekday = calWeekday;
  }
  if (!haveDayOfYear) {
    dayOfYear = calDayOfYear;
  }

  std::vector<std::string> lines;
  std::vector<const char *> names(NLS_DATE_NAME_COUNT, nullptr);
  if (namesFile != nullptr) {
    std::ifstream in(namesFile, std::ios::binary);
    if (!in) {
      fprintf(stderr, "orv nls format date: %s does not open\n", namesFile);
      return 1;
    }
    std::string line;
    while (lines.size() < NLS_DATE_NAME_COUNT && std::getline(in, line)) {
      if (!line.empty() && line.back() == '\r') {
        line.pop_back();
      }
      lines.push_back(line);
    }
    for (size_t k = 0; k < lines.size(); ++k) {
      names[k] = lines[k].empty() ? nullptr : lines[k].c_str();
    }
  }

  std::vector<char> out(static_cast<size_t>(size) + 1, '\0');
  const int result = nlsFormatDateTime(out.data(), static_cast<int>(size), static_cast<int32_t>(date),
                                       static_cast<int32_t>(timeOfDay), static_cast<int>(dayOfYear),
                                       static_cast<int>(weekday), format, names.data());
  if (size > 0) {
    fputs(out.data(), stdout);
  }
  fputc('\n', stdout);
  if (result != 0) {
    fprintf(stderr, "orv nls format date: the result does not fit in %lld bytes\n", size);
    return 1;
  }
  return 0;
}

}  // namespace orv

/* report: an application reports what it found, the way every application
 * of the library does.
 *
 *   1. It starts the services with its name and configuration key.
 *   2. It opens a message set on its own catalog, report.cat (compiled at
 *      build time from report_messages.txt by `orv catalog compile`).
 *   3. It pushes and queues messages with every kind of parameter; the set
 *      builds each text at once from the catalog.
 *   4. It pops the texts as native text of the current character set.
 *   5. It formats a date and an amount through the locale.
 *   6. It writes everything to a log file through the file layer and to the
 *      debug device (standard output and the debug log file).
 *
 * Every step is checked; the program exits 0 only when every check held.
 *
 * Run it from a build tree with the library's NLS table and catalog beside
 * it:   ORVNLSTAB=orvane.nls SRVCMSGS=orvane.cat build/dev/bin/report */
#include <stdio.h>
#include <string.h>

#include "orvane/debug.h"
#include "orvane/files.h"
#include "orvane/frame.h"
#include "orvane/msgset.h"
#include "orvane/nls.h"
#include "orvane/strings.h"

/* The message ids of report_messages.txt. */
#define RPT_CANNOT_OPEN 0x00100001u
#define RPT_VOLUME_FULL 0x00100002u
#define RPT_STARTED 0x00200003u
#define RPT_THRESHOLD 0x00280004u /* bit 0x80000: the stored text is kept whole */
#define RPT_NO_SUCH_MESSAGE 0x00100099u

#define MESSAGE_COUNT 4
#define LOG_NAME "report.log"
#define DEBUG_LOG_NAME "report_debug.log"

static int failures = 0;

/* Prints one check and counts it when it failed. */
static int check(int held, const char *what) {
  printf("  %s %s\n", held ? "ok  " : "FAIL", what);
  if (!held) {
    ++failures;
  }
  return held;
}

/* Prints a text that should equal an expected one, and checks it. */
static int checkText(const char *what, const char *got, const char *expected) {
  printf("  %-12s \"%s\"\n", what, got != NULL ? got : "(null)");
  if (got == NULL || strcmp(got, expected) != 0) {
    printf("  FAIL expected \"%s\"\n", expected);
    ++failures;
    return 0;
  }
  return 1;
}

/* Step 3 and 4: builds the messages of the report and pops them into texts
 * (heap blocks of the library, released with orvMemoryFreeFunc). */
static int buildMessages(orvMessageSet *set, char *texts[MESSAGE_COUNT]) {
  const char *application = (const char *)servicesQueryApp(ORV_ITEM_APPLICATION_NAME);

  /* Queued in arrival order with AddLast: a text parameter (105). */
  orvMessageSetAddLast(set, RPT_STARTED, ORV_MSG_TEXT, application, ORV_MSG_END);
  /* A text, a decimal integer (101) and a hexadecimal one (102). */
  orvMessageSetAddLast(set, RPT_CANNOT_OPEN, ORV_MSG_TEXT, "inventory.dat", ORV_MSG_INT, (int32_t)3,
                       ORV_MSG_HEX, (int32_t)0x2F, ORV_MSG_END);
  /* A literal message (id 65535): the first parameter is the text, and its
   * placeholders take the parameters after it. "\001" "1" is placeholder 1. */
  orvMessageSetAddLast(set, ORV_MSG_LITERAL, ORV_MSG_TEXT,
                       "Checked \001"
                       "1 volumes in \001"
                       "2 seconds.",
                       ORV_MSG_INT, (int32_t)2, ORV_MSG_DOUBLE, 0.25, ORV_MSG_END);

  /* The urgent one is pushed: it goes before everything queued. A string
   * object (104), a double (103) and the text of another message (107). */
  orvString *volume = orvStringCreate(ORV_CHARSET_ASCII, "D1");
  if (volume == NULL) {
    return check(0, "a string object for the volume name");
  }
  orvMessageSetPush(set, RPT_VOLUME_FULL, ORV_MSG_STRING, volume, ORV_MSG_DOUBLE, 97.5, ORV_MSG_ID,
                    RPT_THRESHOLD, ORV_MSG_END);
  orvStringDestroy(volume); /* the set took a copy */
  check(orvMessageSetGetStatus(set) == ORV_MSG_STATUS_OK, "every message id was found in report.cat");
  check(orvMessageSetCount(set) == MESSAGE_COUNT, "the set holds four messages");

  /* Pop gives the first message: the pushed one, then the queue in order.
   * The leading field "RPT, " of the stored texts is gone. */
  static const char *const expected[MESSAGE_COUNT] = {
      "RPT-E-0002, Volume D1 is 97.5 percent full: threshold reached.",
      "RPT-I-0003, Report started by report.",
      "RPT-E-0001, Cannot open inventory.dat: 3 attempts, last status 0x2F.",
      "Checked 2 volumes in 0.25 seconds.",
  };
  for (int i = 0; i < MESSAGE_COUNT; ++i) {
    texts[i] = orvMessageSetPopNLS(set);
    checkText("popped", texts[i], expected[i]);
  }
  check(orvMessageSetPopNLS(set) == NULL && orvMessageSetGetStatus(set) == ORV_MSG_STATUS_EMPTY,
        "a fifth pop finds the set empty (status 8)");

  /* An id that the catalog does not hold comes back as the id in
   * hexadecimal, with status 15: the report still says something. */
  orvMessageSetPush(set, RPT_NO_SUCH_MESSAGE, ORV_MSG_END);
  check(orvMessageSetGetStatus(set) == ORV_MSG_STATUS_UNKNOWN, "an unknown id gives status 15");
  char *unknown = orvMessageSetPopNLS(set);
  checkText("unknown id", unknown, "100099");
  orvMemoryFreeFunc(unknown);
  return failures == 0;
}

/* Step 5: the date of the report and an amount, in the current locale. */
static void formatDateAndAmount(char *date, int dateSize, char *amount, int amountSize) {
  /* Today, from the library's clock (month 0 to 11). */
  orvClock *now = orvClockCreate();
  if (!check(now != NULL, "the clock")) {
    date[0] = '\0';
  } else {
    int32_t day = now->year * 10000 + (now->month + 1) * 100 + now->day;
    int32_t timeOfDay = now->hour * 10000000 + now->minute * 100000 + now->second * 1000;
    check(nlsFormatDateTime(date, dateSize, day, timeOfDay, 0, 0, "DD MMMM YYYY, HH:MN:SS", NULL) == 0,
          "today's date fits its buffer");
    printf("  %-12s \"%s\"\n", "today", date);
    orvClockDestroy(now);
  }

  /* A fixed date with every kind of token, against its known text. */
  char fixed[64];
  nlsFormatDateTime(fixed, sizeof fixed, 19990704, 134502007, 185, 0, "WWWW, DD MMMM YYYY (day DDD) HH:MN AP",
                    NULL);
  checkText("fixed date", fixed, "Sunday, 04 July 1999 (day 185) 13:45 Pm");

  /* An amount through a numeric picture built from the locale's decimal
   * point and thousands separator ("9" is a digit position). A separator of
   * more than one byte, or none, gives a picture without separators. */
  char point[8] = ".";
  char thousands[8] = "";
  nlsGetLocaleInfo(NLS_INFO_DECIMAL_POINT, point, sizeof point);
  nlsGetLocaleInfo(NLS_INFO_THOUSANDS_SEP, thousands, sizeof thousands);
  if (strlen(point) != 1) {
    strcpy(point, ".");
  }
  if (strlen(thousands) != 1) {
    thousands[0] = '\0';
  }
  char picture[40];
  /* Header: fill, floating symbol, leading sign, trailing marker. */
  snprintf(picture, sizeof picture, "  -  999%s999%s999%s99", thousands, thousands, point);
  char expected[40];
  snprintf(expected, sizeof expected, "1%s234%s567%s89", thousands, thousands, point);

  int length = 9;
  char field[40] = "123456789"; /* 1234567.89 in cents; no NUL is needed */
  int fits = nlsNumericFormat(field, &length, 0, 4, picture, (int)strlen(picture), '9');
  field[length] = '\0';
  check(fits == 1, "the amount fits its picture");
  char *digits = field;
  while (*digits == ' ') {
    ++digits; /* the field is right-aligned: the report shows it trimmed */
  }
  checkText("amount", digits, expected);
  snprintf(amount, (size_t)amountSize, "%s", digits);
}

/* Step 6a: the log file, written and read back through the file layer. In
 * text mode each line feed is written as CR LF and read back as LF. */
static void writeLog(const char *lines[], int count) {
  int error = 0;
  orvFile *log = orvFileOpen(ORV_FILE_WRITE | ORV_FILE_CREATE | ORV_FILE_TEXT, ORV_FILE_TAG_PATH, LOG_NAME,
                             ORV_FILE_TAG_ERROR_OUT, &error, ORV_FILE_TAG_END);
  if (!check(log != NULL, "the log file " LOG_NAME " opens for writing")) {
    printf("       file layer error %d\n", error);
    return;
  }
  int written = 1;
  for (int i = 0; i < count; ++i) {
    written = written && orvFilePuts(log, lines[i]) >= 0 && orvFilePuts(log, "\n") >= 0;
  }
  int closed = orvFileClose(log, 0) == 1;
  check(written && closed, "every line is written and the file closed");

  log = orvFileOpen(ORV_FILE_READ | ORV_FILE_MUST_EXIST | ORV_FILE_TEXT, ORV_FILE_TAG_PATH, LOG_NAME,
                    ORV_FILE_TAG_ERROR_OUT, &error, ORV_FILE_TAG_END);
  if (!check(log != NULL, "the log file opens for reading")) {
    return;
  }
  int same = 1;
  char line[512];
  for (int i = 0; i < count; ++i) {
    size_t n = strlen(lines[i]);
    same = same && orvFileGets(log, line, sizeof line) != NULL && strncmp(line, lines[i], n) == 0 &&
           strcmp(line + n, "\n") == 0;
  }
  same = same && orvFileGets(log, line, sizeof line) == NULL; /* and nothing more */
  check(same, "the log file reads back line for line");
  orvFileClose(log, 0);
}

/* Step 6b: the debug device. The application's device set is the exported
 * word TraceDevice; opening the log device creates TraceLogName afresh with
 * a header line, and each message is appended as "prefix: text". */
static void writeDebugDevice(const char *lines[], int count) {
  TraceLogName = DEBUG_LOG_NAME;
  debug_OpenDevice(&TraceDevice, ORV_DEBUG_STDOUT | ORV_DEBUG_LOGFILE, 0);
  if (!check((TraceDevice & ORV_DEBUG_LOGFILE) != 0, "the debug log " DEBUG_LOG_NAME " opens")) {
    return;
  }
  printf("  the debug device writes:\n");
  fflush(stdout); /* the device writes through the library's own standard output */
  for (int i = 0; i < count; ++i) {
    debug_Print(TraceDevice, "report", lines[i]);
  }
  debug_CloseDevice(&TraceDevice, ORV_DEBUG_STDOUT | ORV_DEBUG_LOGFILE);
  check(TraceDevice == 0, "the devices are closed");

  /* Read it back: the header, the line feed that ends it, then the lines. */
  orvFile *log =
      orvFileOpen(ORV_FILE_READ | ORV_FILE_MUST_EXIST, ORV_FILE_TAG_PATH, DEBUG_LOG_NAME, ORV_FILE_TAG_END);
  if (!check(log != NULL, "the debug log opens for reading")) {
    return;
  }
  char line[600];
  int same = orvFileGets(log, line, sizeof line) != NULL && strncmp(line, "DEBUG (0): ", 11) == 0;
  same = same && orvFileGets(log, line, sizeof line) != NULL && strcmp(line, "\n") == 0;
  for (int i = 0; i < count; ++i) {
    char expected[600];
    snprintf(expected, sizeof expected, "report: %s\n", lines[i]);
    same = same && orvFileGets(log, line, sizeof line) != NULL && strcmp(line, expected) == 0;
  }
  same = same && orvFileGets(log, line, sizeof line) == NULL;
  check(same, "the debug log holds its header and every line");
  orvFileClose(log, 0);
}

int main(void) {
  printf("report: initialising the services\n");
  int status = servicesProcessInitialize(ORV_ITEM_APPLICATION_NAME, "report", ORV_ITEM_CONFIGURATION_KEY,
                                         "OrvaneReport", ORV_ITEM_END);
  if (status != 0) {
    /* 1001: ORVNLSTAB is not set; 1002: its table does not open. */
    fprintf(stderr,
            "report: servicesProcessInitialize returned %d; set ORVNLSTAB to the library's NLS table "
            "(orvane.nls) and SRVCMSGS to its catalog (orvane.cat)\n",
            status);
    return 1;
  }
  check(strcmp((const char *)servicesQueryApp(ORV_ITEM_APPLICATION_NAME), "report") == 0,
        "the application name is \"report\"");

  printf("report: opening the message set of report.cat\n");
  /* The name goes through the settings chain first (a setting "report.cat"
   * could redirect it), then the current directory, then the directory of
   * the program, where the build puts the compiled catalog. */
  orvMessageSet *set = orvMessageSetCreateNLS("report.cat");
  if (set == NULL || !check(orvMessageSetGetStatus(set) == ORV_MSG_STATUS_OK, "report.cat opens")) {
    fprintf(stderr, "report: the catalog report.cat did not open (status %u)\n",
            set != NULL ? orvMessageSetGetStatus(set) : 1u);
    orvMessageSetDestroy(set);
    servicesProcessTerminate(0);
    return 1;
  }

  printf("report: building and popping the messages\n");
  char *texts[MESSAGE_COUNT] = {NULL};
  buildMessages(set, texts);
  orvMessageSetDestroy(set);

  printf("report: formatting the date and an amount\n");
  char date[64];
  char amount[40];
  formatDateAndAmount(date, sizeof date, amount, sizeof amount);

  /* The report: a title, the messages, and the amount. */
  char title[96];
  char total[96];
  snprintf(title, sizeof title, "Report of %s", date);
  snprintf(total, sizeof total, "Stock value: %s", amount);
  const char *lines[MESSAGE_COUNT + 2];
  int count = 0;
  lines[count++] = title;
  for (int i = 0; i < MESSAGE_COUNT; ++i) {
    lines[count++] = texts[i] != NULL ? texts[i] : "(missing)";
  }
  lines[count++] = total;

  printf("report: writing %s through the file layer\n", LOG_NAME);
  writeLog(lines, count);
  printf("report: writing to the debug device\n");
  writeDebugDevice(lines, count);

  for (int i = 0; i < MESSAGE_COUNT; ++i) {
    orvMemoryFreeFunc(texts[i]);
  }
  servicesProcessTerminate(0);

  if (failures != 0) {
    fprintf(stderr, "report: %d check(s) failed\n", failures);
    return 1;
  }
  printf("report: every check held\n");
  return 0;
}

/* grep: prints the lines of a file that a pattern matches whole.
 *
 *   grep PATTERN FILE   the lines of FILE that PATTERN matches
 *   grep                the same on a sample log, with a known answer
 *
 * The pattern is in the library's language (orvane/pattern.h): "?" is any
 * character, "#" a digit, "^" a letter, "@" any string, "|" alternation,
 * "*" ">" "<" repeat, "(" ")" group, "\" complement and "!" the escape. A
 * pattern matches a whole line, so "@disk@" finds the lines that contain
 * "disk".
 *
 * The program checks the pattern, builds its automaton once, stores the
 * serialised automaton in a file (grep.fa, or grep_sample.fa for the
 * sample), loads it back and runs the
 * loaded copy over every line. Each line is also matched directly from the
 * pattern; the program exits 0 only when both answers agree on every line
 * (and, for the sample, when the matching lines are the expected ones),
 * and 2 when the pattern or the file is unusable. */
#include <stdio.h>
#include <string.h>

#include "orvane/files.h"
#include "orvane/frame.h"
#include "orvane/nls.h"
#include "orvane/pattern.h"

/* Where the automaton is stored: its own file for the sample, so that a
 * search of the sample and a search of a file may run side by side. */
#define AUTOMATON_FILE "grep.fa"
#define SAMPLE_AUTOMATON_FILE "grep_sample.fa"
#define SAMPLE_FILE "grep_sample.log"

/* A sample log, and a pattern that finds its errors and warnings: a date,
 * a time (":" is a reserved character of the language, so it is escaped
 * with "!"), then ERROR or WARN and the rest of the line. */
static const char sampleText[] =
    "2026-11-23 10:00:01 INFO  service started\n"
    "2026-11-23 10:00:02 ERROR volume D1 is full\n"
    "2026-11-23 10:00:03 WARN  retrying in 3 seconds\r\n"
    "2026-11-23 10:00:04 ERROR cannot open inventory.dat\n"
    "2026-11-23 10:00:05 INFO  ERROR count is 2\n"
    "10:00:06 ERROR no date\n";
static const char samplePattern[] = "####-##-## ##!:##!:## (ERROR|WARN ) @";
static const int sampleMatches[] = {2, 3, 4};

/* Reads a whole file through the file layer into a heap block of the
 * library, NUL-terminated; null when it cannot be read. */
static char *readWholeFile(const char *path, uint32_t *size) {
  int error = 0;
  orvFile *file = orvFileOpen(ORV_FILE_READ | ORV_FILE_MUST_EXIST, ORV_FILE_TAG_PATH, path,
                              ORV_FILE_TAG_ERROR_OUT, &error, ORV_FILE_TAG_END);
  if (file == NULL) {
    fprintf(stderr, "grep: cannot open %s (file layer error %d)\n", path, error);
    return NULL;
  }
  int64_t length = orvFileSize(file);
  char *data = length >= 0 && length < 0x40000000 ? orvMemoryAllocFunc((size_t)length + 1) : NULL;
  if (data != NULL && orvFileRead(file, data, (uint32_t)length) == (uint32_t)length) {
    data[length] = '\0';
    *size = (uint32_t)length;
  } else {
    fprintf(stderr, "grep: cannot read %s\n", path);
    orvMemoryFreeFunc(data);
    data = NULL;
  }
  orvFileClose(file, 0);
  return data;
}

/* Writes bytes to a new file through the file layer. */
static int writeWholeFile(const char *path, const void *data, uint32_t size) {
  orvFile *file = orvFileOpen(ORV_FILE_WRITE | ORV_FILE_CREATE, ORV_FILE_TAG_PATH, path, ORV_FILE_TAG_END);
  if (file == NULL) {
    fprintf(stderr, "grep: cannot create %s\n", path);
    return 0;
  }
  int written = orvFileWrite(file, data, size) == size;
  return orvFileClose(file, 0) == 1 && written;
}

/* Builds the automaton of pattern and stores it in the file storedName;
 * returns the copy loaded back from that file (a heap block of the
 * library), or null with a message. */
static unsigned char *buildAndStore(const char *pattern, const char *storedName) {
  uint16_t error = 0;
  uint16_t position = 0;
  int32_t length = 0;
  unsigned char *built = nlsBuildFA(NLS_PM_MODE_EXACT, pattern, &error, &position, NULL, &length);
  if (built == NULL) {
    fprintf(stderr, "grep: the pattern has no automaton (error %d at position %u)\n", (int16_t)error,
            position);
    return NULL;
  }
  printf("grep: the automaton takes %d bytes; stored in %s\n", (int)length, storedName);
  unsigned char *loaded = NULL;
  uint32_t loadedSize = 0;
  if (writeWholeFile(storedName, built, (uint32_t)length)) {
    loaded = (unsigned char *)readWholeFile(storedName, &loadedSize);
  }
  if (loaded != NULL && (loadedSize != (uint32_t)length || memcmp(loaded, built, (size_t)length) != 0)) {
    fprintf(stderr, "grep: the stored automaton differs from the one built\n");
    orvMemoryFreeFunc(loaded);
    loaded = NULL;
  }
  orvMemoryFreeFunc(built);
  return loaded;
}

/* Runs the loaded automaton over every line of text (a line ends at a line
 * feed; a carriage return before it is dropped, and a NUL byte ends the
 * text that is matched, as in any C string) and prints the matching
 * lines with their numbers. Each line is matched from the pattern too; a
 * disagreement counts as a failure. matched receives up to maxMatched line
 * numbers. Returns the number of failures. */
static int matchLines(char *text, uint32_t size, const char *pattern, const unsigned char *automaton,
                      int *matched, int maxMatched, int *matchedCount) {
  int failures = 0;
  int lineNumber = 0;
  *matchedCount = 0;
  char *line = text;
  char *textEnd = text + size; /* text[size] is the NUL that readWholeFile added */
  while (line < textEnd) {
    char *end = memchr(line, '\n', (size_t)(textEnd - line));
    char *next = end != NULL ? end + 1 : textEnd;
    if (end == NULL) {
      end = textEnd;
    }
    *end = '\0';
    if (end > line && end[-1] == '\r') {
      end[-1] = '\0';
    }
    ++lineNumber;
    int stored = nlsSimulFA(automaton, NULL, line);
    int direct = nlsMatchPattern(NLS_PM_MODE_EXACT, pattern, line, NULL, NULL, NULL);
    if (stored != direct) {
      printf("  FAIL line %d: the stored automaton says %d, the pattern %d\n", lineNumber, stored, direct);
      ++failures;
    }
    if (stored == 1) {
      printf("%6d: %s\n", lineNumber, line);
      if (*matchedCount < maxMatched) {
        matched[*matchedCount] = lineNumber;
      }
      ++*matchedCount;
    }
    line = next;
  }
  return failures;
}

static int run(const char *pattern, const char *path, const char *storedName, const int *expected,
               int expectedCount) {
  uint16_t error = 0;
  uint16_t position = 0;
  if (!nlsValidPattern(pattern, NULL, &error, &position)) {
    fprintf(stderr, "grep: bad pattern \"%s\": error %d at position %u\n", pattern, (int16_t)error, position);
    return 2;
  }
  unsigned char *automaton = buildAndStore(pattern, storedName);
  if (automaton == NULL) {
    return 2;
  }
  uint32_t size = 0;
  char *text = readWholeFile(path, &size);
  if (text == NULL) {
    orvMemoryFreeFunc(automaton);
    return 2;
  }
  printf("grep: the lines of %s that \"%s\" matches:\n", path, pattern);
  int matched[64];
  int matchedCount = 0;
  int failures = matchLines(text, size, pattern, automaton, matched, 64, &matchedCount);
  printf("grep: %d line(s) matched\n", matchedCount);
  if (expected != NULL) {
    int same = matchedCount == expectedCount;
    for (int i = 0; same && i < expectedCount; ++i) {
      same = matched[i] == expected[i];
    }
    printf("  %s the matching lines are 2, 3 and 4\n", same ? "ok  " : "FAIL");
    failures += same ? 0 : 1;
  }
  orvMemoryFreeFunc(text);
  orvMemoryFreeFunc(automaton);
  if (failures != 0) {
    fprintf(stderr, "grep: %d check(s) failed\n", failures);
    return 1;
  }
  printf("grep: the stored automaton and the pattern agree on every line\n");
  return 0;
}

int main(int argc, char **argv) {
  if (argc != 1 && argc != 3) {
    fprintf(stderr, "usage: grep [PATTERN FILE]\n");
    return 2;
  }
  int status = servicesProcessInitialize(ORV_ITEM_APPLICATION_NAME, "grep", ORV_ITEM_CONFIGURATION_KEY,
                                         "OrvaneGrep", ORV_ITEM_END);
  if (status != 0) {
    fprintf(stderr,
            "grep: servicesProcessInitialize returned %d; set ORVNLSTAB to the library's NLS table "
            "(orvane.nls)\n",
            status);
    return 2;
  }
  int result;
  if (argc == 3) {
    result = run(argv[1], argv[2], AUTOMATON_FILE, NULL, 0);
  } else {
    printf("grep: no pattern given: searching the sample log %s\n", SAMPLE_FILE);
    result = writeWholeFile(SAMPLE_FILE, sampleText, (uint32_t)strlen(sampleText))
                 ? run(samplePattern, SAMPLE_FILE, SAMPLE_AUTOMATON_FILE, sampleMatches, 3)
                 : 2;
  }
  servicesProcessTerminate(0);
  return result;
}

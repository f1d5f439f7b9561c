// Test program entry shared by every test executable.
#include <stdlib.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#if defined(__SANITIZE_ADDRESS__)
// The C library keeps the search list it builds when a locale is loaded from
// a LOCPATH directory (the hashing tests make such a locale with localedef)
// for the life of the process, without a pointer that LeakSanitizer sees.
// Nothing of the library's is suppressed.
extern "C" const char *__lsan_default_suppressions() {
  return "leak:__argz_add_sep\nleak:_nl_make_l10nflist\n";
}
#endif

int main(int argc, char **argv) {
#if defined(_WIN32)
  // Assertion message boxes go to standard error, where death tests read them.
  _putenv("ORVANE_MESSAGE_BOX=stderr");
#endif
  // Process initialisation needs an NLS table: unless the environment names
  // one, use the shipped table beside the test programs (found through the
  // executable's directory).
  if (getenv("ORVNLSTAB") == nullptr) {
#if defined(_WIN32)
    _putenv("ORVNLSTAB=" ORVANE_TEST_NLS_TABLE);
#else
    setenv("ORVNLSTAB", ORVANE_TEST_NLS_TABLE, 0);
#endif
  }
  // Death tests re-run the program for each case, which is safe with threads.
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  ::testing::InitGoogleMock(&argc, argv);
  return RUN_ALL_TESTS();
}

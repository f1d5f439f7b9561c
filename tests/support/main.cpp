// Test program entry shared by every test executable.
#include <stdlib.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

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

// Test program entry shared by every test executable.
#include <stdlib.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

int main(int argc, char **argv) {
#if defined(_WIN32)
  // Assertion message boxes go to standard error, where death tests read them.
  _putenv("ORVANE_MESSAGE_BOX=stderr");
#endif
  // Death tests re-run the program for each case, which is safe with threads.
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  ::testing::InitGoogleMock(&argc, argv);
  return RUN_ALL_TESTS();
}

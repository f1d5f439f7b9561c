// The platform's profile-file reader (GetPrivateProfileStringA semantics).
#include <stdlib.h>
#include <string.h>

#include <string>

#include <gtest/gtest.h>

#include "platform/pal.h"
#include "support/test_support.h"

namespace {

class ProfileReader : public ::testing::Test {
 protected:
  void SetUp() override {
    testsupport::useScratchProfileDir();
    testsupport::writeProfile("ORVTEST.INI",
                              "; a comment line\n"
                              "[First]\n"
                              "Key=one\n"
                              "key=shadowed\n"
                              "  Spaced   =   padded value   \n"
                              "Quoted=\"  in quotes  \"\n"
                              "Single='x'\n"
                              ";Hidden=no\n"
                              "Empty=\n"
                              "Long=abcdefghijklmnopqrstuvwxyz\n"
                              "[second]\n"
                              "Key=two\n"
                              "[FIRST]\n"
                              "Later=not seen\n");
  }
  void TearDown() override { testsupport::removeProfile("ORVTEST.INI"); }

  std::string read(const char *section, const char *key, const char *def = "dflt", uint32_t size = 64,
                   uint32_t *count = nullptr) {
    char out[256];
    memset(out, '#', sizeof out);
    uint32_t n = pal::getPrivateProfileString(section, key, def, out, size, "ORVTEST.INI");
    if (count != nullptr) {
      *count = n;
    }
    EXPECT_EQ(strlen(out), n);
    return out;
  }
};

}  // namespace

TEST_F(ProfileReader, SectionAndKeyNamesIgnoreCaseAndTheFirstMatchWins) {
  EXPECT_EQ("one", read("first", "KEY"));
  EXPECT_EQ("two", read("SECOND", "key"));
}

TEST_F(ProfileReader, ValuesLoseBlanksAndOnePairOfQuotes) {
  EXPECT_EQ("padded value", read("First", "Spaced"));
  EXPECT_EQ("  in quotes  ", read("First", "Quoted"));
  EXPECT_EQ("x", read("First", "Single"));
}

TEST_F(ProfileReader, CommentLinesAreSkipped) { EXPECT_EQ("dflt", read("First", "Hidden")); }

TEST_F(ProfileReader, AbsentKeysGiveTheDefault) {
  EXPECT_EQ("dflt", read("First", "Missing"));
  EXPECT_EQ("dflt", read("Nowhere", "Key"));
  EXPECT_EQ("", read("First", "Missing", ""));
}

TEST_F(ProfileReader, EmptyValueIsEmptyNotTheDefault) { EXPECT_EQ("", read("First", "Empty")); }

TEST_F(ProfileReader, ValueIsCutToTheBufferLessOne) {
  uint32_t n = 0;
  EXPECT_EQ("abcde", read("First", "Long", "", 6, &n));
  EXPECT_EQ(5u, n);
  EXPECT_EQ("", read("First", "Long", "", 1, &n));
  EXPECT_EQ(0u, n);
}

TEST_F(ProfileReader, DefaultIsCutToo) { EXPECT_EQ("de", read("First", "Missing", "default", 3)); }

TEST_F(ProfileReader, MissingFileGivesTheDefault) {
  char out[16];
  EXPECT_EQ(3u, pal::getPrivateProfileString("First", "Key", "abc", out, sizeof out, "NOSUCHFILE.INI"));
  EXPECT_STREQ("abc", out);
}

#if !defined(_WIN32)
TEST_F(ProfileReader, FileNameIgnoresCase) {
  char out[16];
  EXPECT_EQ(3u, pal::getPrivateProfileString("First", "Key", "", out, sizeof out, "orvtest.ini"));
  EXPECT_STREQ("one", out);
}

TEST_F(ProfileReader, LaterSectionOfTheSameNameIsNotConsulted) { EXPECT_EQ("dflt", read("First", "Later")); }

TEST(ProfileDirectory, FollowsTheEnvironment) {
  const char *home = getenv("HOME");
  std::string savedHome = home != nullptr ? home : "";
  testsupport::setEnv("ORVANE_PROFILE_DIR", "/tmp/orv-profiles");
  char dir[256];
  ASSERT_GT(pal::profileDirectory(dir, sizeof dir), 0u);
  EXPECT_STREQ("/tmp/orv-profiles", dir);
  testsupport::unsetEnv("ORVANE_PROFILE_DIR");
  testsupport::setEnv("XDG_CONFIG_HOME", "/tmp/xdg");
  ASSERT_GT(pal::profileDirectory(dir, sizeof dir), 0u);
  EXPECT_STREQ("/tmp/xdg/orvane", dir);
  testsupport::unsetEnv("XDG_CONFIG_HOME");
  testsupport::setEnv("HOME", "/home/someone");
  ASSERT_GT(pal::profileDirectory(dir, sizeof dir), 0u);
  EXPECT_STREQ("/home/someone/.config/orvane", dir);
  testsupport::setEnv("HOME", savedHome);
}
#endif

// The system-wide profile directories of POSIX: a key that the user's
// profile file lacks is looked up in <dir>/orvane of each $XDG_CONFIG_DIRS
// entry, then in <sysconfdir>/orvane of the installation, key by key.
#if !defined(_WIN32)
#include <stdlib.h>
#include <string.h>

#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "orvane_build_config.h"
#include "platform/pal.h"
#include "platform/posix/profile_path.h"
#include "support/test_support.h"

namespace fs = std::filesystem;

namespace {

class SystemProfile : public ::testing::Test {
 protected:
  void SetUp() override {
    testsupport::useScratchProfileDir();
    xdg_ = testsupport::scratchSystemConfigDir();
    second_ = testsupport::makeScratchDir("xdg2");
    sysconf_ = testsupport::makeScratchDir("sysconf");
    fs::create_directories(second_ + "/orvane");
    fs::create_directories(sysconf_ + "/orvane");
    pal::setSystemConfigDirectory(sysconf_.c_str());
  }
  void TearDown() override {
    pal::setSystemConfigDirectory(nullptr);
    testsupport::removeProfile("ORVSYS.INI");
    testsupport::removeSystemProfile("ORVSYS.INI");
    testsupport::setEnv("XDG_CONFIG_DIRS", xdg_);
    testsupport::removeTree(second_);
    testsupport::removeTree(sysconf_);
  }

  static std::string read(const char *section, const char *key, const char *file = "ORVSYS.INI") {
    char out[128];
    uint32_t n = pal::getPrivateProfileString(section, key, "dflt", out, sizeof out, file);
    EXPECT_EQ(strlen(out), n);
    return out;
  }

  std::string xdg_;
  std::string second_;
  std::string sysconf_;
};

}  // namespace

TEST_F(SystemProfile, KeyAbsentFromTheUserFileComesFromTheSystemDirectory) {
  testsupport::writeProfile("ORVSYS.INI", "[Services]\nOwn=user\n");
  testsupport::writeSystemProfile("ORVSYS.INI", "[Services]\nOwn=system\nShared=system\n");
  EXPECT_EQ("user", read("Services", "Own"));
  EXPECT_EQ("system", read("Services", "Shared"));
  EXPECT_EQ("dflt", read("Services", "Nowhere"));
}

TEST_F(SystemProfile, WithoutAUserFileTheSystemFileServes) {
  testsupport::writeSystemProfile("ORVSYS.INI", "[Services]\nShared=system\n");
  EXPECT_EQ("system", read("services", "SHARED"));
}

TEST_F(SystemProfile, SectionAbsentFromTheUserFileComesFromTheSystemDirectory) {
  testsupport::writeProfile("ORVSYS.INI", "[Other]\nShared=user\n");
  testsupport::writeSystemProfile("ORVSYS.INI", "[Services]\nShared=system\n");
  EXPECT_EQ("system", read("Services", "Shared"));
  EXPECT_EQ("user", read("Other", "Shared"));
}

TEST_F(SystemProfile, AnEmptyValueOfTheUserHidesTheSystemValue) {
  testsupport::writeProfile("ORVSYS.INI", "[Services]\nShared=\n");
  testsupport::writeSystemProfile("ORVSYS.INI", "[Services]\nShared=system\n");
  EXPECT_EQ("", read("Services", "Shared"));
}

TEST_F(SystemProfile, SystemFileNameIgnoresCase) {
  testsupport::writeFile(xdg_ + "/orvane/OrvSys.ini", "[Services]\nShared=mixed case\n");
  EXPECT_EQ("mixed case", read("Services", "Shared"));
  testsupport::removeSystemProfile("OrvSys.ini");
}

TEST_F(SystemProfile, XdgEntriesAreConsultedInOrderThenTheSysconfdir) {
  testsupport::setEnv("XDG_CONFIG_DIRS", xdg_ + ":" + second_);
  testsupport::writeSystemProfile("ORVSYS.INI", "[Services]\nA=first\n");
  testsupport::writeFile(second_ + "/orvane/ORVSYS.INI", "[Services]\nA=second\nB=second\n");
  testsupport::writeFile(sysconf_ + "/orvane/ORVSYS.INI", "[Services]\nA=sysconf\nB=sysconf\nC=sysconf\n");
  EXPECT_EQ("first", read("Services", "A"));
  EXPECT_EQ("second", read("Services", "B"));
  EXPECT_EQ("sysconf", read("Services", "C"));
  EXPECT_EQ("dflt", read("Services", "D"));
}

TEST_F(SystemProfile, TheInstallationsDirectoryServesAlone) {
  testsupport::writeFile(sysconf_ + "/orvane/ORVSYS.INI", "[Services]\nC=sysconf\n");
  EXPECT_EQ("sysconf", read("Services", "C"));
}

TEST_F(SystemProfile, DirectoryListFollowsXdgConfigDirs) {
  testsupport::setEnv("XDG_CONFIG_DIRS", "/opt/a/:relative/dir::/opt/b:/opt/a:" + sysconf_ + "/");
  std::vector<std::string> expected = {"/opt/a/orvane", "/opt/b/orvane", sysconf_ + "/orvane"};
  EXPECT_EQ(expected, pal::systemProfileDirectories());
}

TEST_F(SystemProfile, XdgConfigDirsDefaultsToEtcXdg) {
  testsupport::unsetEnv("XDG_CONFIG_DIRS");
  std::vector<std::string> expected = {"/etc/xdg/orvane", sysconf_ + "/orvane"};
  EXPECT_EQ(expected, pal::systemProfileDirectories());
  testsupport::setEnv("XDG_CONFIG_DIRS", "");
  EXPECT_EQ(expected, pal::systemProfileDirectories());
}

TEST_F(SystemProfile, RootDirectoriesGiveSlashOrvane) {
  testsupport::setEnv("XDG_CONFIG_DIRS", "/");
  pal::setSystemConfigDirectory("/");
  std::vector<std::string> expected = {"/orvane"};
  EXPECT_EQ(expected, pal::systemProfileDirectories());
}

TEST_F(SystemProfile, BuildTimeSysconfdirEndsTheList) {
  pal::setSystemConfigDirectory(nullptr);
  testsupport::setEnv("XDG_CONFIG_DIRS", xdg_);
  std::vector<std::string> dirs = pal::systemProfileDirectories();
  ASSERT_EQ(2u, dirs.size());
  EXPECT_EQ(xdg_ + "/orvane", dirs[0]);
  EXPECT_EQ(std::string(ORVANE_SYSCONFDIR) + "/orvane", dirs[1]);
  EXPECT_EQ('/', ORVANE_SYSCONFDIR[0]);
}

TEST_F(SystemProfile, RelativeSysconfdirIsSkipped) {
  pal::setSystemConfigDirectory("etc");
  std::vector<std::string> expected = {xdg_ + "/orvane"};
  EXPECT_EQ(expected, pal::systemProfileDirectories());
}

TEST_F(SystemProfile, APathIsReadAsItStandsWithoutTheSystemDirectories) {
  std::string user = testsupport::useScratchProfileDir();
  testsupport::writeProfile("ORVSYS.INI", "[Services]\nOwn=user\n");
  testsupport::writeSystemProfile("ORVSYS.INI", "[Services]\nShared=system\n");
  std::string path = user + "/ORVSYS.INI";
  EXPECT_EQ("user", read("Services", "Own", path.c_str()));
  EXPECT_EQ("dflt", read("Services", "Shared", path.c_str()));
}

TEST_F(SystemProfile, NoUserProfileDirectoryStillConsultsTheSystem) {
  testsupport::writeSystemProfile("ORVSYS.INI", "[Services]\nShared=system\n");
  const char *home = getenv("HOME");
  std::string savedHome = home != nullptr ? home : "";
  testsupport::unsetEnv("ORVANE_PROFILE_DIR");
  testsupport::unsetEnv("XDG_CONFIG_HOME");
  testsupport::unsetEnv("HOME");
  EXPECT_EQ("system", read("Services", "Shared"));
  testsupport::setEnv("HOME", savedHome);
  testsupport::useScratchProfileDir();
}

TEST_F(SystemProfile, TheUserRegistryIsNotLookedUpInTheSystemDirectories) {
  testsupport::writeSystemProfile("user.reg", "REGEDIT4\n");
  EXPECT_EQ("", pal::resolveProfileFile("user.reg"));
  testsupport::removeSystemProfile("user.reg");
}
#endif

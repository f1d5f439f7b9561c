// Settings and dynamic libraries: the settings chain (registry, the profile
// sections, the environment), the number parse, and loading libraries.
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <string>

#include <gtest/gtest.h>

#include "orvane/frame.h"
#include "support/test_support.h"

#if defined(_WIN32)
#include <windows.h>
#endif

using testsupport::kSep;

namespace {

// A configuration key of this process, so that runs do not share values.
std::string testKey() {
  static const std::string key = [] {
    std::string dir = testsupport::makeScratchDir("regkey");
    testsupport::removeTree(dir);
    return "Software\\OrvaneTests\\" + dir.substr(dir.find_last_of("/\\") + 1);
  }();
  return key;
}

// The per-user registry: user.reg in the profile directory (POSIX) or the
// real registry (Windows).
class Registry {
 public:
  ~Registry() { clear(); }

  void setText(const std::string &key, const std::string &name, const std::string &text) {
#if defined(_WIN32)
    HKEY k = open(key);
    RegSetValueExA(k, name.c_str(), 0, REG_SZ, reinterpret_cast<const BYTE *>(text.c_str()),
                   static_cast<DWORD>(text.size() + 1));
    RegCloseKey(k);
#else
    std::string escaped;
    for (char c : text) {
      if (c == '\\' || c == '"') {
        escaped += '\\';
      }
      escaped += c;
    }
    lines_ += "[HKEY_CURRENT_USER\\" + key + "]\n\"" + name + "\"=\"" + escaped + "\"\n";
    flush();
#endif
  }

  void setNumber(const std::string &key, const std::string &name, uint32_t number) {
#if defined(_WIN32)
    HKEY k = open(key);
    DWORD n = number;
    RegSetValueExA(k, name.c_str(), 0, REG_DWORD, reinterpret_cast<const BYTE *>(&n), sizeof n);
    RegCloseKey(k);
#else
    char hex[16];
    snprintf(hex, sizeof hex, "%08x", number);
    lines_ += "[HKEY_CURRENT_USER\\" + key + "]\n\"" + name + "\"=dword:" + hex + "\n";
    flush();
#endif
  }

#if !defined(_WIN32)
  // The whole user.reg, written as it stands.
  void setFile(const std::string &contents) {
    lines_.clear();
    testsupport::writeProfile("user.reg", contents);
  }
#endif

  void clear() {
#if defined(_WIN32)
    RegDeleteTreeA(HKEY_CURRENT_USER, testKey().c_str());
#else
    lines_.clear();
    testsupport::removeProfile("user.reg");
#endif
  }

 private:
#if defined(_WIN32)
  static HKEY open(const std::string &key) {
    HKEY k = nullptr;
    RegCreateKeyExA(HKEY_CURRENT_USER, key.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &k, nullptr);
    return k;
  }
#else
  void flush() { testsupport::writeProfile("user.reg", "REGEDIT4\n\n" + lines_); }
  std::string lines_;
#endif
};

std::string productSection() {
  uint32_t code = orvGetProductCode();
  return code != 0 ? std::string("Services") + static_cast<char>(code) : std::string("Services");
}

// Returns the setting as a std::string ("<null>" when absent) and frees it.
std::string setting(const char *name) {
  char *text = orvResourceGetNLSStr(name);
  if (text == nullptr) {
    return "<null>";
  }
  std::string s = text;
  orvMemoryFreeFunc(text);
  return s;
}

class Settings : public ::testing::Test {
 protected:
  void SetUp() override {
    testsupport::useScratchProfileDir();
    testsupport::unsetEnv("ORVTESTSETTING");
    registry.clear();
  }
  void TearDown() override {
    registry.clear();
    testsupport::removeProfile("ORVANE.INI");
    testsupport::unsetEnv("ORVTESTSETTING");
    while (initialised > 0) {
      servicesProcessTerminate(0);
      --initialised;
    }
  }
  void initialiseWithKey() {
    ASSERT_EQ(0, servicesProcessInitialize(ORV_ITEM_CONFIGURATION_KEY, testKey().c_str(), ORV_ITEM_END));
    ++initialised;
  }
  void initialiseWithoutKey() {
    ASSERT_EQ(0, servicesProcessInitialize(ORV_ITEM_END));
    ++initialised;
  }
  Registry registry;
  int initialised = 0;
};

}  // namespace

TEST_F(Settings, RegistryWinsOverTheProfileFileAndTheEnvironment) {
  initialiseWithKey();
  registry.setText(testKey(), "ORVTESTSETTING", "from the registry");
  testsupport::writeProfile("ORVANE.INI", "[" + testKey() + "]\nORVTESTSETTING=from the key section\n" +
                                              "[Services]\nORVTESTSETTING=from Services\n");
  testsupport::setEnv("ORVTESTSETTING", "from the environment");
  EXPECT_EQ("from the registry", setting("ORVTESTSETTING"));
}

TEST_F(Settings, ProfileSectionsComeInOrderThenTheEnvironment) {
  initialiseWithKey();
  testsupport::setEnv("ORVTESTSETTING", "from the environment");
  EXPECT_EQ("from the environment", setting("ORVTESTSETTING"));
  testsupport::writeProfile("ORVANE.INI", "[Services]\nORVTESTSETTING=from Services\n");
  EXPECT_EQ("from Services", setting("ORVTESTSETTING"));
  testsupport::writeProfile("ORVANE.INI", "[Services]\nORVTESTSETTING=from Services\n[" + productSection() +
                                              "]\nORVTESTSETTING=from the product section\n");
  EXPECT_EQ("from the product section", setting("ORVTESTSETTING"));
  testsupport::writeProfile("ORVANE.INI", "[Services]\nORVTESTSETTING=from Services\n[" + productSection() +
                                              "]\nORVTESTSETTING=from the product section\n[" + testKey() +
                                              "]\nORVTESTSETTING=from the key section\n");
  EXPECT_EQ("from the key section", setting("ORVTESTSETTING"));
}

#if !defined(_WIN32)
// The system-wide profile answers each profile section's lookup after the
// user's file, so it comes before the environment.
TEST_F(Settings, SystemWideProfileAnswersWhatTheUsersFileLacks) {
  initialiseWithKey();
  testsupport::setEnv("ORVTESTSETTING", "from the environment");
  testsupport::writeSystemProfile("ORVANE.INI", "[Services]\nORVTESTSETTING=from the system file\n");
  EXPECT_EQ("from the system file", setting("ORVTESTSETTING"));
  testsupport::writeProfile("ORVANE.INI", "[Services]\nORVTESTSETTING=from the user's file\n");
  EXPECT_EQ("from the user's file", setting("ORVTESTSETTING"));
  // Each section is looked up in both files before the next section.
  testsupport::writeSystemProfile(
      "ORVANE.INI", "[" + productSection() + "]\nORVTESTSETTING=from the system's product section\n");
  EXPECT_EQ("from the system's product section", setting("ORVTESTSETTING"));
  testsupport::removeSystemProfile("ORVANE.INI");
}
#endif

TEST_F(Settings, AnEmptyProfileValueDoesNotCount) {
  initialiseWithKey();
  testsupport::writeProfile("ORVANE.INI", "[Services]\nORVTESTSETTING=\n");
  testsupport::setEnv("ORVTESTSETTING", "from the environment");
  EXPECT_EQ("from the environment", setting("ORVTESTSETTING"));
}

TEST_F(Settings, WithoutAConfigurationKeyTheEnvironmentAnswers) {
  initialiseWithoutKey();
  registry.setText(testKey(), "ORVTESTSETTING", "from the registry");
  testsupport::writeProfile("ORVANE.INI", "[" + testKey() + "]\nORVTESTSETTING=from the key section\n");
  testsupport::setEnv("ORVTESTSETTING", "from the environment");
  EXPECT_EQ("from the environment", setting("ORVTESTSETTING"));
}

TEST_F(Settings, WithoutAnySourceTheResultIsNull) {
  initialiseWithKey();
  EXPECT_EQ("<null>", setting("ORVTESTSETTING"));
  EXPECT_EQ(nullptr, orvResourceGetNLSStr(nullptr));
  EXPECT_EQ(0u, orvResourceGetUInt32("ORVTESTSETTING"));
  EXPECT_EQ(0u, orvResourceGetUInt32(nullptr));
}

TEST_F(Settings, ARegistryNumberIsPassedOverByTheTextLookup) {
  initialiseWithKey();
  registry.setNumber(testKey(), "ORVTESTSETTING", 31);
  testsupport::writeProfile("ORVANE.INI", "[Services]\nORVTESTSETTING=from Services\n");
  EXPECT_EQ("from Services", setting("ORVTESTSETTING"));
  // The number lookup takes it directly.
  EXPECT_EQ(31u, orvResourceGetUInt32("ORVTESTSETTING"));
}

TEST_F(Settings, NumbersAreReadDecimalThenHexadecimal) {
  initialiseWithKey();
  struct Case {
    const char *text;
    uint32_t expected;
  } cases[] = {
      {"0", 0},       {"10", 10}, {"0x1F", 31}, {"1F", 1}, {"1f", 1}, {"-1", 0xFFFFFFFFu},
      {"abc", 0xABC}, {"zz", 0},  {"  42", 42}, {"0x", 0},
  };
  for (const Case &c : cases) {
    testsupport::setEnv("ORVTESTSETTING", c.text);
    EXPECT_EQ(c.expected, orvResourceGetUInt32("ORVTESTSETTING")) << c.text;
  }
}

TEST_F(Settings, ARegistryTextIsParsedAsANumber) {
  initialiseWithKey();
  registry.setText(testKey(), "ORVTESTSETTING", "0x20");
  EXPECT_EQ(32u, orvResourceGetUInt32("ORVTESTSETTING"));
}

TEST_F(Settings, LongProfileValuesAreCutToTheBuffer) {
  initialiseWithKey();
  std::string longValue(2000, 'v');
  testsupport::writeProfile("ORVANE.INI", "[Services]\nORVTESTSETTING=" + longValue + "\n");
  EXPECT_EQ(std::string(1023, 'v'), setting("ORVTESTSETTING"));
}

TEST_F(Settings, RegistryKeysAndValueNamesIgnoreCase) {
  initialiseWithKey();
  std::string upper = testKey();
  for (char &c : upper) {
    c = static_cast<char>(toupper(static_cast<unsigned char>(c)));
  }
  registry.setText(upper, "orvtestsetting", "found");
  EXPECT_EQ("found", setting("ORVTESTSETTING"));
}

#if !defined(_WIN32)
TEST_F(Settings, UserRegLinesThatDoNotParseAreSkipped) {
  initialiseWithKey();
  registry.setFile(
      "REGEDIT4\n"
      "\n"
      "; a comment\n"
      "[HKEY_LOCAL_MACHINE\\" +
      testKey() +
      "]\n"
      "\"ORVTESTSETTING\"=\"other hive\"\n"
      "[HKEY_CURRENT_USER\\" +
      testKey() +
      "]\n"
      "\"ORVTESTSETTING\"=\"unterminated\n"
      "\"ORVTESTSETTING\"=hex:01,02\n"
      "\"ORVTESTSETTING\"=dword:123456789\n"
      "\"ORVTESTSETTING\"=\"bad \\escape\"\n"
      "garbage line\n"
      "\"Quoted\"=\"a \\\"quoted\\\" c:\\\\dir\\\\file\"\n"
      "\"Count\"=dword:0000001f\n"
      "@=\"default value\"\n");
  EXPECT_EQ("<null>", setting("ORVTESTSETTING"));
  EXPECT_EQ("a \"quoted\" c:\\dir\\file", setting("Quoted"));
  EXPECT_EQ(31u, orvResourceGetUInt32("Count"));
  EXPECT_EQ("<null>", setting("Count"));  // a number is no text
}

TEST_F(Settings, UserRegLaterValuesWinAndSectionsMayRepeat) {
  initialiseWithKey();
  registry.setFile(
      "REGEDIT4\r\n"
      "[HKEY_CURRENT_USER\\" +
      testKey() +
      "\\]\r\n"
      "\"ORVTESTSETTING\"=\"first\"\r\n"
      "[HKEY_CURRENT_USER\\" +
      testKey() +
      "\\Sub]\r\n"
      "\"ORVTESTSETTING\"=\"subkey\"\r\n"
      "[hkey_current_user\\" +
      testKey() +
      "]\r\n"
      "\"orvtestsetting\" = \"second\"\r\n");
  EXPECT_EQ("second", setting("ORVTESTSETTING"));
}

TEST_F(Settings, AMissingOrEmptyUserRegIsNoRegistry) {
  initialiseWithKey();
  registry.setFile("");
  testsupport::setEnv("ORVTESTSETTING", "env");
  EXPECT_EQ("env", setting("ORVTESTSETTING"));
  registry.setFile(std::string("\0\x01\x02[\n\"x", 6));
  EXPECT_EQ("env", setting("ORVTESTSETTING"));
}
#endif

// --- Dynamic libraries --------------------------------------------------------

namespace {

// The library's own file without its suffix: "<bin>\orvane" on Windows,
// "<build>/lib/liborvane" on POSIX.
std::string libraryWithoutSuffix() {
  std::string exe = testsupport::executablePath();
  std::string dir = exe.substr(0, exe.find_last_of(kSep));
#if defined(_WIN32)
  return dir + "\\orvane";
#else
  return dir + "/../lib/liborvane";
#endif
}

}  // namespace

TEST(DynamicLibraries, ANameWithoutSuffixIsRetriedWithTheLibrarySuffix) {
  void *module = orvDLOpen(libraryWithoutSuffix().c_str());
  ASSERT_NE(nullptr, module);
  void *hash = orvDLSymbol(module, "orvHash");
  ASSERT_NE(nullptr, hash);
  using HashFn = uint32_t (*)(const char *);
  EXPECT_EQ(0x64636261u, reinterpret_cast<HashFn>(hash)("abcd"));
  EXPECT_EQ(nullptr, orvDLSymbol(module, "noSuchSymbolAnywhere"));
  EXPECT_EQ(1, orvDLClose(module));
}

TEST(DynamicLibraries, MissingLibrariesAndBadArgumentsGiveNull) {
  EXPECT_EQ(nullptr, orvDLOpen("orvane-no-such-library"));
  EXPECT_EQ(nullptr, orvDLOpen(nullptr));
  EXPECT_EQ(nullptr, orvDLSymbol(nullptr, "orvHash"));
  EXPECT_EQ(0, orvDLClose(nullptr));
  void *module = orvDLOpen(libraryWithoutSuffix().c_str());
  ASSERT_NE(nullptr, module);
  EXPECT_EQ(nullptr, orvDLSymbol(module, nullptr));
  EXPECT_EQ(1, orvDLClose(module));
}

TEST(DynamicLibraries, MadeUpOrClosedModulesFailWithoutReachingTheLoader) {
  void *madeUp = reinterpret_cast<void *>(static_cast<uintptr_t>(0x1000));
  EXPECT_EQ(0, orvDLClose(madeUp));
  EXPECT_EQ(nullptr, orvDLSymbol(madeUp, "orvHash"));
#if !defined(_WIN32)
  // A closed module handle is refused as well. (On Windows a handle stays
  // the module's address, which the system may still have loaded.)
  void *module = orvDLOpen(libraryWithoutSuffix().c_str());
  ASSERT_NE(nullptr, module);
  EXPECT_EQ(1, orvDLClose(module));
  EXPECT_EQ(0, orvDLClose(module)) << "closed";
  EXPECT_EQ(nullptr, orvDLSymbol(module, "orvHash")) << "closed";
#endif
}

TEST(DynamicLibraries, LoadingALibraryTwiceCountsTheLoads) {
  void *first = orvDLOpen(libraryWithoutSuffix().c_str());
  void *second = orvDLOpen(libraryWithoutSuffix().c_str());
  ASSERT_NE(nullptr, first);
  EXPECT_EQ(first, second) << "one module, one handle";
  EXPECT_EQ(1, orvDLClose(second));
  EXPECT_NE(nullptr, orvDLSymbol(first, "orvHash")) << "still loaded once";
  EXPECT_EQ(1, orvDLClose(first));
#if !defined(_WIN32)
  EXPECT_EQ(nullptr, orvDLSymbol(first, "orvHash")) << "the last close ends the handle";
#endif
}

TEST(DynamicLibraries, ABareNameIsFoundBesideTheProgram) {
  // The plug-in lies in the test program's directory, which is on no
  // search path of the system.
  void *module = orvDLOpen("orvtestplugin");
  ASSERT_NE(nullptr, module);
  using AnswerFn = int (*)();
  auto answer = reinterpret_cast<AnswerFn>(orvDLSymbol(module, "orvTestPluginAnswer"));
  ASSERT_NE(nullptr, answer);
  EXPECT_EQ(42, answer());
  EXPECT_EQ(1, orvDLClose(module));
}

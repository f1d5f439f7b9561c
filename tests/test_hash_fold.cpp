// orvHashI's per-thread fold table: rebuilt when the locale that the calling
// thread sees changes, whether by setlocale or by a thread's own locale
// (uselocale), also after many calls with the table in place.
#include <ctype.h>
#include <locale.h>
#include <stdlib.h>
#if !defined(_WIN32)
#include <sys/stat.h>
#include <unistd.h>
#endif

#include <atomic>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "orvane/frame.h"

namespace {

constexpr char kLowerAUmlaut[] = "\xe4";  // a-umlaut in ISO 8859-1
constexpr char kUpperAUmlaut[] = "\xc4";

#if !defined(_WIN32) && defined(__GLIBC__)
// The name of a glibc locale with ISO 8859-1 letters, made with localedef
// in a directory of its own when the system has none; empty when that fails.
std::string latin1Locale() {
  static const std::string name = [] {
    const char *installed[] = {"de_DE.ISO-8859-1", "de_DE.iso88591", "en_US.ISO-8859-1", "en_US.iso88591"};
    for (const char *n : installed) {
      if (locale_t l = newlocale(LC_CTYPE_MASK, n, nullptr)) {
        freelocale(l);
        return std::string(n);
      }
    }
    std::string dir = "/tmp/orvane-test-locales-" + std::to_string(getuid());
    mkdir(dir.c_str(), 0755);
    std::string path = dir + "/de_DE.ISO-8859-1";
    struct stat st;
    if (stat(path.c_str(), &st) != 0) {
      std::string command =
          "localedef --no-warnings=ascii -f ISO-8859-1 -i de_DE " + path + " >/dev/null 2>&1";
      if (system(command.c_str()) != 0 && stat(path.c_str(), &st) != 0) {
        return std::string();
      }
    }
    setenv("LOCPATH", dir.c_str(), 1);
    if (locale_t l = newlocale(LC_CTYPE_MASK, "de_DE.ISO-8859-1", nullptr)) {
      freelocale(l);
      return std::string("de_DE.ISO-8859-1");
    }
    return std::string();
  }();
  return name;
}
#endif

}  // namespace

TEST(HashFold, ASCIILettersFoldInTheCAndUtf8Locales) {
  std::string saved = setlocale(LC_CTYPE, nullptr);
  ASSERT_NE(nullptr, setlocale(LC_CTYPE, "C"));
  for (int i = 0; i < 1000; ++i) {
    ASSERT_EQ(orvHash("ABC"), orvHashI("abc"));
  }
  EXPECT_EQ(orvHash(kLowerAUmlaut), orvHashI(kLowerAUmlaut)) << "not a letter in the C locale";
  if (setlocale(LC_CTYPE, "C.UTF-8") != nullptr || setlocale(LC_CTYPE, "C.utf8") != nullptr) {
    EXPECT_EQ(orvHash("ABC"), orvHashI("abc"));
    EXPECT_EQ(orvHash(kLowerAUmlaut), orvHashI(kLowerAUmlaut)) << "a byte of a multi-byte character";
  }
  setlocale(LC_CTYPE, saved.c_str());
}

#if !defined(_WIN32) && defined(__GLIBC__)

TEST(HashFold, TheTableFollowsSetlocaleBackAndForth) {
  std::string latin1 = latin1Locale();
  if (latin1.empty()) {
    GTEST_SKIP() << "no ISO 8859-1 locale could be made";
  }
  std::string saved = setlocale(LC_CTYPE, nullptr);
  for (int round = 0; round < 3; ++round) {
    ASSERT_NE(nullptr, setlocale(LC_CTYPE, "C"));
    for (int i = 0; i < 100; ++i) {
      ASSERT_EQ(orvHash(kLowerAUmlaut), orvHashI(kLowerAUmlaut));
    }
    ASSERT_NE(nullptr, setlocale(LC_CTYPE, latin1.c_str()));
    ASSERT_TRUE(isalpha(0xe4) && islower(0xe4)) << "the locale classifies a-umlaut as a lower-case letter";
    for (int i = 0; i < 100; ++i) {
      ASSERT_EQ(orvHash(kUpperAUmlaut), orvHashI(kLowerAUmlaut));
    }
    EXPECT_EQ(orvHash("ABC\xc4\xd6"), orvHashI("abc\xe4\xf6"));
  }
  setlocale(LC_CTYPE, saved.c_str());
}

TEST(HashFold, EachThreadFoldsByTheLocaleItUses) {
  std::string latin1 = latin1Locale();
  if (latin1.empty()) {
    GTEST_SKIP() << "no ISO 8859-1 locale could be made";
  }
  std::string saved = setlocale(LC_CTYPE, nullptr);
  ASSERT_NE(nullptr, setlocale(LC_CTYPE, "C"));
  locale_t own = newlocale(LC_CTYPE_MASK, latin1.c_str(), nullptr);
  ASSERT_NE(nullptr, own);
  std::atomic<int> step{0};
  std::atomic<bool> threadFolded{false};
  std::atomic<bool> threadFoldsAgainAfterLeaving{false};
  std::thread other([&] {
    locale_t before = uselocale(own);
    bool folded = true;
    for (int i = 0; i < 1000; ++i) {
      folded = folded && orvHashI(kLowerAUmlaut) == orvHash(kUpperAUmlaut);
    }
    threadFolded = folded;
    step = 1;
    while (step.load() != 2) {
      std::this_thread::yield();
    }
    uselocale(before);
    threadFoldsAgainAfterLeaving = orvHashI(kLowerAUmlaut) == orvHash(kLowerAUmlaut);
  });
  while (step.load() != 1) {
    std::this_thread::yield();
  }
  // This thread still uses the global C locale.
  EXPECT_EQ(orvHash(kLowerAUmlaut), orvHashI(kLowerAUmlaut));
  step = 2;
  other.join();
  EXPECT_TRUE(threadFolded.load());
  EXPECT_TRUE(threadFoldsAgainAfterLeaving.load()) << "back in the global C locale";
  freelocale(own);
  setlocale(LC_CTYPE, saved.c_str());
}

#endif

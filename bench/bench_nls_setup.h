// Set-up shared by the language-support benchmarks: the library's language
// support in a Japanese (s-jis) locale with the shipped table, a megabyte of
// Japanese text, and glibc locales for the peers (made with localedef in a
// scratch directory when the system has none installed).
#ifndef ORVANE_BENCH_NLS_SETUP_H
#define ORVANE_BENCH_NLS_SETUP_H

#include <iconv.h>
#include <locale.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

#include <string>
#include <vector>

#include "orvane/nls.h"

namespace nlsbench {

constexpr size_t kTextBytes = 1 << 20;

// Initialises the library's language support with the shipped table (beside
// the benchmark programs) in the locale named by the Windows abbreviation.
inline bool initLanguageSupport(const char *language) {
  if (getenv("ORVNLSTAB") == nullptr) {
    setenv("ORVNLSTAB", "orvane.nls", 1);
  }
  std::string dir = "/tmp/orvane-bench-profile";
  mkdir(dir.c_str(), 0700);
  FILE *ini = fopen((dir + "/win.ini").c_str(), "w");
  if (ini == nullptr) {
    return false;
  }
  fprintf(ini, "[intl]\nsLanguage=%s\n", language);
  fclose(ini);
  setenv("ORVANE_PROFILE_DIR", dir.c_str(), 1);
  int status = nlsInit();
  if (status != 0) {
    fprintf(stderr, "nlsInit failed with %d (is ORVNLSTAB right?)\n", status);
    return false;
  }
  return true;
}

// Sets category of the runtime to a glibc locale, generating it with
// localedef under /tmp/orvane-bench-locales when it is not installed.
inline bool useGlibcLocale(int category, const char *name, const char *source, const char *charmap) {
  if (setlocale(category, name) != nullptr) {
    return true;
  }
  // glibc remembers a locale it did not find, so the locale is made before
  // it is asked for under LOCPATH.
  const char *dir = "/tmp/orvane-bench-locales";
  mkdir(dir, 0755);
  std::string path = std::string(dir) + "/" + name;
  struct stat st;
  if (stat(path.c_str(), &st) != 0) {
    std::string command = std::string("localedef --no-warnings=ascii -f ") + charmap + " -i " + source + " " +
                          path + " >/dev/null 2>&1";
    if (system(command.c_str()) != 0) {
      fprintf(stderr, "localedef could not make %s\n", name);
    }
  }
  setenv("LOCPATH", dir, 1);
  return setlocale(category, name) != nullptr;
}

// About a megabyte of Japanese text in Shift-JIS (CP932): kana, kanji,
// ASCII words, punctuation and line ends, in a fixed pseudo-random mix.
inline std::string japaneseText() {
  static const char16_t kanji[] =
      u"日本語文字列処理変換速度試験東京大阪京都時間年月火水木金土人気電話会社学校先生"
      u"新聞情報技術開発計算機言語国際経済政治社会文化歴史地理科学研究大学生活家族友達";
  std::vector<char16_t> units;
  uint32_t x = 20241121;
  auto next = [&x] {
    x = x * 1103515245u + 12345u;
    return x >> 8;
  };
  while (units.size() < kTextBytes) {
    uint32_t r = next() % 100;
    if (r < 35) {
      units.push_back(static_cast<char16_t>(0x3041 + next() % 83));  // hiragana
    } else if (r < 50) {
      units.push_back(static_cast<char16_t>(0x30A1 + next() % 86));  // katakana
    } else if (r < 80) {
      units.push_back(kanji[next() % (sizeof kanji / sizeof kanji[0] - 1)]);
    } else if (r < 92) {
      units.push_back(static_cast<char16_t>('a' + next() % 26));
    } else if (r < 96) {
      units.push_back(r % 2 ? u'、' : u'。');
    } else if (r < 99) {
      units.push_back(u' ');
    } else {
      units.push_back(u'\n');
    }
  }
  iconv_t cd = iconv_open("CP932", "UTF-16LE");
  std::string out(units.size() * 2 + 16, '\0');
  char *in = reinterpret_cast<char *>(units.data());
  size_t inLeft = units.size() * 2;
  char *outPtr = &out[0];
  size_t outLeft = out.size();
  iconv(cd, &in, &inLeft, &outPtr, &outLeft);
  iconv_close(cd);
  out.resize(out.size() - outLeft);
  // Cut at a character boundary at or after one megabyte.
  size_t cut = 0;
  while (cut < kTextBytes && cut < out.size()) {
    cut += nlsStrmblen(static_cast<unsigned char>(out[cut]));
  }
  out.resize(cut);
  return out;
}

}  // namespace nlsbench

#endif

// POSIX half of the locale services.
//
// The NLS table names Windows locales by their language abbreviation
// ("enu", "deu", "jpn"). POSIX systems call the same locales en_US, de_DE,
// ja_JP, with or without a codeset ("de_DE.ISO-8859-1", "ja_JP.UTF-8"), and
// have only the ones installed; the numeric locale's candidates are the
// usual spellings, with "C" last.
#include <ctype.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>
#include <wchar.h>
#include <wctype.h>

#include "platform/pal_locale.h"

namespace pal {

namespace {

struct Spelling {
  const char *windows;
  const char *posix;
};

// Windows language abbreviations and the POSIX names of the same locales.
const Spelling kSpellings[] = {
    {"enu", "en_US"}, {"eng", "en_GB"}, {"ena", "en_AU"}, {"enc", "en_CA"}, {"enz", "en_NZ"},
    {"eni", "en_IE"}, {"deu", "de_DE"}, {"des", "de_CH"}, {"dea", "de_AT"}, {"fra", "fr_FR"},
    {"frb", "fr_BE"}, {"frc", "fr_CA"}, {"frs", "fr_CH"}, {"esp", "es_ES"}, {"esn", "es_ES"},
    {"esm", "es_MX"}, {"ita", "it_IT"}, {"its", "it_CH"}, {"ptb", "pt_BR"}, {"ptg", "pt_PT"},
    {"nld", "nl_NL"}, {"nlb", "nl_BE"}, {"sve", "sv_SE"}, {"dan", "da_DK"}, {"nor", "nb_NO"},
    {"non", "nn_NO"}, {"fin", "fi_FI"}, {"isl", "is_IS"}, {"plk", "pl_PL"}, {"csy", "cs_CZ"},
    {"hun", "hu_HU"}, {"rus", "ru_RU"}, {"ell", "el_GR"}, {"trk", "tr_TR"}, {"jpn", "ja_JP"},
    {"kor", "ko_KR"}, {"cht", "zh_TW"}, {"chs", "zh_CN"},
};

// Codesets of the NLS character sets (by id) as POSIX locale names spell
// them.
std::vector<const char *> codesets(int charSet) {
  switch (charSet) {
    case 4:  // 8859-1
    case 9:  // sco8859-1
      return {"ISO-8859-1", "iso88591"};
    case 13:  // s-jis
      return {"SJIS", "sjis"};
    case 14:  // euc-j
      return {"eucJP", "eucjp"};
    case 15:  // korean
      return {"eucKR", "euckr"};
    case 16:  // big5
      return {"BIG5", "big5"};
    case 18:  // s-chinese
      return {"GBK", "gbk", "GB2312", "gb2312"};
    default:
      return {};
  }
}

void addOnce(std::vector<std::string> &list, const std::string &name) {
  for (const std::string &n : list) {
    if (n == name) {
      return;
    }
  }
  list.push_back(name);
}

// Folds ASCII letters for the fallback comparison.
int foldedByte(unsigned char c) { return c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c; }

int compareBytesNoCase(const char *a, const char *b) {
  const auto *x = reinterpret_cast<const unsigned char *>(a);
  const auto *y = reinterpret_cast<const unsigned char *>(b);
  while (*x != 0 && foldedByte(*x) == foldedByte(*y)) {
    ++x;
    ++y;
  }
  return foldedByte(*x) - foldedByte(*y);
}

// The text as lower-cased wide characters in a heap block, or null when it
// is not valid in the runtime's character set or memory runs out.
wchar_t *loweredWide(const char *text) {
  mbstate_t state{};
  const char *src = text;
  size_t n = mbsrtowcs(nullptr, &src, 0, &state);
  if (n == static_cast<size_t>(-1)) {
    return nullptr;
  }
  auto *wide = static_cast<wchar_t *>(malloc((n + 1) * sizeof(wchar_t)));
  if (wide == nullptr) {
    return nullptr;
  }
  state = mbstate_t{};
  src = text;
  mbsrtowcs(wide, &src, n + 1, &state);
  wide[n] = L'\0';
  for (size_t i = 0; i < n; ++i) {
    wide[i] = static_cast<wchar_t>(towlower(static_cast<wint_t>(wide[i])));
  }
  return wide;
}

}  // namespace

int compareLocale(const char *a, const char *b) { return strcoll(a, b); }

int compareLocaleNoCase(const char *a, const char *b) {
  wchar_t *wa = loweredWide(a);
  wchar_t *wb = wa != nullptr ? loweredWide(b) : nullptr;
  int result = wa != nullptr && wb != nullptr ? wcscoll(wa, wb) : compareBytesNoCase(a, b);
  free(wa);
  free(wb);
  return result;
}

std::vector<std::string> numericLocaleCandidates(const char *name, int charSet) {
  std::vector<std::string> list;
  const std::string given = name != nullptr ? name : "";
  if (!given.empty()) {
    addOnce(list, given);
  }
  std::string posix;
  for (const Spelling &s : kSpellings) {
    if (strcasecmp(given.c_str(), s.windows) == 0) {
      posix = s.posix;
      break;
    }
  }
  if (posix.empty() && given.find('_') != std::string::npos && given.find('.') == std::string::npos) {
    posix = given;  // already a POSIX name without a codeset
  }
  if (!posix.empty()) {
    for (const char *codeset : codesets(charSet)) {
      addOnce(list, posix + "." + codeset);
    }
    addOnce(list, posix + ".UTF-8");
    addOnce(list, posix + ".utf8");
    addOnce(list, posix);
  }
  addOnce(list, "C");
  return list;
}

std::string currentDirectory() {
  char dir[4096];
  return getcwd(dir, sizeof dir) != nullptr ? std::string(dir) : std::string();
}

bool isDirectory(const char *path) {
  struct stat st;
  return stat(path, &st) == 0 && S_ISDIR(st.st_mode);
}

const void *classificationTable() {
#if defined(__GLIBC__)
  return *__ctype_b_loc();
#else
  return nullptr;
#endif
}

}  // namespace pal

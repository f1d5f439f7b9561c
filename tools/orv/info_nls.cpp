// orv info: the language support section: the table, the locale and the
// character set that process initialisation chose.
#include <stdio.h>

#include <string>

#include "orv_commands.h"
#include "orvane/frame.h"
#include "orvane/nls.h"

namespace orv {

namespace {

// The built-in names of the character-set ids (a CHARMAP block of the table
// may rename a slot; the id is what the library works with).
const char *const kCharSetNames[] = {
    "(none)", "(current)", "binary8",   "ascii7",   "8859-1",   "roman8",   "decMCS",  "dg",
    "pc850",  "sco8859-1", "sbSpare1",  "sbSpare2", "sbSpare3", "s-jis",    "euc-j",   "korean",
    "big5",   "dec-kanji", "s-chinese", "mbSpare1", "mbSpare2", "mbSpare3", "unicode",
};

std::string hex(uint32_t value) {
  char text[16];
  snprintf(text, sizeof text, "0x%08X", value);
  return text;
}

}  // namespace

void reportLanguageSupport() {
  printf("language support\n");
  char *table = orvResourceGetNLSStr("ORVNLSTAB");
  row("table (ORVNLSTAB)", table != nullptr ? table : "(not set)");
  const uint32_t langId = nlsGetLangId();
  if (langId == 0) {
    row("status", "not initialised");
    if (table == nullptr) {
      row("hint", "point ORVNLSTAB at the shipped table, share/orvane/orvane.nls (see README.md)");
    } else {
      row("hint", "orv nls check <table> reports the table's first error and its line");
    }
    orvMemoryFreeFunc(table);
    return;
  }
  orvMemoryFreeFunc(table);
  row("status", "initialised");
  char locale[80] = {};
  row("locale", nlsIdToLocale(locale, sizeof locale - 1, 0) != nullptr ? locale : "(unknown)");
  row("language id", hex(langId));
  const int32_t charSet = nlsGetCharSet();
  std::string set = std::to_string(charSet);
  if (charSet >= 0 && charSet < static_cast<int32_t>(sizeof kCharSetNames / sizeof kCharSetNames[0])) {
    set += std::string(" (") + kCharSetNames[charSet] + ")";
  }
  row("character set", set);
  int leadBytes = 0;
  for (int c = 0; c < 256; ++c) {
    leadBytes += nlsStrmblen(c) > 1 ? 1 : 0;
  }
  row("lead bytes", leadBytes == 0 ? std::string("none (single-byte)") : std::to_string(leadBytes));
  row("collation", nlsGetCollSeq() != nullptr ? "weight table of the NLS table" : "the runtime's");
}

}  // namespace orv

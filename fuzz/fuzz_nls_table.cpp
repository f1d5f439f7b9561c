// Fuzz target: the NLS table loader. Each input is written to a table file
// that ORVNLSTAB names; nlsInit loads it. A table that loads then has every
// character-set definition it holds made into a character-set object (which
// reads the block again and runs the definition parser), its collation
// sequences read, and a little text translated, before nlsTerminate.
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "common/nls/nls_state.h"
#include "orvane/charsets.h"
#include "orvane/nls.h"

namespace {

std::string tablePath() {
  static const std::string path = [] {
    std::string dir = "/tmp/orvane-fuzz-" + std::to_string(getpid());
    mkdir(dir.c_str(), 0700);
    // An empty profile directory: no ORVANE.INI, no win.ini.
    setenv("ORVANE_PROFILE_DIR", dir.c_str(), 1);
    std::string table = dir + "/table.nls";
    setenv("ORVNLSTAB", table.c_str(), 1);
    return table;
  }();
  return path;
}

void exercise() {
  int made = 0;
  for (const nls::NlsMbCharMap *m = nls::state().mbCharMaps; m != nullptr && made < 8; m = m->next, ++made) {
    int error = 0;
    orvCharSet set = orvCharacterSetCreate(m->name, &error);
    if (set != 0) {
      uint32_t length = 0;
      if (uint16_t *u = orvCharacterSetConvertToUnicode(set, "abc\x81\x40\xA4", &length, nullptr)) {
        length = 0;
        free(orvCharacterSetConvertFromUnicode(set, u, &length, nullptr));
        free(u);
      }
      orvCharacterSetDestroy(set);
    }
  }
  nlsSetCollSeq("latin1-dictionary");
  nlsStrcoll("abc", 0, "abd");
  nlsSetCollSeq(nullptr);
  char out[16];
  for (int from = 3; from <= 12; ++from) {
    nlsStrTranslate(out, sizeof out, 4, "\xA3\xE9\x80\xFF", 4, from);
  }
  nlsStrlen("\x81\x40\x82");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const std::string &path = tablePath();
  FILE *f = fopen(path.c_str(), "wb");
  if (f == nullptr) {
    return 0;
  }
  fwrite(data, 1, size, f);
  fclose(f);
  int status = nlsInit();
  if (status == 0 || status == 12 || status == 13) {
    exercise();
    nlsTerminate();
  }
  return 0;
}

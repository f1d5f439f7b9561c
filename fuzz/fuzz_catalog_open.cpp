// Fuzz target: a catalog file of arbitrary bytes. The input is written to a
// file and opened with cmOpenCatalog; an open that succeeds must hold a
// sound index, and every id of the index, ids 0 to 15 and a few absent ids
// are looked up (raw, and through a cm set with parts and a parameter)
// before the close. A rejected file must give one of the open's codes and
// leave no catalog behind.
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "common/catalog/cm_compile.h"
#include "common/catalog/cm_internal.h"
#include "orvane/catalog.h"
#include "orvane/msgset.h"

namespace {

std::string catalogPath() {
  static const std::string path = [] {
    std::string dir = "/tmp/orvane-fuzz-catalog-" + std::to_string(getpid());
    mkdir(dir.c_str(), 0700);
    setenv("ORVANE_PROFILE_DIR", dir.c_str(), 1);
    return dir + "/input.cat";
  }();
  return path;
}

void lookUp(cmMsgSet *set, uint32_t id) {
  free(cmGetRawMessage(id));
  cmAddStringParm(set, "p");
  cmAddMsgLast(set, id);
  char *text = nullptr;
  cmGetMessage(set, id & 15u, &text, nullptr, nullptr);
  free(text);
  cmResetMsgSet(set);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const std::string path = catalogPath();
  FILE *f = fopen(path.c_str(), "wb");
  if (f == nullptr) {
    return 0;
  }
  fwrite(data, 1, size, f);
  fclose(f);
  cmCatalog *c = nullptr;
  const int rc = cmOpenCatalog(&c, path.c_str());
  if (rc != 0) {
    if ((rc != CM_ERR_DAMAGED && rc != CM_ERR_SHORT_READ && rc != CM_ERR_BAD_VERSION) || c != nullptr ||
        catalog::firstCatalog() != nullptr) {
      abort();
    }
    return 0;
  }
  for (uint32_t i = 0; i < c->messageCount; ++i) {
    if ((i > 0 && c->ids[i] <= c->ids[i - 1]) || c->offsets[i] > c->offsets[i + 1] ||
        c->offsets[i + 1] > c->fileSize || ((c->offsets[i + 1] - c->offsets[i]) & 1u) != 0) {
      abort();
    }
  }
  // The reader and the compiler's reader agree, and a dump compiles back.
  catalog::Source source;
  std::string problem;
  if (catalog::readCatalog(std::string(reinterpret_cast<const char *>(data), size), &source, &problem) != 0) {
    abort();
  }
  cmMsgSet *set = nullptr;
  if (cmCreateMsgSet(&set, 2) == 0) {
    for (uint32_t i = 0; i < c->messageCount && i < 256; ++i) {
      lookUp(set, c->ids[i]);
      lookUp(set, c->ids[i] ^ 0x80000u);
    }
    for (uint32_t id = 0; id <= 15; ++id) {
      lookUp(set, id);
    }
    lookUp(set, 0xFFFFFFFFu);
    cmDestroyMsgSet(set);
  }
  orvMessageSet *ms = orvMessageSetCreateNLS(path.c_str());
  if (ms != nullptr) {
    for (uint32_t i = 0; i < c->messageCount && i < 64; ++i) {
      orvMessageSetPush(ms, c->ids[i], ORV_MSG_TEXT, "a", ORV_MSG_INT, 7, ORV_MSG_END);
      orvString *s = orvMessageSetPop(ms);
      orvStringDestroy(s);
    }
    orvMessageSetDestroy(ms);
  }
  cmCloseCatalog(c);
  if (catalog::firstCatalog() != nullptr) {
    abort();
  }
  return 0;
}

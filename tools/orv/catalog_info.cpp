// orv info: the services catalog, the message set "SRVCMSGS" that language
// support made at initialisation: the catalog file, its title and message
// count, or why it did not open.
#include <stdio.h>
#include <stdlib.h>

#include <string>

#include "common/catalog/cm_internal.h"
#include "common/nls/nls_state.h"
#include "orv_commands.h"
#include "orvane/catalog.h"
#include "orvane/frame.h"
#include "orvane/msgset.h"

namespace orv {

void reportCatalog() {
  printf("services catalog\n");
  char *setting = orvResourceGetNLSStr("SRVCMSGS");
  row("catalog (SRVCMSGS)", setting != nullptr ? setting : "(not set)");
  orvMemoryFreeFunc(setting);
  const auto *set = static_cast<const orvMessageSet *>(nls::state().servicesMessageSet);
  if (set == nullptr) {
    row("status", "no message set (language support not initialised)");
    return;
  }
  const cmCatalog *catalog = catalog::catalogOf(set);
  if (catalog == nullptr) {
    const uint32_t status = orvMessageSetGetStatus(set);
    char *text = cmGetError(static_cast<int>(status));
    row("status",
        "not open: error " + std::to_string(status) + (text != nullptr ? std::string(" ") + text : ""));
    free(text);
    row("hint", "point SRVCMSGS at the shipped catalog, share/orvane/orvane.cat (see README.md)");
    return;
  }
  char *name = catalog::toCurrent(catalog->name);
  char *title = catalog::toCurrent(catalog->title);
  row("status", "open");
  row("file", name != nullptr ? name : "?");
  row("title", title != nullptr ? title : "?");
  row("messages", std::to_string(catalog->messageCount));
  free(name);
  free(title);
}

}  // namespace orv

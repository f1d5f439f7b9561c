// orv info: the language support section.
#include <stdio.h>

#include "orv_commands.h"

namespace orv {

void reportLanguageSupport() {
  printf("language support\n");
  row("layer", "not part of this build");
}

}  // namespace orv

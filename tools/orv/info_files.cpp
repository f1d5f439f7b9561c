// orv info: the files section.
#include <stdio.h>

#include "orv_commands.h"

namespace orv {

void reportFiles() {
  printf("files\n");
  row("layer", "not part of this build");
}

}  // namespace orv

// orv info: the threads section.
#include <stdio.h>

#include "orv_commands.h"

namespace orv {

void reportThreads() {
  printf("threads\n");
  row("layer", "not part of this build");
}

}  // namespace orv

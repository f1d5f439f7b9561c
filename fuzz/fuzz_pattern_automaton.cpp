// Fuzz target: nlsSimulFA on stored automata. An input whose header
// describes exactly its own length is copied into a heap block of that
// length (so that the sanitizer sees any read past it) and run over a few
// texts; a block that the reader refuses must answer 0.
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <vector>

#include "common/nls/nlspm_internal.h"
#include "orvane/pattern.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size < nls::pm::kHeaderSize || nls::pm::serialisedSize(data) != size) {
    return 0;
  }
  auto *block = static_cast<unsigned char *>(malloc(size));
  memcpy(block, data, size);
  nls::pm::Automaton fa;
  const bool valid = nls::pm::deserialise(block, fa);
  for (const char *text : {"", "a", "ab", "0123 xyz", "\xE9\x82@"}) {
    int r = nlsSimulFA(block, nullptr, text);
    if (!valid && r != 0) {
      abort();
    }
  }
  free(block);
  return 0;
}

// Fuzz target: the catalog compiler on arbitrary source text. A source that
// compiles must give a catalog that the reader accepts, whose dump compiles
// to the same bytes again.
#include <stdint.h>
#include <stdlib.h>

#include <string>

#include "common/catalog/cm_compile.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const std::string text(reinterpret_cast<const char *>(data), size);
  std::string bytes, error;
  if (!catalog::compileSource(text, "fuzz.txt", &bytes, &error)) {
    if (error.compare(0, 9, "fuzz.txt:") != 0) {
      abort();
    }
    return 0;
  }
  catalog::Source source;
  std::string problem;
  if (catalog::readCatalog(bytes, &source, &problem) != 0) {
    abort();
  }
  const std::string dump = catalog::dumpSource(source, 0, 0);
  std::string again;
  if (!catalog::compileSource(dump, "dump.txt", &again, &error) || again != bytes) {
    abort();
  }
  return 0;
}

// Fuzz target: the character-set definition parser. A definition that parses
// is built into a record (direct or sorted tables, accelerators) and the
// input itself is converted through it to UTF-16 and back.
#include <stdint.h>
#include <stdlib.h>

#include <string>

#include "common/strings/charset_internal.h"
#include "orvane/charsets.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  std::string text(reinterpret_cast<const char *>(data), size);
  charsets::ParsedDefinition definition;
  int rc = charsets::parseDefinition(text.c_str(), definition);
  if (rc == 0) {
    if (charsets::CharSetRecord *r = charsets::buildRecord("fuzz", definition)) {
      orvCharSet set = reinterpret_cast<orvCharSet>(r);
      uint32_t length = static_cast<uint32_t>(size > 64 ? 64 : size);
      if (length > 0) {
        if (uint16_t *u = orvCharacterSetConvertToUnicode(set, data, &length, nullptr)) {
          free(orvCharacterSetConvertFromUnicode(set, u, &length, nullptr));
          free(u);
        }
      }
      charsets::freeRecord(r);
    }
  }
  free(definition.entries);
  return 0;
}

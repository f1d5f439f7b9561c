// Collation: the optional weight table of the NLS table's LCCOLLATE
// sequences, the platform's locale comparisons when no table is loaded, and
// the transformation functions.
#include <stdlib.h>
#include <string.h>

#include <atomic>

#include "common/nls/nls_state.h"
#include "common/nls/nls_table.h"
#include "common/nls/nls_util.h"
#include "orvane/nls.h"
#include "platform/pal_locale.h"

namespace nls {

namespace {

// One static area holds the weights; loading a sequence overwrites it.
unsigned char weightArea[256];
std::atomic<const unsigned char *> collation{nullptr};

// Reads the weights of the sequence whose LCCOLLATE line names it. A byte
// the sequence does not reach keeps its own value as its weight. False when
// the sequence does not exist or is not well formed.
bool readSequence(FILE *file, const char *name, unsigned char *weights) {
  TableReader reader(file, state().lineNumber);
  bool found = false;
  for (TableReader::Result r; !found && (r = reader.next(kLineBufferSize)) != TableReader::kEnd;) {
    if (r != TableReader::kLine) {
      continue;
    }
    const char *text = skipBlanks(reader.text());
    found = startsWithNoCase(text, "LCCOLLATE") && strcmp(skipBlanks(text + 9), name) == 0;
  }
  if (!found) {
    return false;
  }
  for (int b = 0; b < 256; ++b) {
    weights[b] = static_cast<unsigned char>(b);
  }
  int index = 0;
  for (;;) {
    TableReader::Result r = reader.next(kCollationLineBufferSize);
    if (r == TableReader::kEnd) {
      return false;  // the block has no end
    }
    if (r == TableReader::kOverlong) {
      if (reader.isComment()) {
        continue;
      }
      return false;
    }
    const char *text = skipSpaces(reader.text());
    if (startsWith(text, "END")) {
      return true;
    }
    char line[kCollationLineBufferSize];
    size_t n = 0;
    while (text[n] != '\0' && text[n] != '#') {
      line[n] = text[n];
      ++n;
    }
    line[n] = '\0';
    for (char *p = line; *(p = const_cast<char *>(skipBlanks(p))) != '\0';) {
      char *end = nullptr;
      long weight = strtol(p, &end, 0);
      if (end == p || (*end != '\0' && !isTableBlank(*end)) || weight < 0 || weight > 255) {
        return false;
      }
      if (index < 256) {
        weights[index] = static_cast<unsigned char>(weight);
      }
      ++index;
      p = end;
    }
  }
}

}  // namespace

}  // namespace nls

extern "C" {

ORV_API const unsigned char *nlsGetCollSeq(void) { return nls::collation.load(std::memory_order_acquire); }

ORV_API int nlsSetCollSeq(const char *name) {
  nls::collation.store(nullptr, std::memory_order_release);
  if (name == nullptr) {
    return 1;
  }
  FILE *file = nullptr;
  if (nls::openTable(&file) != 0) {
    return 1;
  }
  unsigned char weights[256];
  bool ok = nls::readSequence(file, name, weights);
  fclose(file);
  if (ok) {
    memcpy(nls::weightArea, weights, sizeof weights);
    nls::collation.store(nls::weightArea, std::memory_order_release);
  }
  return 1;
}

ORV_API int nlsStrcoll(const char *s1, uint32_t /*langId*/, const char *s2) {
  const unsigned char *w = nls::collation.load(std::memory_order_acquire);
  if (w == nullptr) {
    return pal::compareLocale(s1, s2);
  }
  const auto *a = reinterpret_cast<const unsigned char *>(s1);
  const auto *b = reinterpret_cast<const unsigned char *>(s2);
  while (*a != 0 && *b != 0 && w[*a] == w[*b]) {
    ++a;
    ++b;
  }
  if (*a == 0 && *b == 0) {
    return 0;  // equal weights all the way
  }
  if (*b != 0 && *a == 0) {
    return -1;
  }
  if (*b == 0) {
    return 1;
  }
  return w[*b] < w[*a] ? 1 : -1;
}

ORV_API int nlsStricoll(const char *s1, uint32_t /*langId*/, const char *s2) {
  return pal::compareLocaleNoCase(s1, s2);
}

ORV_API int nlsStrxfrm(char *dst, const char *src, uint32_t /*langId*/, int len) {
  if (src == nullptr) {
    return 0;
  }
  if (dst != nullptr && len > 0) {
    strncpy(dst, src, static_cast<size_t>(len));
  }
  return static_cast<int>(strlen(src));
}

ORV_API int nlsStrxfrmdSize(int n) { return 4 * n + 1; }

}  // extern "C"

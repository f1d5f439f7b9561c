// Translation between character sets: the translation vectors of the
// single-byte sets, and the arithmetic between EUC-JP and Shift-JIS.
#include <stdlib.h>
#include <string.h>

#include <atomic>

#include "common/nls/nls_alloc.h"
#include "common/nls/nls_state.h"
#include "orvane/nls.h"

namespace nls {

namespace {

constexpr int kSingleByteSets = 10;  // ids 3 to 12
constexpr unsigned char kUnknown = '?';

// Vectors by (source - 3, target - 3), made on first use and kept until the
// process ends. Threads that build the same vector at once keep the first
// one published and free their own.
std::atomic<unsigned char *> vectors[kSingleByteSets][kSingleByteSets];

int resolve(int id) { return id == kCharSetCurrent ? state().charSet : id; }

unsigned char *buildVector(const uint16_t *source, const uint16_t *target, const ExtensionPair *extensions) {
  auto *vector = static_cast<unsigned char *>(allocate(256));
  if (vector == nullptr) {
    return nullptr;
  }
  // Unicode values below 512 to the lowest target byte that has them.
  uint16_t reverse[512];
  for (uint16_t &r : reverse) {
    r = kNoCharacter;
  }
  for (int b = 0; b < 256; ++b) {
    if (target[b] < 512 && reverse[target[b]] == kNoCharacter) {
      reverse[target[b]] = static_cast<uint16_t>(b);
    }
  }
  for (int b = 0; b < 256; ++b) {
    const uint16_t u = source[b];
    int result = -1;
    if (u == kNoCharacter) {
      result = kUnknown;
    } else if (u < 512 && reverse[u] != kNoCharacter) {
      result = reverse[u];
    }
    for (int t = 0; result < 0 && t < 256; ++t) {
      if (target[t] == u) {
        result = t;
      }
    }
    for (const ExtensionPair *e = extensions; result < 0 && e->unicode != 0; ++e) {
      if (e->unicode == u) {
        result = e->byte & 0xFF;
      }
    }
    vector[b] = static_cast<unsigned char>(result < 0 ? kUnknown : result);
  }
  return vector;
}

// --- EUC-JP and Shift-JIS -----------------------------------------------------

bool isEucByte(unsigned char c) { return c >= 0xA1 && c <= 0xFE; }
bool isSjisLead(unsigned char c) { return (c >= 0x81 && c <= 0x9F) || (c >= 0xE0 && c <= 0xEF); }
bool isSjisTrail(unsigned char c) { return c >= 0x40 && c <= 0xFC && c != 0x7F; }
bool isHalfWidthKatakana(unsigned char c) { return c >= 0xA1 && c <= 0xDF; }

// JIS row and cell (0x21 to 0x7E each) to Shift-JIS.
void jisToSjis(unsigned char row, unsigned char cell, unsigned char out[2]) {
  out[0] = static_cast<unsigned char>(((row + 1) >> 1) + (row <= 0x5E ? 0x70 : 0xB0));
  if (row & 1) {
    out[1] = static_cast<unsigned char>(cell + (cell <= 0x5F ? 0x1F : 0x20));
  } else {
    out[1] = static_cast<unsigned char>(cell + 0x7E);
  }
}

// Shift-JIS lead and trail to JIS row and cell.
void sjisToJis(unsigned char lead, unsigned char trail, unsigned char out[2]) {
  unsigned int row = lead <= 0x9F ? lead - 0x70 : lead - 0xB0;
  row = row * 2 - 1;
  unsigned int cell = trail;
  if (cell >= 0x9F) {
    ++row;
    cell -= 0x7E;
  } else {
    cell -= cell >= 0x80 ? 0x20 : 0x1F;
  }
  out[0] = static_cast<unsigned char>(row);
  out[1] = static_cast<unsigned char>(cell);
}

// Writes a character of n bytes when it fits in dstLen - 1 bytes.
bool put(char *dst, int dstLen, int &used, const unsigned char *bytes, int n) {
  if (used + n > dstLen - 1) {
    return false;
  }
  memcpy(dst + used, bytes, static_cast<size_t>(n));
  used += n;
  return true;
}

void eucToSjis(char *dst, int dstLen, const unsigned char *src, int srcLen) {
  int used = 0;
  int i = 0;
  while (i < srcLen) {
    unsigned char out[2];
    int n;
    int consumed;
    const unsigned char c = src[i];
    if (c == 0x8E && i + 1 < srcLen) {
      out[0] = src[i + 1];  // half-width katakana: the byte after the single shift
      n = 1;
      consumed = 2;
    } else if (isEucByte(c) && i + 1 < srcLen && isEucByte(src[i + 1])) {
      jisToSjis(c & 0x7F, src[i + 1] & 0x7F, out);
      n = 2;
      consumed = 2;
    } else {
      out[0] = c & 0x7F;
      n = 1;
      consumed = 1;
    }
    if (!put(dst, dstLen, used, out, n)) {
      break;
    }
    i += consumed;
  }
  dst[used] = '\0';
}

void sjisToEuc(char *dst, int dstLen, const unsigned char *src, int srcLen) {
  int used = 0;
  int i = 0;
  while (i < srcLen) {
    unsigned char out[2];
    int n;
    int consumed;
    const unsigned char c = src[i];
    if (isHalfWidthKatakana(c)) {
      out[0] = 0x8E;
      out[1] = c;
      n = 2;
      consumed = 1;
    } else if (isSjisLead(c) && i + 1 < srcLen && isSjisTrail(src[i + 1])) {
      sjisToJis(c, src[i + 1], out);
      out[0] |= 0x80;
      out[1] |= 0x80;
      n = 2;
      consumed = 2;
    } else {
      out[0] = c & 0x7F;
      n = 1;
      consumed = 1;
    }
    if (!put(dst, dstLen, used, out, n)) {
      break;
    }
    i += consumed;
  }
  dst[used] = '\0';
}

}  // namespace

}  // namespace nls

extern "C" {

ORV_API const unsigned char *nlsGetCharMap(int32_t from, int32_t to) {
  from = nls::resolve(from);
  to = nls::resolve(to);
  if (!nls::isSingleByte(from) || !nls::isSingleByte(to)) {
    return nullptr;
  }
  std::atomic<unsigned char *> &slot = nls::vectors[from - 3][to - 3];
  if (unsigned char *cached = slot.load(std::memory_order_acquire)) {
    return cached;
  }
  const uint16_t *source = nls::unicodeMap(from);
  const uint16_t *target = nls::unicodeMap(to);
  const nls::ExtensionPair *extensions = nls::extensionList(to);
  if (source == nullptr || target == nullptr || extensions == nullptr) {
    return nullptr;
  }
  unsigned char *vector = nls::buildVector(source, target, extensions);
  if (vector == nullptr) {
    return nullptr;
  }
  unsigned char *expected = nullptr;
  if (!slot.compare_exchange_strong(expected, vector, std::memory_order_acq_rel)) {
    free(vector);
    return expected;
  }
  return vector;
}

ORV_API int nlsStrTranslate(char *dst, int dstLen, int32_t to, const char *src, int srcLen, int32_t from) {
  if (from == nls::kCharSetNone || to == nls::kCharSetNone) {
    return 0;
  }
  from = nls::resolve(from);
  to = nls::resolve(to);
  if (dst == nullptr || src == nullptr) {
    return 0;
  }
  if (from == nls::kCharSetAscii7 || from == to || from == nls::kCharSetBinary8 ||
      to == nls::kCharSetBinary8) {
    if (dstLen > 0) {
      strncpy(dst, src, static_cast<size_t>(dstLen));
      dst[dstLen - 1] = '\0';
    }
    return 1;
  }
  if (nls::isSingleByte(from) && nls::isSingleByte(to)) {
    const unsigned char *vector = nlsGetCharMap(from, to);
    if (vector == nullptr) {
      return 0;
    }
    if (dstLen <= 0) {
      return 1;
    }
    const int n = srcLen < dstLen - 1 ? srcLen : dstLen - 1;
    const auto *s = reinterpret_cast<const unsigned char *>(src);
    auto *d = reinterpret_cast<unsigned char *>(dst);
    for (int i = 0; i < n; ++i) {
      d[i] = vector[s[i]];
    }
    d[n > 0 ? n : 0] = '\0';
    return 1;
  }
  if (from == nls::kCharSetEucJ && to == nls::kCharSetSjis) {
    if (dstLen > 0) {
      nls::eucToSjis(dst, dstLen, reinterpret_cast<const unsigned char *>(src), srcLen);
    }
    return 1;
  }
  if (from == nls::kCharSetSjis && to == nls::kCharSetEucJ) {
    if (dstLen > 0) {
      nls::sjisToEuc(dst, dstLen, reinterpret_cast<const unsigned char *>(src), srcLen);
    }
    return 1;
  }
  return 0;
}

}  // extern "C"

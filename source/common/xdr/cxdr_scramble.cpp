// Stream scrambling: a keyed byte cipher of three 16-entry nibble rotors
// whose offsets step with the plain text, and the streams' init operations
// that prepare a state for it.
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include "common/xdr/cxdr_internal.h"

namespace {

// Layout of a state.
constexpr int kRotorA = 0;
constexpr int kRotorB = 16;
constexpr int kRotorC = 32;
constexpr int kInverseA = 48;
constexpr int kInverseB = 64;
constexpr int kInverseC = 80;
constexpr int kSteps = 96;
constexpr uint8_t kFree = 255;

// Offset changes of each step code, as (R, P, Q), modulo 16.
struct Step {
  int8_t r, p, q;
};
constexpr Step kStepCodes[16] = {
    {1, 0, 0},  {0, 1, 0},   {0, 0, 1},   {1, 1, 0},   {1, 0, 1},  {0, 1, 1},  {-1, 0, 0}, {0, -1, 0},
    {0, 0, -1}, {-1, -1, 0}, {-1, 0, -1}, {0, -1, -1}, {1, -1, 0}, {-1, 0, 1}, {0, 1, -1}, {-1, 1, -1},
};

// The generator: wrapping signed 32-bit arithmetic, done on unsigned words.
inline int32_t nextX(int32_t x, int32_t add) {
  return static_cast<int32_t>(5u * static_cast<uint32_t>(x) + static_cast<uint32_t>(add));
}

// The low nibble of x's remainder by 65521, truncating toward zero.
inline uint8_t nibble(int32_t x) { return static_cast<uint8_t>(static_cast<uint32_t>(x % 65521) & 15u); }

// The process-wide time of the last random key.
time_t randomKeyTime;

// Scrambling below this many bytes uses the rotors directly; from it on,
// tables of each rotor shifted by every offset are built first (768 bytes),
// which takes the additions out of the look-ups. (Unscrambling is bound by
// the chain from each plain nibble to the next offsets; the same tables do
// not shorten it and measured slower.)
constexpr uint32_t kTableThreshold = 512;

// The offsets of one step code, each times 16 (a row of the shifted tables)
// and modulo 256: R in bits 0-7, P in 8-15, Q in 16-23.
inline uint32_t rowOffsets(uint32_t packed) {
  return ((packed & 15u) << 4) | (((packed >> 8) & 15u) << 12) | (((packed >> 16) & 15u) << 20);
}

void scrambleWithTables(const uint8_t *s, const uint32_t *stepAdd, uint8_t *data, uint32_t count) {
  // shiftX[k * 16 + x] = X[(x + k) mod 16]
  uint8_t shiftA[256], shiftB[256], shiftC[256];
  for (uint32_t k = 0; k < 16; ++k) {
    for (uint32_t x = 0; x < 16; ++x) {
      shiftA[k * 16 + x] = s[kRotorA + ((x + k) & 15u)];
      shiftB[k * 16 + x] = s[kRotorB + ((x + k) & 15u)];
      shiftC[k * 16 + x] = s[kRotorC + ((x + k) & 15u)];
    }
  }
  uint32_t rows[16];
  for (int k = 0; k < 16; ++k) {
    rows[k] = rowOffsets(stepAdd[k]);
  }
  uint32_t offsets = 0;  // R * 16 | P * 16 << 8 | Q * 16 << 16
  for (uint32_t i = 0; i < count; ++i) {
    uint32_t r = offsets & 0xF0u;
    uint32_t p = (offsets >> 8) & 0xF0u;
    uint32_t q = (offsets >> 16) & 0xF0u;
    uint32_t h = data[i] >> 4;
    uint32_t l = data[i] & 15u;
    uint32_t outH = shiftC[q + shiftB[p + shiftA[r + h]]];
    uint32_t outL = shiftA[r + shiftB[p + shiftC[q + l]]];
    data[i] = static_cast<uint8_t>((outH << 4) | outL);
    offsets = (offsets + rows[l]) & 0x00F0F0F0u;
  }
}

}  // namespace

extern "C" {

ORV_API uint32_t deHashKey(const char *text) {
  uint32_t h = 123;
  if (text != nullptr) {
    for (uint32_t i = 0; text[i] != '\0'; ++i) {
      // The byte taken as a signed char: 0x80 to 0xFF count as -128 to -1.
      auto c = static_cast<int32_t>(static_cast<unsigned char>(text[i]));
      if (c > 127) {
        c -= 256;
      }
      h = static_cast<uint32_t>(c) * h + i + 1;
    }
  }
  return h == 0 ? 1 : h;
}

ORV_API uint32_t deRandomKey(void) {
  time(&randomKeyTime);
  const char *text = ctime(&randomKeyTime);
  return deHashKey(text != nullptr ? text : "");
}

ORV_API int deInitialize(uint32_t key, void *state) {
  auto *s = static_cast<uint8_t *>(state);
  memset(s + kRotorA, kFree, 48);
  auto x = static_cast<int32_t>(key * 123u + 1u);
  for (int rotor = kRotorA; rotor <= kRotorC; rotor += 16) {
    int n = 0;
    while (n < 16) {
      x = nextX(x, n);
      uint8_t j = nibble(x);
      if (s[rotor + j] == kFree) {
        s[rotor + j] = static_cast<uint8_t>(n);
        ++n;
      }
    }
  }
  for (int k = 0; k < 16; ++k) {
    x = nextX(x, k);
    s[kSteps + k] = nibble(x);
  }
  for (int i = 0; i < 16; ++i) {
    s[kInverseA + s[kRotorA + i]] = static_cast<uint8_t>(i);
    s[kInverseB + s[kRotorB + i]] = static_cast<uint8_t>(i);
    s[kInverseC + s[kRotorC + i]] = static_cast<uint8_t>(i);
  }
  return 1;
}

ORV_API int deTranslate(const void *state, uint16_t direction, uint8_t *data, uint32_t count) {
  if (direction != 1 && direction != 2) {
    return 0;
  }
  if (count == 0) {
    return 1;
  }
  const auto *s = static_cast<const uint8_t *>(state);
  const uint8_t *a = s + kRotorA;
  const uint8_t *b = s + kRotorB;
  const uint8_t *c = s + kRotorC;
  const uint8_t *ia = s + kInverseA;
  const uint8_t *ib = s + kInverseB;
  const uint8_t *ic = s + kInverseC;
  const uint8_t *steps = s + kSteps;
  // The offset changes for each plain low nibble (through its step code),
  // folded into one word: R in
  // bits 0-3, P in 8-11, Q in 16-19, each as a modulo-16 addend.
  uint32_t stepAdd[16];
  for (int k = 0; k < 16; ++k) {
    const Step &st = kStepCodes[steps[k]];
    stepAdd[k] = (static_cast<uint32_t>(st.r & 15)) | (static_cast<uint32_t>(st.p & 15) << 8) |
                 (static_cast<uint32_t>(st.q & 15) << 16);
  }
  if (direction == 1 && count >= kTableThreshold) {
    scrambleWithTables(s, stepAdd, data, count);
    return 1;
  }
  uint32_t offsets = 0;  // R | P << 8 | Q << 16, each kept below 16
  if (direction == 1) {
    for (uint32_t i = 0; i < count; ++i) {
      uint32_t r = offsets & 15u;
      uint32_t p = (offsets >> 8) & 15u;
      uint32_t q = (offsets >> 16) & 15u;
      uint32_t h = data[i] >> 4;
      uint32_t l = data[i] & 15u;
      uint32_t outH = c[(b[(a[(h + r) & 15u] + p) & 15u] + q) & 15u];
      uint32_t outL = a[(b[(c[(l + q) & 15u] + p) & 15u] + r) & 15u];
      data[i] = static_cast<uint8_t>((outH << 4) | outL);
      offsets = (offsets + stepAdd[l]) & 0x000F0F0Fu;
    }
  } else {
    for (uint32_t i = 0; i < count; ++i) {
      uint32_t r = offsets & 15u;
      uint32_t p = (offsets >> 8) & 15u;
      uint32_t q = (offsets >> 16) & 15u;
      uint32_t hi = data[i] >> 4;
      uint32_t lo = data[i] & 15u;
      uint32_t h = (ia[(ib[(ic[hi] - q) & 15u] - p) & 15u] - r) & 15u;
      uint32_t l = (ic[(ib[(ia[lo] - r) & 15u] - p) & 15u] - q) & 15u;
      data[i] = static_cast<uint8_t>((h << 4) | l);
      offsets = (offsets + stepAdd[l]) & 0x000F0F0Fu;
    }
  }
  return 1;
}

// The streams' init operations, shared by memory and file streams.
namespace {
int initState(uint8_t **slot, uint32_t *flag, uint32_t key) {
  if (*slot == nullptr) {
    *slot = static_cast<uint8_t *>(malloc(CXDR_SCRAMBLE_STATE_SIZE));
    if (*slot == nullptr) {
      return 0;  // no memory for the state: the stream stays unscrambled
    }
  }
  deInitialize(key != 0 ? key : deRandomKey(), *slot);
  *flag = 0;
  return 1;
}
}  // namespace

ORV_API int cxdrmem_encryptinit(CXDR *stream, uint32_t key) {
  return initState(&stream->encryptState, &stream->encryptFlag, key);
}

ORV_API int cxdrmem_decryptinit(CXDR *stream, uint32_t key) {
  return initState(&stream->decryptState, &stream->decryptFlag, key);
}

ORV_API int cxdrmem_encode(CXDR *stream) {
  if (stream->encryptFlag != 0 && stream->encryptState != nullptr) {
    CXDR_TRACE("cxdrmem_encode", "Encrypt %u bytes", stream->position);
    deTranslate(stream->encryptState, 1, stream->buffer, stream->position);
  }
  return 1;
}

ORV_API int cxdrmem_decode(CXDR *stream) {
  if (stream->decryptFlag != 0 && stream->decryptState != nullptr) {
    CXDR_TRACE("cxdrmem_decode", "Decrypt %u bytes", stream->position);
    deTranslate(stream->decryptState, 2, stream->buffer, stream->position);
  }
  return 1;
}

}  // extern "C"

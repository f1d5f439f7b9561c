// Stream scrambling: a keyed byte cipher of three 16-entry nibble rotors
// whose offsets step with the plain text, and the streams' init operations
// that prepare a state for it.
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include "common/xdr/cxdr_internal.h"

#if (defined(__x86_64__) || defined(__i386__)) && defined(__GNUC__)
#define ORV_SCRAMBLE_SSSE3 1
#include <tmmintrin.h>
#endif

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
// which takes the additions out of the look-ups. (Where the processor has
// SSSE3, scrambling takes sixteen bytes at a time instead; see below.)
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

// Unscrambling from this many bytes on builds the two tables below first.
constexpr uint32_t kUnscrambleTableThreshold = 4096;

// Unscrambling is a chain from byte to byte: a byte's offsets come from the
// plain low nibbles before it, which are known only once those bytes are
// unscrambled. The chain is shortened with two tables. The first gives, for
// R, P and the cipher low nibble, the low half of the way back,
// t = IC[(IB[(IA[lo] - R) mod 16] - P) mod 16], so that the plain low
// nibble is (t - Q) mod 16; the second gives, for Q and t, the offsets that
// nibble's step adds. The offsets are kept with a free bit between P (bits
// 4 to 7), R (9 to 12) and Q (14 to 17), so that one addition and one mask
// advance all three, and P and R together index the first table.
void unscrambleWithTables(const uint8_t *s, const uint32_t *stepAdd, uint8_t *data, uint32_t count) {
  const uint8_t *ia = s + kInverseA;
  const uint8_t *ib = s + kInverseB;
  const uint8_t *ic = s + kInverseC;
  constexpr uint32_t kOffsetMask = 0xF0u | (0xFu << 9) | (0xFu << 14);
  constexpr uint32_t kRowMask = 0xF0u | (0xFu << 9);
  uint8_t lowHalf[8192];  // at (R << 9 | P << 4 | lo); the other half unused
  for (uint32_t r = 0; r < 16; ++r) {
    for (uint32_t p = 0; p < 16; ++p) {
      for (uint32_t lo = 0; lo < 16; ++lo) {
        lowHalf[(r << 9) | (p << 4) | lo] = ic[(ib[(ia[lo] - r) & 15u] - p) & 15u];
      }
    }
  }
  uint32_t stepOf[256];  // at (Q << 4 | t)
  for (uint32_t q = 0; q < 16; ++q) {
    for (uint32_t t = 0; t < 16; ++t) {
      const uint32_t add = stepAdd[(t - q) & 15u];
      stepOf[(q << 4) | t] = ((add & 15u) << 9) | (((add >> 8) & 15u) << 4) | (((add >> 16) & 15u) << 14);
    }
  }
  uint32_t offsets = 0;
  for (uint32_t i = 0; i < count; ++i) {
    const uint32_t hi = data[i] >> 4;
    const uint32_t lo = data[i] & 15u;
    const uint32_t r = (offsets >> 9) & 15u;
    const uint32_t p = (offsets >> 4) & 15u;
    const uint32_t q = (offsets >> 14) & 15u;
    const uint32_t t = lowHalf[(offsets & kRowMask) | lo];
    const uint32_t l = (t - q) & 15u;
    const uint32_t h = (ia[(ib[(ic[hi] - q) & 15u] - p) & 15u] - r) & 15u;
    data[i] = static_cast<uint8_t>((h << 4) | l);
    offsets = (offsets + stepOf[(q << 4) | t]) & kOffsetMask;
  }
}

#if defined(ORV_SCRAMBLE_SSSE3)
// Scrambling sixteen bytes at a time. A byte's offsets depend only on the
// plain low nibbles before it (each adds its step code's R, P and Q modulo
// 16), so the offsets of a block are the running sums of the steps of its
// bytes plus the offsets it starts with: prefix sums across the sixteen
// byte lanes. Every rotor is a table of sixteen nibbles, which one byte
// shuffle looks up for all lanes at once. Sums wrap modulo 256 in a lane, a
// multiple of 16, so masking to the low nibble gives the modulo-16 value.

// The sum of the lanes before each lane (lane 0 gets 0).
__attribute__((target("ssse3"))) inline __m128i sumsBefore(__m128i v) {
  v = _mm_slli_si128(v, 1);
  v = _mm_add_epi8(v, _mm_slli_si128(v, 1));
  v = _mm_add_epi8(v, _mm_slli_si128(v, 2));
  v = _mm_add_epi8(v, _mm_slli_si128(v, 4));
  v = _mm_add_epi8(v, _mm_slli_si128(v, 8));
  return v;
}

// Scrambles the whole blocks of sixteen bytes of data (count rounded down)
// from offsets 0; returns the offsets after them, packed as the scalar
// loop keeps them (R | P << 8 | Q << 16).
__attribute__((target("ssse3"))) uint32_t scrambleBlocks(const uint8_t *s, const uint32_t *stepAdd,
                                                         uint8_t *data, uint32_t count) {
  alignas(16) uint8_t stepR[16], stepP[16], stepQ[16];
  for (int k = 0; k < 16; ++k) {
    stepR[k] = static_cast<uint8_t>(stepAdd[k] & 15u);
    stepP[k] = static_cast<uint8_t>((stepAdd[k] >> 8) & 15u);
    stepQ[k] = static_cast<uint8_t>((stepAdd[k] >> 16) & 15u);
  }
  const __m128i rotorA = _mm_loadu_si128(reinterpret_cast<const __m128i *>(s + kRotorA));
  const __m128i rotorB = _mm_loadu_si128(reinterpret_cast<const __m128i *>(s + kRotorB));
  const __m128i rotorC = _mm_loadu_si128(reinterpret_cast<const __m128i *>(s + kRotorC));
  const __m128i stepsR = _mm_load_si128(reinterpret_cast<const __m128i *>(stepR));
  const __m128i stepsP = _mm_load_si128(reinterpret_cast<const __m128i *>(stepP));
  const __m128i stepsQ = _mm_load_si128(reinterpret_cast<const __m128i *>(stepQ));
  const __m128i nibble = _mm_set1_epi8(15);
  const __m128i lastLane = _mm_set1_epi8(15);
  // The offsets a block starts with, in every lane.
  __m128i startR = _mm_setzero_si128();
  __m128i startP = startR;
  __m128i startQ = startR;
  for (uint32_t i = 0; i + 16 <= count; i += 16) {
    const __m128i d = _mm_loadu_si128(reinterpret_cast<const __m128i *>(data + i));
    const __m128i l = _mm_and_si128(d, nibble);
    const __m128i h = _mm_and_si128(_mm_srli_epi16(d, 4), nibble);
    const __m128i addR = _mm_shuffle_epi8(stepsR, l);
    const __m128i addP = _mm_shuffle_epi8(stepsP, l);
    const __m128i addQ = _mm_shuffle_epi8(stepsQ, l);
    const __m128i r = _mm_and_si128(_mm_add_epi8(startR, sumsBefore(addR)), nibble);
    const __m128i p = _mm_and_si128(_mm_add_epi8(startP, sumsBefore(addP)), nibble);
    const __m128i q = _mm_and_si128(_mm_add_epi8(startQ, sumsBefore(addQ)), nibble);
    __m128i outH = _mm_shuffle_epi8(rotorA, _mm_and_si128(_mm_add_epi8(h, r), nibble));
    outH = _mm_shuffle_epi8(rotorB, _mm_and_si128(_mm_add_epi8(outH, p), nibble));
    outH = _mm_shuffle_epi8(rotorC, _mm_and_si128(_mm_add_epi8(outH, q), nibble));
    __m128i outL = _mm_shuffle_epi8(rotorC, _mm_and_si128(_mm_add_epi8(l, q), nibble));
    outL = _mm_shuffle_epi8(rotorB, _mm_and_si128(_mm_add_epi8(outL, p), nibble));
    outL = _mm_shuffle_epi8(rotorA, _mm_and_si128(_mm_add_epi8(outL, r), nibble));
    _mm_storeu_si128(reinterpret_cast<__m128i *>(data + i), _mm_or_si128(_mm_slli_epi16(outH, 4), outL));
    startR = _mm_shuffle_epi8(_mm_add_epi8(r, addR), lastLane);
    startP = _mm_shuffle_epi8(_mm_add_epi8(p, addP), lastLane);
    startQ = _mm_shuffle_epi8(_mm_add_epi8(q, addQ), lastLane);
  }
  const uint32_t r = static_cast<uint32_t>(_mm_cvtsi128_si32(startR)) & 15u;
  const uint32_t p = static_cast<uint32_t>(_mm_cvtsi128_si32(startP)) & 15u;
  const uint32_t q = static_cast<uint32_t>(_mm_cvtsi128_si32(startQ)) & 15u;
  return r | (p << 8) | (q << 16);
}

bool haveSsse3() {
  static const bool have = __builtin_cpu_supports("ssse3") != 0;
  return have;
}
#endif

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
  uint32_t offsets = 0;  // R | P << 8 | Q << 16, each kept below 16
  uint32_t done = 0;
#if defined(ORV_SCRAMBLE_SSSE3)
  if (direction == 1 && count >= 16 && haveSsse3()) {
    done = count & ~15u;
    offsets = scrambleBlocks(s, stepAdd, data, done);
  }
#endif
  if (direction == 1 && done == 0 && count >= kTableThreshold) {
    scrambleWithTables(s, stepAdd, data, count);
    return 1;
  }
  if (direction == 2 && count >= kUnscrambleTableThreshold) {
    unscrambleWithTables(s, stepAdd, data, count);
    return 1;
  }
  if (direction == 1) {
    for (uint32_t i = done; i < count; ++i) {
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

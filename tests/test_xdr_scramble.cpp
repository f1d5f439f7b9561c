// Stream scrambling: key hashing, state set-up, translation both ways, and
// the streams' init operations and default hooks.
#include <stdlib.h>
#include <string.h>

#include <random>
#include <set>
#include <vector>

#include <gtest/gtest.h>

#include "orvane/xdr.h"

namespace {

// A direct transcription of the cipher, kept deliberately plain: the
// library's version must agree with it byte for byte.
void referenceInitialize(uint32_t key, uint8_t *s) {
  memset(s, 255, 48);
  int32_t x = static_cast<int32_t>(key * 123u + 1u);
  for (int rotor = 0; rotor < 3; ++rotor) {
    int n = 0;
    while (n < 16) {
      x = static_cast<int32_t>(5u * static_cast<uint32_t>(x) + static_cast<uint32_t>(n));
      int j = (x % 65521) & 15;
      if (s[rotor * 16 + j] == 255) {
        s[rotor * 16 + j] = static_cast<uint8_t>(n);
        ++n;
      }
    }
  }
  for (int k = 0; k < 16; ++k) {
    x = static_cast<int32_t>(5u * static_cast<uint32_t>(x) + static_cast<uint32_t>(k));
    s[96 + k] = static_cast<uint8_t>((x % 65521) & 15);
  }
  for (int r = 0; r < 3; ++r) {
    for (int i = 0; i < 16; ++i) {
      s[48 + r * 16 + s[r * 16 + i]] = static_cast<uint8_t>(i);
    }
  }
}

void referenceStep(int code, int &p, int &q, int &r) {
  static const int table[16][3] = {{1, 0, 0},  {0, 1, 0},  {0, 0, 1},  {1, 1, 0},   {1, 0, 1},   {0, 1, 1},
                                   {-1, 0, 0}, {0, -1, 0}, {0, 0, -1}, {-1, -1, 0}, {-1, 0, -1}, {0, -1, -1},
                                   {1, -1, 0}, {-1, 0, 1}, {0, 1, -1}, {-1, 1, -1}};
  r = (r + table[code][0] + 16) % 16;
  p = (p + table[code][1] + 16) % 16;
  q = (q + table[code][2] + 16) % 16;
}

void referenceScramble(const uint8_t *s, uint8_t *data, size_t n) {
  const uint8_t *A = s, *B = s + 16, *C = s + 32, *st = s + 96;
  int p = 0, q = 0, r = 0;
  for (size_t i = 0; i < n; ++i) {
    int h = data[i] >> 4, l = data[i] & 15;
    int oh = C[(B[(A[(h + r) % 16] + p) % 16] + q) % 16];
    int ol = A[(B[(C[(l + q) % 16] + p) % 16] + r) % 16];
    data[i] = static_cast<uint8_t>(oh * 16 + ol);
    referenceStep(st[l], p, q, r);
  }
}

void referenceUnscramble(const uint8_t *s, uint8_t *data, size_t n) {
  const uint8_t *iA = s + 48, *iB = s + 64, *iC = s + 80, *st = s + 96;
  int p = 0, q = 0, r = 0;
  for (size_t i = 0; i < n; ++i) {
    int H = data[i] >> 4, L = data[i] & 15;
    int h = (iA[(iB[(iC[H] - q + 16) % 16] - p + 16) % 16] - r + 16) % 16;
    int l = (iC[(iB[(iA[L] - r + 16) % 16] - p + 16) % 16] - q + 16) % 16;
    data[i] = static_cast<uint8_t>(h * 16 + l);
    referenceStep(st[l], p, q, r);
  }
}

std::vector<uint8_t> randomBytes(size_t n, uint32_t seed) {
  std::mt19937 gen(seed);
  std::vector<uint8_t> v(n);
  for (auto &b : v) {
    b = static_cast<uint8_t>(gen());
  }
  return v;
}

}  // namespace

TEST(XdrScramble, HashKeyOfEmptyTextIs123) {
  EXPECT_EQ(123u, deHashKey(""));
  EXPECT_EQ(97u * 123u + 1u, deHashKey("a"));
  EXPECT_EQ((97u * 123u + 1u) * 98u + 2u, deHashKey("ab"));
}

TEST(XdrScramble, HashKeyTakesBytesAsSignedChars) {
  // 0xFF is -1: h = -1 * 123 + 1.
  EXPECT_EQ(static_cast<uint32_t>(-122), deHashKey("\xFF"));
}

TEST(XdrScramble, HashKeyThatWrapsToZeroIsOne) {
  // "~C^," hashes to 0 in wrapping 32-bit arithmetic.
  EXPECT_EQ(1u, deHashKey("~C^,"));
}

TEST(XdrScramble, RandomKeyIsTheHashOfATimeText) {
  uint32_t key = deRandomKey();
  EXPECT_NE(0u, key);
}

TEST(XdrScramble, StatesFromTheSameKeyAreEqualAndRotorsArePermutations) {
  for (uint32_t key : {0u, 1u, 2u, 123u, 0x80000000u, 0xFFFFFFFFu, 0xDEADBEEFu}) {
    uint8_t one[112], two[112], ref[112];
    memset(one, 0xAA, sizeof one);
    memset(two, 0x55, sizeof two);
    EXPECT_EQ(1, deInitialize(key, one));
    EXPECT_EQ(1, deInitialize(key, two));
    EXPECT_EQ(0, memcmp(one, two, sizeof one)) << key;
    referenceInitialize(key, ref);
    EXPECT_EQ(0, memcmp(one, ref, sizeof one)) << key;
    for (int rotor = 0; rotor < 3; ++rotor) {
      std::set<int> seen;
      for (int i = 0; i < 16; ++i) {
        seen.insert(one[rotor * 16 + i]);
        EXPECT_EQ(i, one[48 + rotor * 16 + one[rotor * 16 + i]]) << "inverse of rotor " << rotor;
      }
      EXPECT_EQ(16u, seen.size());
      EXPECT_EQ(0, *seen.begin());
      EXPECT_EQ(15, *seen.rbegin());
    }
    for (int k = 0; k < 16; ++k) {
      EXPECT_LT(one[96 + k], 16);
    }
  }
}

TEST(XdrScramble, OtherDirectionsFailAndLeaveTheData) {
  uint8_t state[112];
  deInitialize(7, state);
  uint8_t data[4] = {1, 2, 3, 4};
  EXPECT_EQ(0, deTranslate(state, 0, data, 4));
  EXPECT_EQ(0, deTranslate(state, 3, data, 4));
  EXPECT_EQ(0, deTranslate(state, 0xFFFF, data, 4));
  const uint8_t same[4] = {1, 2, 3, 4};
  EXPECT_EQ(0, memcmp(same, data, 4));
  EXPECT_EQ(1, deTranslate(state, 1, data, 0));
  EXPECT_EQ(1, deTranslate(state, 2, data, 0));
  EXPECT_EQ(0, memcmp(same, data, 4));
}

TEST(XdrScramble, RoundTripRestoresAndMatchesTheAlgorithm) {
  for (uint32_t key : {1u, 99u, 0xC0FFEEu}) {
    uint8_t state[112];
    deInitialize(key, state);
    std::vector<uint8_t> plain = randomBytes(4099, key);
    std::vector<uint8_t> data = plain;
    std::vector<uint8_t> ref = plain;
    ASSERT_EQ(1, deTranslate(state, 1, data.data(), static_cast<uint32_t>(data.size())));
    referenceScramble(state, ref.data(), ref.size());
    EXPECT_EQ(ref, data);
    EXPECT_NE(plain, data);
    ASSERT_EQ(1, deTranslate(state, 2, data.data(), static_cast<uint32_t>(data.size())));
    referenceUnscramble(state, ref.data(), ref.size());
    EXPECT_EQ(plain, data);
    EXPECT_EQ(plain, ref);
  }
}

// Every length around the sizes at which scrambling and unscrambling change
// their method (blocks of sixteen bytes and the remainder, the shifted tables
// from 512 bytes, the unscrambling tables from 4096) matches the algorithm,
// both ways, for several keys.
TEST(XdrScramble, EveryLengthMatchesTheAlgorithm) {
  std::vector<uint32_t> lengths;
  for (uint32_t n = 1; n <= 80; ++n) {
    lengths.push_back(n);
  }
  for (uint32_t n : {255u, 256u, 257u, 511u, 512u, 513u, 1023u, 4095u, 4096u, 4097u, 65536u, 65543u}) {
    lengths.push_back(n);
  }
  for (uint32_t key : {7u, 0xABCDEFu, 0xFFFFFFFFu}) {
    uint8_t state[112];
    deInitialize(key, state);
    for (uint32_t n : lengths) {
      std::vector<uint8_t> data = randomBytes(n, key + n);
      std::vector<uint8_t> ref = data;
      ASSERT_EQ(1, deTranslate(state, 1, data.data(), n));
      referenceScramble(state, ref.data(), ref.size());
      ASSERT_EQ(ref, data) << "key " << key << ", " << n << " bytes";
      ASSERT_EQ(1, deTranslate(state, 2, data.data(), n));
      referenceUnscramble(state, ref.data(), ref.size());
      ASSERT_EQ(ref, data) << "unscrambling, key " << key << ", " << n << " bytes";
    }
  }
}

TEST(XdrScramble, EveryByteValueRoundTrips) {
  uint8_t state[112];
  deInitialize(4242, state);
  std::vector<uint8_t> plain(256);
  for (int i = 0; i < 256; ++i) {
    plain[i] = static_cast<uint8_t>(i);
  }
  std::vector<uint8_t> data = plain;
  deTranslate(state, 1, data.data(), 256);
  deTranslate(state, 2, data.data(), 256);
  EXPECT_EQ(plain, data);
}

TEST(XdrScramble, UnscramblingInOtherPiecesDoesNotRestore) {
  uint8_t state[112];
  deInitialize(31337, state);
  std::vector<uint8_t> plain = randomBytes(256, 5);
  std::vector<uint8_t> data = plain;
  deTranslate(state, 1, data.data(), 256);
  // Unscrambled in two calls split at 100: the offsets restart at 0 in the
  // second call, out of step with the scrambling.
  deTranslate(state, 2, data.data(), 100);
  deTranslate(state, 2, data.data() + 100, 156);
  EXPECT_TRUE(std::equal(plain.begin(), plain.begin() + 100, data.begin()));
  EXPECT_NE(plain, data);
  // In the same pieces it is restored.
  std::vector<uint8_t> pieces = plain;
  deTranslate(state, 1, pieces.data(), 100);
  deTranslate(state, 1, pieces.data() + 100, 156);
  deTranslate(state, 2, pieces.data(), 100);
  deTranslate(state, 2, pieces.data() + 100, 156);
  EXPECT_EQ(plain, pieces);
}

TEST(XdrScramble, InitOperationsPrepareAStateAndLeaveTheFlagOff) {
  CXDR x;
  uint8_t buffer[64];
  ASSERT_EQ(1, cxdrmem_create(&x, CXDR_ENCODE, buffer, sizeof buffer));
  EXPECT_EQ(cxdrmem_encryptinit, x.encryptinit);
  EXPECT_EQ(cxdrmem_decryptinit, x.decryptinit);
  x.encryptFlag = 5;
  x.decryptFlag = 6;
  EXPECT_EQ(1, x.encryptinit(&x, 77));
  EXPECT_EQ(1, x.decryptinit(&x, 0));
  ASSERT_NE(nullptr, x.encryptState);
  ASSERT_NE(nullptr, x.decryptState);
  EXPECT_EQ(0u, x.encryptFlag);
  EXPECT_EQ(0u, x.decryptFlag);
  uint8_t expected[112];
  deInitialize(77, expected);
  EXPECT_EQ(0, memcmp(expected, x.encryptState, 112));
  EXPECT_EQ(1, cxdrmem_destroy(&x));
  EXPECT_EQ(nullptr, x.encryptState);
  EXPECT_EQ(nullptr, x.decryptState);
}

TEST(XdrScramble, DefaultHooksTranslateThePositionBytesOnlyWhenFlagged) {
  CXDR x;
  uint8_t buffer[16];
  for (int i = 0; i < 16; ++i) {
    buffer[i] = static_cast<uint8_t>(i * 7);
  }
  uint8_t original[16];
  memcpy(original, buffer, 16);
  cxdrmem_create(&x, CXDR_ENCODE, buffer, sizeof buffer);
  cxdrmem_encryptinit(&x, 9);
  cxdrmem_decryptinit(&x, 9);
  x.position = 10;
  EXPECT_EQ(1, cxdrmem_encode(&x));  // flag off: nothing happens
  EXPECT_EQ(0, memcmp(original, buffer, 16));
  x.encryptFlag = 1;
  EXPECT_EQ(1, cxdrmem_encode(&x));
  uint8_t expected[16];
  memcpy(expected, original, 16);
  deTranslate(x.encryptState, 1, expected, 10);
  EXPECT_EQ(0, memcmp(expected, buffer, 16));
  EXPECT_EQ(1, cxdrmem_decode(&x));  // decrypt flag off
  EXPECT_EQ(0, memcmp(expected, buffer, 16));
  x.decryptFlag = 1;
  EXPECT_EQ(1, cxdrmem_decode(&x));
  EXPECT_EQ(0, memcmp(original, buffer, 16));
  cxdrmem_destroy(&x);
}

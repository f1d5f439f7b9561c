// Keys over text: the phonetic key of a word, the reversible XOR scrambling
// with a caller's key, and the 16-bit checksum.
//
// The scrambling and the checksum run over long buffers, so both are laid
// out for wide loops: the key's bytes are repeated into a block whose
// length is a multiple of the key's period, and the checksum's multiplier
// sequence (which depends only on the position, never on the data) is
// tabled once over its whole period.
#include <string.h>

#include <cstdint>
#include <mutex>
#include <new>
#include <vector>

#include "common/nls/nls_text_internal.h"
#include "orvane/nls.h"

namespace {

// --- Phonetic key ---------------------------------------------------------------

char upperAscii(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }

char soundexCode(char c) {
  switch (upperAscii(c)) {
    case 'B':
    case 'F':
    case 'P':
    case 'V':
      return '1';
    case 'C':
    case 'G':
    case 'J':
    case 'K':
    case 'Q':
    case 'S':
    case 'X':
    case 'Z':
      return '2';
    case 'D':
    case 'T':
      return '3';
    case 'L':
      return '4';
    case 'M':
    case 'N':
      return '5';
    case 'R':
      return '6';
    default:
      return '0';
  }
}

// --- Scrambling -------------------------------------------------------------------

// The key's period: the position wraps to 0 when it reaches keyLength or
// the key byte there is NUL. Position 0 is always used, even when it holds
// a NUL (which leaves the byte as it is).
size_t keyPeriod(const char *key, int keyLength) {
  size_t period = 1;
  while (period < static_cast<size_t>(keyLength) && key[period] != '\0') {
    ++period;
  }
  return period;
}

constexpr size_t kPatternTarget = 4096;

int encryptWithPeriod(unsigned char *data, size_t length, const char *key, size_t period) {
  if (period == 1) {
    const auto k = static_cast<unsigned char>(key[0]);
    if (k != 0) {
      for (size_t i = 0; i < length; ++i) {
        data[i] ^= k;
      }
    }
    return 0;
  }
  if (length / 4 < period) {
    for (size_t i = 0; i < length; ++i) {
      data[i] ^= static_cast<unsigned char>(key[i % period]);
    }
    return static_cast<int>(length % period);
  }
  // A block of whole periods, XORed over the data block by block.
  const size_t repeats = period >= kPatternTarget ? 1 : (kPatternTarget + period - 1) / period;
  std::vector<unsigned char> pattern;
  try {
    pattern.resize(period * repeats);
  } catch (const std::bad_alloc &) {
    // Without room for the block the key is applied byte by byte.
    for (size_t i = 0; i < length; ++i) {
      data[i] ^= static_cast<unsigned char>(key[i % period]);
    }
    return static_cast<int>(length % period);
  }
  for (size_t r = 0; r < repeats; ++r) {
    memcpy(pattern.data() + r * period, key, period);
  }
  const unsigned char *pat = pattern.data();
  const size_t block = pattern.size();
  size_t i = 0;
  for (; i + block <= length; i += block) {
    unsigned char *d = data + i;
    for (size_t j = 0; j < block; ++j) {
      d[j] ^= pat[j];
    }
  }
  for (size_t j = 0; i < length; ++i, ++j) {
    data[i] ^= pat[j];
  }
  return static_cast<int>(length % period);
}

// --- Checksum ---------------------------------------------------------------------

constexpr uint16_t kChecksumSeed = 6343;
constexpr uint32_t kChecksumMultiplier = 31447;

uint16_t nextState(uint16_t state) {
  const auto next = static_cast<uint16_t>((state * kChecksumMultiplier) & 0xFFFFu);
  return next == 0 ? 1 : next;
}

// The states that multiply the bytes at positions 0, 1, 2, ...: the
// sequence is periodic (the multiplier is odd, so each step is a
// permutation of the odd values), and the table holds one whole period.
// It is static (128 KiB at most), so that no checksum can fail for want of
// memory.
struct ChecksumStates {
  uint16_t states[65536];
  size_t period = 0;
};

const ChecksumStates &checksumStates() {
  static ChecksumStates table;
  static std::once_flag once;
  std::call_once(once, [] {
    uint16_t s = kChecksumSeed;
    do {
      s = nextState(s);
      table.states[table.period++] = s;
    } while (s != kChecksumSeed && table.period < 65536);
  });
  return table;
}

}  // namespace

extern "C" {

ORV_API void nlsSoundex(const char *word, char *key, int keyLength) {
  if (key == nullptr || keyLength < 1) {
    return;
  }
  memset(key, '0', static_cast<size_t>(keyLength));
  if (word == nullptr || *word == '\0') {
    return;
  }
  int stored = 0;
  const char *p = word;
  const int firstBytes = nls::charBytesAt(p);
  if (firstBytes > 1) {
    if (firstBytes > keyLength) {
      return;
    }
    memcpy(key, p, static_cast<size_t>(firstBytes));
    stored = firstBytes;
    p += firstBytes;
  } else {
    const char first = upperAscii(*p);
    key[0] = first;
    stored = 1;
    ++p;
    while (*p != '\0' && nls::charBytesAt(p) == 1 && upperAscii(*p) == first) {
      ++p;
    }
  }
  char last = 0;
  while (*p != '\0' && stored < keyLength) {
    const int n = nls::charBytesAt(p);
    const char code = n == 1 ? soundexCode(*p) : '0';
    p += n;
    if (code != '0' && code != last) {
      key[stored++] = code;
      last = code;
    }
  }
}

ORV_API int nlsEncryptN(char *data, int length, const char *key, int keyLength) {
  if (data == nullptr || length <= 0) {
    return 0;
  }
  if (key == nullptr) {
    return 0;
  }
  if (keyLength < 1) {
    keyLength = static_cast<int>(strlen(key));
  }
  return encryptWithPeriod(reinterpret_cast<unsigned char *>(data), static_cast<size_t>(length), key,
                           keyPeriod(key, keyLength));
}

ORV_API int nlsEncrypt(char *data, const char *key) {
  if (data == nullptr || key == nullptr) {
    return 0;
  }
  const size_t length = strlen(data);
  const auto keyLength = static_cast<int>(strlen(key));
  return encryptWithPeriod(reinterpret_cast<unsigned char *>(data), length, key, keyPeriod(key, keyLength));
}

ORV_API uint16_t nlsChksum(const char *data, int length) {
  if (data == nullptr) {
    return 0;
  }
  const size_t n = length > 0 ? static_cast<size_t>(length) : strlen(data);
  const ChecksumStates &table = checksumStates();
  const uint16_t *states = table.states;
  const size_t period = table.period;
  const auto *bytes = reinterpret_cast<const signed char *>(data);
  // Only the low 16 bits of the accumulator are kept, and XOR works bit by
  // bit, so 16-bit products give the same result as 32-bit ones.
  uint16_t acc = 0;
  for (size_t base = 0; base < n; base += period) {
    const size_t count = n - base < period ? n - base : period;
    const signed char *b = bytes + base;
    uint16_t part = 0;
    for (size_t i = 0; i < count; ++i) {
      part ^= static_cast<uint16_t>(states[i] * static_cast<int16_t>(b[i]));
    }
    acc ^= part;
  }
  return acc;
}

}  // extern "C"

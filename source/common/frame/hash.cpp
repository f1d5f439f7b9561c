// Two 32-bit string hashes: exact and case-insensitive.
//
// Byte i of the text is folded by exclusive-or into accumulator byte i mod 4;
// the accumulator is read as a little-endian number.
#include <ctype.h>
#include <locale.h>
#include <stdlib.h>

#include <string>

#include "orvane/frame.h"

namespace {

// The case folding of the runtime's current locale as a 256-byte table: a
// byte that the runtime classifies as an alphabetic lower-case letter maps
// to its upper case, every other byte to itself. In a multi-byte locale only
// the single-byte range is classified: lead and trail bytes of multi-byte
// characters are used as they are.
//
// Each thread keeps its table and rebuilds it when the locale it sees
// changes. On glibc the thread's classification table identifies the
// LC_CTYPE locale in force (setlocale or uselocale), and the maximum
// character length comes from the same locale data, so one pointer
// comparison tells whether the table is current: the address of the
// thread's classification-table pointer (__ctype_b_loc) never changes
// during the thread's life and is asked once, after which each call reads
// the pointer through it, without a call into the C library. Elsewhere the
// locale's name and the maximum character length are compared.
class FoldTable {
 public:
  const unsigned char *current() {
#if defined(__GLIBC__)
    if (slot_ != nullptr && *slot_ == identity_) [[likely]] {
      return table_;
    }
    return refresh();
#else
    const int multiByte = MB_CUR_MAX >= 2 ? 1 : 0;
    const char *name = setlocale(LC_CTYPE, nullptr);
    if (!built_ || multiByte != multiByte_ || name == nullptr || name_ != name) {
      name_ = name != nullptr ? name : "";
      multiByte_ = multiByte;
      built_ = true;
      build();
    }
    return table_;
#endif
  }

 private:
#if defined(__GLIBC__)
  __attribute__((noinline)) const unsigned char *refresh() {
    if (slot_ == nullptr) {
      slot_ = __ctype_b_loc();
    }
    identity_ = *slot_;
    multiByte_ = MB_CUR_MAX >= 2 ? 1 : 0;
    build();
    return table_;
  }
#endif

  void build() {
    for (int b = 0; b < 256; ++b) {
      const bool classified = !(multiByte_ != 0 && b >= 0x80);
      table_[b] = static_cast<unsigned char>(classified && isalpha(b) && islower(b) ? toupper(b) : b);
    }
  }

  unsigned char table_[256] = {};
  int multiByte_ = -1;
#if defined(__GLIBC__)
  const unsigned short int **slot_ = nullptr;
  const unsigned short int *identity_ = nullptr;
#else
  bool built_ = false;
  std::string name_;
#endif
};

#if defined(__GLIBC__)
// A trivially constructed per-thread record, reached without a call.
thread_local constinit FoldTable foldTables __attribute__((tls_model("initial-exec")));
inline const unsigned char *foldTable() { return foldTables.current(); }
#else
const unsigned char *foldTable() {
  static thread_local FoldTable table;
  return table.current();
}
#endif

}  // namespace

extern "C" {

ORV_API uint32_t orvHash(const char *text) {
  // Four bytes per step: a group of four lands on the four accumulator bytes
  // in order, so it folds in as one little-endian word.
  uint32_t hash = 0;
  const unsigned char *p = reinterpret_cast<const unsigned char *>(text);
  for (;; p += 4) {
    const uint32_t b0 = p[0];
    if (b0 == 0) {
      break;
    }
    const uint32_t b1 = p[1];
    if (b1 == 0) {
      return hash ^ b0;
    }
    const uint32_t b2 = p[2];
    if (b2 == 0) {
      return hash ^ b0 ^ (b1 << 8);
    }
    const uint32_t b3 = p[3];
    if (b3 == 0) {
      return hash ^ b0 ^ (b1 << 8) ^ (b2 << 16);
    }
    hash ^= b0 | (b1 << 8) | (b2 << 16) | (b3 << 24);
  }
  return hash;
}

ORV_API uint32_t orvHashI(const char *text) {
  // Four folded bytes per step, as in orvHash; the fold is one table
  // look-up per byte (the table maps 0 to 0, so the end tests stay on the
  // raw bytes).
  const unsigned char *fold = foldTable();
  uint32_t hash = 0;
  const unsigned char *p = reinterpret_cast<const unsigned char *>(text);
  for (;; p += 4) {
    if (p[0] == 0) {
      break;
    }
    const uint32_t b0 = fold[p[0]];
    if (p[1] == 0) {
      return hash ^ b0;
    }
    const uint32_t b1 = fold[p[1]];
    if (p[2] == 0) {
      return hash ^ b0 ^ (b1 << 8);
    }
    const uint32_t b2 = fold[p[2]];
    if (p[3] == 0) {
      return hash ^ b0 ^ (b1 << 8) ^ (b2 << 16);
    }
    const uint32_t b3 = fold[p[3]];
    hash ^= b0 | (b1 << 8) | (b2 << 16) | (b3 << 24);
  }
  return hash;
}

}  // extern "C"

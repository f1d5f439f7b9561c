// Runtime wide characters (the C library's wchar_t) read from and written to
// files of the file layer. The conversion is the C library's for its
// current LC_CTYPE locale: a program that never calls setlocale converts in
// the C locale, one byte per character.
//
// Reading offers a growing byte sequence to the converter. A converter
// with hidden state (mbtowc) keeps the state of an incomplete offer, so the
// next, longer offer would be read as a continuation; every offer here
// starts from a fresh state instead (mbrtowc with a new mbstate_t), which
// also keeps the functions safe on any thread.
#include <limits.h>
#include <stdlib.h>
#include <string.h>
#include <wchar.h>

#include <cstdint>
#include <type_traits>

#include "orvane/files.h"
#include "orvane/nls.h"

namespace {

// The longest byte sequence offered before giving up.
constexpr size_t kMaxSequence = 11;

// Offers bytes[0..n) to the converter from the initial state: 1 and the
// character in *wc when they make one character, 0 when they do not
// (incomplete or invalid: more bytes are read, as with mbtowc).
bool convert(const char *bytes, size_t n, int32_t *wc) {
  mbstate_t st;
  memset(&st, 0, sizeof st);
  wchar_t w = 0;
  const size_t r = mbrtowc(&w, bytes, n, &st);
  if (r == static_cast<size_t>(-1) || r == static_cast<size_t>(-2)) {
    return false;
  }
  *wc = static_cast<int32_t>(static_cast<std::make_unsigned_t<wchar_t>>(w));
  return true;
}

// The bytes of wc in the current locale, or -1 when it has none.
int toBytes(int32_t wc, char *out) {
  if (wc < 0 || static_cast<uint64_t>(wc) > static_cast<uint64_t>(WCHAR_MAX)) {
    return -1;
  }
  mbstate_t st;
  memset(&st, 0, sizeof st);
  const size_t r = wcrtomb(out, static_cast<wchar_t>(wc), &st);
  if (r == static_cast<size_t>(-1) || r > static_cast<size_t>(MB_LEN_MAX)) {
    return -1;
  }
  return static_cast<int>(r);
}

template <typename ReadByte>
int32_t readWide(ReadByte readByte) {
  char bytes[kMaxSequence];
  for (size_t n = 0; n < kMaxSequence;) {
    if (!readByte(&bytes[n])) {
      return -1;
    }
    ++n;
    int32_t wc = 0;
    if (convert(bytes, n, &wc)) {
      return wc;
    }
  }
  return -1;
}

// Converts wc and writes its bytes with writeBytes(bytes, count), which says
// whether all were written; wc, or -1 when either step fails.
template <class WriteBytes>
int32_t writeWide(int32_t wc, WriteBytes writeBytes) {
  char bytes[MB_LEN_MAX];
  const int n = toBytes(wc, bytes);
  if (n < 0 || !writeBytes(bytes, n)) {
    return -1;
  }
  return wc;
}

}  // namespace

extern "C" {

ORV_API int32_t nlsLGetwc(orvFile *file) {
  if (file == nullptr) {
    return -1;
  }
  return readWide([file](char *b) { return orvFileRead(file, b, 1) == 1; });
}

ORV_API int32_t nlsGetwc(orvFile *file) {
  if (file == nullptr) {
    return -1;
  }
  return readWide([file](char *b) {
    const uint16_t c = orvFileGetc(file);
    if (c == ORV_FILE_EOF) {
      return false;
    }
    *b = static_cast<char>(c);
    return true;
  });
}

ORV_API int32_t nlsLPutwc(int32_t wc, orvFile *file) {
  if (file == nullptr) {
    return -1;
  }
  return writeWide(wc, [file](const char *bytes, int n) {
    return orvFileWrite(file, bytes, static_cast<uint32_t>(n)) == static_cast<uint32_t>(n);
  });
}

ORV_API int32_t nlsPutwc(int32_t wc, orvFile *file) {
  if (file == nullptr) {
    return -1;
  }
  return writeWide(wc, [file](const char *bytes, int n) {
    for (int i = 0; i < n; ++i) {
      if (orvFilePutc(file, static_cast<unsigned char>(bytes[i])) == ORV_FILE_EOF) {
        return false;
      }
    }
    return true;
  });
}

}  // extern "C"

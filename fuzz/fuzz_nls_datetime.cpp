// Fuzz target: nlsFormatDateTime with the format and the name table taken
// from the input. Layout: 4 bytes each of date, time, day of year and
// weekday (little-endian), one byte of destination size, one byte that
// selects a single- or a double-byte locale, then NUL-separated pieces: the
// format, followed by up to 42 names (an empty piece is a null entry).
// Every piece and the destination live in heap blocks of exactly their
// size, so any read or write outside them is caught.
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <memory>
#include <string>
#include <vector>

#include "common/nls/nls_state.h"
#include "orvane/nls.h"

namespace {

int32_t word(const uint8_t *p) {
  return static_cast<int32_t>(static_cast<uint32_t>(p[0]) | static_cast<uint32_t>(p[1]) << 8 |
                              static_cast<uint32_t>(p[2]) << 16 | static_cast<uint32_t>(p[3]) << 24);
}

// Byte lengths as in a Shift-JIS locale (lead bytes 0x81-0x9F, 0xE0-0xFC)
// or all single bytes.
void setLocaleKind(bool doubleByte) {
  for (int c = 0; c < 256; ++c) {
    const bool lead = doubleByte && ((c >= 0x81 && c <= 0x9F) || (c >= 0xE0 && c <= 0xFC));
    nls::charLengths[c].store(lead ? 2 : 1, std::memory_order_relaxed);
  }
}

std::unique_ptr<char[]> exactCopy(const std::string &s) {
  std::unique_ptr<char[]> p(new char[s.size() + 1]);
  memcpy(p.get(), s.c_str(), s.size() + 1);
  return p;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size < 18) {
    return 0;
  }
  const int32_t date = word(data);
  const int32_t time = word(data + 4);
  const int32_t dayOfYear = word(data + 8);
  const int32_t weekday = word(data + 12);
  const int dstSize = data[16];
  setLocaleKind((data[17] & 1) != 0);

  std::vector<std::string> pieces;
  std::string piece;
  for (size_t i = 18; i < size; ++i) {
    if (data[i] == 0) {
      pieces.push_back(piece);
      piece.clear();
      if (pieces.size() == 1 + NLS_DATE_NAME_COUNT) {
        break;
      }
    } else {
      piece += static_cast<char>(data[i]);
    }
  }
  if (pieces.size() < 1 + NLS_DATE_NAME_COUNT) {
    pieces.push_back(piece);
  }
  std::unique_ptr<char[]> format = exactCopy(pieces[0]);
  std::vector<std::unique_ptr<char[]>> owned;
  std::vector<const char *> names(NLS_DATE_NAME_COUNT, nullptr);
  for (size_t k = 1; k < pieces.size(); ++k) {
    if (!pieces[k].empty()) {
      owned.push_back(exactCopy(pieces[k]));
      names[k - 1] = owned.back().get();
    }
  }
  const bool withTable = pieces.size() > 1;

  std::unique_ptr<char[]> dst(new char[dstSize > 0 ? dstSize : 1]);
  const int r = nlsFormatDateTime(dstSize > 0 ? dst.get() : nullptr, dstSize, date, time, dayOfYear, weekday,
                                  format.get(), withTable ? names.data() : nullptr);
  if (r != 0 && r != 1) {
    abort();
  }
  if (dstSize > 0 && memchr(dst.get(), 0, static_cast<size_t>(dstSize)) == nullptr) {
    abort();  // never left unterminated
  }
  if (dstSize > 0 && pieces[0].empty() && (r != 0 || dst[0] != '\0')) {
    abort();
  }
  return 0;
}

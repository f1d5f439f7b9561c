// Fuzz target: nlsNumericFormat with the picture record and the number taken
// from the input, each in a heap block of exactly its size, in a single- or
// double-byte locale; and the other number readers and writers over the
// same bytes.
//
// Input: flags, minPositions, placeholder, record length, record, number.
// flags bit 0: double-byte locale; bit 1: blankWhenZero.
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <memory>
#include <string>
#include <vector>

#include "fuzz_nls_locale.h"
#include "orvane/nls.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size < 4) {
    return 0;
  }
  const uint8_t flags = data[0];
  const int minPositions = static_cast<int8_t>(data[1]);
  const int placeholder = data[2];
  size_t recordLength = data[3];
  data += 4;
  size -= 4;
  if (recordLength > size) {
    recordLength = size;
  }
  fuzzlocale::use((flags & 1) != 0);

  const size_t numberLength = size - recordLength;
  const size_t width = recordLength >= 5 ? recordLength - 5 : 0;
  std::unique_ptr<char[]> record(new char[recordLength > 0 ? recordLength : 1]);
  memcpy(record.get(), data, recordLength);
  const size_t textSize = numberLength > width ? numberLength : width;
  std::unique_ptr<char[]> text(new char[textSize > 0 ? textSize : 1]);
  memcpy(text.get(), data + recordLength, numberLength);
  int length = static_cast<int>(numberLength);
  const int r = nlsNumericFormat(text.get(), &length, (flags & 2) != 0 ? 1 : 0, minPositions, record.get(),
                                 static_cast<int>(recordLength), placeholder);
  if (r >= 0 && static_cast<size_t>(length) != width) {
    abort();
  }

  // The number as a NUL-terminated string for the other functions.
  const std::string number(reinterpret_cast<const char *>(data + recordLength), numberLength);
  const char *s = number.c_str();
  double d = 0;
  nlsAtof(&d, s, '.');
  const int32_t l = nlsAtol(s);
  nlsIsDigits(s);
  int pos = 0;
  int decimals = 0;
  int error = 0;
  while (pos < static_cast<int>(numberLength)) {
    const int before = pos;
    nlsGetFreeFormNumber(s, static_cast<int>(numberLength), &decimals, &pos, minPositions, ',', 1, &error);
    if (pos == before) {
      ++pos;
    }
  }
  const int dstSize = placeholder % 24;
  std::unique_ptr<char[]> dst(new char[dstSize > 0 ? dstSize : 1]);
  nlsNLSDigitsToAscii(dst.get(), dstSize, s);
  nlsAsciiDigitsToNLS(dst.get(), dstSize, s);
  nlsLtoa(dst.get(), dstSize, l, minPositions, flags >> 4);
  nlsFtoa(dst.get(), dstSize, d, minPositions, flags >> 4);
  // The record's text as a mask for nlsFormatString.
  const std::string mask(record.get(), recordLength);
  nlsFormatString(dst.get(), dstSize, s, mask.c_str(), placeholder);
  std::vector<char *> pieces(4);
  std::unique_ptr<char[]> buffer(new char[numberLength + 1]);
  nlsStrToArray(s, (flags & 4) != 0 ? nullptr : ",", minPositions, pieces.data(), 4, buffer.get(),
                static_cast<int>(numberLength + 1));
  return 0;
}

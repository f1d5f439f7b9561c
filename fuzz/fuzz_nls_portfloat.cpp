// Fuzz target: nlsPortFloatToR8 over the input as portable float text (in a
// heap block of exactly its size, without a NUL); text that reads back is
// written again at the same width and must read back to the same value.
// The first eight bytes also serve as a double for a round trip at the
// widths of 17 digits and more.
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <cmath>
#include <memory>

#include "orvane/nls.h"

namespace {

void roundTrip(double value, int width) {
  std::unique_ptr<char[]> text(new char[static_cast<size_t>(width)]);
  int error = 0;
  if (nlsR8ToPortFloat(value, text.get(), width, &error) != 1) {
    return;
  }
  const double back = nlsPortFloatToR8(text.get(), width, &error);
  if (error != 0) {
    abort();
  }
  if (width >= 23 && value != 0.0 && memcmp(&back, &value, sizeof value) != 0) {
    abort();  // 17 digits and more keep every bit
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size > 4096) {
    return 0;
  }
  const int width = static_cast<int>(size);
  std::unique_ptr<char[]> text(new char[size > 0 ? size : 1]);
  memcpy(text.get(), data, size);
  int error = 0;
  const double value = nlsPortFloatToR8(text.get(), width, &error);
  if (error == 0) {
    roundTrip(value, width);
  }
  if (size >= 8) {
    double d;
    memcpy(&d, data, sizeof d);
    for (int w : {7, 12, 22, 23, 25, 26, 40}) {
      roundTrip(d, w);
    }
  }
  return 0;
}

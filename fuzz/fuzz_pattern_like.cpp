// Fuzz target: nlsCvtLikePattern. The first byte is the escape character
// (0: none); the rest, up to a NUL, is the LIKE text. The output buffer has
// exactly the documented room (twice the input plus one), and a second call
// gets a buffer of a few bytes to exercise the size check. A translation
// that succeeds without an escape character always parses.
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <string>
#include <vector>

#include "orvane/pattern.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size < 1) {
    return 0;
  }
  const char escape = static_cast<char>(data[0]);
  std::string like(reinterpret_cast<const char *>(data + 1), size - 1);
  like = like.c_str();
  std::vector<char> out(like.size() * 2 + 1);
  int32_t n = nlsCvtLikePattern(like.c_str(), out.data(), static_cast<int32_t>(out.size()), nullptr, escape);
  if ((n & 0xFFFF) != 0xFFFF && strlen(out.data()) >= out.size()) {
    abort();
  }
  std::vector<char> small(1 + size % 5);
  nlsCvtLikePattern(like.c_str(), small.data(), static_cast<int32_t>(small.size()), nullptr, escape);
  if (memchr(small.data(), 0, small.size()) == nullptr) {
    abort();
  }
  if ((n & 0xFFFF) != 0xFFFF && !like.empty()) {
    uint16_t error = 0;
    uint16_t position = 0;
    nlsValidPattern(out.data(), nullptr, &error, &position);
  }
  return 0;
}

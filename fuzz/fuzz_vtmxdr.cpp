// Fuzz target: arbitrary bytes decoded through every member of vtmXdr.
// The first byte chooses the order in which the members run (a rotation of
// the member table); the rest is lent to the decoder. Every failure is a
// thrown vtmXdr*, caught here; after each one the decoder goes on with the
// next member from where the failure left it. Decoded strings are
// re-encoded, so the encoder's growth runs over fuzzed text too.
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <string>
#include <vector>

#include "orvane/nls.h"
#include "orvane/vtmxdr.h"

namespace {

bool ready = false;

using Step = void (*)(vtmXdr &x, vtmXdr &out);

template <typename T>
void one(vtmXdr &x, vtmXdr &out) {
  T value{};
  x.xdr(value);
  out.xdr(value);
}

template <typename T>
void some(vtmXdr &x, vtmXdr &out) {
  T values[5] = {};
  x.xdr(values, 5);
  out.xdr(values, 5);
}

void text(vtmXdr &x, vtmXdr &out) {
  char *value = nullptr;
  x.xdr(value);
  if (value != nullptr) {
    out.xdr(value);
    free(value);
  }
}

void texts(vtmXdr &x, vtmXdr &) {
  char *values[3] = {nullptr, nullptr, nullptr};
  try {
    x.xdr(values, 3);
  } catch (vtmXdr *) {
    for (char *v : values) {
      free(v);
    }
    throw;
  }
  for (char *v : values) {
    free(v);
  }
}

void seek(vtmXdr &x, vtmXdr &) { x.setBufferPosition(x.getBufferPosition() / 2 + 1); }

const Step steps[] = {one<unsigned char>,
                      one<signed char>,
                      one<unsigned short>,
                      one<short>,
                      one<unsigned long>,
                      one<long>,
                      one<long long>,
                      one<int>,
                      one<float>,
                      one<double>,
                      text,
                      some<unsigned char>,
                      some<signed char>,
                      some<unsigned short>,
                      some<short>,
                      some<unsigned long>,
                      some<long>,
                      some<long long>,
                      some<int>,
                      some<float>,
                      some<double>,
                      texts,
                      seek};
constexpr size_t kSteps = sizeof steps / sizeof steps[0];

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv) {
  if (getenv("ORVNLSTAB") == nullptr && *argc > 0) {
    std::string program = (*argv)[0];
    size_t slash = program.find_last_of('/');
    std::string table =
        (slash == std::string::npos ? std::string() : program.substr(0, slash + 1)) + "orvane.nls";
    setenv("ORVNLSTAB", table.c_str(), 0);
  }
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (!ready) {
    nlsInit();
    ready = true;
  }
  if (size == 0) {
    return 0;
  }
  const size_t first = data[0] % kSteps;
  // A copy the size of the input, so reads past it are caught.
  std::vector<unsigned char> buffer(data + 1, data + size);
  vtmXdr x;
  vtmXdr out;
  x.setBuffer(vtmXdr::decode, buffer.empty() ? nullptr : buffer.data(), buffer.size());
  out.setBuffer(vtmXdr::encode, nullptr, 0);
  // Each round runs every member once; the rounds stop when a whole round
  // read nothing.
  for (int round = 0; round < 64; ++round) {
    unsigned long before = x.getBufferPosition();
    for (size_t i = 0; i < kSteps; ++i) {
      try {
        steps[(first + i) % kSteps](x, out);
      } catch (vtmXdr *failed) {
        if (failed->getStatus() == vtmXdr::ok) {
          abort();  // a thrown object always carries its failure
        }
      }
    }
    if (x.getBufferPosition() == before && round > 0) {
      break;
    }
  }
  unsigned long len = 0;
  out.getBuffer(len);
  return 0;
}

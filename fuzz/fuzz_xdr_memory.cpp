// Fuzz target: arbitrary bytes decoded through a composite filter on a
// memory stream (see xdr_message.h), then a FREE pass that releases
// everything the decoding allocated. The first byte chooses the stream's
// Unicode flag and its overflow behaviour (fail, or a hook that refills
// nothing).
#include <stdint.h>

#include <vector>

#include "xdr_message.h"

namespace {

int noRoom(CXDR *) { return 1; }

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv) {
  xdrfuzz::useTableBesideTheProgram(*argc, *argv);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  xdrfuzz::setUpOnce();
  if (size == 0) {
    return 0;
  }
  uint8_t mode = data[0];
  // A copy the size of the input: a memory stream's buffer is its own.
  std::vector<uint8_t> buffer(data + 1, data + size);
  CXDR stream;
  cxdrmem_create(&stream, CXDR_DECODE, buffer.data(), static_cast<uint32_t>(buffer.size()));
  stream.limit = static_cast<uint32_t>(buffer.size());
  stream.size = stream.limit;
  stream.unicode = mode & 1u;
  if ((mode & 2u) != 0) {
    stream.overflowMode = CXDR_OVERFLOW_HOOKS;
    stream.decodeHook = noRoom;
  }
  xdrfuzz::decodeAndFree(&stream);
  cxdrmem_destroy(&stream);
  return 0;
}

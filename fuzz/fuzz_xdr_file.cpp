// Fuzz target: arbitrary bytes written to a file and decoded from it through
// a file stream with the composite filter of xdr_message.h, then a FREE
// pass. The first byte chooses the stream's Unicode flag and whether reads
// are unscrambled (with a key from the next four bytes), so that the
// unscrambling path sees arbitrary data as well.
#include <stdint.h>
#include <stdio.h>
#include <unistd.h>

#include <string>

#include "orvane/files.h"
#include "xdr_message.h"

namespace {

std::string inputPath() {
  static const std::string path = [] {
    const char *dir = getenv("TMPDIR");
    return std::string(dir != nullptr && dir[0] != '\0' ? dir : "/tmp") + "/orvane-fuzz-xdr-file-" +
           std::to_string(static_cast<long>(getpid())) + ".bin";
  }();
  return path;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv) {
  xdrfuzz::useTableBesideTheProgram(*argc, *argv);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  xdrfuzz::setUpOnce();
  if (size < 5) {
    return 0;
  }
  const uint8_t mode = data[0];
  const uint32_t key = (static_cast<uint32_t>(data[1]) << 24) | (static_cast<uint32_t>(data[2]) << 16) |
                       (static_cast<uint32_t>(data[3]) << 8) | data[4];
  const std::string path = inputPath();
  FILE *f = fopen(path.c_str(), "wb");
  if (f == nullptr) {
    return 0;
  }
  fwrite(data + 5, 1, size - 5, f);
  fclose(f);
  CXDR stream;
  if (cxdrfile_create(&stream, CXDR_DECODE, path.c_str(), ORV_FILE_READ | ORV_FILE_MUST_EXIST) == 0) {
    abort();  // the file was just written: an open that fails is a finding
  }
  stream.unicode = mode & 1u;
  if ((mode & 2u) != 0) {
    stream.decryptinit(&stream, key);
    stream.decryptFlag = 1;
  }
  xdrfuzz::decodeAndFree(&stream);
  cxdrfile_destroy(&stream);
  remove(path.c_str());
  return 0;
}

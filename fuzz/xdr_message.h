// The composite message that the XDR fuzz targets decode (integers,
// strings, counted bytes and characters, an array of structures holding
// strings, an optional object, a union), the assertion hook that returns to
// the harness, and the language-support set-up the string filters need.
#ifndef ORVANE_FUZZ_XDR_MESSAGE_H
#define ORVANE_FUZZ_XDR_MESSAGE_H

#include <setjmp.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <string>

#include "common/xdr/cxdr_internal.h"
#include "orvane/nls.h"
#include "orvane/xdr.h"

namespace xdrfuzz {

// A count or length above a filter's maximum is a documented outcome: the
// module's assertion reaches the hook below instead of ending the process,
// and the hook returns to the harness with longjmp. The filters hold no
// objects with destructors, so nothing is skipped but the rest of the
// decoding; the FREE pass still releases what is attached.
inline jmp_buf harness;

[[noreturn]] inline void assertionReturnsToTheHarness(const char *, int) { longjmp(harness, 1); }

struct Item {
  int32_t id;
  char *name;
  uint8_t *blob;
  uint32_t blobCount;
};

struct Message {
  uint8_t kind;
  OrvBool flag;
  uint16_t port;
  int32_t number;
  double value;
  float ratio;
  char *title;
  char *note;
  char *chars;
  uint32_t charsCount;
  Item *items;
  uint32_t itemCount;
  Item *optional;
  int32_t arm;
  union {
    uint32_t word;
    char *text;
  } choice;
  uint8_t fixed[3];
};

inline int itemFilter(CXDR *s, void *p) {
  auto *item = static_cast<Item *>(p);
  return cxdr_Int32(s, &item->id) && cxdr_string(s, &item->name, 64) &&
         cxdr_UInt8s(s, &item->blob, &item->blobCount, 128);
}

inline int wordArm(CXDR *s, void *p) { return cxdr_UInt32(s, static_cast<uint32_t *>(p)); }
inline int textArm(CXDR *s, void *p) { return cxdr_string(s, static_cast<char **>(p), 200); }

inline const cxdr_discrim arms[] = {{1, wordArm}, {2, textArm}, {0, nullptr}};

inline int messageFilter(CXDR *s, Message *m) {
  return cxdr_UInt8(s, &m->kind) && cxdr_OrvBool(s, &m->flag) && cxdr_UInt16(s, &m->port) &&
         cxdr_Int32(s, &m->number) && cxdr_Float64(s, &m->value) && cxdr_Float32(s, &m->ratio) &&
         cxdr_string(s, &m->title, 300) && cxdr_CHARs(s, &m->chars, &m->charsCount, 100) &&
         cxdr_array(s, reinterpret_cast<void **>(&m->items), &m->itemCount, 16, sizeof(Item), itemFilter) &&
         cxdr_pointer(s, reinterpret_cast<void **>(&m->optional), sizeof(Item), itemFilter) &&
         cxdr_union(s, &m->arm, &m->choice, arms, nullptr) && cxdr_opaque(s, m->fixed, 3) &&
         cxdr_string(s, &m->note, 1000);
}

// Decodes a message from the stream, then releases it with a FREE pass.
inline void decodeAndFree(CXDR *stream) {
  static Message message;
  memset(&message, 0, sizeof message);
  if (setjmp(harness) == 0) {
    messageFilter(stream, &message);
  }
  // The union's arm is known only from the discriminant: a text arm that
  // was never decoded holds no pointer, since the message starts zeroed.
  stream->direction = CXDR_FREE;
  if (setjmp(harness) == 0) {
    messageFilter(stream, &message);
  }
}

// Strings are read into the current character set: language support needs
// its table. Unless ORVNLSTAB names one, the table beside the program (where
// the build copies it) is used.
inline void useTableBesideTheProgram(int argc, char **argv) {
  if (getenv("ORVNLSTAB") == nullptr && argc > 0) {
    std::string program = argv[0];
    size_t slash = program.find_last_of('/');
    std::string table =
        (slash == std::string::npos ? std::string() : program.substr(0, slash + 1)) + "orvane.nls";
    setenv("ORVNLSTAB", table.c_str(), 0);
  }
}

// Language support and the assertion hook, once.
inline void setUpOnce() {
  static bool ready = false;
  if (!ready) {
    nlsInit();
    cxdr::setAssertHook(assertionReturnsToTheHarness);
    ready = true;
  }
}

}  // namespace xdrfuzz

#endif

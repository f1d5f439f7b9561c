// XDR memory streams: creation, alignment, bounds, overflow hooks, sequence
// pieces, positions, and the trace texts.
#include <stdlib.h>
#include <string.h>

#include <vector>

#include <gtest/gtest.h>

#include "orvane/xdr.h"
#include "test_xdr_support.h"

using xdrtest::bytes;

namespace {

class XdrMemory : public xdrtest::XdrFixture {};

// A hook record: the stream first, so that a hook can reach its own data.
struct HookedStream {
  CXDR stream;
  std::vector<uint8_t> sink;    // flushed data
  std::vector<uint8_t> source;  // data to refill from
  size_t sourceAt = 0;
  int calls = 0;
};

// Flushes the buffer's position bytes to the sink and starts again.
int flushHook(CXDR *s) {
  auto *h = reinterpret_cast<HookedStream *>(s);
  ++h->calls;
  h->sink.insert(h->sink.end(), s->buffer, s->buffer + s->position);
  s->position = 0;
  s->limit = s->size;
  return 1;
}

// Refills the buffer from the source, up to its size.
int refillHook(CXDR *s) {
  auto *h = reinterpret_cast<HookedStream *>(s);
  ++h->calls;
  size_t n = h->source.size() - h->sourceAt;
  if (n == 0) {
    return 0;
  }
  if (n > s->size) {
    n = s->size;
  }
  memcpy(s->buffer, h->source.data() + h->sourceAt, n);
  h->sourceAt += n;
  s->position = 0;
  s->limit = static_cast<uint32_t>(n);
  return 1;
}

// Claims success and makes no room.
int liarHook(CXDR *s) {
  ++reinterpret_cast<HookedStream *>(s)->calls;
  return 1;
}

int failHook(CXDR *s) {
  ++reinterpret_cast<HookedStream *>(s)->calls;
  return 0;
}

}  // namespace

TEST_F(XdrMemory, CreateRoundsTheSizeDownAndFillsTheRecord) {
  CXDR x;
  memset(&x, 0xEE, sizeof x);
  uint8_t buffer[12];
  EXPECT_EQ(1, cxdrmem_create(&x, CXDR_ENCODE, buffer, 10));
  EXPECT_EQ(8u, x.size);
  EXPECT_EQ(8u, x.limit);
  EXPECT_EQ(0u, x.position);
  EXPECT_EQ(CXDR_ENCODE, x.direction);
  EXPECT_EQ(buffer, x.buffer);
  EXPECT_EQ(0u, x.encryptFlag);
  EXPECT_EQ(0u, x.decryptFlag);
  EXPECT_EQ(nullptr, x.encryptState);
  EXPECT_EQ(nullptr, x.decryptState);
  EXPECT_EQ(0u, x.overflowMode);
  EXPECT_EQ(nullptr, x.ownedStorage);
  EXPECT_EQ(0u, x.unicode);
  EXPECT_EQ(cxdrmem_getUInt8, x.getUInt8);
  EXPECT_EQ(cxdrmem_putUInt8, x.putUInt8);
  EXPECT_EQ(cxdrmem_getUInt16, x.getUInt16);
  EXPECT_EQ(cxdrmem_putUInt16, x.putUInt16);
  EXPECT_EQ(cxdrmem_getUInt32, x.getUInt32);
  EXPECT_EQ(cxdrmem_putUInt32, x.putUInt32);
  EXPECT_EQ(cxdrmem_getUInt8s, x.getUInt8s);
  EXPECT_EQ(cxdrmem_putUInt8s, x.putUInt8s);
  EXPECT_EQ(cxdrmem_getCHARs, x.getCHARs);
  EXPECT_EQ(cxdrmem_putCHARs, x.putCHARs);
  EXPECT_EQ(cxdrmem_getpos, x.getpos);
  EXPECT_EQ(cxdrmem_putpos, x.putpos);
  EXPECT_EQ(cxdrmem_destroy, x.destroy);
  EXPECT_EQ(cxdrmem_decode, x.decodeHook);
  EXPECT_EQ(cxdrmem_encode, x.encodeHook);
  EXPECT_EQ(1, cxdrmem_destroy(&x));
}

TEST_F(XdrMemory, RecordLayoutKeepsTheWordOrder) {
  EXPECT_EQ(0u, offsetof(CXDR, direction));
  EXPECT_LT(offsetof(CXDR, destroy), offsetof(CXDR, lastError));
  EXPECT_LT(offsetof(CXDR, overflowMode), offsetof(CXDR, reserved));
  EXPECT_LT(offsetof(CXDR, reserved), offsetof(CXDR, ownedStorage));
  EXPECT_LT(offsetof(CXDR, position), offsetof(CXDR, unicode));
  if (sizeof(void *) == 4) {
    EXPECT_EQ(31u * 4u, sizeof(CXDR));
    EXPECT_EQ(30u * 4u, offsetof(CXDR, unicode));
  }
}

TEST_F(XdrMemory, FillsExactlyThenOverflows) {
  traced();
  CXDR x;
  uint8_t buffer[8];
  memset(buffer, 0xCC, sizeof buffer);
  cxdrmem_create(&x, CXDR_ENCODE, buffer, sizeof buffer);
  uint8_t b = 0x11;
  uint32_t w = 0x22334455;
  EXPECT_EQ(1, cxdrmem_putUInt8(&x, &b));
  EXPECT_EQ(1, cxdrmem_putUInt32(&x, &w));
  EXPECT_EQ(8u, x.position);
  const uint8_t expected[8] = {0x11, 0xCC, 0xCC, 0xCC, 0x22, 0x33, 0x44, 0x55};
  EXPECT_EQ(bytes(expected, 8), bytes(buffer, 8)) << "gap bytes keep what the buffer held";
  EXPECT_EQ(0, cxdrmem_putUInt8(&x, &b));
  EXPECT_TRUE(logHas("cxdrmem_putUInt8: Buffer overflow!")) << logText();
  EXPECT_TRUE(logHas("cxdrmem_create: Allocate ENCODE stream (8 bytes)")) << logText();
  EXPECT_TRUE(logHas("cxdrmem_putUInt8: Write 0x11"));
  EXPECT_TRUE(logHas("cxdrmem_putUInt32: Write 0x22334455"));
  cxdrmem_destroy(&x);
}

TEST_F(XdrMemory, Put16AtAnOddPositionAligns) {
  CXDR x;
  uint8_t buffer[8] = {};
  cxdrmem_create(&x, CXDR_ENCODE, buffer, sizeof buffer);
  x.position = 1;
  uint16_t v = 0xABCD;
  EXPECT_EQ(1, cxdrmem_putUInt16(&x, &v));
  EXPECT_EQ(4u, x.position);
  EXPECT_EQ(0xAB, buffer[2]);
  EXPECT_EQ(0xCD, buffer[3]);
  EXPECT_EQ(0, buffer[1]);
  x.position = 5;
  uint32_t w = 1;
  EXPECT_EQ(0, cxdrmem_putUInt32(&x, &w)) << "aligned to 8, no room left";
  EXPECT_EQ(8u, x.position) << "the failed step leaves the position after alignment";
}

TEST_F(XdrMemory, GetsAlignAndReadBigEndian) {
  traced();
  uint8_t buffer[12] = {0x7F, 0xEE, 0x12, 0x34, 0xDE, 0xAD, 0xBE, 0xEF, 0xAA, 0, 0, 0};
  CXDR x;
  cxdrmem_create(&x, CXDR_DECODE, buffer, sizeof buffer);
  uint8_t b = 0;
  uint16_t h = 0;
  uint32_t w = 0;
  EXPECT_EQ(1, cxdrmem_getUInt8(&x, &b));
  EXPECT_EQ(0x7F, b);
  EXPECT_EQ(1, cxdrmem_getUInt16(&x, &h));
  EXPECT_EQ(0x1234, h);
  EXPECT_EQ(1, cxdrmem_getUInt32(&x, &w));
  EXPECT_EQ(0xDEADBEEFu, w);
  EXPECT_EQ(8u, x.position);
  EXPECT_TRUE(logHas("cxdrmem_getUInt8: Read 0x7f"));
  EXPECT_TRUE(logHas("cxdrmem_getUInt16: Read 0x1234"));
  EXPECT_TRUE(logHas("getUInt32: Read 0xdeadbeef")) << logText();
  cxdrmem_destroy(&x);
}

TEST_F(XdrMemory, PutposIsStrictlyBelowTheLimit) {
  traced();
  CXDR x;
  uint8_t buffer[16];
  cxdrmem_create(&x, CXDR_ENCODE, buffer, sizeof buffer);
  EXPECT_EQ(0, cxdrmem_putpos(&x, 16));
  EXPECT_TRUE(logHas("cxdrmem_putpos: Overflow!"));
  EXPECT_EQ(0u, x.position);
  EXPECT_EQ(1, cxdrmem_putpos(&x, 15));
  EXPECT_EQ(15u, x.position);
  uint32_t pos = 0;
  EXPECT_EQ(1, cxdrmem_getpos(&x, &pos));
  EXPECT_EQ(15u, pos);
  EXPECT_TRUE(logHas("cxdrmem_getpos: Position 15"));
  x.limit = 4;
  EXPECT_EQ(0, cxdrmem_putpos(&x, 4));
  EXPECT_EQ(0, cxdrmem_putpos(&x, 0xFFFFFFFFu));
}

TEST_F(XdrMemory, CloseRewindsOpenResets) {
  uint8_t buffer[8] = {1, 2, 3, 4, 5, 6, 7, 8};
  CXDR x;
  cxdrmem_create(&x, CXDR_DECODE, buffer, sizeof buffer);
  x.limit = 2;
  uint8_t b = 0;
  EXPECT_EQ(1, cxdrmem_getUInt8(&x, &b));
  EXPECT_EQ(1, cxdrmem_getUInt8(&x, &b));
  EXPECT_EQ(0, cxdrmem_getUInt8(&x, &b));
  EXPECT_EQ(1, cxdrmem_close(&x));
  EXPECT_EQ(0u, x.position);
  EXPECT_EQ(2u, x.limit) << "close keeps the old limit";
  EXPECT_EQ(1, cxdrmem_getUInt8(&x, &b));
  EXPECT_EQ(1, b);
  EXPECT_EQ(1, cxdrmem_open(&x));
  EXPECT_EQ(8u, x.limit);
  EXPECT_EQ(0u, x.position);
}

TEST_F(XdrMemory, SequencesAreUnalignedAndTraced) {
  traced();
  uint8_t buffer[16] = {};
  CXDR x;
  cxdrmem_create(&x, CXDR_ENCODE, buffer, sizeof buffer);
  uint8_t b = 9;
  cxdrmem_putUInt8(&x, &b);
  uint8_t data[3] = {'x', 'y', 'z'};
  EXPECT_EQ(1, cxdrmem_putUInt8s(&x, data, 3));
  char text[2] = {'p', 'q'};
  EXPECT_EQ(1, cxdrmem_putCHARs(&x, text, 2));
  EXPECT_EQ(6u, x.position);
  EXPECT_EQ(1, cxdrmem_putUInt8s(&x, data, 0));
  const uint8_t expected[6] = {9, 'x', 'y', 'z', 'p', 'q'};
  EXPECT_EQ(bytes(expected, 6), bytes(buffer, 6));
  EXPECT_NE(std::string::npos, logText().find("cxdrmem_putUInt8s: \n")) << logText();
  x.direction = CXDR_DECODE;
  cxdrmem_close(&x);
  uint8_t one = 0;
  uint8_t got[3] = {};
  char chars[2] = {};
  EXPECT_EQ(1, cxdrmem_getUInt8(&x, &one));
  EXPECT_EQ(1, cxdrmem_getUInt8s(&x, got, 3));
  EXPECT_EQ(1, cxdrmem_getCHARs(&x, chars, 2));
  EXPECT_EQ(0, memcmp(got, data, 3));
  EXPECT_EQ(0, memcmp(chars, text, 2));
  EXPECT_TRUE(logHas("cxdrmem_getUInt8s: Read 3 bytes"));
  EXPECT_TRUE(logHas("cxdrmem_getCHARs: Read 2 chars"));
}

TEST_F(XdrMemory, SequenceOverflowWithoutHooks) {
  traced();
  uint8_t buffer[4] = {};
  CXDR x;
  cxdrmem_create(&x, CXDR_ENCODE, buffer, sizeof buffer);
  uint8_t data[6] = {1, 2, 3, 4, 5, 6};
  EXPECT_EQ(0, cxdrmem_putUInt8s(&x, data, 6));
  EXPECT_EQ(4u, x.position) << "the first piece went in";
  EXPECT_EQ(0, memcmp(buffer, data, 4));
  EXPECT_TRUE(logHas("cxdrmem_putUInt8s: Buffer overflow!"));
}

TEST_F(XdrMemory, FlushHookWritesInPiecesAndReadsBackInPieces) {
  HookedStream h;
  uint8_t buffer[8];
  cxdrmem_create(&h.stream, CXDR_ENCODE, buffer, sizeof buffer);
  h.stream.overflowMode = CXDR_OVERFLOW_HOOKS;
  h.stream.encodeHook = flushHook;
  std::vector<uint8_t> data(37);
  for (size_t i = 0; i < data.size(); ++i) {
    data[i] = static_cast<uint8_t>(i * 3 + 1);
  }
  uint32_t w = 0x01020304;
  ASSERT_EQ(1, cxdrmem_putUInt32(&h.stream, &w));
  ASSERT_EQ(1, cxdrmem_putUInt8s(&h.stream, data.data(), 37));
  ASSERT_EQ(1, cxdrmem_putUInt32(&h.stream, &w));
  flushHook(&h.stream);
  EXPECT_GE(h.calls, 5);
  // 4 + 37 bytes, then alignment inside the last buffer before the word.
  ASSERT_GE(h.sink.size(), 45u);

  HookedStream r;
  uint8_t rbuf[8];
  cxdrmem_create(&r.stream, CXDR_DECODE, rbuf, sizeof rbuf);
  r.stream.overflowMode = CXDR_OVERFLOW_HOOKS;
  r.stream.decodeHook = refillHook;
  r.source = h.sink;
  r.stream.limit = 0;  // empty until the first refill
  uint32_t got = 0;
  std::vector<uint8_t> back(37);
  ASSERT_EQ(1, cxdrmem_getUInt32(&r.stream, &got));
  EXPECT_EQ(w, got);
  ASSERT_EQ(1, cxdrmem_getUInt8s(&r.stream, back.data(), 37));
  EXPECT_EQ(data, back);
  got = 0;
  ASSERT_EQ(1, cxdrmem_getUInt32(&r.stream, &got));
  EXPECT_EQ(w, got);
  uint8_t b = 0;
  EXPECT_EQ(0, cxdrmem_getUInt8(&r.stream, &b)) << "the source is exhausted";
}

TEST_F(XdrMemory, FailingHookFailsWithItsTraceTexts) {
  traced();
  HookedStream h;
  uint8_t buffer[4] = {};
  cxdrmem_create(&h.stream, CXDR_ENCODE, buffer, sizeof buffer);
  h.stream.overflowMode = CXDR_OVERFLOW_HOOKS;
  h.stream.encodeHook = failHook;
  h.stream.decodeHook = failHook;
  h.stream.position = 4;
  uint8_t b = 1;
  uint8_t seq[2] = {1, 2};
  EXPECT_EQ(0, cxdrmem_putUInt8(&h.stream, &b));
  EXPECT_TRUE(logHas("cxdrmem_putUInt8: XDR write fail"));
  EXPECT_EQ(0, cxdrmem_putUInt8s(&h.stream, seq, 2));
  EXPECT_TRUE(logHas("cxdrmem_putUInt8s: XDR write fail"));
  EXPECT_EQ(0, cxdrmem_getUInt8(&h.stream, &b));
  EXPECT_TRUE(logHas("cxdrmem_getUInt8: XDR read fail"));
  EXPECT_EQ(0, cxdrmem_getUInt8s(&h.stream, seq, 2));
  EXPECT_TRUE(logHas("cxdrmem_getUInt8s: XDR Read Fail"));
  EXPECT_EQ(4, h.calls);
}

TEST_F(XdrMemory, HookThatMakesNoRoomCannotOverrunOrLoop) {
  traced();
  HookedStream h;
  uint8_t storage[12];
  memset(storage, 0x5A, sizeof storage);
  uint8_t *buffer = storage + 4;  // guard bytes on both sides
  cxdrmem_create(&h.stream, CXDR_ENCODE, buffer, 4);
  h.stream.overflowMode = CXDR_OVERFLOW_HOOKS;
  h.stream.encodeHook = liarHook;
  h.stream.decodeHook = liarHook;
  h.stream.position = 4;
  uint32_t w = 0xFFFFFFFF;
  uint8_t seq[3] = {1, 2, 3};
  EXPECT_EQ(0, cxdrmem_putUInt32(&h.stream, &w));
  EXPECT_TRUE(logHas("cxdrmem_putUInt32: XDR write fail"));
  EXPECT_EQ(0, cxdrmem_putUInt8s(&h.stream, seq, 3));
  EXPECT_EQ(0, cxdrmem_getUInt32(&h.stream, &w));
  EXPECT_TRUE(logHas("cxdrmem_getUInt32: XDR read fail"));
  EXPECT_EQ(0, cxdrmem_getUInt8s(&h.stream, seq, 3));
  EXPECT_EQ(4, h.calls);
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(0x5A, storage[i]);
    EXPECT_EQ(0x5A, storage[8 + i]);
  }
  // A hook that raises the limit past the size is not trusted either.
  h.stream.limit = 8;
  h.stream.position = 4;
  EXPECT_EQ(0, cxdrmem_putUInt8s(&h.stream, seq, 3));
  EXPECT_EQ(0x5A, storage[8]);
}

TEST_F(XdrMemory, DestroyReleasesOwnedStorageAndTraces) {
  traced();
  CXDR x;
  uint8_t buffer[8];
  cxdrmem_create(&x, CXDR_ENCODE, buffer, sizeof buffer);
  x.ownedStorage = malloc(100);
  cxdrmem_encryptinit(&x, 1);
  EXPECT_EQ(1, cxdrmem_destroy(&x));
  EXPECT_EQ(nullptr, x.ownedStorage);
  char line[64];
  snprintf(line, sizeof line, "cxdrmem_destroy: Free stream [%x]",
           static_cast<unsigned>(reinterpret_cast<uintptr_t>(&x)));
  EXPECT_TRUE(logHas(line)) << logText();
}

TEST_F(XdrMemory, NothingIsTracedWithoutTheBit) {
  untraced();
  TraceDevice = ORV_DEBUG_LOGFILE;
  CXDR x;
  uint8_t buffer[4];
  cxdrmem_create(&x, CXDR_ENCODE, buffer, sizeof buffer);
  uint32_t w = 1;
  cxdrmem_putUInt32(&x, &w);
  EXPECT_EQ(0, cxdrmem_putUInt32(&x, &w));
  cxdrmem_destroy(&x);
  EXPECT_EQ("", logText());
}

// Grows the buffer: doubles it and keeps the data (the buffer is owned
// storage of the stream, released by destroy).
int growHook(CXDR *s) {
  uint32_t newSize = s->size != 0 ? s->size * 2 : 16;
  auto *grown = static_cast<uint8_t *>(realloc(s->ownedStorage, newSize));
  if (grown == nullptr) {
    return 0;
  }
  s->ownedStorage = grown;
  s->buffer = grown;
  s->size = newSize;
  s->limit = newSize;
  return 1;
}

TEST_F(XdrMemory, GrowingHookKeepsEverything) {
  CXDR x;
  cxdrmem_create(&x, CXDR_ENCODE, nullptr, 0);
  x.overflowMode = CXDR_OVERFLOW_HOOKS;
  x.encodeHook = growHook;
  for (uint32_t i = 0; i < 100; ++i) {
    ASSERT_EQ(1, cxdr_UInt32(&x, &i));
  }
  char *text = const_cast<char *>("a string that crosses a growth");
  ASSERT_EQ(1, cxdr_c_wrapstring(&x, &text));
  uint32_t end = x.position;
  CXDR r;
  cxdrmem_create(&r, CXDR_DECODE, x.buffer, x.size);
  r.limit = end;
  for (uint32_t i = 0; i < 100; ++i) {
    uint32_t v = 0;
    ASSERT_EQ(1, cxdr_UInt32(&r, &v));
    EXPECT_EQ(i, v);
  }
  char *back = nullptr;
  ASSERT_EQ(1, cxdr_c_wrapstring(&r, &back));
  EXPECT_STREQ(text, back);
  r.direction = CXDR_FREE;
  cxdr_c_wrapstring(&r, &back);
  cxdrmem_destroy(&r);
  cxdrmem_destroy(&x);
}

TEST_F(XdrMemory, ScrambledThroughTheDefaultHooks) {
  // Encode through a buffer flushed by a hook that first scrambles (the
  // default encode hook), then read back through the default decode hook.
  struct Scrambling {
    CXDR stream;
    std::vector<uint8_t> sink;
  };
  static Scrambling *current = nullptr;
  Scrambling w;
  current = &w;
  uint8_t buffer[16];
  cxdrmem_create(&w.stream, CXDR_ENCODE, buffer, sizeof buffer);
  cxdrmem_encryptinit(&w.stream, 4711);
  w.stream.encryptFlag = 1;
  w.stream.overflowMode = CXDR_OVERFLOW_HOOKS;
  w.stream.encodeHook = [](CXDR *s) -> int {
    cxdrmem_encode(s);
    current->sink.insert(current->sink.end(), s->buffer, s->buffer + s->position);
    s->position = 0;
    return 1;
  };
  std::vector<uint32_t> values(20);
  for (size_t i = 0; i < values.size(); ++i) {
    values[i] = static_cast<uint32_t>(i * 0x01010101u);
    ASSERT_EQ(1, cxdr_UInt32(&w.stream, &values[i]));
  }
  w.stream.encodeHook(&w.stream);
  ASSERT_EQ(80u, w.sink.size());
  // The plain form of the first word would be 00 00 00 00 ... the scrambled
  // buffers differ from it.
  std::vector<uint8_t> plain(80);
  for (size_t i = 0; i < values.size(); ++i) {
    uint32_t be = h2nl(values[i]);
    memcpy(&plain[i * 4], &be, 4);
  }
  EXPECT_NE(plain, w.sink);
  // Unscramble in the same 16-byte pieces.
  for (size_t at = 0; at < 80; at += 16) {
    CXDR r;
    uint8_t piece[16];
    memcpy(piece, &w.sink[at], 16);
    cxdrmem_create(&r, CXDR_DECODE, piece, 16);
    cxdrmem_decryptinit(&r, 4711);
    r.decryptFlag = 1;
    r.position = 16;
    cxdrmem_decode(&r);
    EXPECT_EQ(0, memcmp(piece, &plain[at], 16));
    cxdrmem_destroy(&r);
  }
  cxdrmem_destroy(&w.stream);
}

TEST_F(XdrMemory, HooksTraceWhatTheyScramble) {
  traced();
  CXDR x;
  uint8_t buffer[16] = {};
  cxdrmem_create(&x, CXDR_ENCODE, buffer, sizeof buffer);
  cxdrmem_encryptinit(&x, 3);
  cxdrmem_decryptinit(&x, 3);
  x.position = 10;
  cxdrmem_encode(&x);
  EXPECT_FALSE(logHas("cxdrmem_encode: Encrypt 10 bytes")) << "flag off: nothing";
  x.encryptFlag = 1;
  x.decryptFlag = 1;
  cxdrmem_encode(&x);
  cxdrmem_decode(&x);
  EXPECT_TRUE(logHas("cxdrmem_encode: Encrypt 10 bytes")) << logText();
  EXPECT_TRUE(logHas("cxdrmem_decode: Decrypt 10 bytes"));
  cxdrmem_destroy(&x);
}

// Trace objects.
#include <string.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "orvane/trace.h"

namespace {

struct Capture {
  uint32_t categories;
  std::string staged;  // bufferSize bytes as the writer saw them
  uint32_t length;
};

std::vector<Capture> captured;
uint32_t stagedSize = 0;  // how many bytes of the buffer a capture keeps

uint32_t recordingWriter(uint32_t categories, char *text, uint32_t length) {
  if (categories == 0 && text == nullptr && length == 0) {
    return ORV_TRACE_MAGIC;
  }
  captured.push_back(Capture{categories, std::string(text, stagedSize), length});
  return 0;
}

uint32_t refusingWriter(uint32_t, char *, uint32_t) { return 0; }

class TraceObjects : public ::testing::Test {
 protected:
  void SetUp() override { captured.clear(); }
};

}  // namespace

TEST_F(TraceObjects, WriterThatFailsTheHandshakeIsRefused) {
  EXPECT_EQ(nullptr, traceObjCreate(0, 0xFFFF, 0, refusingWriter));
  EXPECT_EQ(nullptr, traceObjCreate(0, 0xFFFF, 0, nullptr));
}

TEST_F(TraceObjects, ZeroBufferSizeGivesTheDefault) {
  TraceObj *trace = traceObjCreate(0, 1, 0, recordingWriter);
  ASSERT_NE(nullptr, trace);
  EXPECT_EQ(1024u, trace->bufferSize);
  EXPECT_NE(nullptr, trace->buffer);
  EXPECT_EQ(recordingWriter, trace->writer);
  traceObjDelete(trace);
}

TEST_F(TraceObjects, StateAndMaskAreStoredAndReturned) {
  TraceObj *trace = traceObjCreate(3, 0x44, 64, recordingWriter);
  ASSERT_NE(nullptr, trace);
  EXPECT_EQ(3u, traceObjGetState(trace));
  EXPECT_EQ(0x44u, traceObjGetMask(trace));
  traceObjSetState(trace, 0);
  traceObjSetMask(trace, 0x101);
  EXPECT_EQ(0u, traceObjGetState(trace));
  EXPECT_EQ(0x101u, traceObjGetMask(trace));
  traceObjDelete(trace);
}

TEST_F(TraceObjects, HeldBackStateWritesNothingUntilResumed) {
  TraceObj *trace = traceObjCreate(1, 0xFFFF, 16, recordingWriter);
  ASSERT_NE(nullptr, trace);
  stagedSize = 16;
  traceObjWrite(trace, 1, "held", 4);
  EXPECT_TRUE(captured.empty());
  traceObjSetState(trace, 0);
  traceObjWrite(trace, 1, "shown", 5);
  ASSERT_EQ(1u, captured.size());
  EXPECT_EQ(5u, captured[0].length);
  traceObjDelete(trace);
}

TEST_F(TraceObjects, CategoriesOutsideTheMaskAreDropped) {
  TraceObj *trace = traceObjCreate(0, ORV_TRACE_MUTEXES, 16, recordingWriter);
  ASSERT_NE(nullptr, trace);
  stagedSize = 16;
  traceObjWrite(trace, ORV_TRACE_THREADS, "thread", 6);
  EXPECT_TRUE(captured.empty());
  traceObjWrite(trace, ORV_TRACE_THREADS | ORV_TRACE_MUTEXES, "both", 4);
  ASSERT_EQ(1u, captured.size());
  EXPECT_EQ(ORV_TRACE_THREADS | ORV_TRACE_MUTEXES, captured[0].categories);
  traceObjDelete(trace);
}

TEST_F(TraceObjects, ShortTextIsStagedWithZeroFill) {
  TraceObj *trace = traceObjCreate(0, 0xFFFF, 16, recordingWriter);
  ASSERT_NE(nullptr, trace);
  memset(trace->buffer, 'Z', 16);
  stagedSize = 16;
  traceObjWrite(trace, 1, "0123456789", 10);
  ASSERT_EQ(1u, captured.size());
  EXPECT_EQ(10u, captured[0].length);
  EXPECT_EQ(std::string("0123456789\0\0\0\0\0\0", 16), captured[0].staged);
  traceObjDelete(trace);
}

TEST_F(TraceObjects, LongTextIsCutButReportedWhole) {
  TraceObj *trace = traceObjCreate(0, 0xFFFF, 16, recordingWriter);
  ASSERT_NE(nullptr, trace);
  stagedSize = 16;
  traceObjWrite(trace, 1, "abcdefghijklmnopqrst", 20);
  ASSERT_EQ(1u, captured.size());
  EXPECT_EQ(20u, captured[0].length);
  EXPECT_EQ("abcdefghijklmnop", captured[0].staged);
  // A text of exactly bufferSize bytes is staged without a terminator too.
  traceObjWrite(trace, 1, "ABCDEFGHIJKLMNOP", 16);
  ASSERT_EQ(2u, captured.size());
  EXPECT_EQ(16u, captured[1].length);
  EXPECT_EQ("ABCDEFGHIJKLMNOP", captured[1].staged);
  traceObjDelete(trace);
}

TEST_F(TraceObjects, DeleteDoesNotCallTheWriter) {
  TraceObj *trace = traceObjCreate(0, 0xFFFF, 16, recordingWriter);
  ASSERT_NE(nullptr, trace);
  traceObjDelete(trace);
  EXPECT_TRUE(captured.empty());
  traceObjDelete(nullptr);
}

TEST_F(TraceObjects, LargeBuffersWork) {
  TraceObj *trace = traceObjCreate(0, 0xFFFF, 1u << 20, recordingWriter);
  ASSERT_NE(nullptr, trace);
  std::string text(100000, 'x');
  stagedSize = 100001;
  traceObjWrite(trace, 1, text.data(), static_cast<uint32_t>(text.size()));
  ASSERT_EQ(1u, captured.size());
  EXPECT_EQ(text + '\0', captured[0].staged);
  traceObjDelete(trace);
}

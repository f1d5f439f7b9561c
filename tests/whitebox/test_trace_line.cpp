// The shared trace line routine and the column layout of trace lines.
#include <inttypes.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "common/trace/trace_line.h"

namespace {

std::vector<std::string> lines;

uint32_t lineWriter(uint32_t categories, char *text, uint32_t length) {
  if (categories == 0 && text == nullptr) {
    return ORV_TRACE_MAGIC;
  }
  lines.emplace_back(text, length);
  return 0;
}

class TraceLine : public ::testing::Test {
 protected:
  void SetUp() override {
    lines.clear();
    trace = traceObjCreate(0, 0xFFFF, 0, lineWriter);
    ASSERT_NE(nullptr, trace);
  }
  void TearDown() override { traceObjDelete(trace); }
  TraceObj *trace = nullptr;
};

}  // namespace

TEST_F(TraceLine, StartAndEndLinesUseA25ColumnNameAndAMarker) {
  uintptr_t self = 0x1234;
  uintptr_t mutex = 0xabcdef;
  trace::writeLine(trace, ORV_TRACE_MUTEXES, "%-*s%s thread (%8" PRIxPTR ") mutex     (%8" PRIxPTR ")",
                   trace::kMarkedNameWidth, "orvMutexLock", trace::kStartMarker, self, mutex);
  trace::writeLine(trace, ORV_TRACE_MUTEXES,
                   "%-*s%s thread (%8" PRIxPTR ") mutex     (%8" PRIxPTR ") result   (%8d)",
                   trace::kMarkedNameWidth, "orvMutexLock", trace::kEndMarker, self, mutex, 0);
  ASSERT_EQ(2u, lines.size());
  EXPECT_EQ("orvMutexLock             [S] thread (    1234) mutex     (  abcdef)", lines[0]);
  EXPECT_EQ("orvMutexLock             [E] thread (    1234) mutex     (  abcdef) result   (       0)",
            lines[1]);
  EXPECT_EQ(28u, lines[0].find(" thread"));
}

TEST_F(TraceLine, SingleLinesUseA28ColumnName) {
  trace::writeLine(trace, ORV_TRACE_MUTEXES, "%-*s thread (%8" PRIxPTR ") mutex     (%8" PRIxPTR ")",
                   trace::kSingleNameWidth, "orvMutexUnlock", uintptr_t{1}, uintptr_t{2});
  ASSERT_EQ(1u, lines.size());
  EXPECT_EQ("orvMutexUnlock               thread (       1) mutex     (       2)", lines[0]);
  EXPECT_EQ(std::string::npos, lines[0].find('\n')) << "no line ends with a newline";
}

TEST_F(TraceLine, PointersArePrintedInFullWidth) {
  uintptr_t wide = static_cast<uintptr_t>(~uintptr_t{0});
  trace::writeLine(trace, 1, "(%8" PRIxPTR ")", wide);
  ASSERT_EQ(1u, lines.size());
  EXPECT_EQ("(" + std::string(sizeof(uintptr_t) * 2, 'f') + ")", lines[0]);
}

TEST_F(TraceLine, FilteredCategoryWritesNothing) {
  traceObjSetMask(trace, ORV_TRACE_THREADS);
  trace::writeLine(trace, ORV_TRACE_EVENTS, "%s", "dropped");
  EXPECT_TRUE(lines.empty());
}

TEST_F(TraceLine, NullTraceObjectIsIgnored) { trace::writeLine(nullptr, 1, "%s", "nobody"); }

TEST_F(TraceLine, OverlongLineIsCutToTheLocalBuffer) {
  std::string big(500, 'q');
  trace::writeLine(trace, 1, "%s", big.c_str());
  ASSERT_EQ(1u, lines.size());
  EXPECT_EQ(static_cast<size_t>(trace::kLineBufferSize - 1), lines[0].size());
}

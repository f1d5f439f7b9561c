// vtmXdr internals: the buffer's growth by 256 bytes, every allocation
// failure (allocations made to fail one after another) and the trace buffer
// that the destructor keeps.
#include <gtest/gtest.h>

#include "common/nls/nls_alloc.h"
#include "common/xdr/vtmxdr_internal.h"
#include "orvane/frame.h"
#include "orvane/trace.h"
#include "orvane/vtmxdr.h"

namespace {

uint32_t silentWriter(uint32_t categories, char *text, uint32_t length) {
  if (categories == 0 && text == nullptr && length == 0) {
    return ORV_TRACE_MAGIC;
  }
  return 0;
}

class VtmXdrInternals : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(0, servicesProcessInitialize(ORV_ITEM_END)); }
  void TearDown() override {
    nls::testing::failAllocationsAfter(-1);
    servicesProcessTerminate(0);
  }
  template <typename F>
  static int thrown(vtmXdr &x, F f) {
    try {
      f();
    } catch (vtmXdr *p) {
      EXPECT_EQ(&x, p);
      return static_cast<int>(p->getStatus());
    }
    return -1;
  }
};

TEST_F(VtmXdrInternals, ThreeHundredBytesGrowTheBufferFrom256To512) {
  vtmXdr x;
  x.setBuffer(vtmXdr::encode, nullptr, 0);
  EXPECT_EQ(256u, vtmxdr::capacity(x));
  for (int i = 0; i < 300; ++i) {
    unsigned char b = static_cast<unsigned char>(i);
    x.xdr(b);
    EXPECT_EQ(i < 256 ? 256u : 512u, vtmxdr::capacity(x));
  }
  // Eight bytes at 510 need one more step.
  x.setBufferPosition(300);
  for (int i = 300; i < 510; ++i) {
    unsigned char b = 0;
    x.xdr(b);
  }
  long long v = 1;
  x.xdr(v);
  EXPECT_EQ(768u, vtmxdr::capacity(x));
}

TEST_F(VtmXdrInternals, SetBufferAllocationFailure) {
  vtmXdr x;
  nls::testing::failAllocationsAfter(0);
  EXPECT_EQ(vtmXdr::noMemory, thrown(x, [&] { x.setBuffer(vtmXdr::encode, nullptr, 0); }));
  nls::testing::failAllocationsAfter(-1);
  EXPECT_EQ(0u, vtmxdr::capacity(x));
  unsigned char b = 0;
  EXPECT_EQ(vtmXdr::noBuffer, thrown(x, [&] { x.xdr(b); }));
}

TEST_F(VtmXdrInternals, GrowthAllocationFailureKeepsTheData) {
  vtmXdr x;
  x.setBuffer(vtmXdr::encode, nullptr, 0);
  unsigned char bytes[256] = {};
  bytes[255] = 9;
  x.xdr(bytes, 256);
  nls::testing::failAllocationsAfter(0);
  unsigned char b = 1;
  EXPECT_EQ(vtmXdr::noMemory, thrown(x, [&] { x.xdr(b); }));
  nls::testing::failAllocationsAfter(-1);
  EXPECT_EQ(256ul, x.getBufferPosition());
  unsigned long len = 0;
  EXPECT_EQ(9, x.getBuffer(len)[255]);
  EXPECT_EQ(256ul, len);
  x.xdr(b);
  EXPECT_EQ(512u, vtmxdr::capacity(x));
}

TEST_F(VtmXdrInternals, StringAllocationFailures) {
  unsigned char data[] = {2, 0, 0, 0, 'h', 0, 'i', 0};
  vtmXdr x;
  x.setBuffer(vtmXdr::decode, data, sizeof data);
  char *p = nullptr;
  nls::testing::failAllocationsAfter(0);
  EXPECT_EQ(vtmXdr::noMemory, thrown(x, [&] { x.xdr(p); }));
  nls::testing::failAllocationsAfter(-1);
  EXPECT_EQ(nullptr, p);
  x.setBufferPosition(0);
  x.xdr(p);
  ASSERT_NE(nullptr, p);
  EXPECT_STREQ("hi", p);
  free(p);
}

TEST_F(VtmXdrInternals, TraceBufferAllocationFailure) {
  TraceObj *t = traceObjCreate(0, VTM_XDR_TRACE_ENTRY, 0, silentWriter);
  ASSERT_NE(nullptr, t);
  {
    // The object goes before its trace object.
    vtmXdr x;
    nls::testing::failAllocationsAfter(0);
    EXPECT_EQ(vtmXdr::noMemory, thrown(x, [&] { x.setTrace(t); }));
    nls::testing::failAllocationsAfter(-1);
    x.setTrace(t);
    EXPECT_EQ(vtmXdr::ok, x.getStatus());
  }
  // The constructor throws the same way.
  nls::testing::failAllocationsAfter(0);
  bool threw = false;
  try {
    vtmXdr y(t);
  } catch (vtmXdr *) {
    threw = true;
  }
  nls::testing::failAllocationsAfter(-1);
  EXPECT_TRUE(threw);
  traceObjDelete(t);
}

TEST_F(VtmXdrInternals, DestructorKeepsTheTraceBufferWithoutEntryTracing) {
  TraceObj *t = traceObjCreate(0, VTM_XDR_TRACE_EXIT, 0, silentWriter);
  ASSERT_NE(nullptr, t);
  size_t before = vtmxdr::keptTraceBuffers();
  { vtmXdr x(t); }
  EXPECT_EQ(before + 1, vtmxdr::keptTraceBuffers());
  traceObjSetMask(t, VTM_XDR_TRACE_ENTRY);
  { vtmXdr x(t); }
  EXPECT_EQ(before + 1, vtmxdr::keptTraceBuffers());
  // Shared by assignment: kept once, by the last holder.
  traceObjSetMask(t, 0);
  {
    vtmXdr a(t);
    vtmXdr b;
    b = a;
  }
  EXPECT_EQ(before + 2, vtmxdr::keptTraceBuffers());
  traceObjDelete(t);
}

}  // namespace

// Allocation failures where the library ends the process by design: the
// pattern matcher aborts, and XDR decoding reports the failed allocation
// through the "CXDR" assertion. Each failure point runs in a child process;
// the ones before and after it must behave. The object streams throw the
// stream with status 1 (noMemory) and stay usable.
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <string>

#include <gtest/gtest.h>

#include "alloc/alloc_failure.h"
#include "orvane/files.h"
#include "orvane/frame.h"
#include "orvane/pattern.h"
#include "orvane/vtmxdr.h"
#include "orvane/xdr.h"
#include "support/test_support.h"

using allocfail::forEachAllocationFailure;
using allocfail::forEachAllocationFailureInChildren;

namespace {

class AllocStreams : public allocfail::WithServices {};

}  // namespace

// Every allocation of a parse, a build and a run either succeeds or ends
// the process with abort; no call returns a wrong answer.
TEST_F(AllocStreams, PatternMatcherAbortsWithoutMemory) {
  const allocfail::ChildOutcome outcome = forEachAllocationFailureInChildren([] {
    uint16_t error = 0;
    uint16_t position = 0;
    const int a = nlsMatchPattern(0, "(ab|cd)>x#", "abcdabx7", &error, &position, nullptr);
    const int b = nlsMatchPattern(0, "(ab|cd)>x#", "abx", &error, &position, nullptr);
    int32_t length = 0;
    unsigned char *block = nlsBuildFA(0, "a@b", &error, &position, nullptr, &length);
    if (block == nullptr) {
      _exit(20);
    }
    const int c = nlsSimulFA(block, nullptr, "axxb");
    orvMemoryFreeFunc(block);
    if (a != 1 || b != 0 || c != 1) {
      _exit(21);
    }
    return true;
  });
  EXPECT_GT(outcome.ended, 0);
  EXPECT_EQ(outcome.ended, outcome.failurePoints);
}

namespace {

// A message of strings, counted bytes and an array, encoded once.
struct Message {
  char *name = nullptr;
  char *other = nullptr;
  uint32_t count = 0;
  int32_t *numbers = nullptr;
};

bool filterMessage(CXDR *x, Message &m) {
  return cxdr_string(x, &m.name, 1000) != 0 && cxdr_string(x, &m.other, 1000) != 0 &&
         cxdr_array(x, reinterpret_cast<void **>(&m.numbers), &m.count, 100, sizeof(int32_t),
                    reinterpret_cast<cxdrproc_t>(cxdr_Int32)) != 0;
}

}  // namespace

TEST_F(AllocStreams, XdrDecodingEndsWithTheAssertion) {
  static unsigned char buffer[512];
  uint32_t used = 0;
  {
    char name[] = "first string";
    char other[] = "second";
    int32_t numbers[] = {1, -2, 3, 40000};
    Message m{name, other, 4, numbers};
    CXDR x;
    ASSERT_EQ(1, cxdrmem_create(&x, CXDR_ENCODE, buffer, sizeof buffer));
    ASSERT_TRUE(filterMessage(&x, m));
    ASSERT_EQ(1, cxdrmem_getpos(&x, &used));
    cxdrmem_destroy(&x);
  }
  const allocfail::ChildOutcome outcome = forEachAllocationFailureInChildren([&] {
    Message m;
    CXDR x;
    if (cxdrmem_create(&x, CXDR_DECODE, buffer, used) != 1) {
      _exit(22);
    }
    const bool ok = filterMessage(&x, m);
    if (!ok || strcmp(m.name, "first string") != 0 || strcmp(m.other, "second") != 0 || m.count != 4 ||
        m.numbers[3] != 40000) {
      _exit(23);
    }
    x.direction = CXDR_FREE;
    filterMessage(&x, m);
    cxdrmem_destroy(&x);
    return true;
  });
  EXPECT_GT(outcome.ended, 0);
  EXPECT_EQ(outcome.ended, outcome.failurePoints);
}

TEST_F(AllocStreams, ObjectStreamThrowsNoMemoryAndStaysUsable) {
  EXPECT_ALLOCATION_FAILURES_REPORTED(forEachAllocationFailure([] {
    vtmXdr out;
    try {
      out.setBuffer(vtmXdr::encode, nullptr, 0);
      for (int i = 0; i < 200; ++i) {
        long value = i;
        out.xdr(value);
      }
      char text[] = "a text that makes the buffer grow";
      char *p = text;
      out.xdr(p);
    } catch (vtmXdr *failed) {
      EXPECT_EQ(&out, failed);
      // A buffer that cannot grow gives noMemory; a string whose
      // conversion fails (the character-set layer does not tell why) gives
      // badArgument.
      EXPECT_TRUE(failed->getStatus() == vtmXdr::noMemory || failed->getStatus() == vtmXdr::badArgument)
          << failed->getStatus();
      return false;
    }
    unsigned long length = 0;
    const void *data = out.getBuffer(length);
    EXPECT_NE(nullptr, data);
    EXPECT_GE(length, 800u);
    return true;
  }));
}

// File streams: a create or open that runs out of memory gives 0 (null),
// with the file closed again; what the record holds is released by
// destroying it.
TEST_F(AllocStreams, XdrFileStreamsGiveZero) {
  const std::string dir = testsupport::makeScratchDir("alloc_xdr");
  const std::string path = dir + "/stream.dat";
  EXPECT_ALLOCATION_FAILURES_REPORTED(forEachAllocationFailure([&] {
    CXDR x;
    memset(&x, 0, sizeof x);
    if (cxdrfile_create(&x, CXDR_ENCODE, path.c_str(), ORV_FILE_READ | ORV_FILE_WRITE | ORV_FILE_CREATE) !=
        1) {
      // The record may be filled with no file: destroying it releases it.
      EXPECT_EQ(1, cxdrfile_destroy(&x));
      return false;
    }
    int32_t value = 12345;
    const bool ok = cxdr_Int32(&x, &value) == 1;
    EXPECT_EQ(1, cxdrfile_destroy(&x));
    return ok;
  }));
  EXPECT_ALLOCATION_FAILURES_REPORTED(forEachAllocationFailure([&] {
    CXDR x;
    memset(&x, 0, sizeof x);
    if (cxdrfile_create(&x, CXDR_DECODE, path.c_str(), ORV_FILE_READ | ORV_FILE_MUST_EXIST) != 1) {
      EXPECT_EQ(1, cxdrfile_destroy(&x));
      return false;
    }
    int32_t value = 0;
    const bool ok = cxdr_Int32(&x, &value) == 1 && value == 12345;
    EXPECT_EQ(1, cxdrfile_destroy(&x));
    return ok;
  }));
  testsupport::removeTree(dir);
}

// Scrambling: a state that cannot be allocated gives 0 and the stream stays
// unscrambled.
TEST_F(AllocStreams, ScramblingStateGivesZero) {
  static unsigned char buffer[64];
  EXPECT_ALLOCATION_FAILURES_REPORTED(forEachAllocationFailure([] {
    CXDR x;
    EXPECT_EQ(1, cxdrmem_create(&x, CXDR_ENCODE, buffer, sizeof buffer));
    const bool ok = cxdrmem_encryptinit(&x, 77) == 1 && cxdrmem_decryptinit(&x, 77) == 1;
    cxdrmem_destroy(&x);
    return ok;
  }));
}

// Helpers of the XDR tests: a scratch log file that receives the streams'
// trace texts, and wire bytes as text.
#ifndef ORVANE_TESTS_XDR_SUPPORT_H
#define ORVANE_TESTS_XDR_SUPPORT_H

#include <stdio.h>

#include <string>
#include <vector>

#include "orvane/debug.h"
#include "orvane/frame.h"
#include "orvane/xdr.h"
#include "support/test_support.h"

namespace xdrtest {

// Initialises the process, and while traced() is called, sends the XDR
// trace texts to a scratch log file; everything is put back afterwards.
class XdrFixture : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = testsupport::makeScratchDir("xdr");
    log_ = dir_ + testsupport::kSep + "xdr-trace.log";
    savedName_ = TraceLogName;
    savedDevice_ = TraceDevice;
    savedActions_ = TraceActions;
    TraceLogName = log_.c_str();
    ASSERT_EQ(0, servicesProcessInitialize(ORV_ITEM_END));
  }
  void TearDown() override {
    TraceLogName = savedName_;
    TraceDevice = savedDevice_;
    TraceActions = savedActions_;
    servicesProcessTerminate(0);
    testsupport::removeTree(dir_);
  }
  // Turns tracing on into the log file.
  void traced() {
    TraceDevice = ORV_DEBUG_LOGFILE;
    TraceActions |= 0x4000u;
  }
  void untraced() { TraceActions &= ~0x4000u; }
  std::string logText() {
    return testsupport::fileExists(log_) ? testsupport::readFile(log_) : std::string();
  }
  bool logHas(const std::string &line) { return logText().find(line + "\n") != std::string::npos; }

  std::string dir_;
  std::string log_;
  const char *savedName_ = nullptr;
  uint32_t savedDevice_ = 0;
  uint32_t savedActions_ = 0;
};

inline std::vector<uint8_t> bytes(const uint8_t *data, size_t n) {
  return std::vector<uint8_t>(data, data + n);
}

}  // namespace xdrtest

#endif

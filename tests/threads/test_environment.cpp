// The thread layer is initialised once for the whole test program, as an
// application does at start-up.
#include <gtest/gtest.h>

#include "orvane/threads.h"

namespace {

class ThreadLayerEnvironment : public ::testing::Environment {
 public:
  void SetUp() override { ASSERT_EQ(0, orvThreadProcessInitialize()); }
  void TearDown() override { orvThreadProcessTerminate(); }
};

const ::testing::Environment *const environment =
    ::testing::AddGlobalTestEnvironment(new ThreadLayerEnvironment);

}  // namespace

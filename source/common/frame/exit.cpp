// Exit handlers and the fatal assertion.
#include <stdio.h>

#include "orvane/frame.h"
#include "platform/pal.h"

namespace {

struct ExitSlot {
  orvExitHandler handler;
  uintptr_t argument;
};

ExitSlot exitTable[ORV_EXIT_SLOTS];
bool exitTableReady = false;

// Message box style: the hand (stop) icon with an OK button.
constexpr uint32_t kStopIcon = 16;

}  // namespace

extern "C" {

ORV_API int orvInitExit(void) {
  if (exitTableReady) {
    return 0;
  }
  for (ExitSlot &slot : exitTable) {
    slot = ExitSlot{nullptr, 0};
  }
  exitTableReady = true;
  return 1;
}

ORV_API int orvRegisterExit(int slot, orvExitHandler handler, uintptr_t argument) {
  if (!exitTableReady) {
    orvInitExit();
  }
  if (slot < 0 || slot >= ORV_EXIT_SLOTS) {
    return 0;
  }
  exitTable[slot] = ExitSlot{handler, argument};
  return 1;
}

ORV_API void orvExit(void) {
  if (!exitTableReady) {
    return;
  }
  for (ExitSlot &slot : exitTable) {
    if (slot.handler != nullptr) {
      ExitSlot taken = slot;
      taken.handler(taken.argument);
      slot = ExitSlot{nullptr, 0};  // emptied after the call: a second orvExit calls nothing
    }
  }
}

ORV_API int orvAssert(const char *sourceName, int line) {
  char text[512];
  snprintf(text, sizeof text, "Assertion Failure at line <%d> of file <%s>.", line,
           sourceName != nullptr ? sourceName : "");
  orvExit();
  pal::messageBox(text, "*** ASSERTION FAILURE ***", kStopIcon);
  pal::debugBreak();
  pal::fatalExit(0);
}

}  // extern "C"

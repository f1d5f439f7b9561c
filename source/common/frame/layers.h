// The layers that process start-up and shut-down bring up and down, reached
// through one table so that the frame does not depend on their internals
// (and white-box tests can watch the order in which they are called).
#ifndef ORVANE_FRAME_LAYERS_H
#define ORVANE_FRAME_LAYERS_H

namespace frame {

struct LayerTable {
  void (*initializeStdFiles)();  // standard file records
  int (*threadInitialize)();     // thread layer: 0, or a status
  int (*nlsInitialize)();        // language support: 0 or 13 succeed
  int (*fileInitialize)();       // file layer: 1 ok, 0 failure
  void (*fileTerminate)();
  int (*nlsTerminate)();
  void (*threadTerminate)();
};

// The table in force. Tests may replace entries and must restore them.
LayerTable &layers();

// The table as the library builds it.
const LayerTable &defaultLayers();

}  // namespace frame

#endif

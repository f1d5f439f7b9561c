// The layer table of process start-up and shut-down.
#include "common/frame/layers.h"

#include "orvane/nls.h"
#include "orvane/threads.h"

namespace frame {

namespace {

// Layers that this build does not contain yet. Each step succeeds without
// doing anything; the issue that builds the layer replaces its entry with
// the layer's own function.
void stdFilesNotBuilt() {}
int fileLayerNotBuilt() { return 1; }
void fileTerminateNotBuilt() {}

constexpr LayerTable kDefaultLayers = {
    stdFilesNotBuilt, orvThreadProcessInitialize, nlsInit, fileLayerNotBuilt, fileTerminateNotBuilt,
    nlsTerminate,     orvThreadProcessTerminate,
};

LayerTable currentLayers = kDefaultLayers;

}  // namespace

LayerTable &layers() { return currentLayers; }

const LayerTable &defaultLayers() { return kDefaultLayers; }

}  // namespace frame

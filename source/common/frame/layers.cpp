// The layer table of process start-up and shut-down.
#include "common/frame/layers.h"

#include "orvane/threads.h"

namespace frame {

namespace {

// Layers that this build does not contain yet. Each step succeeds without
// doing anything; the issue that builds the layer replaces its entry with
// the layer's own function.
void stdFilesNotBuilt() {}
int nlsLayerNotBuilt() { return 0; }
int fileLayerNotBuilt() { return 1; }
void fileTerminateNotBuilt() {}
int nlsTerminateNotBuilt() { return 1; }

constexpr LayerTable kDefaultLayers = {
    stdFilesNotBuilt,      orvThreadProcessInitialize, nlsLayerNotBuilt,          fileLayerNotBuilt,
    fileTerminateNotBuilt, nlsTerminateNotBuilt,       orvThreadProcessTerminate,
};

LayerTable currentLayers = kDefaultLayers;

}  // namespace

LayerTable &layers() { return currentLayers; }

const LayerTable &defaultLayers() { return kDefaultLayers; }

}  // namespace frame

// The layer table of process start-up and shut-down.
#include "common/frame/layers.h"

#include "orvane/files.h"
#include "orvane/nls.h"
#include "orvane/threads.h"

namespace frame {

namespace {

constexpr LayerTable kDefaultLayers = {
    orvFileInitializeStdFiles, orvThreadProcessInitialize, nlsInit,
    orvFileProcessInitialize,  orvFileProcessTerminate,    nlsTerminate,
    orvThreadProcessTerminate,
};

LayerTable currentLayers = kDefaultLayers;

}  // namespace

LayerTable &layers() { return currentLayers; }

const LayerTable &defaultLayers() { return kDefaultLayers; }

}  // namespace frame

// Process frame: counted initialisation and termination, the application
// items, the services location and the product code.
#include <stdarg.h>
#include <stdlib.h>
#include <string.h>

#include <string>

#include "common/frame/frame_internal.h"
#include "common/frame/layers.h"
#include "orvane/frame.h"
#include "orvane_build_config.h"
#include "platform/pal.h"

namespace {

// Process-wide state. None of it is locked: applications initialise and
// terminate from one thread, before and after their other threads run.
int32_t initCount = 0;
char *applicationName = nullptr;
const char *releaseTag = nullptr;
int32_t majorVersion = 0;
int32_t minorVersion = 0;
char *configurationKey = nullptr;

const char kReleaseTag[] = ORVANE_RELEASE_TAG;
const char kProfileFile[] = "ORVANE.INI";
const char kLocationsSection[] = "Orvane Locations";

// Replaces one string item with a heap copy of value. Returns 0, or the
// item's code (null value) or its negation (failed copy).
int setStringItem(char *&item, int code, const char *value) {
  if (value == nullptr) {
    return code;
  }
  free(item);
  item = strdup(value);
  if (item == nullptr) {
    return -code;
  }
  return 0;
}

// Walks the item list that begins with firstCode. Codes 1 and 5 take a
// string; every other non-zero code takes no value.
int applyItems(int firstCode, va_list items) {
  for (int code = firstCode; code != ORV_ITEM_END; code = va_arg(items, int)) {
    int result = 0;
    if (code == ORV_ITEM_APPLICATION_NAME) {
      result = setStringItem(applicationName, code, va_arg(items, const char *));
    } else if (code == ORV_ITEM_CONFIGURATION_KEY) {
      result = setStringItem(configurationKey, code, va_arg(items, const char *));
    }
    if (result != 0) {
      return result;
    }
  }
  return 0;
}

}  // namespace

extern "C" {

ORV_API int servicesProcessInitialize(int firstCode, ...) {
  if (initCount++ != 0) {
    return 0;  // only the first call initialises
  }
  releaseTag = kReleaseTag;
  majorVersion = static_cast<int32_t>(atol(ORVANE_MAJOR_VERSION_TEXT));
  minorVersion = static_cast<int32_t>(atol(ORVANE_MINOR_VERSION_TEXT));

  const frame::LayerTable &layer = frame::layers();
  layer.initializeStdFiles();
  int r = layer.threadInitialize();
  if (r != 0) {
    return r + 1100;
  }
  r = layer.nlsInitialize();
  if (r != 0 && r != 13) {
    return r + 1000;
  }
  if (layer.fileInitialize() == 0) {
    return 1200;
  }

  va_list items;
  va_start(items, firstCode);
  int result = applyItems(firstCode, items);
  va_end(items);
  return result;
}

ORV_API intptr_t servicesQueryApp(int item) {
  switch (item) {
    case ORV_ITEM_APPLICATION_NAME:
      return reinterpret_cast<intptr_t>(applicationName);
    case ORV_ITEM_RELEASE_TAG:
      return reinterpret_cast<intptr_t>(releaseTag);
    case ORV_ITEM_MAJOR_VERSION:
      return reinterpret_cast<intptr_t>(&majorVersion);
    case ORV_ITEM_MINOR_VERSION:
      return reinterpret_cast<intptr_t>(&minorVersion);
    case ORV_ITEM_CONFIGURATION_KEY:
      return reinterpret_cast<intptr_t>(configurationKey);
    default:
      // Not a valid pointer: callers must pass 1 to 5. Kept as it always was.
      return static_cast<intptr_t>(item) - 1;
  }
}

ORV_API int servicesProcessTerminate(int keepLayers) {
  if (--initCount != 0) {
    return 1;
  }
  if (keepLayers == 0) {
    const frame::LayerTable &layer = frame::layers();
    layer.fileTerminate();
    layer.nlsTerminate();
    layer.threadTerminate();
  }
  free(applicationName);
  applicationName = nullptr;
  free(configurationKey);
  configurationKey = nullptr;
  return 1;
}

ORV_API int orvGetServicesLocation(const char *suffix, char *dir, short dirSize) {
  if (dir == nullptr || dirSize <= 0) {
    return 0;
  }
  const uint32_t size = static_cast<uint32_t>(dirSize);
  dir[0] = '\0';

  // Attempts 1 and 2: "Services<suffix>", then "Services" alone.
  std::string key = "Services";
  if (suffix != nullptr) {
    key += suffix;
  }
  int attempt = 1;
  for (; attempt < 3; ++attempt) {
    const char *name = attempt == 1 ? key.c_str() : "Services";
    uint32_t n = pal::getPrivateProfileString(kLocationsSection, name, "", dir, size, kProfileFile);
    if (n > 0) {
      if (dir[n - 1] != pal::kPathSeparator && n + 1 < size) {
        dir[n] = pal::kPathSeparator;
        dir[n + 1] = '\0';
      }
      return 4;  // the configuration file supplied the directory
    }
  }

  // Attempt 3: the directory of the executable, separator included.
  char path[pal::kMaxPath];
  uint32_t n = pal::executablePath(path, sizeof path);
  if (n > 0) {
    char *last = strrchr(path, pal::kPathSeparator);
    if (last != nullptr) {
      last[1] = '\0';
      frame::copyWholeCharacters(dir, size, path);
    }
  }
  return attempt;
}

ORV_API uint32_t orvGetProductCode(void) {
  char letter[2];
  if (pal::loadString(ORVANE_RES_PRODUCT_LETTER, letter, sizeof letter) <= 0) {
    return 0;
  }
  return static_cast<unsigned char>(letter[0]);
}

}  // extern "C"

namespace frame {

int initializationCount() { return initCount; }

}  // namespace frame

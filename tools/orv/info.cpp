// orv info: initialise the services and report what each layer found.
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <string>

#include "orv_commands.h"
#include "orvane/frame.h"

#if defined(_WIN32)
#include <windows.h>
#else
#include "platform/posix/profile_path.h"
#endif

namespace {

// Where the library resolves bare profile names such as ORVANE.INI.
std::string profileDirectory() {
#if defined(_WIN32)
  char dir[MAX_PATH];
  UINT n = GetWindowsDirectoryA(dir, sizeof dir);
  return n > 0 && n < sizeof dir ? std::string(dir, n) : std::string();
#else
  if (const char *dir = getenv("ORVANE_PROFILE_DIR"); dir != nullptr && *dir != '\0') {
    return dir;
  }
  if (const char *xdg = getenv("XDG_CONFIG_HOME"); xdg != nullptr && *xdg != '\0') {
    return std::string(xdg) + "/orvane";
  }
  if (const char *home = getenv("HOME"); home != nullptr && *home != '\0') {
    return std::string(home) + "/.config/orvane";
  }
  return std::string();
#endif
}

}  // namespace

namespace orv {

void row(const char *label, const std::string &value) { printf("  %-22s %s\n", label, value.c_str()); }

int runInfo(int argc, char **argv) {
  const char *configKey = nullptr;
  for (int i = 0; i < argc; ++i) {
    if (strcmp(argv[i], "--key") == 0 && i + 1 < argc) {
      configKey = argv[++i];
    } else {
      fprintf(stderr, "usage: orv info [--key CONFIGURATION-KEY]\n");
      return 2;
    }
  }
  int status = configKey != nullptr
                   ? servicesProcessInitialize(ORV_ITEM_APPLICATION_NAME, "orv", ORV_ITEM_CONFIGURATION_KEY,
                                               configKey, ORV_ITEM_END)
                   : servicesProcessInitialize(ORV_ITEM_APPLICATION_NAME, "orv", ORV_ITEM_END);

  printf("Orvane services\n");
  const int32_t *major = reinterpret_cast<const int32_t *>(servicesQueryApp(ORV_ITEM_MAJOR_VERSION));
  const int32_t *minor = reinterpret_cast<const int32_t *>(servicesQueryApp(ORV_ITEM_MINOR_VERSION));
  const char *tag = reinterpret_cast<const char *>(servicesQueryApp(ORV_ITEM_RELEASE_TAG));
  row("initialisation", status == 0 ? "ok (0)" : "failed (" + std::to_string(status) + ")");
  row("version", major != nullptr && minor != nullptr ? std::to_string(*major) + "." + std::to_string(*minor)
                                                      : std::string("unknown"));
  row("release tag", tag != nullptr ? tag : "(none)");
  uint32_t code = orvGetProductCode();
  row("product code", code != 0 ? std::string(1, static_cast<char>(code)) : std::string("(none)"));

  char dir[260];
  int source = orvGetServicesLocation("", dir, sizeof dir);
  row("services location",
      std::string(dir) + (source == 4 ? "  (from ORVANE.INI)" : "  (executable's directory)"));

  printf("settings chain\n");
  const char *key = reinterpret_cast<const char *>(servicesQueryApp(ORV_ITEM_CONFIGURATION_KEY));
  row("configuration key", key != nullptr ? key : "(none: registry and application section skipped)");
  row("profile directory", profileDirectory().empty() ? "(none)" : profileDirectory());
#if !defined(_WIN32)
  // Keys that the user's file lacks come from these, in order.
  std::string systemDirs;
  for (const std::string &systemDir : pal::systemProfileDirectories()) {
    systemDirs += (systemDirs.empty() ? "" : ", ") + systemDir;
  }
  row("system profiles", systemDirs);
#endif
  std::string section = "Services";
  if (code != 0) {
    section += static_cast<char>(code);
  }
  row("profile sections",
      std::string(key != nullptr ? std::string(key) + ", " : "") + section + ", Services  (in ORVANE.INI)");
  row("environment", "consulted last");

  reportThreads();
  reportLanguageSupport();
  reportCatalog();
  reportFiles();

  servicesProcessTerminate(0);
  return status == 0 ? 0 : 1;
}

}  // namespace orv

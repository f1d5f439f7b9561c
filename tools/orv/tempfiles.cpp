// orv tempfiles: the registry of temporary files shared by the processes of
// an installation.
//
//   orv tempfiles list    show the registry's lines (path, stamp, age)
//   orv tempfiles clean   run one clean-up pass now
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include <string>

#include "common/files/temp_admin.h"
#include "orv_commands.h"
#include "orvane/files.h"
#include "orvane/frame.h"

namespace orv {

namespace {

int usage() {
  fputs(
      "usage: orv tempfiles list  [--key CONFIGURATION-KEY]\n"
      "       orv tempfiles clean [--key CONFIGURATION-KEY]\n"
      "\n"
      "  list   show the lines of the temporary-file registry (TEMPFILEREGISTRY):\n"
      "         each file's path, its stamp (seconds of the day) and its age\n"
      "  clean  run one clean-up pass: delete the files of lines older than the\n"
      "         time-out (TEMPFILETIMEOUT) and drop the lines of files gone\n",
      stderr);
  return 2;
}

// The local time of day in seconds, as the registry stamps it.
uint32_t stampNow() {
  time_t now = time(nullptr);
  struct tm local {};
#if defined(_WIN32)
  bool ok = localtime_s(&local, &now) == 0;
#else
  bool ok = localtime_r(&now, &local) != nullptr;
#endif
  return ok ? static_cast<uint32_t>(local.tm_hour * 3600 + local.tm_min * 60 + local.tm_sec) : 0;
}

// "path;stamp" as "path  stamp  age".
void printLine(const std::string &line, uint32_t now) {
  size_t semicolon = line.rfind(';');
  if (semicolon == std::string::npos) {
    printf("  %s  (not a registry line)\n", line.c_str());
    return;
  }
  uint32_t stamp = static_cast<uint32_t>(strtoul(line.c_str() + semicolon + 1, nullptr, 10));
  uint32_t age = stamp > now ? now + 86400 - stamp : now - stamp;
  printf("  %s  stamp %u  age %us\n", line.substr(0, semicolon).c_str(), stamp, age);
}

int list(uint32_t now) {
  char *text = files::admin::tempRegistryList();
  if (text == nullptr) {
    fprintf(stderr, "orv tempfiles: the registry could not be read\n");
    return 1;
  }
  printf("registry %s (time-out %u seconds)\n", files::admin::tempRegistryPath(),
         files::admin::tempTimeout());
  int lines = 0;
  for (const char *p = text; *p != '\0';) {
    const char *end = strchr(p, '\n');
    std::string line = end != nullptr ? std::string(p, end) : std::string(p);
    printLine(line, now);
    ++lines;
    p = end != nullptr ? end + 1 : p + strlen(p);
  }
  printf("%d line%s\n", lines, lines == 1 ? "" : "s");
  orvMemoryFreeFunc(text);
  return 0;
}

int clean() {
  if (files::admin::tempCleanupPass() == 0) {
    fprintf(stderr, "orv tempfiles: the clean-up pass failed (error %d)\n", orvFileError());
    return 1;
  }
  printf("clean-up pass done on %s\n", files::admin::tempRegistryPath());
  return 0;
}

}  // namespace

int runTempfiles(int argc, char **argv) {
  if (argc < 1 || (strcmp(argv[0], "list") != 0 && strcmp(argv[0], "clean") != 0)) {
    return usage();
  }
  // Taken before the services start their clean-up thread, which reads the
  // clock too.
  const uint32_t now = stampNow();
  const char *configKey = nullptr;
  for (int i = 1; i < argc; ++i) {
    if (strcmp(argv[i], "--key") == 0 && i + 1 < argc) {
      configKey = argv[++i];
    } else {
      return usage();
    }
  }
  int status = configKey != nullptr
                   ? servicesProcessInitialize(ORV_ITEM_APPLICATION_NAME, "orv", ORV_ITEM_CONFIGURATION_KEY,
                                               configKey, ORV_ITEM_END)
                   : servicesProcessInitialize(ORV_ITEM_APPLICATION_NAME, "orv", ORV_ITEM_END);
  int result = 1;
  if (status != 0) {
    fprintf(stderr, "orv tempfiles: the services did not start (%d)\n", status);
  } else if (files::admin::tempRegistryPath() == nullptr) {
    fprintf(stderr, "orv tempfiles: no registry is configured (TEMPFILEREGISTRY)\n");
  } else {
    result = strcmp(argv[0], "list") == 0 ? list(now) : clean();
  }
  servicesProcessTerminate(0);
  return result;
}

}  // namespace orv

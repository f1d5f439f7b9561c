// Subcommands of the orv tool; each takes the arguments after its name.
#ifndef ORV_COMMANDS_H
#define ORV_COMMANDS_H

#include <string>

namespace orv {

int runInfo(int argc, char **argv);
int runNls(int argc, char **argv);
int runTempfiles(int argc, char **argv);
int runMatch(int argc, char **argv);
int runCatalog(int argc, char **argv);

// One indented "label value" line of a report.
void row(const char *label, const std::string &value);

// The sections of orv info that each layer reports, one file each
// (info_threads.cpp, info_nls.cpp, info_files.cpp). They run while the
// services are initialised.
void reportThreads();
void reportLanguageSupport();
void reportFiles();
// The services catalog (catalog_info.cpp).
void reportCatalog();

}  // namespace orv

#endif

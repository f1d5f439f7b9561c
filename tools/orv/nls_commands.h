// The subcommands of "orv nls", one file each.
#ifndef ORV_NLS_COMMANDS_H
#define ORV_NLS_COMMANDS_H

#include <string>
#include <vector>

namespace orv {

int runNlsCheck(int argc, char **argv);
int runNlsConvert(int argc, char **argv);
int runNlsFormat(int argc, char **argv);

// The names of the character-set definitions (MBCHARMAP blocks) of a table
// file, read from the file itself; empty when it does not open.
std::vector<std::string> definitionNames(const std::string &path);

// The text of an nlsInit status.
const char *nlsStatusText(int status);

}  // namespace orv

#endif

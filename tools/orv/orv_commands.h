// Subcommands of the orv tool; each takes the arguments after its name.
#ifndef ORV_COMMANDS_H
#define ORV_COMMANDS_H

namespace orv {

int runInfo(int argc, char **argv);

}  // namespace orv

#endif

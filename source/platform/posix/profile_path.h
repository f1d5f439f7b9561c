// POSIX profile directory and the resolution of bare profile names in it;
// shared by the profile reader and the per-user registry file.
#ifndef ORVANE_PLATFORM_POSIX_PROFILE_PATH_H
#define ORVANE_PLATFORM_POSIX_PROFILE_PATH_H

#include <string>

namespace pal {

// $ORVANE_PROFILE_DIR, else $XDG_CONFIG_HOME/orvane, else $HOME/.config/orvane;
// empty when none of them is set.
std::string profileDirectoryPath();

// The path of a profile file: a name with a separator is taken as it stands;
// a bare name is looked up without regard to case in the profile directory.
// Empty when no such file exists.
std::string resolveProfileFile(const char *fileName);

}  // namespace pal

#endif

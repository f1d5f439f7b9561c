// POSIX profile directory and the resolution of bare profile names in it;
// shared by the profile reader and the per-user registry file.
#ifndef ORVANE_PLATFORM_POSIX_PROFILE_PATH_H
#define ORVANE_PLATFORM_POSIX_PROFILE_PATH_H

#include <string>
#include <vector>

namespace pal {

// $ORVANE_PROFILE_DIR, else $XDG_CONFIG_HOME/orvane, else $HOME/.config/orvane;
// empty when none of them is set.
std::string profileDirectoryPath();

// The path of a profile file: a name with a separator is taken as it stands;
// a bare name is looked up without regard to case in the profile directory.
// Empty when no such file exists.
std::string resolveProfileFile(const char *fileName);

// The file fileName (matched without regard to case) in directory dir; empty
// when dir is empty or has no such file.
std::string resolveProfileFileIn(const std::string &dir, const char *fileName);

// The system-wide profile directories that the reader consults, in order,
// for a key that the user's profile file lacks: "<entry>/orvane" for each
// absolute entry of $XDG_CONFIG_DIRS (default /etc/xdg), then
// "<sysconfdir>/orvane" of the installation. A directory is listed once.
std::vector<std::string> systemProfileDirectories();

// Replaces the installation's configuration directory (the build-time
// sysconfdir) that systemProfileDirectories ends with; null restores it.
// For tests.
void setSystemConfigDirectory(const char *dir);

}  // namespace pal

#endif

#include "platform/mac/MacDirectories.h"

namespace platform {

std::vector<std::string> macProtectedDirectories() {
  return {"/.Trashes", "/Applications", "/bin", "/cores",   "/dev",     "/etc",
          "/home",     "/Library",      "/net", "/Network", "/private", "/sbin",
          "/System",   "/tmp",          "/usr", "/var"};
}

std::vector<std::string> macLibraryPrefixes(const std::string& home) { return {home + "/Library"}; }

std::vector<std::string> macAllowedLibraryPrefixes(const std::string& home) {
  return {home + "/Library/Developer"};
}

}  // namespace platform

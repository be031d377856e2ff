#ifndef TVL_FRONTEND_C_PATHS_H
#define TVL_FRONTEND_C_PATHS_H

#include <algorithm>
#include <string>

namespace tvl::c {

// Returns a path of the library, which has backslashes, as one of the system. No path of the library contains
// a name with a backslash.
[[nodiscard]] inline std::string Slashed(std::string path) {
  std::replace(path.begin(), path.end(), '\\', '/');
  return path;
}

// The operations take writable texts, but only read those that are passed through this function.
[[nodiscard]] inline char* ReadOnly(const char* text) {
  return const_cast<char*>(text);
}

}  // namespace tvl::c

#endif

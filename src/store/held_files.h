#ifndef TVL_STORE_HELD_FILES_H
#define TVL_STORE_HELD_FILES_H

#include <string>
#include <vector>

namespace tvl {

// The held files at and below `path`, a path of the host, links not followed. Ends early where the
// application wants to stop (base/stop.h).
[[nodiscard]] std::vector<std::string> HeldFilesAt(const std::string& path);

}  // namespace tvl

#endif

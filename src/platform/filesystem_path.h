#ifndef TVL_PLATFORM_FILESYSTEM_PATH_H
#define TVL_PLATFORM_FILESYSTEM_PATH_H

#include <filesystem>
#include <string>

// Paths for the standard library, which on Windows does not use the code page of the process for its own
// conversions.

namespace tvl {

[[nodiscard]] std::filesystem::path FilesystemPath(const std::string& path);

// Returns the path with slashes.
[[nodiscard]] std::string TextOf(const std::filesystem::path& path);

}  // namespace tvl

#endif

#ifndef TVL_CLI_HOST_PATH_H
#define TVL_CLI_HOST_PATH_H

#include <filesystem>
#include <string>

// Paths of the system, which tvl writes with slashes everywhere.

namespace tvl::cli {

// Returns a path as the user wrote it with slashes as separators.
[[nodiscard]] std::string HostName(const std::string& given);

// Returns the part of a path that names a drive or a share, such as "C:" or "//server/share", without the
// slash that follows it; empty where the system has one tree.
[[nodiscard]] std::string DriveOf(const std::string& path);

// Returns the rest of the path, which begins with a slash if the path is a full one.
[[nodiscard]] std::string WithoutDrive(const std::string& path);

// Returns true for a path that does not depend on the current folder.
[[nodiscard]] bool IsFullPath(const std::string& path);

// Returns the folder that a path is in, without a trailing slash unless it is a root; "." for a single name.
[[nodiscard]] std::string FolderOf(const std::string& path);

// Returns true if `path` is `folder` or is below it. Both are full paths without a trailing slash and without
// links.
[[nodiscard]] bool IsPathIn(const std::string& path, const std::string& folder);

// Convert between the two forms of a path, without loss.
[[nodiscard]] std::filesystem::path PathOf(const std::string& text);
[[nodiscard]] std::string TextOf(const std::filesystem::path& path);

}  // namespace tvl::cli

#endif

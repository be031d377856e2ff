#ifndef TVL_CLI_FILE_STATUS_H
#define TVL_CLI_FILE_STATUS_H

#include <sys/stat.h>

#include <optional>
#include <string>
#include <vector>

namespace tvl::cli {

// Return the status of the file that a path leads to, or of the link itself. Empty, with the reason in errno,
// if there is none.
[[nodiscard]] std::optional<struct stat> StatusOf(const std::string& path);
[[nodiscard]] std::optional<struct stat> LinkStatusOf(const std::string& path);

// What one look at a name finds: its own status, and that of the file that it leads to, which differs only
// for a link.
struct NameStatus {
  std::optional<struct stat> itself;
  std::optional<struct stat> leads_to;

  [[nodiscard]] bool IsLink() const { return itself && S_ISLNK(itself->st_mode); }
};
[[nodiscard]] NameStatus LookAtName(const std::string& path);

// Returns true for a folder or a link to one.
[[nodiscard]] bool IsFolder(const std::string& path);

[[nodiscard]] bool IsLink(const std::string& path);

// Returns true for any name that is in use, even that of a dangling link.
[[nodiscard]] bool Exists(const std::string& path);

// Returns the folder that a path is in, without a trailing slash; "." for a single name.
[[nodiscard]] std::string FolderOf(const std::string& path);

// Returns the full path without links, as far as it exists. Empty if it cannot be resolved, as with a loop of
// links.
[[nodiscard]] std::string RealPath(const std::string& path);

// Adds the names in a folder, except "." and "..". Returns 0 or an errno value.
[[nodiscard]] int ListNames(const std::string& folder, std::vector<std::string>& names);

}  // namespace tvl::cli

#endif

#ifndef TVL_CLI_FILE_STATUS_H
#define TVL_CLI_FILE_STATUS_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tvl::cli {

// Which file or folder it is, by whatever name.
struct FileIdentity {
  std::uint64_t volume = 0;
  std::uint64_t number = 0;

  bool operator==(const FileIdentity&) const = default;
};

// What the system says about a name.
struct FileStatus {
  enum class Kind { kFile, kFolder, kLink, kOther };

  Kind kind = Kind::kOther;
  std::uint64_t size = 0;
  std::int64_t seconds = 0;  // the time of the last change, since 1970-01-01 UTC
  std::int64_t nanoseconds = 0;
  FileIdentity identity;

  [[nodiscard]] bool IsFile() const { return kind == Kind::kFile; }
  [[nodiscard]] bool IsFolder() const { return kind == Kind::kFolder; }
  [[nodiscard]] bool IsLink() const { return kind == Kind::kLink; }
};

// Return the status of the file that a path leads to, or of the link itself. Empty, with the reason in errno,
// if there is none.
[[nodiscard]] std::optional<FileStatus> StatusOf(const std::string& path);
[[nodiscard]] std::optional<FileStatus> LinkStatusOf(const std::string& path);

// What one look at a name finds: its own status, and that of the file that it leads to, which differs only
// for a link.
struct NameStatus {
  std::optional<FileStatus> itself;
  std::optional<FileStatus> leads_to;

  [[nodiscard]] bool IsLink() const { return itself && itself->IsLink(); }
};
[[nodiscard]] NameStatus LookAtName(const std::string& path);

// Returns true for a folder or a link to one.
[[nodiscard]] bool IsFolder(const std::string& path);

[[nodiscard]] bool IsLink(const std::string& path);

// Returns true for any name that is in use, even that of a dangling link.
[[nodiscard]] bool Exists(const std::string& path);

// Returns the full path without links of what exists. Empty, with the reason in errno, if it cannot be
// resolved.
[[nodiscard]] std::string ResolvedPath(const std::string& path);

// Returns the full path without links, as far as it exists. Empty if it cannot be resolved, as with a loop of
// links.
[[nodiscard]] std::string RealPath(const std::string& path);

// Returns where a link leads, relative to its folder or as a full path; empty if that cannot be read.
[[nodiscard]] std::string LinkTarget(const std::string& link);

// Adds the names in a folder, except "." and "..". Returns 0 or an errno value.
[[nodiscard]] int ListNames(const std::string& folder, std::vector<std::string>& names);

}  // namespace tvl::cli

#endif

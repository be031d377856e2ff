#ifndef TVL_CLI_OWN_FILES_H
#define TVL_CLI_OWN_FILES_H

#include <string>

#include "cli/file_status.h"
#include "cli/folder_trail.h"
#include "cli/store.h"

namespace tvl::cli {

// The files that a store needs for itself: its configuration, the lock file next to it, and the temporary
// folder with its contents. A document must not replace them, or nobody could use the store any more. A
// server protects its own.
class OwnFiles {
 public:
  explicit OwnFiles(const Store& store);

  // Returns true if `path`, which need not exist, is one of them by any name or link.
  [[nodiscard]] bool Include(const std::string& path) const;

  // Returns true if one of them is at or below `path`, without following links, and would disappear with it.
  [[nodiscard]] bool AreIn(const std::string& path) const;

  // A fast form of Include for an entry of a folder that is not one of them.
  [[nodiscard]] bool IncludeEntry(const std::string& path) const {
    return IncludeEntry(path, LookAtName(path));
  }
  [[nodiscard]] bool IncludeEntry(const std::string& path, const NameStatus& status) const;

  // The same for an existing file or folder, by its status.
  [[nodiscard]] bool Hold(const FileStatus& status) const { return identities_.Hold(status); }

  // Returns true for the names of the configuration and of its lock file, regardless of case.
  [[nodiscard]] bool IsConfigurationName(const std::string& path) const;

 private:
  std::string configuration_;
  std::string configuration_lock_;
  std::string temporary_folder_;
  Identities identities_;
};

inline constexpr char kOwnFile[] = "belongs to the store itself";

}  // namespace tvl::cli

#endif

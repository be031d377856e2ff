#ifndef TVL_CLI_OWN_FILES_H
#define TVL_CLI_OWN_FILES_H

#include <sys/stat.h>

#include <string>

#include "cli/folder_trail.h"
#include "cli/store.h"

namespace tvl::cli {

// What a store needs for itself: its configuration, the lock file next to it, and the temporary folder with
// everything in it. No document may take its place, or the store becomes unusable for everyone. A server
// guards its own.
class OwnFiles {
 public:
  explicit OwnFiles(const Store& store);

  // True if `path`, which need not exist, is one of them, by any name or link.
  [[nodiscard]] bool Include(const std::string& path) const;

  // True if removing or renaming `path`, links not followed, would take one of them away.
  [[nodiscard]] bool AreIn(const std::string& path) const;

  // The same as Include, but fast, for an entry of a folder that is not one of them.
  [[nodiscard]] bool IncludeEntry(const std::string& path) const;

  // The same for an existing file or folder by its status.
  [[nodiscard]] bool Hold(const struct stat& status) const { return identities_.Hold(status); }

 private:
  [[nodiscard]] bool IsConfigurationName(const std::string& path) const;

  std::string configuration_;
  std::string temporary_folder_;
  Identities identities_;
};

inline constexpr char kOwnFile[] = "belongs to the store itself";

}  // namespace tvl::cli

#endif

#ifndef TVL_CLI_TRANSFER_FOLDER_NAMES_H
#define TVL_CLI_TRANSFER_FOLDER_NAMES_H

#include <string>
#include <unordered_set>

namespace tvl::cli {

// The names in a folder. On a share, reading them also makes the system remember the status of each, so that
// it need not ask the server for each file.
class FolderNames {
 public:
  explicit FolderNames(const std::string& folder);

  // Returns true if the folder was read or does not exist, and has no such name, regardless of case: a share
  // may ignore case.
  [[nodiscard]] bool Lack(const std::string& name) const;

 private:
  bool known_;
  std::unordered_set<std::string> names_;
};

}  // namespace tvl::cli

#endif

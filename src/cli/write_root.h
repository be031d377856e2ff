#ifndef TVL_CLI_WRITE_ROOT_H
#define TVL_CLI_WRITE_ROOT_H

#include <string>

#include "cli/file_status.h"

namespace tvl::cli {

// The folder that a command writes into. Anyone who can write to a store can create a link in it, so nothing
// may be written outside the folder through a link.
class WriteRoot {
 public:
  // With `follow`, links may lead anywhere.
  WriteRoot(const std::string& folder, bool follow);

  // Returns true if writing to `path` would write outside the folder.
  [[nodiscard]] bool IsLeftBy(const std::string& path);
  // The same for a path without a trailing slash, with its status.
  [[nodiscard]] bool IsLeftBy(const std::string& path, const NameStatus& status);

 private:
  [[nodiscard]] bool IsOutside(const std::string& folder);

  std::string root_;
  bool follow_;
  std::string last_folder_;  // the last result is cached, because the files of a folder follow each other
  bool last_outside_ = false;
};

inline constexpr char kLeadsOutText[] =
    "a link on the other side leads out of the store; --follow allows this";

}  // namespace tvl::cli

#endif

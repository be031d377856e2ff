#ifndef TVL_CLI_FOLDER_TRAIL_H
#define TVL_CLI_FOLDER_TRAIL_H

#include <cstddef>
#include <string>
#include <vector>

#include "cli/file_status.h"

namespace tvl::cli {

// A set of files and folders, identified by what they are instead of by name.
class Identities {
 public:
  // Adds the file or folder at `path` if it exists.
  void Add(const std::string& path);
  void Add(const FileStatus& status) { known_.push_back(status.identity); }
  [[nodiscard]] bool Hold(const FileStatus& status) const;

  [[nodiscard]] std::size_t Count() const { return known_.size(); }
  void CutTo(std::size_t count) { known_.resize(count); }

 private:
  std::vector<FileIdentity> known_;
};

// Marks `path` and its parents as folders of a walk as long as the object exists. A link to one of them forms
// a loop.
class InFolder {
 public:
  InFolder(Identities& trail, const std::string& path);
  ~InFolder() { trail_.CutTo(before_); }
  InFolder(const InFolder&) = delete;
  InFolder& operator=(const InFolder&) = delete;

 private:
  Identities& trail_;
  std::size_t before_;
};

// Returns true if `path`, which need not exist, is `folder` or is inside it, regardless of links.
[[nodiscard]] bool LiesIn(const std::string& path, const std::string& folder);

// Returns true if `path` is a link to a folder that contains the link itself. Files written through it would
// appear under other names of the same tree, where a later synchronization would delete them.
[[nodiscard]] bool LeadsBack(const std::string& path);

}  // namespace tvl::cli

#endif

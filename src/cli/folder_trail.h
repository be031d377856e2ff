#ifndef TVL_CLI_FOLDER_TRAIL_H
#define TVL_CLI_FOLDER_TRAIL_H

#include <sys/stat.h>

#include <cstddef>
#include <string>
#include <vector>

namespace tvl::cli {

// Files and folders known by what they are, not by their names.
class Identities {
 public:
  // Adds what is at `path`, if anything is.
  void Add(const std::string& path);
  void Add(const struct stat& status) { known_.push_back({status.st_dev, status.st_ino}); }
  [[nodiscard]] bool Hold(const struct stat& status) const;

  [[nodiscard]] std::size_t Count() const { return known_.size(); }
  void CutTo(std::size_t count) { known_.resize(count); }

 private:
  struct Identity {
    dev_t device;
    ino_t inode;
    bool operator==(const Identity&) const = default;
  };
  std::vector<Identity> known_;
};

// The folders that a walk is in, and those above them: a link to one of these leads in a circle. As long as
// the object lives the walk is in `path`.
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

// True if `path`, which need not be there, is `folder` or lies in it, by whatever names.
[[nodiscard]] bool LiesIn(const std::string& path, const std::string& folder);

// True if `path` is a link to a folder that the link itself lies in. What is written through it lands among
// other names of the same tree, where a later synchronisation would find and delete it.
[[nodiscard]] bool LeadsBack(const std::string& path);

}  // namespace tvl::cli

#endif

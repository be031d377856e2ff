#ifndef TVL_STORE_BACKUP_PART_FOLDER_H
#define TVL_STORE_BACKUP_PART_FOLDER_H

#include <string>

#include "store/backup/part_lock.h"
#include "store/failure.h"

namespace tvl {

// A folder that appears complete or not at all. It is written as "<path>.tvlpart" and renamed at the end. A
// file "<path>.tvlpart.lock" is held meanwhile, so that what a killed process left can be told from what
// another process is writing. The destructor removes a folder that was not finished.
class PartFolder {
 public:
  // `path` is a full path.
  explicit PartFolder(std::string path);
  ~PartFolder();
  PartFolder(const PartFolder&) = delete;
  PartFolder& operator=(const PartFolder&) = delete;

  // Fails if something other than an empty folder exists at the path.
  [[nodiscard]] StoreFailure Check() const;

  // Creates the part, empty and accessible to its owner only. Removes one that a killed process left. Fails
  // if another process is writing it.
  [[nodiscard]] StoreFailure Create();

  // Waits until everything is on the disk, and renames the part.
  [[nodiscard]] StoreFailure Finish();

  [[nodiscard]] const std::string& Path() const { return part_; }

 private:
  [[nodiscard]] StoreFailure Hold();
  [[nodiscard]] StoreFailure MakeEmpty() const;

  std::string path_;
  std::string part_;
  std::string lock_path_;
  PartLock lock_;
  bool created_ = false;
};

}  // namespace tvl

#endif

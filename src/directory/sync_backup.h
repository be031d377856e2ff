#ifndef TVL_DIRECTORY_SYNC_BACKUP_H
#define TVL_DIRECTORY_SYNC_BACKUP_H

#include <cstddef>

#include "base/fixed_text.h"
#include "platform/writing.h"

namespace tvl {

// The folder in which a synchronization keeps the files that it replaces and deletes, under the names that
// they had in the target. If a name is taken by an older backup, a number is appended.
class SyncBackup {
 public:
  // `folder` is a full path. It is created when it is first needed.
  SyncBackup(const char* folder, Safety safety) : safety_(safety) { folder_.Append(folder); }

  // Copies a file that is about to be replaced. `root_length` is the length of the target's own path, with
  // which `path` begins. Returns false, with the error recorded, if the file exists and could not be copied.
  [[nodiscard]] bool Keep(const char* path, std::size_t root_length);

  // Moves all files of a tree, or one file, and removes its folders. Returns a code of the library.
  [[nodiscard]] int MoveHere(const char* path, std::size_t root_length);

 private:
  static const char* Destination(const char* path, void* backup);
  const char* PlaceFor(const char* path);
  bool MakeFolders();

  const Safety safety_;
  PathText folder_;
  std::size_t root_length_ = 0;  // of the current entry
  PathText place_;
};

}  // namespace tvl

#endif

#ifndef TVL_STORE_BACKUP_FOLDER_STEPS_H
#define TVL_STORE_BACKUP_FOLDER_STEPS_H

#include <string>

// What PartFolder needs of the system. Functions return 0 or an errno value.

namespace tvl {

// Creates a folder that is accessible to its owner only, where the system has modes.
[[nodiscard]] int CreatePrivateFolder(const std::string& path);

// Removes a folder and what is in it, without following links. A missing folder is no failure.
[[nodiscard]] int RemoveFolderTree(const std::string& path);

// Waits until everything that was written below a folder is on the disk.
[[nodiscard]] int SyncTree(const std::string& folder);

// Renames a folder. `to` may be an empty folder.
[[nodiscard]] int RenameFolder(const std::string& from, const std::string& to);

// Waits until the name of a folder is on the disk.
[[nodiscard]] int SyncName(const std::string& path);

}  // namespace tvl

#endif

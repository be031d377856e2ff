#ifndef TVL_STORE_BACKUP_WINDOWS_FOLDER_STATE_H
#define TVL_STORE_BACKUP_WINDOWS_FOLDER_STATE_H

#include <optional>
#include <string>

#include "platform/windows/folder_entries.h"
#include "platform/windows/open_file.h"
#include "store/backup/open_folder.h"

namespace tvl {

// Nobody can rename or replace a pinned folder, so its path leads to it as long as it is open.
struct OpenFolder::State {
  std::string path;  // empty: the current folder
  std::optional<OpenFile> pinned;
  std::optional<FolderEntries> entries;
  int problem = 0;

  // Stores the path of `name`. Returns 0, or ENAMETOOLONG for a path that the system would take for one that
  // does not exist.
  [[nodiscard]] int PathOf(const char* name, std::string& full) const;
};

}  // namespace tvl

#endif

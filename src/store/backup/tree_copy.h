#ifndef TVL_STORE_BACKUP_TREE_COPY_H
#define TVL_STORE_BACKUP_TREE_COPY_H

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include <tvlclient/store.h>

#include "store/backup/entry_status.h"
#include "store/backup/open_folder.h"
#include "store/failure.h"

namespace tvl {

// Copies a tree through open folders: no link in it is followed, even if one replaces a folder meanwhile.
// Names that are deleted during the copy are left out. Links are copied as they are, and what is neither
// file, folder nor link is reported and left out.
class TreeCopy {
 public:
  // Decides, by the name below the root and the status, whether an entry is to be left out.
  using Excludes = std::function<bool(const std::string& name, const EntryStatus& status)>;
  // Copies a table, by its name below the root, by calling `copy` while its rows do not change.
  using CopyTable =
      std::function<StoreFailure(const std::string& name, const std::function<StoreFailure()>& copy)>;
  using Report = std::function<void(const std::string& name, TVL_BACKUP_KIND kind, std::uint64_t size)>;

  TreeCopy(Excludes excludes, CopyTable copy_table, Report report);

  // Copies what is in the folder `from` into the existing folder `to`, which gets the access of `from` too.
  // An empty `to`: only reports.
  [[nodiscard]] StoreFailure Run(const std::string& from, const std::string& to);

 private:
  struct Level {
    OpenFolder& from;
    const OpenFolder* to;  // null if nothing is written
    std::string name;
  };

  [[nodiscard]] StoreFailure CopyFolder(const Level& level);
  [[nodiscard]] StoreFailure CopyEntry(const Level& level, const char* name);
  [[nodiscard]] StoreFailure CopySubfolder(const Level& level, const char* name, const std::string& path);
  [[nodiscard]] StoreFailure CopyFile(const Level& level, const char* name, const std::string& path,
                                      const EntryStatus& status);
  [[nodiscard]] StoreFailure CopyContents(const Level& level, const char* name, const std::string& path,
                                          TVL_BACKUP_KIND kind, std::optional<std::uint64_t>& size);
  [[nodiscard]] StoreFailure CopyLink(const Level& level, const char* name, const std::string& path);
  [[nodiscard]] StoreFailure Failed(int code, const char* what, int error, const std::string& name) const;

  Excludes excludes_;
  CopyTable copy_table_;
  Report report_;
  std::string root_;
};

}  // namespace tvl

#endif

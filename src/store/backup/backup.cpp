#include "store/backup/backup.h"

#include <cerrno>
#include <optional>
#include <set>
#include <string_view>

#include "platform/ini_file.h"
#include "store/backup/entry_status.h"
#include "store/backup/folder_steps.h"
#include "store/backup/manifest.h"
#include "store/backup/part_folder.h"
#include "store/backup/real_path.h"
#include "store/backup/whole_copy.h"
#include "store/host_name.h"
#include "store/layout.h"
#include "store/new_store.h"

namespace tvl {
namespace {

constexpr std::string_view kReserved[] = {kConfigurationName, "tvl.ini.lock", kTablesFileName, kTmpName};

// The files that a store needs for itself, by identity: the configuration may be reached by another path. The
// temporary folder may be the root itself, and then only its two folders are the store's own.
class OwnFiles {
 public:
  explicit OwnFiles(const TVLStoreLayout& store) {
    for (const char* path : {store.configuration, store.configurationLock, store.locks, store.procs})
      Add(path);
    Add(TablesFileOf(store));
    const std::optional<FileId> root = FileIdOf(store.root);
    if (root && FileIdOf(store.tmp) != root) Add(store.tmp);
  }

  [[nodiscard]] bool Has(const FileId& file) const { return files_.contains(file); }

 private:
  void Add(const std::string& path) {
    if (const std::optional<FileId> file = FileIdOf(path.c_str())) files_.insert(*file);
  }

  std::set<FileId> files_;
};

// A restored store has its own files at these names.
StoreFailure CheckNames(const TVLStoreLayout& store, const OwnFiles& own) {
  for (const std::string_view name : kReserved) {
    const std::string path = InHostFolder(store.root, name);
    const std::optional<FileId> file = FileIdOf(path.c_str());
    if (!file || own.Has(*file)) continue;
    return {TVL_ERR_BAD_PATH, "a restored store needs this name for itself; rename the document", 0, path};
  }
  return {};
}

StoreFailure CopyConfiguration(const TVLStoreLayout& store, const std::string& folder) {
  IniFile readable;
  if (const int problem = readable.Read(store.configuration))
    return {TVL_ERR_SERVER_FILE, "the configuration cannot be read", problem, store.configuration};
  if (StoreFailure failure = CopyIfThere(store.configuration, folder, kConfigurationName)) return failure;
  return CopyIfThere(TablesFileOf(store), folder, kTablesFileName);
}

}  // namespace

StoreFailure CheckIsOutside(const std::string& folder, const std::string& outer, const char* what) {
  bool is_inside = false;
  if (const int problem = FindInside(folder, outer, is_inside))
    return {TVL_ERR_SERVER_FILE, "folder cannot be read", problem, outer};
  return is_inside ? StoreFailure{TVL_ERR_BAD_PATH, what, 0, folder} : StoreFailure();
}

StoreFailure CopyIfThere(const std::string& file, const std::string& folder, const char* name) {
  std::string source;
  const int problem = ResolvePath(file, source);
  if (problem == ENOENT) return {};
  if (problem != 0) return {TVL_ERR_SERVER_FILE, "file cannot be read", problem, file};
  const OpenFolder current;
  const std::string target = InHostFolder(folder, name);
  const WholeCopy copy = CopyWhole({current, source.c_str()}, {current, target.c_str()}, SourceState::kInUse);
  if (copy.outcome != CopyOutcome::kFailed) return {};
  return {copy.failure.code, copy.failure.what, copy.failure.error, file};
}

StoreFailure BackUpStore(const TVLStoreLayout& store, const std::string& folder, TVL_BACKUP_SCOPE scope,
                         const TreeCopy::CopyTable& copy_table, const TreeCopy::Report& report) {
  const std::string target = FullPath(folder);
  if (target.empty()) return {TVL_ERR_BAD_PATH, "the folder of the backup has no name", 0, folder};
  if (StoreFailure failure = CheckIsOutside(target, store.root, "the folder is in the store itself"))
    return failure;
  const OwnFiles own(store);
  if (StoreFailure failure = CheckNames(store, own)) return failure;
  TreeCopy copy([&own](const std::string&, const EntryStatus& status) { return own.Has(status.id); },
                copy_table, report);
  PartFolder part(target);
  if (scope == TVL_BACKUP_LOOK) {
    if (StoreFailure failure = part.Check()) return failure;
    return copy.Run(store.root, {});
  }
  if (StoreFailure failure = part.Create()) return failure;
  if (StoreFailure failure = CopyConfiguration(store, part.Path())) return failure;
  const std::string files = InHostFolder(part.Path(), kFilesName);
  if (const int problem = CreatePrivateFolder(files))
    return {TVL_ERR_CREATE_DIR, "folder cannot be created", problem, files};
  if (StoreFailure failure = copy.Run(store.root, files)) return failure;
  if (StoreFailure failure = WriteManifest(part.Path(), store.root)) return failure;
  return part.Finish();
}

}  // namespace tvl

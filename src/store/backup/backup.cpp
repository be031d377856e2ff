#include "store/backup/backup.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <optional>
#include <set>
#include <string_view>

#include "host/descriptor.h"
#include "host/file_identity.h"
#include "host/sync.h"
#include "host/system_calls.h"
#include "platform/ini_file.h"
#include "store/backup/manifest.h"
#include "store/backup/part_folder.h"
#include "store/backup/whole_copy.h"
#include "store/host_name.h"
#include "store/layout.h"
#include "store/new_store.h"

namespace tvl {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kReserved[] = {kConfigurationName, "tvl.ini.lock", kTablesFileName, kTmpName};

// The files that a store needs for itself, by identity: the configuration may be reached by another path. The
// temporary folder may be the root itself, and then only its two folders are the store's own.
class OwnFiles {
 public:
  explicit OwnFiles(const TVLStoreLayout& store) {
    for (const char* path : {store.configuration, store.configurationLock, store.locks, store.procs})
      Add(path);
    Add(FolderOf(store.configuration) + kTablesFileName);
    const std::optional<FileIdentity> root = IdentityOf(store.root);
    if (root && IdentityOf(store.tmp) != root) Add(store.tmp);
  }

  [[nodiscard]] bool Has(const struct stat& status) const { return identities_.contains(IdentityOf(status)); }

 private:
  void Add(const std::string& path) {
    if (const std::optional<FileIdentity> identity = IdentityOf(path.c_str())) identities_.insert(*identity);
  }

  std::set<FileIdentity> identities_;
};

// A restored store has its own files at these names.
StoreFailure CheckNames(const TVLStoreLayout& store, const OwnFiles& own) {
  for (const std::string_view name : kReserved) {
    const std::string path = InHostFolder(store.root, name);
    struct stat status = {};
    if (System().stat(path.c_str(), &status) != 0 || own.Has(status)) continue;
    return {TVL_ERR_BAD_PATH, "a restored store needs this name for itself; rename the document", 0, path};
  }
  return {};
}

StoreFailure CopyConfiguration(const TVLStoreLayout& store, const std::string& folder) {
  IniFile readable;
  if (const int problem = readable.Read(store.configuration))
    return {TVL_ERR_SERVER_FILE, "the configuration cannot be read", problem, store.configuration};
  if (StoreFailure failure = CopyIfThere(store.configuration, folder, kConfigurationName)) return failure;
  return CopyIfThere(FolderOf(store.configuration) + kTablesFileName, folder, kTablesFileName);
}

}  // namespace

StoreFailure CheckIsOutside(const std::string& folder, const std::string& outer, const char* what) {
  std::error_code problem;
  const fs::path inner = fs::weakly_canonical(folder, problem);
  const fs::path real = fs::canonical(outer, problem);
  if (problem) return {TVL_ERR_SERVER_FILE, "folder cannot be read", problem.value(), outer};
  const auto [end, unused] = std::mismatch(real.begin(), real.end(), inner.begin(), inner.end());
  return end == real.end() ? StoreFailure{TVL_ERR_BAD_PATH, what, 0, folder} : StoreFailure();
}

StoreFailure CopyIfThere(const std::string& file, const std::string& folder, const char* name) {
  std::error_code problem;
  const std::string source = fs::canonical(file, problem).string();
  if (problem == std::errc::no_such_file_or_directory) return {};
  if (problem) return {TVL_ERR_SERVER_FILE, "file cannot be read", problem.value(), file};
  const std::string target = InHostFolder(folder, name);
  const WholeCopy copy =
      CopyWhole({AT_FDCWD, source.c_str()}, {AT_FDCWD, target.c_str()}, SourceState::kInUse);
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
  TreeCopy copy([&own](const std::string&, const struct stat& status) { return own.Has(status); }, copy_table,
                report);
  PartFolder part(target);
  if (scope == TVL_BACKUP_LOOK) {
    if (StoreFailure failure = part.Check()) return failure;
    return copy.Run(store.root, {});
  }
  if (StoreFailure failure = part.Create()) return failure;
  if (StoreFailure failure = CopyConfiguration(store, part.Path())) return failure;
  const std::string files = InHostFolder(part.Path(), kFilesName);
  if (System().mkdir(files.c_str(), 0700) != 0)
    return {TVL_ERR_CREATE_DIR, "folder cannot be created", errno, files};
  if (StoreFailure failure = copy.Run(store.root, files)) return failure;
  if (StoreFailure failure = WriteManifest(part.Path(), store.root)) return failure;
  return part.Finish();
}

}  // namespace tvl

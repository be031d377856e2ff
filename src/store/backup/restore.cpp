#include "store/backup/restore.h"

#include "store/backup/backup.h"
#include "store/backup/manifest.h"
#include "store/backup/new_place.h"
#include "store/backup/part_folder.h"
#include "store/backup/small_file.h"
#include "store/host_name.h"
#include "store/layout.h"

namespace tvl {
namespace {

StoreFailure WriteConfiguration(const std::string& backup, const std::string& folder,
                                const std::string& root) {
  const std::string from = InHostFolder(backup, kConfigurationName);
  SmallFile file;
  if (const int problem = ReadSmallFile(from, file))
    return {TVL_ERR_SERVER_FILE, "the configuration cannot be read", problem, from};
  file.contents = ConfigurationAt(root, file.contents);
  return WriteNewFile(InHostFolder(folder, kConfigurationName), file);
}

// The folders of a store must all be in the new place; a variable with an unusual name could lead elsewhere.
StoreFailure CheckNewPlace(const TVLStoreLayout& read, const TVLStoreLayout& planned) {
  if (FullPath(read.root) == planned.root && FullPath(read.tmp) == planned.tmp) return {};
  return {TVL_ERR_ROOT_UNDEFINED, "the configuration leads to another place", 0, read.root};
}

// Creates what a store needs besides its documents, in the part that will be the store.
StoreFailure CompleteStore(const std::string& backup, const std::string& part, const TVLStoreLayout& planned,
                           const RestoreServices& services) {
  if (StoreFailure failure = CopyIfThere(InHostFolder(backup, kTablesFileName), part, kTablesFileName))
    return failure;
  if (StoreFailure failure = WriteConfiguration(backup, part, planned.root)) return failure;
  const std::string configuration = InHostFolder(part, kConfigurationName);
  TVLStoreLayout layout;
  if (StoreFailure failure = services.read_store(configuration.c_str(), layout)) return failure;
  if (StoreFailure failure = CheckNewPlace(layout, planned)) return failure;
  if (StoreFailure failure = DescribeStore(configuration, part, InHostFolder(part, kTmpName), layout))
    return failure;
  return services.create_missing(layout);
}

}  // namespace

StoreFailure RestoreStore(const std::string& backup, const std::string& folder, TVL_BACKUP_SCOPE scope,
                          TVLStoreLayout& layout, const RestoreServices& services,
                          const TreeCopy::Report& report) {
  if (StoreFailure failure = PlanStore(folder, layout)) return failure;
  const std::string source = FullPath(backup);
  if (StoreFailure failure = CheckManifest(source)) return failure;
  if (StoreFailure failure = CheckIsOutside(layout.root, source, "the folder is in the backup itself"))
    return failure;
  TreeCopy copy({}, {}, report);
  const std::string files = InHostFolder(source, kFilesName);
  PartFolder part(layout.root);
  if (scope == TVL_BACKUP_LOOK) {
    if (StoreFailure failure = part.Check()) return failure;
    return copy.Run(files, {});
  }
  if (StoreFailure failure = part.Create()) return failure;
  if (StoreFailure failure = copy.Run(files, part.Path())) return failure;
  if (StoreFailure failure = CompleteStore(source, part.Path(), layout, services)) return failure;
  if (StoreFailure failure = part.Finish()) return failure;
  const std::string configuration = layout.configuration;
  return services.read_store(configuration.c_str(), layout);
}

}  // namespace tvl

#ifndef TVL_STORE_BACKUP_MANIFEST_H
#define TVL_STORE_BACKUP_MANIFEST_H

#include <string>

#include "store/backup/small_file.h"
#include "store/failure.h"

// What a backup consists of:
//
//     backup.ini     which format it has, and of which store it is; written last
//     tvl.ini        the configuration
//     tables.ini     if the store has one
//     files/         what is below the document root, without the store's own files

namespace tvl {

constexpr char kManifestName[] = "backup.ini";
constexpr char kFilesName[] = "files";

// Creates the manifest in `folder`, the folder of a backup of the store at `root`.
[[nodiscard]] StoreFailure WriteManifest(const std::string& folder, const std::string& root);

// Fails unless the folder has the manifest of a backup that this release can restore.
[[nodiscard]] StoreFailure CheckManifest(const std::string& folder);

// Creates a file. Fails if it exists.
[[nodiscard]] StoreFailure WriteNewFile(const std::string& path, const SmallFile& file);

}  // namespace tvl

#endif

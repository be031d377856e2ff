#include "store/backup/manifest.h"

#include <cerrno>

#include "platform/ini_file.h"
#include "store/host_name.h"

namespace tvl {
namespace {

constexpr char kSection[] = "Backup";
constexpr char kFormatKey[] = "Format";
constexpr int kFormat = 1;

}  // namespace

StoreFailure WriteNewFile(const std::string& path, const SmallFile& file) {
  CreateStep step = CreateStep::kCreate;
  const int problem = CreateSmallFile(path, file, step);
  if (problem == 0) return {};
  const char* what = step == CreateStep::kCreate ? "file cannot be created" : "file cannot be written";
  return {TVL_ERR_CREATE_DIR, what, problem, path};
}

StoreFailure WriteManifest(const std::string& folder, const std::string& root) {
  const std::string text = std::string("; A backup of a store of the Tavolis File System.\n") +
                           "; To restore it: tvl restore THIS_FOLDER NEW_FOLDER\n[" + kSection + "]\n" +
                           kFormatKey + '=' + std::to_string(kFormat) + "\nDocumentRoot=" + root + '\n';
  return WriteNewFile(InHostFolder(folder, kManifestName), {.contents = text});
}

StoreFailure CheckManifest(const std::string& folder) {
  const std::string path = InHostFolder(folder, kManifestName);
  IniFile manifest;
  const int problem = manifest.Read(path.c_str());
  if (problem == ENOENT) return {TVL_ERR_SERVER_FILE, "is not a complete backup of a store", 0, folder};
  if (problem != 0) return {TVL_ERR_SERVER_FILE, "file cannot be read", problem, path};
  if (manifest.Number(kSection, kFormatKey, 0) != kFormat)
    return {TVL_ERR_SERVER_FILE, "is not a backup that this version can restore", 0, path};
  return {};
}

}  // namespace tvl

#include "store/backup/manifest.h"

#include <fcntl.h>

#include <cerrno>

#include "host/descriptor.h"
#include "host/system_calls.h"
#include "host/write_all.h"
#include "platform/ini_file.h"
#include "store/host_name.h"

namespace tvl {
namespace {

constexpr char kSection[] = "Backup";
constexpr char kFormatKey[] = "Format";
constexpr int kFormat = 1;

}  // namespace

StoreFailure WriteNewFile(const std::string& path, const std::string& text, unsigned int mode) {
  Descriptor file(System().open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  if (!file.IsOpen()) return {TVL_ERR_CREATE_DIR, "file cannot be created", errno, path};
  int problem = WriteAll(file.Get(), text.data(), text.size());
  if (problem == 0 && System().fchmod(file.Get(), mode & 0777U) != 0) problem = errno;
  if (const int closing = file.Close(); problem == 0) problem = closing;
  return problem == 0 ? StoreFailure()
                      : StoreFailure{TVL_ERR_CREATE_DIR, "file cannot be written", problem, path};
}

StoreFailure WriteManifest(const std::string& folder, const std::string& root) {
  const std::string text = std::string("; A backup of a store of the Tavolis File System.\n") +
                           "; To restore it: tvl restore THIS_FOLDER NEW_FOLDER\n[" + kSection + "]\n" +
                           kFormatKey + '=' + std::to_string(kFormat) + "\nDocumentRoot=" + root + '\n';
  return WriteNewFile(InHostFolder(folder, kManifestName), text, 0600);
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

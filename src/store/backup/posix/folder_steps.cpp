#include "store/backup/folder_steps.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

#include "host/descriptor.h"
#include "host/sync.h"
#include "host/system_calls.h"

namespace tvl {

int CreatePrivateFolder(const std::string& path) {
  return System().mkdir(path.c_str(), 0700) == 0 ? 0 : errno;
}

int RemoveFolderTree(const std::string& path) {
  std::error_code problem;
  std::filesystem::remove_all(path, problem);
  return problem.value();
}

int SyncTree(const std::string& folder) {
  const Descriptor opened(System().open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0));
  return opened.IsOpen() && System().syncfs(opened.Get()) == 0 ? 0 : errno;
}

int RenameFolder(const std::string& from, const std::string& to) {
  return System().rename(from.c_str(), to.c_str()) == 0 ? 0 : errno;
}

int SyncName(const std::string& path) {
  return SyncFolderOf(path);
}

}  // namespace tvl

#include "engine/posix/folder_mode.h"

#include <sys/stat.h>

#include "host/sync.h"
#include "host/system_calls.h"

namespace tvl::engine {

void TakeModeOfFolder(int descriptor, const std::string& path) {
  struct stat folder = {};
  if (System().stat(FolderOf(path).c_str(), &folder) == 0)
    System().fchmod(descriptor, folder.st_mode & kReadWriteBits);
}

}  // namespace tvl::engine

#include "platform/posix/folder_of_file.h"

#include <sys/stat.h>

#include "host/sync.h"
#include "host/system_calls.h"
#include "platform/last_error.h"

namespace tvl {

bool SyncNameOf(const std::string& path) {
  const int problem = SyncFolderOf(path);
  if (problem != 0) NoteError(path.c_str(), problem);
  return problem == 0;
}

int InheritedGroupBits(const std::string& folder) {
  struct stat status = {};
  if (System().stat(folder.c_str(), &status) != 0 || (status.st_mode & S_ISGID) == 0) return -1;
  return static_cast<int>(status.st_mode & S_IRWXG);
}

}  // namespace tvl

#include "platform/posix/folder_of_file.h"

#include <fcntl.h>
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

// Creating a file in the folder makes a network file system ask its server again for the status, although the
// mode has not changed. So the mode that it knows is used.
int InheritedGroupBits(const std::string& folder) {
  struct statx status = {};
  if (System().statx(AT_FDCWD, folder.c_str(), AT_STATX_DONT_SYNC, STATX_TYPE | STATX_MODE, &status) != 0)
    return -1;
  return (status.stx_mode & S_ISGID) != 0 ? static_cast<int>(status.stx_mode & S_IRWXG) : -1;
}

}  // namespace tvl

#include "platform/posix/rename.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

#include "host/system_calls.h"

namespace tvl {

int RenameUnlessTaken(int from_folder, const char* from, int to_folder, const char* to) {
  if (System().renameat_noreplace(from_folder, from, to_folder, to) == 0) return 0;
  if (errno != EINVAL && errno != ENOSYS) return errno;
  // The file system cannot refuse by itself, so a file that gets the name between these two calls would be
  // lost.
  struct stat status = {};
  if (System().fstatat(to_folder, to, &status, AT_SYMLINK_NOFOLLOW) == 0) return EEXIST;
  return System().renameat(from_folder, from, to_folder, to) == 0 ? 0 : errno;
}

}  // namespace tvl

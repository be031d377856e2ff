#include "platform/common/move_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

#include "host/system_calls.h"
#include "platform/host_path.h"
#include "platform/last_error.h"
#include "platform/posix/open_file.h"
#include "platform/posix/rename.h"

int tvl::MoveUnlessTaken(const char* from, const char* to) {
  return RenameUnlessTaken(AT_FDCWD, HostPath(from).Text(), AT_FDCWD, HostPath(to).Text());
}

int tvl::MoveAny(const char* from, const char* to) {
  struct stat status = {};
  if (System().lstat(HostPath(from).Text(), &status) != 0) return errno;
  if (!S_ISREG(status.st_mode)) return MoveUnlessTaken(from, to);
  const OpenFile file(from, O_RDWR);
  return file.IsOpen() ? MoveUnheld(from, to, file.Descriptor()) : LastErrorCode();
}

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

#include "platform/files.h"
#include "platform/held_file.h"
#include "platform/host_path.h"
#include "platform/last_error.h"
#include "platform/open_file.h"
#include "platform/system_calls.h"

namespace tvl {
namespace {

// A file to be unlinked once it is known that nobody holds it.
struct Deletion {
  const char* path;
  int descriptor;
  int problem;
};

// The name may have come to mean another file since that was opened and probed; such a one stays.
void UnlinkProbed(void* argument) {
  auto* deletion = static_cast<Deletion*>(argument);
  deletion->problem = EBUSY;
  if (!StillNames(deletion->path, deletion->descriptor)) return;
  deletion->problem = System().unlink(HostPath(deletion->path).Text()) == 0 ? 0 : errno;
}

int DeleteUnheld(const char* path) {
  const OpenFile file(path, O_RDWR);
  if (!file.IsOpen()) return LastErrorCode();
  Deletion deletion = {path, file.Descriptor(), 0};
  if (!WhileUnheld(file.Descriptor(), UnlinkProbed, &deletion)) return LastErrorCode();
  return deletion.problem;
}

int Delete(const char* path) {
  const HostPath host(path);
  struct stat status = {};
  if (System().lstat(host.Text(), &status) != 0) return errno;
  if (S_ISDIR(status.st_mode)) return EISDIR;
  if (S_ISREG(status.st_mode)) return DeleteUnheld(path);
  return System().unlink(host.Text()) == 0 ? 0 : errno;  // a link, a pipe: nothing that could be held
}

}  // namespace
}  // namespace tvl

BOOL DeleteFileA(const char* path) {
  const int problem = tvl::Delete(path);
  if (problem == 0) return 1;
  tvl::NoteError(path, problem);
  return 0;
}

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
  const OpenFile& file;
  int problem;
};

// The name may have come to mean another file since that was opened and probed; such a one stays.
void UnlinkProbed(void* argument) {
  auto* deletion = static_cast<Deletion*>(argument);
  const HostPath host(deletion->path);
  const struct stat& opened = deletion->file.Status();
  struct stat named = {};
  const bool same = System().lstat(host.Text(), &named) == 0 && named.st_dev == opened.st_dev &&
                    named.st_ino == opened.st_ino;
  deletion->problem = !same ? EBUSY : System().unlink(host.Text()) == 0 ? 0 : errno;
}

int DeleteUnheld(const char* path, const OpenFile& file) {
  Deletion deletion = {path, file, 0};
  return WhileUnheld(file.Descriptor(), UnlinkProbed, &deletion) ? deletion.problem : LastErrorCode();
}

// What could not be opened goes all the same if it is nothing that could be held: a link, a pipe.
int DeleteUnopened(const char* path, int open_problem) {
  const HostPath host(path);
  struct stat status = {};
  if (System().lstat(host.Text(), &status) != 0) return errno;
  if (S_ISDIR(status.st_mode)) return EISDIR;
  if (S_ISREG(status.st_mode)) return open_problem;
  return System().unlink(host.Text()) == 0 ? 0 : errno;
}

// Opened without a question before, which saves one call for each file of a large tree.
int Delete(const char* path) {
  const OpenFile file(path, O_RDWR | O_NOFOLLOW);
  return file.IsOpen() ? DeleteUnheld(path, file) : DeleteUnopened(path, LastErrorCode());
}

}  // namespace
}  // namespace tvl

BOOL DeleteFileA(const char* path) {
  const int problem = tvl::Delete(path);
  if (problem == 0) return 1;
  tvl::NoteError(path, problem);
  return 0;
}

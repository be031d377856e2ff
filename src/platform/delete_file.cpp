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

// A file to be unlinked while a try keeps it from being held.
struct Deletion {
  const char* path;
  const OpenFile& file;
  int problem;
};

// Leaves another file that has got the name since this one was opened.
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

// Deletes what could not be opened, if it cannot be held either: a link, a pipe.
int DeleteUnopened(const char* path, int open_problem) {
  const HostPath host(path);
  struct stat status = {};
  if (System().lstat(host.Text(), &status) != 0) return errno;
  if (S_ISDIR(status.st_mode)) return EISDIR;
  if (S_ISREG(status.st_mode)) return open_problem;
  return System().unlink(host.Text()) == 0 ? 0 : errno;
}

// Opens the file without asking first what it is, which saves one call for each file of a large tree.
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

#include "platform/posix/delete_file.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

#include "host/descriptor.h"
#include "host/file_identity.h"
#include "host/system_calls.h"
#include "platform/files.h"
#include "platform/held_file.h"
#include "platform/host_path.h"
#include "platform/last_error.h"

namespace tvl {
namespace {

// A file to be unlinked while a try prevents others from holding it.
struct Deletion {
  int folder;
  const char* name;
  FileIdentity opened;
  int problem;
};

int Unlink(int folder, const char* name) {
  return System().unlinkat(folder, name, 0) == 0 ? 0 : errno;
}

// Does not delete another file that got this name after the file was opened.
void UnlinkProbed(void* argument) {
  auto* deletion = static_cast<Deletion*>(argument);
  deletion->problem = CheckName(deletion->folder, deletion->name, deletion->opened);
  if (deletion->problem == 0) deletion->problem = Unlink(deletion->folder, deletion->name);
}

// Opens without blocking, because the name may now belong to another kind of file; but waits if a lease on a
// regular file is being recalled.
int OpenForTry(int folder, const char* name) {
  constexpr int kFlags = O_RDWR | O_NOFOLLOW | O_CLOEXEC | O_NOCTTY;
  const int descriptor = System().openat(folder, name, kFlags | O_NONBLOCK, 0);
  if (descriptor >= 0 || errno != EWOULDBLOCK) return descriptor;
  return System().openat(folder, name, kFlags, 0);
}

int DeleteRegular(int folder, const char* name, std::uint64_t* size) {
  const Descriptor file(OpenForTry(folder, name));
  if (!file.IsOpen()) return errno == ELOOP ? Unlink(folder, name) : errno;
  struct stat opened = {};
  if (System().fstat(file.Get(), &opened) != 0) return errno;
  if (!S_ISREG(opened.st_mode)) return Unlink(folder, name);
  if (size != nullptr) *size = static_cast<std::uint64_t>(opened.st_size);
  Deletion deletion = {folder, name, IdentityOf(opened), 0};
  return WhileUnheld(file.Get(), UnlinkProbed, &deletion) ? deletion.problem : LastErrorCode();
}

}  // namespace

// Opens only regular files, because opening a pipe would affect its other end.
int DeleteAt(int folder, const char* name, unsigned char kind, std::uint64_t* size) {
  if (kind == DT_UNKNOWN) {
    struct stat status = {};
    if (System().fstatat(folder, name, &status, AT_SYMLINK_NOFOLLOW) != 0) return errno;
    kind = static_cast<unsigned char>(IFTODT(status.st_mode));
  }
  if (kind == DT_DIR) return EISDIR;
  return kind == DT_REG ? DeleteRegular(folder, name, size) : Unlink(folder, name);
}

}  // namespace tvl

BOOL DeleteFileA(const char* path) {
  const int problem = tvl::DeleteAt(AT_FDCWD, tvl::HostPath(path).Text(), DT_UNKNOWN, nullptr);
  if (problem == 0) return 1;
  tvl::NoteError(path, problem);
  return 0;
}

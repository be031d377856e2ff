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
#include "platform/posix/rename.h"

namespace tvl {
namespace {

// What is done to an entry once nobody holds it: it is unlinked, or moved to `target` if that is not null.
struct Departure {
  int folder;
  const char* name;
  const char* target;

  // Returns 0 or an errno value.
  [[nodiscard]] int Carry() const {
    if (target == nullptr) return System().unlinkat(folder, name, 0) == 0 ? 0 : errno;
    return RenameUnlessTaken(folder, name, AT_FDCWD, target);
  }
};

// A regular file that departs while a try prevents others from holding it.
struct ProbedFile {
  const Departure& departure;
  FileIdentity opened;
  int problem;
};

// Does not touch another file that got this name after the file was opened.
void CarryProbed(void* argument) {
  auto* file = static_cast<ProbedFile*>(argument);
  file->problem = CheckName(file->departure.folder, file->departure.name, file->opened);
  if (file->problem == 0) file->problem = file->departure.Carry();
}

// Opens without blocking, because the name may now belong to another kind of file; but waits if a lease on a
// regular file is being recalled.
int OpenForTry(int folder, const char* name) {
  constexpr int kFlags = O_RDWR | O_NOFOLLOW | O_CLOEXEC | O_NOCTTY;
  const int descriptor = System().openat(folder, name, kFlags | O_NONBLOCK, 0);
  if (descriptor >= 0 || errno != EWOULDBLOCK) return descriptor;
  return System().openat(folder, name, kFlags, 0);
}

int CarryRegular(const Departure& departure, std::uint64_t* size) {
  const Descriptor file(OpenForTry(departure.folder, departure.name));
  if (!file.IsOpen()) return errno == ELOOP ? departure.Carry() : errno;
  struct stat opened = {};
  if (System().fstat(file.Get(), &opened) != 0) return errno;
  if (!S_ISREG(opened.st_mode)) return departure.Carry();
  if (size != nullptr) *size = static_cast<std::uint64_t>(opened.st_size);
  ProbedFile probed = {departure, IdentityOf(opened), 0};
  return WhileUnheld(file.Get(), CarryProbed, &probed) ? probed.problem : LastErrorCode();
}

// Opens only regular files, because opening a pipe would affect its other end.
int CarryAny(const Departure& departure, unsigned char kind, std::uint64_t* size) {
  if (kind == DT_UNKNOWN) {
    struct stat status = {};
    if (System().fstatat(departure.folder, departure.name, &status, AT_SYMLINK_NOFOLLOW) != 0) return errno;
    kind = static_cast<unsigned char>(IFTODT(status.st_mode));
  }
  if (kind == DT_DIR) return EISDIR;
  return kind == DT_REG ? CarryRegular(departure, size) : departure.Carry();
}

}  // namespace

int DeleteAt(int folder, const char* name, unsigned char kind, std::uint64_t* size) {
  return CarryAny({folder, name, nullptr}, kind, size);
}

int MoveAwayAt(int folder, const char* name, unsigned char kind, const char* target) {
  return CarryAny({folder, name, target}, kind, nullptr);
}

}  // namespace tvl

BOOL DeleteFileA(const char* path) {
  const int problem = tvl::DeleteAt(AT_FDCWD, tvl::HostPath(path).Text(), DT_UNKNOWN, nullptr);
  if (problem == 0) return 1;
  tvl::NoteError(path, problem);
  return 0;
}

#include "platform/posix/open_file.h"

#include <fcntl.h>

#include <cerrno>

#include "host/file_lock.h"
#include "host/system_calls.h"
#include "platform/host_path.h"
#include "platform/last_error.h"
#include "platform/posix/retry.h"

namespace tvl {
namespace {

constexpr int kRetrySeconds = 1;

// Makes this computer request from its file server which file has that name.
void LookAgain(const char* host) {
  struct statx ignored = {};
  static_cast<void>(System().statx(AT_FDCWD, host, AT_STATX_FORCE_SYNC, STATX_INO, &ignored));
}

// Opens without blocking, because the name may belong to a pipe, whose open would wait for the other end. A
// regular file can be refused for that reason only while a file server's lease on it is being recalled; then
// it waits.
int OpenWithoutBlocking(const char* host, int flags, mode_t mode) {
  flags |= O_CLOEXEC | O_NOCTTY;
  int descriptor = -1;
  // With O_CREAT, EINVAL may mean that the file system does not accept the name.
  errno = Retry(kRetrySeconds, (flags & O_CREAT) != 0 ? IsStale : IsStaleOrReplaced, [&] {
    descriptor = System().open(host, flags | O_NONBLOCK, mode);
    if (descriptor >= 0) return 0;
    const int problem = errno;
    if (problem == EINVAL) LookAgain(host);
    return problem;
  });
  if (descriptor >= 0 || errno != EWOULDBLOCK) return descriptor;
  return System().open(host, flags, mode);
}

// Returns 0, or why a file of that kind is not opened.
int KindProblem(mode_t mode) {
  if (S_ISREG(mode)) return 0;
  return S_ISDIR(mode) ? EISDIR : EINVAL;
}

// Returns 0 if opening the path is harmless, else why it must not be opened. A file does not change its kind,
// so a cached answer is enough.
int LookFirst(const char* host, int flags) {
  struct statx found = {};
  const int follow = (flags & O_NOFOLLOW) != 0 ? AT_SYMLINK_NOFOLLOW : 0;
  if (System().statx(AT_FDCWD, host, AT_STATX_DONT_SYNC | follow, STATX_TYPE, &found) == 0)
    return S_ISLNK(found.stx_mode) ? ELOOP : KindProblem(found.stx_mode);
  const bool goes_on = errno == ESTALE || (errno == ENOENT && (flags & O_CREAT) != 0);
  return goes_on ? 0 : errno;
}

}  // namespace

OpenFile::OpenFile(const char* path, int flags, mode_t mode, Look look) : path_(path) {
  const HostPath host(path);
  int problem = look == Look::kFirst && (flags & O_EXCL) == 0 ? LookFirst(host.Text(), flags) : 0;
  if (problem == 0) {
    file_ = tvl::Descriptor(OpenWithoutBlocking(host.Text(), flags, mode));
    if (!IsOpen() || System().fstat(file_.Get(), &status_) != 0) problem = errno;
  }
  if (problem == 0) problem = KindProblem(status_.st_mode);
  if (problem == 0) return;
  file_ = {};
  NoteError(path_, problem);
}

void OpenFile::CloseWithoutDelay() const {
  if (IsOpen()) tvl::CloseWithoutDelay(Descriptor());
}

bool OpenFile::Truncate() {
  if (System().ftruncate(file_.Get(), 0) == 0) return true;
  NoteFailure();
  return false;
}

bool OpenFile::Close() {
  const int problem = file_.Close();
  if (problem != 0) NoteError(path_, problem);
  return problem == 0;
}

void OpenFile::NoteFailure() const {
  NoteError(path_, errno);
}

}  // namespace tvl

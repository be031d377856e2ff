#include "platform/posix/open_file.h"

#include <fcntl.h>

#include <cerrno>

#include "host/system_calls.h"
#include "platform/host_path.h"
#include "platform/last_error.h"
#include "platform/posix/retry.h"

namespace tvl {
namespace {

constexpr int kRetrySeconds = 1;

// Opens without blocking, because the name may belong to a pipe, whose open would wait for the other end. A
// regular file can be refused for that reason only while a file server's lease on it is being recalled; then
// it waits.
int OpenWithoutBlocking(const char* host, int flags, mode_t mode) {
  flags |= O_CLOEXEC | O_NOCTTY;
  int descriptor = -1;
  errno = Retry(kRetrySeconds, IsStale, [&] {
    descriptor = System().open(host, flags | O_NONBLOCK, mode);
    return descriptor >= 0 ? 0 : errno;
  });
  if (descriptor >= 0 || errno != EWOULDBLOCK) return descriptor;
  return System().open(host, flags, mode);
}

// Returns 0, or why a file of that kind is not opened.
int KindProblem(mode_t mode) {
  if (S_ISREG(mode)) return 0;
  return S_ISDIR(mode) ? EISDIR : EINVAL;
}

// Returns 0 if opening the path is harmless, else why it must not be opened.
int LookFirst(const char* host, int flags) {
  struct stat found = {};
  const bool follow = (flags & O_NOFOLLOW) == 0;
  if ((follow ? System().stat(host, &found) : System().lstat(host, &found)) == 0)
    return S_ISLNK(found.st_mode) ? ELOOP : KindProblem(found.st_mode);
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

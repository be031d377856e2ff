#include "platform/open_file.h"

#include <fcntl.h>

#include <cerrno>
#include <utility>

#include "platform/host_path.h"
#include "platform/last_error.h"
#include "platform/retry.h"
#include "platform/system_calls.h"

namespace tvl {
namespace {

constexpr int kRetrySeconds = 1;

// Opened without blocking, since the name may turn out to be a pipe, whose open would wait for the other end.
// Only a regular file can be refused for that, where a file server's lease on it is being called back, and
// then the wait is the right thing.
int OpenWithoutBlocking(const char* path, int flags, mode_t mode) {
  const HostPath host(path);
  flags |= O_CLOEXEC | O_NOCTTY;
  int descriptor = -1;
  errno = Retry(kRetrySeconds, IsStale, [&] {
    descriptor = System().open(host.Text(), flags | O_NONBLOCK, mode);
    return descriptor >= 0 ? 0 : errno;
  });
  if (descriptor >= 0 || errno != EWOULDBLOCK) return descriptor;
  return System().open(host.Text(), flags, mode);
}

}  // namespace

OpenFile::OpenFile(const char* path, int flags, mode_t mode)
    : path_(path), descriptor_(OpenWithoutBlocking(path, flags, mode)) {
  if (descriptor_ < 0) {
    NoteFailure();
    return;
  }
  int problem = System().fstat(descriptor_, &status_) == 0 ? 0 : errno;
  if (problem == 0 && !S_ISREG(status_.st_mode)) problem = S_ISDIR(status_.st_mode) ? EISDIR : EINVAL;
  if (problem == 0) return;
  System().close(std::exchange(descriptor_, -1));
  NoteError(path_, problem);
}

OpenFile::~OpenFile() {
  if (IsOpen()) System().close(descriptor_);
}

bool OpenFile::Truncate() {
  if (System().ftruncate(descriptor_, 0) == 0) return true;
  NoteFailure();
  return false;
}

bool OpenFile::Close() {
  if (System().close(std::exchange(descriptor_, -1)) == 0) return true;
  NoteFailure();
  return false;
}

int OpenFile::Release() {
  return std::exchange(descriptor_, -1);
}

void OpenFile::NoteFailure() const {
  NoteError(path_, errno);
}

}  // namespace tvl

#include "host/handle_apart.h"

#include <fcntl.h>

#include "host/file_lock.h"
#include "host/system_calls.h"

namespace tvl {
namespace {

struct Byte {
  std::int64_t start;
  std::int64_t length = 1;
};

// Linux asks for an attribute without the file's lease, so the server must first take the lease back.
void EndLease(int file) {
  static_cast<void>(System().fgetxattr(file, "user.tvl", nullptr, 0));
}

}  // namespace

HandleApart::HandleApart(const char* path, int access, std::int64_t byte)
    : file_(System().open(path, access | O_DSYNC | O_NONBLOCK | O_CLOEXEC, 0)) {
  if (!file_.IsOpen()) return;
  static_cast<void>(TryLock(file_.Get(), F_RDLCK, Byte{byte}));
  EndLease(file_.Get());
}

}  // namespace tvl

#include "host/opening_apart.h"

#include <fcntl.h>
#include <linux/magic.h>

#include "host/file_lock.h"
#include "host/sync.h"
#include "host/system_calls.h"

namespace tvl {
namespace {

struct Byte {
  std::int64_t start;
  std::int64_t length = 1;
};

bool IsOnSmb(const char* path) {
  const Descriptor folder(System().open(FolderOf(path).c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC, 0));
  struct statfs status = {};
  if (!folder.IsOpen() || System().fstatfs(folder.Get(), &status) != 0) return false;
  return status.f_type == static_cast<decltype(status.f_type)>(CIFS_SUPER_MAGIC) ||
         status.f_type == static_cast<decltype(status.f_type)>(SMB2_SUPER_MAGIC);
}

// Linux asks for an attribute without the file's lease, so the server must first take the lease back.
void EndLease(int file) {
  static_cast<void>(System().fgetxattr(file, "user.tvl", nullptr, 0));
}

}  // namespace

OpeningApart::OpeningApart(const char* path, int access, std::int64_t byte, std::chrono::milliseconds limit) {
  if (!IsOnSmb(path)) return;
  turn_.emplace(path, limit);
  if (!turn_->Has()) return;
  other_ = Descriptor(System().open(path, access | O_DSYNC | O_NONBLOCK | O_CLOEXEC, 0));
  if (!other_.IsOpen()) return;
  static_cast<void>(TryLock(other_.Get(), F_RDLCK, Byte{byte}));
  EndLease(other_.Get());
}

}  // namespace tvl

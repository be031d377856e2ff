#include "host/opening_apart.h"

#include <fcntl.h>
#include <linux/magic.h>

#include "host/descriptor.h"
#include "host/sync.h"
#include "host/system_calls.h"

namespace tvl {
namespace {

bool IsOnSmb(const char* path) {
  const Descriptor folder(System().open(FolderOf(path).c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC, 0));
  struct statfs status = {};
  if (!folder.IsOpen() || System().fstatfs(folder.Get(), &status) != 0) return false;
  return status.f_type == static_cast<decltype(status.f_type)>(CIFS_SUPER_MAGIC) ||
         status.f_type == static_cast<decltype(status.f_type)>(SMB2_SUPER_MAGIC);
}

}  // namespace

OpeningApart::OpeningApart(const char* path, int access, std::int64_t byte, std::chrono::milliseconds limit) {
  if (!IsOnSmb(path)) return;
  turn_.emplace(path, limit);
  if (turn_->Has()) apart_.emplace(path, access, byte);
}

}  // namespace tvl

#include "platform/writing.h"

#include "platform/host_path.h"
#include "platform/last_error.h"
#include "platform/windows/traits.h"

namespace tvl {

SourceTraits TraitsOf(const native::Status& status) {
  return {.size = status.size,
          .allocated = status.allocated,
          .mode = 0,
          .device = status.volume,
          .inode = status.number,
          .accessed = ContractTime(status.accessed),
          .written = ContractTime(status.written)};
}

bool ReadTraits(const char* path, SourceTraits* traits) {
  native::Status status = {};
  if (const int problem = native::StatusOf(HostPath(path).Text(), true, &status)) {
    NoteError(path, problem);
    return false;
  }
  *traits = TraitsOf(status);
  return true;
}

}  // namespace tvl

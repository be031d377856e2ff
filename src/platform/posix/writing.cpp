#include "platform/writing.h"

#include <sys/stat.h>

#include <cerrno>

#include "host/system_calls.h"
#include "platform/host_path.h"
#include "platform/last_error.h"
#include "platform/posix/traits.h"

namespace tvl {
namespace {

constexpr std::uint64_t kStatBlock = 512;

FILETIME FileTime(const timespec& time) {
  return {time.tv_sec, static_cast<std::int32_t>(time.tv_nsec)};
}

}  // namespace

SourceTraits TraitsOf(const struct stat& status) {
  return {.size = static_cast<std::uint64_t>(status.st_size),
          .allocated = static_cast<std::uint64_t>(status.st_blocks) * kStatBlock,
          .mode = status.st_mode,
          .device = status.st_dev,
          .inode = status.st_ino,
          .accessed = FileTime(status.st_atim),
          .written = FileTime(status.st_mtim)};
}

bool ReadTraits(const char* path, SourceTraits* traits) {
  struct stat status = {};
  if (System().stat(HostPath(path).Text(), &status) != 0) {
    NoteError(path, errno);
    return false;
  }
  *traits = TraitsOf(status);
  return true;
}

}  // namespace tvl

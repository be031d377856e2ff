#include "store/backup/posix/entry_status.h"

#include <cerrno>

#include "host/system_calls.h"

namespace tvl {
namespace {

EntryKind KindOf(mode_t mode) {
  if (S_ISREG(mode)) return EntryKind::kFile;
  if (S_ISDIR(mode)) return EntryKind::kFolder;
  return S_ISLNK(mode) ? EntryKind::kLink : EntryKind::kOther;
}

}  // namespace

EntryStatus StatusOf(const struct stat& status) {
  return {KindOf(status.st_mode), {status.st_dev, status.st_ino}, static_cast<std::uint64_t>(status.st_size)};
}

std::optional<FileId> FileIdOf(const char* path) {
  struct stat status = {};
  if (System().stat(path, &status) != 0) return std::nullopt;
  return StatusOf(status).id;
}

int ExamineEntry(const char* path, EntryStatus& status) {
  struct stat found = {};
  if (System().lstat(path, &found) != 0) return errno;
  status = StatusOf(found);
  return 0;
}

}  // namespace tvl

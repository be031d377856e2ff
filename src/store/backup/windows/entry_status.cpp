#include "store/backup/windows/entry_status.h"

namespace tvl {
namespace {

EntryKind KindOf(const native::Status& status) {
  if (status.is_link) return EntryKind::kLink;
  return status.is_folder ? EntryKind::kFolder : EntryKind::kFile;
}

}  // namespace

EntryStatus StatusOf(const native::Status& status) {
  return {KindOf(status), {status.volume, status.number}, status.size};
}

std::optional<FileId> FileIdOf(const char* path) {
  native::Status status = {};
  if (native::StatusOf(path, true, &status) != 0) return std::nullopt;
  return StatusOf(status).id;
}

int ExamineEntry(const char* path, EntryStatus& status) {
  native::Status found = {};
  if (const int problem = native::StatusOf(path, false, &found)) return problem;
  status = StatusOf(found);
  return 0;
}

}  // namespace tvl

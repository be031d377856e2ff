#ifndef TVL_STORE_BACKUP_ENTRY_STATUS_H
#define TVL_STORE_BACKUP_ENTRY_STATUS_H

#include <cstdint>
#include <optional>

namespace tvl {

// Which file or folder it is, by whatever name.
struct FileId {
  std::uint64_t volume = 0;
  std::uint64_t number = 0;
  auto operator<=>(const FileId&) const = default;  // NOLINT(modernize-use-nullptr): a false alarm
};

// Of what a path leads to, links followed. Empty if it cannot be examined.
[[nodiscard]] std::optional<FileId> FileIdOf(const char* path);

enum class EntryKind { kFile, kFolder, kLink, kOther };

struct EntryStatus {
  EntryKind kind = EntryKind::kOther;
  FileId id;
  std::uint64_t size = 0;
};

// Examines what has this path, links not followed. Returns 0 or an errno value.
[[nodiscard]] int ExamineEntry(const char* path, EntryStatus& status);

}  // namespace tvl

#endif

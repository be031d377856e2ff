#include "store/backup/tree_copy.h"

#include <cerrno>
#include <string_view>
#include <utility>

#include "base/stop.h"
#include "store/backup/whole_copy.h"
#include "store/file_kind.h"
#include "store/host_name.h"
#include "store/table_kind.h"

namespace tvl {
namespace {

using Use = OpenFolder::Use;

TableKind KindOf(const OpenFolder& folder, const std::string& name) {
  return TableKindOf(folder.StartOf(name.c_str(), kTableStart));
}

// The table rolls its journal back before it is copied.
bool IsJournalOfTable(const OpenFolder& folder, std::string_view name) {
  if (FileKindOf(name) != TVL_FILE_JOURNAL) return false;
  constexpr std::string_view kSuffix = "-journal";
  name.remove_suffix(kSuffix.size());
  return KindOf(folder, std::string(name)) == TableKind::kFile;
}

TVL_BACKUP_KIND BackupKindOf(const OpenFolder& folder, const char* name) {
  if (FileKindOf(name) != TVL_FILE_TABLE) return TVL_BACKUP_FILE;
  switch (KindOf(folder, name)) {
    case TableKind::kNone:
      return TVL_BACKUP_FILE;
    case TableKind::kFile:
      return TVL_BACKUP_TABLE;
    case TableKind::kElsewhere:
      break;
  }
  return TVL_BACKUP_POINTER;
}

bool IsDots(std::string_view name) {
  return name == "." || name == "..";
}

}  // namespace

TreeCopy::TreeCopy(Excludes excludes, CopyTable copy_table, Report report)
    : excludes_(std::move(excludes)), copy_table_(std::move(copy_table)), report_(std::move(report)) {}

StoreFailure TreeCopy::Failed(int code, const char* what, int error, const std::string& name) const {
  return {code, what, error, name.empty() ? root_ : InHostFolder(root_, name)};
}

StoreFailure TreeCopy::Run(const std::string& from, const std::string& to) {
  root_ = from;
  OpenFolder source(from, Use::kReading);
  if (source.Problem() != 0)
    return Failed(TVL_ERR_SERVER_FILE, "folder cannot be read", source.Problem(), {});
  if (to.empty()) return CopyFolder({source, nullptr, {}});
  const OpenFolder target(to, Use::kWriting);
  if (target.Problem() != 0) return {TVL_ERR_CREATE_DIR, "folder cannot be opened", target.Problem(), to};
  return CopyFolder({source, &target, {}});
}

StoreFailure TreeCopy::CopyFolder(const Level& level) {
  while (const char* next = level.from.NextName()) {
    if (IsDots(next)) continue;
    if (StopRequested()) return {TVL_ERR_STOPPED, "interrupted", 0, {}};
    const std::string name = next;
    if (StoreFailure failure = CopyEntry(level, name.c_str())) return failure;
  }
  if (const int problem = level.from.ReadingProblem())
    return Failed(TVL_ERR_SERVER_FILE, "folder cannot be read", problem, level.name);
  if (level.to != nullptr) level.from.CopyTraitsTo(*level.to);
  return {};
}

StoreFailure TreeCopy::CopyEntry(const Level& level, const char* name) {
  const std::string path = level.name.empty() ? name : InHostFolder(level.name, name);
  EntryStatus status;
  if (const int problem = level.from.Examine(name, status)) {
    return problem == ENOENT ? StoreFailure()
                             : Failed(TVL_ERR_SERVER_FILE, "cannot be examined", problem, path);
  }
  if (excludes_ && excludes_(path, status)) return {};
  switch (status.kind) {
    case EntryKind::kFolder:
      return CopySubfolder(level, name, path);
    case EntryKind::kFile:
      return CopyFile(level, name, path, status);
    case EntryKind::kLink:
      return CopyLink(level, name, path);
    case EntryKind::kOther:
      break;
  }
  report_(path, TVL_BACKUP_SKIPPED, 0);
  return {};
}

StoreFailure TreeCopy::CopySubfolder(const Level& level, const char* name, const std::string& path) {
  OpenFolder source(level.from, name, Use::kReading);
  if (const int problem = source.Problem()) {
    return problem == ENOENT ? StoreFailure()
                             : Failed(TVL_ERR_SERVER_FILE, "folder cannot be read", problem, path);
  }
  if (level.to == nullptr) {
    report_(path, TVL_BACKUP_FOLDER, 0);
    return CopyFolder({source, nullptr, path});
  }
  if (const int problem = level.to->CreateFolder(name))
    return Failed(TVL_ERR_CREATE_DIR, "the copy of the folder cannot be created", problem, path);
  const OpenFolder target(*level.to, name, Use::kWriting);
  if (const int problem = target.Problem())
    return Failed(TVL_ERR_CREATE_DIR, "the copy of the folder cannot be opened", problem, path);
  report_(path, TVL_BACKUP_FOLDER, 0);
  return CopyFolder({source, &target, path});
}

// Reports a table only after its rows may change again, since the report may take its time.
StoreFailure TreeCopy::CopyFile(const Level& level, const char* name, const std::string& path,
                                const EntryStatus& status) {
  const TVL_FILE_KIND file = FileKindOf(name);
  if (file == TVL_FILE_PART || file == TVL_FILE_NEW_INI || IsJournalOfTable(level.from, name)) return {};
  const TVL_BACKUP_KIND kind = BackupKindOf(level.from, name);
  std::optional<std::uint64_t> size;
  if (level.to == nullptr) {
    size = status.size;
  } else if (StoreFailure failure = CopyContents(level, name, path, kind, size)) {
    return failure;
  }
  if (size) report_(path, kind, *size);
  return {};
}

// Stores the size of what was copied, unless the file has been deleted.
StoreFailure TreeCopy::CopyContents(const Level& level, const char* name, const std::string& path,
                                    TVL_BACKUP_KIND kind, std::optional<std::uint64_t>& size) {
  const auto copy = [&](SourceState state) {
    const WholeCopy result = CopyWhole({level.from, name}, {*level.to, name}, state);
    if (result.outcome == CopyOutcome::kCopied) size = result.size;
    if (result.outcome != CopyOutcome::kFailed) return StoreFailure();
    return Failed(result.failure.code, result.failure.what, result.failure.error, path);
  };
  if (kind != TVL_BACKUP_TABLE || !copy_table_) return copy(SourceState::kInUse);
  return copy_table_(path, [&] { return copy(SourceState::kAtRest); });
}

StoreFailure TreeCopy::CopyLink(const Level& level, const char* name, const std::string& path) {
  LinkData link;
  if (const int problem = level.from.ReadLink(name, link)) {
    return problem == ENOENT ? StoreFailure()
                             : Failed(TVL_ERR_SERVER_FILE, "link cannot be read", problem, path);
  }
  const int problem = level.to != nullptr ? level.to->CreateLink(name, link) : 0;
  if (problem != 0)
    return Failed(TVL_ERR_CREATE_DIR, "the copy of the link cannot be created", problem, path);
  report_(path, TVL_BACKUP_LINK, 0);
  return {};
}

}  // namespace tvl

#include "store/backup/tree_copy.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <string_view>
#include <utility>

#include "base/stop.h"
#include "host/descriptor.h"
#include "host/file_access.h"
#include "host/folder_reader.h"
#include "host/system_calls.h"
#include "store/backup/whole_copy.h"
#include "store/file_kind.h"
#include "store/host_name.h"
#include "store/table_kind.h"

namespace tvl {
namespace {

constexpr int kFolder = O_RDONLY | O_DIRECTORY | O_CLOEXEC;

TableKind KindOf(int folder, const std::string& name) {
  constexpr int kFlags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
  const Descriptor file(System().openat(folder, name.c_str(), kFlags, 0));
  char start[kTableStart];
  const ssize_t count = file.IsOpen() ? System().pread(file.Get(), start, sizeof start, 0) : 0;
  return TableKindOf({start, count > 0 ? static_cast<std::size_t>(count) : 0});
}

// The table rolls its journal back before it is copied.
bool IsJournalOfTable(int folder, std::string_view name) {
  if (FileKindOf(name) != TVL_FILE_JOURNAL) return false;
  constexpr std::string_view kSuffix = "-journal";
  name.remove_suffix(kSuffix.size());
  return KindOf(folder, std::string(name)) == TableKind::kFile;
}

TVL_BACKUP_KIND BackupKindOf(int folder, const char* name) {
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

// Gives a folder the access and time of another one, as far as this user may.
void CopyTraits(int from, int to) {
  struct stat status = {};
  if (System().fstat(from, &status) != 0) return;
  FileAccess access;
  if (access.Read(from) != 0 || access.Apply(to) != 0) System().fchmod(to, status.st_mode & 02777U);
  const timespec times[] = {status.st_atim, status.st_mtim};
  System().futimens(to, times);
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
  const Descriptor source(System().open(from.c_str(), kFolder, 0));
  if (!source.IsOpen()) return Failed(TVL_ERR_SERVER_FILE, "folder cannot be read", errno, {});
  const Descriptor target(to.empty() ? -1 : System().open(to.c_str(), kFolder, 0));
  if (!to.empty() && !target.IsOpen()) return {TVL_ERR_CREATE_DIR, "folder cannot be opened", errno, to};
  return CopyFolder({source.Get(), target.Get(), {}});
}

StoreFailure TreeCopy::CopyFolder(const Level& level) {
  FolderReader reader(level.from);
  while (const dirent64* entry = reader.Next()) {
    if (IsDots(entry->d_name)) continue;
    if (StopRequested()) return {TVL_ERR_STOPPED, "interrupted", 0, {}};
    const std::string name = entry->d_name;
    if (StoreFailure failure = CopyEntry(level, name.c_str())) return failure;
  }
  if (reader.Problem() != 0)
    return Failed(TVL_ERR_SERVER_FILE, "folder cannot be read", reader.Problem(), level.name);
  if (level.to >= 0) CopyTraits(level.from, level.to);
  return {};
}

StoreFailure TreeCopy::CopyEntry(const Level& level, const char* name) {
  const std::string path = level.name.empty() ? name : InHostFolder(level.name, name);
  struct stat status = {};
  if (System().fstatat(level.from, name, &status, AT_SYMLINK_NOFOLLOW) != 0)
    return errno == ENOENT ? StoreFailure() : Failed(TVL_ERR_SERVER_FILE, "cannot be examined", errno, path);
  if (excludes_ && excludes_(path, status)) return {};
  if (S_ISDIR(status.st_mode)) return CopySubfolder(level, name, path);
  if (S_ISREG(status.st_mode)) return CopyFile(level, name, path, status);
  if (S_ISLNK(status.st_mode)) return CopyLink(level, name, path);
  report_(path, TVL_BACKUP_SKIPPED, 0);
  return {};
}

StoreFailure TreeCopy::CopySubfolder(const Level& level, const char* name, const std::string& path) {
  const Descriptor source(System().openat(level.from, name, kFolder | O_NOFOLLOW, 0));
  if (!source.IsOpen())
    return errno == ENOENT ? StoreFailure()
                           : Failed(TVL_ERR_SERVER_FILE, "folder cannot be read", errno, path);
  Descriptor target;
  if (level.to >= 0) {
    if (System().mkdirat(level.to, name, 0700) != 0)
      return Failed(TVL_ERR_CREATE_DIR, "the copy of the folder cannot be created", errno, path);
    target = Descriptor(System().openat(level.to, name, kFolder | O_NOFOLLOW, 0));
    if (!target.IsOpen())
      return Failed(TVL_ERR_CREATE_DIR, "the copy of the folder cannot be opened", errno, path);
  }
  report_(path, TVL_BACKUP_FOLDER, 0);
  return CopyFolder({source.Get(), target.Get(), path});
}

// Reports a table only after its rows may change again, since the report may take its time.
StoreFailure TreeCopy::CopyFile(const Level& level, const char* name, const std::string& path,
                                const struct stat& status) {
  const TVL_FILE_KIND file = FileKindOf(name);
  if (file == TVL_FILE_PART || file == TVL_FILE_NEW_INI || IsJournalOfTable(level.from, name)) return {};
  const TVL_BACKUP_KIND kind = BackupKindOf(level.from, name);
  std::optional<std::uint64_t> size;
  if (level.to < 0) {
    size = static_cast<std::uint64_t>(status.st_size);
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
    const WholeCopy result = CopyWhole({level.from, name}, {level.to, name}, state);
    if (result.outcome == CopyOutcome::kCopied) size = result.size;
    if (result.outcome != CopyOutcome::kFailed) return StoreFailure();
    return Failed(result.failure.code, result.failure.what, result.failure.error, path);
  };
  if (kind != TVL_BACKUP_TABLE || !copy_table_) return copy(SourceState::kInUse);
  return copy_table_(path, [&] { return copy(SourceState::kAtRest); });
}

StoreFailure TreeCopy::CopyLink(const Level& level, const char* name, const std::string& path) {
  char target[PATH_MAX];
  const ssize_t length = System().readlinkat(level.from, name, target, sizeof target - 1);
  if (length < 0)
    return errno == ENOENT ? StoreFailure() : Failed(TVL_ERR_SERVER_FILE, "link cannot be read", errno, path);
  target[length] = 0;
  if (level.to >= 0 && System().symlinkat(target, level.to, name) != 0)
    return Failed(TVL_ERR_CREATE_DIR, "the copy of the link cannot be created", errno, path);
  report_(path, TVL_BACKUP_LINK, 0);
  return {};
}

}  // namespace tvl

#include "directory/sync_backup.h"

#include <cerrno>
#include <cstdio>
#include <string_view>

#include <tvlclient/errors.h>

#include "base/file_helpers.h"
#include "base/path_helpers.h"
#include "client/local_tree.h"
#include "platform/copy_file.h"
#include "platform/files.h"
#include "platform/last_error.h"

namespace tvl {
namespace {

constexpr int kMostBackups = 10000;  // of one name

bool IsLinkOrFile(const PathText& path) {
  const DWORD attributes = GetFileAttributesA(path.Text());
  if (attributes == INVALID_FILE_ATTRIBUTES) return false;
  return (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 || (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

}  // namespace

bool SyncBackup::Keep(const char* path, std::size_t root_length) {
  FileStatus status = {};
  if (!ReadFileStatus(path, &status)) {
    const int problem = TakeLastError().code;
    if (problem == ENOENT) return true;  // nothing is replaced
    NoteError(path, problem);
    return false;
  }
  if (status.is_folder) return true;  // the copy will fail
  root_length_ = root_length;
  const char* place = PlaceFor(path);
  const Writing writing = {.safety = safety_, .expects_new = true};
  return place != nullptr && IsCopied(CopyFile(path, place, writing, CopiedTimes::kAccessedAndWritten));
}

int SyncBackup::MoveHere(const char* path, std::size_t root_length) {
  root_length_ = root_length;
  return MoveOutOfTree(path, root_length, Destination, this);
}

const char* SyncBackup::Destination(const char* path, void* backup) {
  return static_cast<SyncBackup*>(backup)->PlaceFor(path);
}

// Finds a free name for the backup of `path` and creates its folders. Returns null, with the error recorded,
// if there is none.
const char* SyncBackup::PlaceFor(const char* path) {
  PathText plain = folder_;
  plain.Append("\\").Append(std::string_view(path + root_length_).substr(path[root_length_] == '\\' ? 1 : 0));
  place_ = plain;
  for (int number = 1; place_.Fits() && number <= kMostBackups; ++number) {
    if (!MakeFolders()) return nullptr;
    if (!NameExists(place_.Text())) return place_.Text();
    char suffix[16];
    std::snprintf(suffix, sizeof suffix, ".~%d~", number);
    place_ = plain;
    place_.Append(suffix);
  }
  NoteError(plain.Text(), place_.Fits() ? EEXIST : ENAMETOOLONG);
  return nullptr;
}

// Creates the folders of `place_`. Follows no link below the folder of the backups, because that would put
// them elsewhere.
bool SyncBackup::MakeFolders() {
  const std::string_view path = place_.View();
  const std::size_t own = folder_.View().size();
  for (std::size_t end = path.find('\\', 1); end != std::string_view::npos; end = path.find('\\', end + 1)) {
    PathText folder;
    folder.Append(path.substr(0, end));
    if (end > own && IsLinkOrFile(folder)) {
      NoteError(folder.Text(), ENOTDIR);
      return false;
    }
    if (!NameExists(folder.Text()) && !EnsureFolder(folder.Text())) return false;
  }
  return true;
}

}  // namespace tvl

#include <new>

#include "base/file_helpers.h"
#include "base/folder_walk.h"
#include "base/path_helpers.h"
#include "client/sync_list.h"
#include "directory/state.h"
#include "platform/files.h"
#include "transfer/compare.h"

namespace {

using tvl::PathText;

// One side of a pair of folders: the folder's path and a backslash, with names put behind it.
class Side {
 public:
  explicit Side(const char* folder) { folder_.Append(folder).Append("\\"); }

  [[nodiscard]] PathText With(const char* name) const {
    PathText path = folder_;
    path.Append(name);
    return path;
  }

 private:
  PathText folder_;
};

// A walk without the message pump: what it finds is one picture of both trees, which no handler is to change.
// False if not all was seen.
template <typename Visit>
bool VisitQuietly(const PathText& pattern, Visit visit) {
  const auto take = [&](const WIN32_FIND_DATAA& found) {
    visit(found);
    return true;
  };
  return tvl::VisitEntries(pattern, take, [] {}) == tvl::WalkEnd::kWhole;
}

bool IsLink(const char* path) {
  const DWORD attributes = GetFileAttributesA(path);
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
}

// Makes `path` with the folders that it lies in.
void MakeFolder(const char* path) {
  if (FileExists(path) != 0) return;
  static_cast<void>(tvl::BuildFullPath("\\", path));
  CreateDirectoryA(path, nullptr);
}

// Where a synchronisation goes to; the levels above it are made, unless that is left to the work.
PathText SyncTarget(const char* base, const char* name, bool folders_later) {
  return folders_later ? tvl::JoinPath(base, name) : tvl::BuildFullPath(base, name);
}

}  // namespace

void CTVLClientSmbOpr::SyncPlanFoldersLater(int later) {
  state->folders_later = later != 0;
}

int CTVLClientSmbOpr::SyncDirOpenGetRemote(char* remoteDirectory, char* localDirectory, char* pattern,
                                           SYNC_DIR_FILE_EXCLUDE exclude, unsigned int* total) try {
  if (dumbMode == 1) return TVL_OK;
  const PathText target = SyncTarget(workingDirectory, localDirectory, state->folders_later);
  const PathText source = tvl::JoinPath(state->serverRoot, remoteDirectory);
  if (!source.Fits() || !target.Fits()) return TVL_ERR_BAD_PATH;
  return SyncDirOpen(source.Text(), target.Text(), pattern, exclude, total, false);
} catch (const std::bad_alloc&) {
  return TVL_ERR_BAD_PATH;
}

int CTVLClientSmbOpr::SyncDirOpenPutRemote(char* remoteDirectory, char* localDirectory, char* pattern,
                                           SYNC_DIR_FILE_EXCLUDE exclude, unsigned int* total) try {
  if (dumbMode == 1) return TVL_OK;
  const PathText target = SyncTarget(state->serverRoot, remoteDirectory, state->folders_later);
  const PathText source = tvl::JoinPath(workingDirectory, localDirectory);
  if (!source.Fits() || !target.Fits()) return TVL_ERR_BAD_PATH;
  return SyncDirOpen(source.Text(), target.Text(), pattern, exclude, total, false);
} catch (const std::bad_alloc&) {
  return TVL_ERR_BAD_PATH;
}

int CTVLClientSmbOpr::SyncDirOpen(const char* source, const char* target, const char* pattern,
                                  SYNC_DIR_FILE_EXCLUDE exclude, unsigned int* total, bool below) {
  if (IsDirectory(source) == 0) return TVL_ERR_BAD_PATH;
  const bool target_was_there = FileExists(target) != 0;
  if (!target_was_there && !state->folders_later) CreateDirectoryA(target, nullptr);
  SyncDirFilePush(source, target, 0, SYNC_DIR_FILE_FOLDER);
  const Side from(source);
  const Side to(target);
  // What is beyond reach is not to be passed over in silence: it becomes a copy that can only fail.
  const auto push_unreachable = [&] { SyncDirFilePush(source, "", 0, SYNC_DIR_FILE_COPY); };
  const bool all_seen = VisitQuietly(from.With(pattern), [&](const WIN32_FIND_DATAA& found) {
    if (SyncDirFileIsExcluded(found.cFileName, exclude) != 0) return;
    const PathText file = from.With(found.cFileName);
    const PathText copy = to.With(found.cFileName);
    if (!file.Fits() || !copy.Fits()) {
      push_unreachable();
    } else if ((found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
      SyncDirOpen(file.Text(), copy.Text(), pattern, exclude, total, true);
    } else if (target_was_there && FilesAreEqual(fileCmp, file.Text(), copy.Text()) != 0) {
      SyncDirFilePush(file.Text(), copy.Text(), 0, SYNC_DIR_FILE_KEEP);
    } else {
      const auto size = static_cast<unsigned int>(FileLength(file.Text()));
      *total += size;
      SyncDirFilePush(file.Text(), copy.Text(), size, SYNC_DIR_FILE_COPY);
    }
  });
  // A source that could not be read to its end must not cost the target what it holds.
  if (!all_seen) push_unreachable();
  // A folder just made has nothing to delete, and what lies behind a link in the tree is somebody else's.
  if (!all_seen || !target_was_there || (below && IsLink(target))) return TVL_OK;
  VisitQuietly(to.With(pattern), [&](const WIN32_FIND_DATAA& found) {
    if (SyncDirFileIsExcluded(found.cFileName, exclude) != 0) return;
    const PathText file = from.With(found.cFileName);
    const PathText copy = to.With(found.cFileName);
    const bool decidable = file.Fits() && copy.Fits();
    if (decidable && SyncDirFileExists(file.Text()) == 0) {
      SyncDirFilePush(file.Text(), copy.Text(), 0, SYNC_DIR_FILE_DELETE);
    }
  });
  return TVL_OK;
}

int CTVLClientSmbOpr::SyncDirSyncronize(ProgressCallback callback, void* userData) {
  if (dumbMode == 1) return TVL_OK;
  int result = TVL_OK;
  for (int i = 0; i < syncDirCount; ++i) {
    SyncDirFile& entry = syncDirFiles[i];
    if (entry.operation == SYNC_DIR_FILE_COPY) {
      if (const int code = Transfer(entry.source, entry.target, 0)) result = code;
      SyncDirFile told = entry;  // the callback's to write on
      if (callback != nullptr) callback(told.source, told.size, userData);
    } else if (entry.operation == SYNC_DIR_FILE_FOLDER && state->folders_later) {
      MakeFolder(entry.target);
    } else if (entry.operation == SYNC_DIR_FILE_DELETE) {
      RemoveDosDir(entry.target, nullptr, nullptr);
    }
  }
  SyncDirRelease();
  return result;
}

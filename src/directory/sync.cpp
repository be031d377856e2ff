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
template <typename Visit>
void VisitQuietly(const PathText& pattern, Visit visit) {
  tvl::VisitEntries(pattern.Text(), visit, [] {});
}

}  // namespace

int CTVLClientSmbOpr::SyncDirOpenGetRemote(char* remoteDirectory, char* localDirectory, char* pattern,
                                           SYNC_DIR_FILE_EXCLUDE exclude, unsigned int* total) try {
  if (dumbMode == 1) return TVL_OK;
  const PathText target = tvl::BuildFullPath(workingDirectory, localDirectory);
  const PathText source = tvl::JoinPath(state->serverRoot, remoteDirectory);
  if (!source.Fits() || !target.Fits()) return TVL_ERR_BAD_PATH;
  return SyncDirOpen(source.Text(), target.Text(), pattern, exclude, total);
} catch (const std::bad_alloc&) {
  return TVL_ERR_BAD_PATH;
}

int CTVLClientSmbOpr::SyncDirOpenPutRemote(char* remoteDirectory, char* localDirectory, char* pattern,
                                           SYNC_DIR_FILE_EXCLUDE exclude, unsigned int* total) try {
  if (dumbMode == 1) return TVL_OK;
  const PathText target = tvl::BuildFullPath(state->serverRoot, remoteDirectory);
  const PathText source = tvl::JoinPath(workingDirectory, localDirectory);
  if (!source.Fits() || !target.Fits()) return TVL_ERR_BAD_PATH;
  return SyncDirOpen(source.Text(), target.Text(), pattern, exclude, total);
} catch (const std::bad_alloc&) {
  return TVL_ERR_BAD_PATH;
}

int CTVLClientSmbOpr::SyncDirOpen(const char* source, const char* target, const char* pattern,
                                  SYNC_DIR_FILE_EXCLUDE exclude, unsigned int* total) {
  if (IsDirectory(source) == 0) return TVL_ERR_BAD_PATH;
  const bool target_was_there = FileExists(target) != 0;
  if (!target_was_there) CreateDirectoryA(target, nullptr);
  SyncDirFilePush(source, target, 0, SYNC_DIR_FILE_FOLDER);
  const Side from(source);
  const Side to(target);
  VisitQuietly(from.With(pattern), [&](const char* name) {
    const PathText file = from.With(name);
    const PathText copy = to.With(name);
    if (SyncDirFileIsExcluded(name, exclude) != 0) return true;
    if (!file.Fits() || !copy.Fits()) {
      // Beyond reach, and not to be passed over in silence: a copy that can only fail.
      SyncDirFilePush(source, "", 0, SYNC_DIR_FILE_COPY);
    } else if (IsDirectory(file.Text()) != 0) {
      SyncDirOpen(file.Text(), copy.Text(), pattern, exclude, total);
    } else if (target_was_there && FilesAreEqual(fileCmp, file.Text(), copy.Text()) != 0) {
      SyncDirFilePush(file.Text(), copy.Text(), 0, SYNC_DIR_FILE_KEEP);
    } else {
      const auto size = static_cast<unsigned int>(FileLength(file.Text()));
      *total += size;
      SyncDirFilePush(file.Text(), copy.Text(), size, SYNC_DIR_FILE_COPY);
    }
    return true;
  });
  if (!target_was_there) return TVL_OK;  // a folder just made has nothing to delete
  VisitQuietly(to.With(pattern), [&](const char* name) {
    const PathText file = from.With(name);
    const PathText copy = to.With(name);
    const bool decidable = file.Fits() && copy.Fits() && SyncDirFileIsExcluded(name, exclude) == 0;
    if (decidable && SyncDirFileExists(file.Text()) == 0) {
      SyncDirFilePush(file.Text(), copy.Text(), 0, SYNC_DIR_FILE_DELETE);
    }
    return true;
  });
  return TVL_OK;
}

int CTVLClientSmbOpr::SyncDirSyncronize(ProgressCallback callback, void* userData) {
  if (dumbMode == 1) return TVL_OK;
  int result = TVL_OK;
  for (int i = 0; i < syncDirCount; ++i) {
    SyncDirFile entry = syncDirFiles[i];
    if (entry.operation == SYNC_DIR_FILE_COPY) {
      if (const int code = Transfer(entry.source, entry.target)) result = code;
      if (callback != nullptr) callback(entry.source, entry.size, userData);
    } else if (entry.operation == SYNC_DIR_FILE_DELETE) {
      RemoveDosDir(entry.target, nullptr, nullptr);
    }
  }
  SyncDirRelease();
  return result;
}

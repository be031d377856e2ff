#include <new>

#include "base/file_helpers.h"
#include "base/fixed_text.h"
#include "base/folder_walk.h"
#include "base/path_helpers.h"
#include "client/copy_tree.h"
#include "client/name_list.h"
#include "directory/left_out.h"
#include "directory/state.h"
#include "platform/copy_file.h"
#include "platform/files.h"

// The tree of the store. An operation that changes its structure makes the same change to the working
// directory, which mirrors the store. Only the change to the store determines the result; failures in the
// mirror are ignored. Copies do not change the mirror.

namespace {

using tvl::PathText;

// Joins names whose slashes are not converted.
PathText Plain(const char* base, const char* name) {
  PathText path;
  path.Append(base).Append(name);
  return path;
}

int CopyOver(const PathText& source, const PathText& target, const tvl::Writing& writing) {
  if (!source.Fits() || !target.Fits()) return TVL_ERR_COPY;
  const tvl::CopyResult result =
      tvl::CopyFile(source.Text(), target.Text(), writing, tvl::CopiedTimes::kWritten);
  return tvl::IsCopied(result) ? TVL_OK : TVL_ERR_COPY;
}

}  // namespace

int CTVLClientSmbOpr::GetRemoteDirContent(char* directory, char* pattern, int* count, CString& list) {
  PathText path = tvl::JoinPath(state->serverRoot, directory);
  if (!path.Fits() || IsDirectory(path.Text()) == 0) return TVL_ERR_SERVER_FILE;
  path.Append("\\").Append(pattern);
  return path.Fits() && tvl::ListNames(path, count, list) ? TVL_OK : TVL_ERR_SERVER_FILE;
}

int CTVLClientSmbOpr::ListRemoteDir(const char* directory, const char* pattern, DirEntryCallback callback,
                                    void* userData) {
  PathText path = tvl::JoinPath(state->serverRoot, directory);
  if (!path.Fits() || IsDirectory(path.Text()) == 0) return TVL_ERR_SERVER_FILE;
  path.Append("\\").Append(pattern);
  if (!path.Fits()) return TVL_ERR_SERVER_FILE;
  tvl::FolderSearch search(path.Text(), tvl::SearchScope::kAll);
  const auto report = [&](const WIN32_FIND_DATAA& found) {
    const bool is_folder = (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    const TVLDirEntry entry = {found.cFileName, is_folder ? 1 : 0, tvl::LeftOutReason(found.unreachable)};
    callback(&entry, userData);
    return true;
  };
  switch (tvl::VisitFound(search, report, PumpMessages)) {
    case tvl::WalkEnd::kStopped:
      return TVL_ERR_STOPPED;
    case tvl::WalkEnd::kBroken:
      return TVL_ERR_SERVER_FILE;
    case tvl::WalkEnd::kWhole:
      break;
  }
  return TVL_OK;
}

int CTVLClientSmbOpr::CreateServerDir(char* directory) {
  const PathText store = Plain(state->serverRoot, directory);
  if (!store.Fits() || CreateDirectoryA(store.Text(), nullptr) == 0) return TVL_ERR_CREATE_DIR;
  if (dumbMode == 1) return TVL_OK;
  const PathText mirror = Plain(workingDirectory, directory);
  if (mirror.Fits()) CreateDirectoryA(mirror.Text(), nullptr);
  return TVL_OK;
}

int CTVLClientSmbOpr::DeleteServerDir(char* directory) {
  PathText store = tvl::JoinPath(state->serverRoot, directory);
  const int code = store.Fits() ? RemoveDosDir(store.Data(), nullptr, nullptr) : TVL_ERR_DELETE_FILE;
  PathText mirror = Plain(workingDirectory, directory);
  if (dumbMode != 1 && mirror.Fits()) RemoveDosDir(mirror.Data(), nullptr, nullptr);
  return code;
}

int CTVLClientSmbOpr::DeleteServerFile(char* file) {
  const PathText store = tvl::JoinPath(state->serverRoot, file);
  const bool deleted = store.Fits() && DeleteFileA(store.Text()) != 0;
  const PathText mirror = Plain(workingDirectory, file);
  if (dumbMode != 1 && mirror.Fits()) DeleteFileA(mirror.Text());
  return deleted ? TVL_OK : TVL_ERR_SERVER_FILE;
}

int CTVLClientSmbOpr::RenameServerFile(char* oldName, char* newName) {
  const PathText old_store = tvl::JoinPath(state->serverRoot, oldName);
  const PathText new_store = tvl::JoinPath(state->serverRoot, newName);
  const bool moved =
      old_store.Fits() && new_store.Fits() && MoveFileA(old_store.Text(), new_store.Text()) != 0;
  const PathText old_mirror = Plain(workingDirectory, oldName);
  const PathText new_mirror = Plain(workingDirectory, newName);
  if (dumbMode != 1 && old_mirror.Fits() && new_mirror.Fits())
    MoveFileA(old_mirror.Text(), new_mirror.Text());
  return moved ? TVL_OK : TVL_ERR_SERVER_FILE;
}

int CTVLClientSmbOpr::CopyServer2Server(char* source, char* target, int targetIsDirectory) {
  PathText relative;
  relative.Append(target);
  if (targetIsDirectory != 0) {
    const char* name = LastPathComponent(source);
    if (name == nullptr) return TVL_ERR_BAD_PATH;
    if (relative.View().empty() || relative.View().back() != '\\') relative.Append("\\");
    relative.Append(name);
  }
  const PathText from = tvl::JoinPath(state->serverRoot, source);
  if (!relative.Fits() || !from.Fits()) return TVL_ERR_COPY;
  const PathText to = tvl::BuildFullPath(state->serverRoot, relative.Text());
  if (const int code = CopyOver(from, to, state->Writing(TVL_ERR_COPY))) return code;
  return state->SyncFolders(state->serverRoot, to.Text()) ? TVL_OK : TVL_ERR_COPY;
}

// A tree is a group of its own, regardless of an open group. Failures inside a tree are not reported, so
// neither are the results of the group.
int CTVLClientSmbOpr::State::CopyTree(const char* source, const char* target, ProgressCallback callback,
                                      void* userData) const try {
  tvl::TransferGroup files;
  tvl::Writing writing = Writing(TVL_ERR_COPY);
  writing.group = &files;
  return tvl::CopyTree(source, target, {callback, userData}, writing);
} catch (const std::bad_alloc&) {
  return TVL_ERR_COPY;
}

int CTVLClientSmbOpr::CopyServerDir2ServerDir(char* source, char* target, ProgressCallback callback,
                                              void* userData) {
  PathText from = Plain(state->serverRoot, source);
  PathText to = Plain(state->serverRoot, target);
  if (!from.Fits() || !to.Fits()) return TVL_ERR_COPY;
  return state->CopyTree(from.Text(), to.Text(), callback, userData);
}

int CTVLClientSmbOpr::CopyRemoteDir2LocalDir(char* remoteDirectory, char* localDirectory,
                                             ProgressCallback callback, void* userData) {
  PathText from = tvl::JoinPath(state->serverRoot, remoteDirectory);
  return from.Fits() ? state->CopyTree(from.Text(), localDirectory, callback, userData) : TVL_ERR_COPY;
}

int CTVLClientSmbOpr::CopyLocalDir2RemoteDir(char* localDirectory, char* remoteDirectory,
                                             ProgressCallback callback, void* userData) {
  PathText to = tvl::JoinPath(state->serverRoot, remoteDirectory);
  return to.Fits() ? state->CopyTree(localDirectory, to.Text(), callback, userData) : TVL_ERR_COPY;
}

int CTVLClientSmbOpr::CopyLocalFile2RemoteFile(char* localFile, char* remoteFile) {
  return CopyOver(Plain("", localFile), tvl::JoinPath(state->serverRoot, remoteFile),
                  state->Writing(TVL_ERR_COPY));
}

#include <string_view>

#include <tvlclient/client_opr.h>

#include "base/file_helpers.h"
#include "base/fixed_text.h"
#include "base/folder_walk.h"
#include "base/path_helpers.h"
#include "client/copy_tree.h"
#include "client/name_list.h"
#include "client/progress.h"
#include "platform/files.h"

namespace {

using tvl::PathText;
using tvl::Progress;

constexpr char kEverything[] = "*.*";
constexpr double kTwoTo32 = 4294967296.0;

PathText Whole(const char* path) {
  PathText text;
  text.Append(path);
  return text;
}

// Something below a folder, with one backslash in between.
PathText BelowTrimmed(const PathText& folder, const char* name) {
  PathText path = folder;
  if (folder.View().empty() || folder.View().back() != '\\') path.Append("\\");
  path.Append(name);
  return path;
}

// The walks take what a search tells of an entry, so that none is asked for twice.
bool IsFolder(DWORD attributes) {
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

// A link goes like a file, whatever it leads to: what lies behind it is somebody else's.
bool IsLink(DWORD attributes) {
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
}

// Whoever else removes the same tree may have been there first, which is no failure.
bool IsGone(BOOL removed, const PathText& path) {
  return removed != 0 || FileExists(path.Text()) == 0;
}

int RemoveOneFile(const PathText& path, const Progress& progress) {
  const int size = progress.IsWanted() ? FileLength(path.Text()) : 0;
  const bool gone = IsGone(DeleteFileA(path.Text()), path);
  progress.Tell(path, size);
  return gone ? TVL_OK : TVL_ERR_DELETE_FILE;
}

int RemoveTree(const PathText& path, DWORD attributes, const Progress& progress) {
  if (!path.Fits()) return TVL_ERR_DELETE_FILE;
  if (!IsFolder(attributes) || IsLink(attributes)) return RemoveOneFile(path, progress);
  int code = TVL_OK;
  const auto remove = [&](const WIN32_FIND_DATAA& found) {
    code = RemoveTree(BelowTrimmed(path, found.cFileName), found.dwFileAttributes, progress);
    return code == TVL_OK;
  };
  if (!tvl::VisitFolder(BelowTrimmed(path, kEverything), remove, tvl::FolderLinks::kAll)) return code;
  progress.Tell(path, 0);
  return IsGone(RemoveDirectoryA(path.Text()), path) ? TVL_OK : TVL_ERR_DELETE_DIR;
}

double SizeofTree(const PathText& path, DWORD attributes, const Progress& progress) {
  if (!path.Fits()) return 0.0;
  if (!IsFolder(attributes)) {
    const int size = FileLength(path.Text());
    progress.Tell(path, size);
    return size < 0 ? size + kTwoTo32 : size;
  }
  progress.Tell(path, 0);
  double sum = 0.0;
  tvl::VisitFolder(BelowTrimmed(path, kEverything), [&](const WIN32_FIND_DATAA& found) {
    sum += SizeofTree(BelowTrimmed(path, found.cFileName), found.dwFileAttributes, progress);
    return true;
  });
  return sum;
}

// With a separator behind its name a link would be taken for the folder that it leads to.
PathText WithoutLinkSeparator(const PathText& path) {
  const std::size_t last = path.View().find_last_not_of("\\/");
  if (last == std::string_view::npos || last + 1 == path.View().size()) return path;
  PathText bare;
  bare.Append(path.View().substr(0, last + 1));
  return IsLink(GetFileAttributesA(bare.Text())) ? bare : path;
}

}  // namespace

int CTVLClientOpr::GetLocalDirContent(char* directory, char* pattern, int* count, CString& list) {
  PathText path = tvl::JoinPath(workingDirectory, directory);
  if (!path.Fits() || IsDirectory(path.Text()) == 0) return TVL_ERR_LOCAL_FILE;
  path.Append("\\").Append(pattern);
  return path.Fits() && tvl::ListNames(path, count, list) ? TVL_OK : TVL_ERR_LOCAL_FILE;
}

int CTVLClientOpr::CopyDosDir(char* source, char* target, ProgressCallback callback, void* userData) {
  return tvl::CopyTree(source, target, {callback, userData}, {});
}

int CTVLClientOpr::RemoveDosDir(char* path, ProgressCallback callback, void* userData) {
  const PathText whole = WithoutLinkSeparator(Whole(path));
  const Progress progress(callback, userData);
  const DWORD attributes = whole.Fits() ? GetFileAttributesA(whole.Text()) : FILE_ATTRIBUTE_NORMAL;
  if (attributes != INVALID_FILE_ATTRIBUTES) return RemoveTree(whole, attributes, progress);
  progress.Tell(whole, 0);
  return TVL_OK;
}

double CTVLClientOpr::SizeofDosDir(char* path, ProgressCallback callback, void* userData) {
  const DWORD attributes = GetFileAttributesA(path);
  if (attributes == INVALID_FILE_ATTRIBUTES) return 0.0;
  return SizeofTree(Whole(path), attributes, Progress(callback, userData));
}

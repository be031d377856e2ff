#include "client/local_tree.h"

#include <cerrno>
#include <cstdint>

#include <tvlclient/client_opr.h>

#include "base/file_helpers.h"
#include "base/fixed_text.h"
#include "base/folder_walk.h"
#include "base/path_helpers.h"
#include "base/pump.h"
#include "base/stop.h"
#include "client/copy_tree.h"
#include "client/name_list.h"
#include "client/progress.h"
#include "platform/files.h"
#include "platform/last_error.h"
#include "platform/remove_tree.h"

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

// Appends a name to a folder, with one backslash in between.
PathText BelowTrimmed(const PathText& folder, const char* name) {
  PathText path = folder;
  if (folder.View().empty() || folder.View().back() != '\\') path.Append("\\");
  path.Append(name);
  return path;
}

// The walks use the attributes that a search reports, so that no entry is examined twice.
bool IsFolder(DWORD attributes) {
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

// Adds the size of a tree to `sum`. Returns false if the walk was stopped.
bool AddSizeofTree(const PathText& path, DWORD attributes, const Progress& progress, double& sum) {
  if (!path.Fits()) return true;
  if (!IsFolder(attributes)) {
    const int size = FileLength(path.Text());
    progress.ReportFile(path, size);
    sum += size < 0 ? size + kTwoTo32 : size;
    return true;
  }
  progress.ReportFolder(path);
  return tvl::VisitFolder(BelowTrimmed(path, kEverything), [&](const WIN32_FIND_DATAA& found) {
    return AddSizeofTree(BelowTrimmed(path, found.cFileName), found.dwFileAttributes, progress, sum);
  });
}

int CodeOf(tvl::Removal removal) {
  switch (removal) {
    case tvl::Removal::kDone:
      break;
    case tvl::Removal::kFileStays:
      return TVL_ERR_DELETE_FILE;
    case tvl::Removal::kFolderStays:
      return TVL_ERR_DELETE_DIR;
    case tvl::Removal::kStopped:
      return TVL_ERR_STOPPED;
  }
  return TVL_OK;
}

void ReportRemoved(const char* path, std::uint64_t size, void* progress) {
  static_cast<const Progress*>(progress)->ReportFile(Whole(path), static_cast<int>(size));
}

int Remove(const char* path, std::size_t root_length, const tvl::RemovalHooks& hooks) {
  if (Whole(path).Fits()) return CodeOf(tvl::RemoveTree(path, root_length, hooks));
  tvl::NoteError(path, ENAMETOOLONG);
  return TVL_ERR_DELETE_FILE;
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
  Progress progress(callback, userData);
  return Remove(path, tvl::kMaxPath,
                {progress.IsWanted() ? ReportRemoved : nullptr, &progress, PumpMessages, tvl::StopRequested});
}

int tvl::RemoveInTree(const char* path, std::size_t root_length) {
  return Remove(path, root_length, {nullptr, nullptr, PumpMessages, tvl::StopRequested});
}

int tvl::MoveOutOfTree(const char* path, std::size_t root_length,
                       const char* (*destination)(const char* path, void* argument), void* argument) {
  return Remove(path, root_length, {nullptr, argument, PumpMessages, tvl::StopRequested, destination});
}

double CTVLClientOpr::SizeofDosDir(char* path, ProgressCallback callback, void* userData) {
  const DWORD attributes = GetFileAttributesA(path);
  double sum = 0.0;
  if (attributes == INVALID_FILE_ATTRIBUTES) return sum;
  static_cast<void>(AddSizeofTree(Whole(path), attributes, Progress(callback, userData), sum));
  return sum;
}

#include <tvlclient/client_opr.h>

#include "base/file_helpers.h"
#include "base/fixed_text.h"
#include "base/folder_walk.h"
#include "base/path_helpers.h"
#include "client/name_list.h"
#include "platform/files.h"

namespace {

using tvl::PathText;

constexpr char kEverything[] = "*.*";
constexpr double kTwoTo32 = 4294967296.0;

// Whom a walk tells of what it has reached.
class Progress {
 public:
  Progress(ProgressCallback callback, void* user_data) : callback_(callback), user_data_(user_data) {}

  [[nodiscard]] bool IsWanted() const { return callback_ != nullptr; }

  void Tell(const PathText& path, int size) const {
    PathText copy = path;  // callbacks take their text writable
    if (IsWanted()) callback_(copy.Data(), static_cast<unsigned int>(size), user_data_);
  }

 private:
  ProgressCallback callback_;
  void* user_data_;
};

PathText Whole(const char* path) {
  PathText text;
  text.Append(path);
  return text;
}

// Something below a folder; with a backslash in between whether or not the folder ends in one, which the file
// system takes for one all the same.
PathText Below(const PathText& folder, const char* name) {
  PathText path = folder;
  path.Append("\\").Append(name);
  return path;
}

// The same with one backslash.
PathText BelowTrimmed(const PathText& folder, const char* name) {
  PathText path = folder;
  if (folder.View().empty() || folder.View().back() != '\\') path.Append("\\");
  path.Append(name);
  return path;
}

int CopyOneFile(const PathText& source, const PathText& target, const Progress& progress) {
  const bool copied = CopyFileA(source.Text(), target.Text(), 0) != 0;
  if (progress.IsWanted()) progress.Tell(source, FileLength(source.Text()));
  return copied ? TVL_OK : TVL_ERR_COPY;
}

// What goes wrong inside a tree is not reported: the walk copies what it can.
int CopyTree(const PathText& source, const PathText& target, const Progress& progress) {
  if (!source.Fits() || !target.Fits()) return TVL_ERR_COPY;
  if (IsDirectory(source.Text()) == 0) return CopyOneFile(source, target, progress);
  progress.Tell(source, 0);
  CreateDirectoryA(target.Text(), nullptr);
  tvl::VisitFolder(Below(source, kEverything).Text(), [&](const char* name) {
    CopyTree(Below(source, name), Below(target, name), progress);
    return true;
  });
  return TVL_OK;
}

int RemoveOneFile(const PathText& path, const Progress& progress) {
  const int size = progress.IsWanted() ? FileLength(path.Text()) : 0;
  const bool deleted = DeleteFileA(path.Text()) != 0;
  progress.Tell(path, size);
  return deleted ? TVL_OK : TVL_ERR_DELETE_FILE;
}

int RemoveTree(const PathText& path, const Progress& progress) {
  if (!path.Fits()) return TVL_ERR_DELETE_FILE;
  const DWORD attributes = GetFileAttributesA(path.Text());
  if (attributes == INVALID_FILE_ATTRIBUTES) {
    progress.Tell(path, 0);
    return TVL_OK;
  }
  // A link goes like a file, whatever it leads to: what lies behind it is somebody else's.
  const bool is_folder =
      (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0 && (attributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0;
  if (!is_folder) return RemoveOneFile(path, progress);
  int code = TVL_OK;
  const bool emptied = tvl::VisitFolder(BelowTrimmed(path, kEverything).Text(), [&](const char* name) {
    code = RemoveTree(BelowTrimmed(path, name), progress);
    return code == TVL_OK;
  });
  if (!emptied) return code;
  progress.Tell(path, 0);
  return RemoveDirectoryA(path.Text()) != 0 ? TVL_OK : TVL_ERR_DELETE_DIR;
}

double SizeofTree(const PathText& path, const Progress& progress) {
  if (!path.Fits() || FileExists(path.Text()) == 0) return 0.0;
  if (IsDirectory(path.Text()) == 0) {
    const int size = FileLength(path.Text());
    progress.Tell(path, size);
    return size < 0 ? size + kTwoTo32 : size;
  }
  progress.Tell(path, 0);
  double sum = 0.0;
  tvl::VisitFolder(BelowTrimmed(path, kEverything).Text(), [&](const char* name) {
    sum += SizeofTree(BelowTrimmed(path, name), progress);
    return true;
  });
  return sum;
}

}  // namespace

int CTVLClientOpr::GetLocalDirContent(char* directory, char* pattern, int* count, CString& list) {
  PathText path = tvl::JoinPath(workingDirectory, directory);
  if (!path.Fits() || IsDirectory(path.Text()) == 0) return TVL_ERR_LOCAL_FILE;
  path.Append("\\").Append(pattern);
  return path.Fits() && tvl::ListNames(path.Text(), count, list) ? TVL_OK : TVL_ERR_LOCAL_FILE;
}

int CTVLClientOpr::CopyDosDir(char* source, char* target, ProgressCallback callback, void* userData) {
  return CopyTree(Whole(source), Whole(target), Progress(callback, userData));
}

int CTVLClientOpr::RemoveDosDir(char* path, ProgressCallback callback, void* userData) {
  return RemoveTree(Whole(path), Progress(callback, userData));
}

double CTVLClientOpr::SizeofDosDir(char* path, ProgressCallback callback, void* userData) {
  return SizeofTree(Whole(path), Progress(callback, userData));
}

#include "client/copy_tree.h"

#include <algorithm>

#include "base/file_helpers.h"
#include "base/folder_walk.h"
#include "platform/copy_file.h"
#include "platform/transfer_group.h"

namespace tvl {
namespace {

PathText Whole(const char* path) {
  PathText text;
  text.Append(path);
  return text;
}

// Always adds a backslash. If the folder already ends in one, the file system treats both as one.
PathText Below(const PathText& folder, const char* name) {
  PathText path = folder;
  path.Append("\\").Append(name);
  return path;
}

bool IsFolder(DWORD attributes) {
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

// Ends a group. Returns its first failure, or TVL_OK.
int EndGroup(const Writing& writing) {
  if (writing.group == nullptr) return TVL_OK;
  const std::vector<int> results = writing.group->End();
  const auto failure = std::find_if(results.begin(), results.end(), [](int code) { return code != TVL_OK; });
  return failure == results.end() ? TVL_OK : *failure;
}

class TreeCopy {
 public:
  TreeCopy(const Progress& progress, const Writing& writing) : progress_(progress), writing_(writing) {}

  // Failures inside a tree are not reported: the walk copies as much as possible.
  int Copy(const PathText& source, DWORD attributes, const PathText& target) const {
    if (!source.Fits()) return TVL_ERR_COPY;
    if (!IsFolder(attributes)) return CopyOne(source, target);
    progress_.Report(source, 0);
    if (!target.Fits()) return TVL_ERR_COPY;
    EnsureFolder(target.Text());
    const bool whole = VisitFolder(Below(source, "*.*"), [&](const WIN32_FIND_DATAA& found) {
      const int code =
          Copy(Below(source, found.cFileName), found.dwFileAttributes, Below(target, found.cFileName));
      if (writing_.group != nullptr && writing_.group->IsFull()) EndGroup(writing_);
      return code != TVL_ERR_STOPPED;
    });
    return whole ? TVL_OK : TVL_ERR_STOPPED;
  }

 private:
  int CopyOne(const PathText& source, const PathText& target) const {
    const bool copied =
        target.Fits() && IsCopied(CopyFile(source.Text(), target.Text(), writing_, CopiedTimes::kWritten));
    if (progress_.IsWanted()) progress_.Report(source, FileLength(source.Text()));
    return copied ? TVL_OK : TVL_ERR_COPY;
  }

  const Progress& progress_;
  const Writing& writing_;
};

}  // namespace

int CopyTree(const char* source, const char* target, const Progress& progress, const Writing& writing) {
  const DWORD attributes = GetFileAttributesA(source);
  const int code = TreeCopy(progress, writing).Copy(Whole(source), attributes, Whole(target));
  const int ended = EndGroup(writing);
  return code == TVL_OK && !IsFolder(attributes) ? ended : code;
}

}  // namespace tvl

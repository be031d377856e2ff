#include "client/copy_tree.h"

#include <algorithm>
#include <cerrno>

#include "base/file_helpers.h"
#include "base/folder_walk.h"
#include "platform/copy_file.h"
#include "platform/last_error.h"
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

class TreeCopy {
 public:
  TreeCopy(const Progress& progress, const Writing& writing) : progress_(progress), writing_(writing) {}

  // The walk copies as much as possible: a failure inside a tree does not end it, and is not its result.
  int Copy(const PathText& source, DWORD attributes, const PathText& target) {
    if (!source.Fits()) return TooLong(source);
    if (!IsFolder(attributes)) return CopyOne(source, target);
    progress_.ReportFolder(source);
    if (!target.Fits()) return TooLong(target);
    if (!EnsureFolder(target.Text())) progress_.ReportFailure(target);
    return CopyContents(source, target);
  }

  // Ends a group. Returns its first failure, or TVL_OK.
  int EndGroup() {
    if (writing_.group == nullptr) return TVL_OK;
    int first = TVL_OK;
    const std::vector<int> results = writing_.group->End();
    for (std::size_t at = 0; at < results.size(); ++at) {
      if (results[at] == TVL_OK) continue;
      if (first == TVL_OK) first = results[at];
      progress_.ReportFailure(PathText());
    }
    return first;
  }

 private:
  int CopyContents(const PathText& source, const PathText& target) {
    const PathText pattern = Below(source, "*.*");
    if (!pattern.Fits()) {
      TooLong(pattern);
      return TVL_OK;
    }
    FolderSearch search(pattern.Text());
    const auto copy = [&](const WIN32_FIND_DATAA& found) {
      const int code =
          Copy(Below(source, found.cFileName), found.dwFileAttributes, Below(target, found.cFileName));
      if (writing_.group != nullptr && writing_.group->IsFull()) EndGroup();
      return code != TVL_ERR_STOPPED;
    };
    const WalkEnd end = VisitFound(search, copy, PumpMessages);
    if (end == WalkEnd::kBroken) progress_.ReportFailure(source);
    return end == WalkEnd::kStopped ? TVL_ERR_STOPPED : TVL_OK;
  }

  int CopyOne(const PathText& source, const PathText& target) const {
    const bool copied =
        target.Fits() && IsCopied(CopyFile(source.Text(), target.Text(), writing_, CopiedTimes::kWritten));
    if (!target.Fits()) {
      TooLong(target);
    } else if (!copied) {
      progress_.ReportFailure(source);
    }
    if (progress_.IsWanted()) progress_.ReportFile(source, FileLength(source.Text()));
    return copied ? TVL_OK : TVL_ERR_COPY;
  }

  int TooLong(const PathText& path) const {
    NoteError(path.Text(), ENAMETOOLONG);
    progress_.ReportFailure(path);
    return TVL_ERR_COPY;
  }

  const Progress& progress_;
  const Writing& writing_;
};

}  // namespace

int CopyTree(const char* source, const char* target, const Progress& progress, const Writing& writing) {
  const DWORD attributes = GetFileAttributesA(source);
  TreeCopy copy(progress, writing);
  const int code = copy.Copy(Whole(source), attributes, Whole(target));
  const int ended = copy.EndGroup();
  return code == TVL_OK && !IsFolder(attributes) ? ended : code;
}

}  // namespace tvl

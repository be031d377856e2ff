#include <cstring>
#include <new>

#include "base/file_helpers.h"
#include "base/folder_walk.h"
#include "base/path_helpers.h"
#include "client/sync_list.h"
#include "directory/state.h"
#include "platform/files.h"
#include "platform/folder.h"
#include "transfer/compare.h"

// The first phase of a synchronization: plans what to do to make the target equal to the source.

namespace {

using tvl::EntryKind;
using tvl::EntryStatus;
using tvl::PathText;
using tvl::Unreachable;

// One folder of a pair, kept open, with its path.
class Side {
 public:
  explicit Side(const char* path) : path_(path), open_(path) { prefix_.Append(path).Append("\\"); }

  [[nodiscard]] const char* Path() const { return path_; }
  [[nodiscard]] const tvl::Folder& Open() const { return open_; }
  [[nodiscard]] PathText With(const char* name) const {
    PathText path = prefix_;
    path.Append(name);
    return path;
  }

 private:
  const char* path_;
  tvl::Folder open_;
  PathText prefix_;
};

// Walks a folder without running the message pump, whose handlers could change the trees meanwhile.
template <typename Visit>
tvl::WalkEnd VisitQuietly(const Side& side, const char* pattern, Visit visit) {
  if (!side.With(pattern).Fits()) return tvl::WalkEnd::kBroken;
  tvl::FolderSearch search(side.Open(), side.Path(), pattern);
  return tvl::VisitFound(search, visit, [] {});
}

bool IsLink(const char* path) {
  const DWORD attributes = GetFileAttributesA(path);
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
}

SYNC_PLAN_KIND PlanKind(EntryKind kind) {
  switch (kind) {
    case EntryKind::kFile:
      return SYNC_PLAN_FILE;
    case EntryKind::kMissing:
      return SYNC_PLAN_NOTHING;
    case EntryKind::kOther:
      return SYNC_PLAN_OTHER;
    case EntryKind::kUnknown:
    case EntryKind::kFolder:
      break;
  }
  return SYNC_PLAN_UNKNOWN;
}

bool Exists(const EntryStatus& status) {
  return status.kind != EntryKind::kUnknown && status.kind != EntryKind::kMissing;
}

// Returns the target of a synchronization. Creates its parents unless `folders_later` is set.
PathText SyncTarget(const char* base, const char* name, bool folders_later) {
  return folders_later ? tvl::JoinPath(base, name) : tvl::BuildFullPath(base, name);
}

}  // namespace

// Plans one synchronization. The members are the same on all levels of the walk.
class CTVLClientSmbOpr::State::SyncPlanner {
 public:
  SyncPlanner(CTVLClientSmbOpr& opr, const char* target, const char* pattern, SYNC_DIR_FILE_EXCLUDE exclude,
              unsigned int* total)
      : opr_(opr),
        pattern_(pattern),
        exclude_(exclude),
        total_(total),
        root_length_(static_cast<unsigned short>(std::strlen(target))) {}

  // With `through_link`, the target is reached by a link in the tree and does not belong to it.
  void PlanFolder(const char* source, const char* target, bool through_link) {
    const Side from(source);
    const Side to(target);
    const bool target_was_there = to.Open().IsOpen() || FileExists(target) != 0;
    to.Open().LookAhead();
    if (!target_was_there && !opr_.state->folders_later) tvl::EnsureFolder(target);
    Push(source, target, SYNC_DIR_FILE_FOLDER, {});
    // A source that was not read completely must not cause deletions, and a new folder contains nothing to
    // delete.
    const bool all_seen = PlanSource(from, to, target_was_there, through_link);
    if (all_seen && target_was_there && !through_link) PlanDeletions(from, to);
  }

  [[nodiscard]] bool IsStopped() const { return stopped_; }

 private:
  // Returns false if not all names of the source were seen.
  bool PlanSource(const Side& from, const Side& to, bool target_was_there, bool through_link) {
    const tvl::WalkEnd end = VisitQuietly(from, pattern_, [&](const WIN32_FIND_DATAA& found) {
      PlanName(found, from, to, target_was_there, through_link);
      return !stopped_;
    });
    if (end == tvl::WalkEnd::kStopped) stopped_ = true;
    if (end == tvl::WalkEnd::kBroken) PushOutOfReach(from.Path());
    return end == tvl::WalkEnd::kWhole;
  }

  void PlanName(const WIN32_FIND_DATAA& found, const Side& from, const Side& to, bool target_was_there,
                bool through_link) {
    const char* name = found.cFileName;
    if (IsPassedOver(found, from, false)) return;
    const PathText file = from.With(name);
    const PathText copy = to.With(name);
    if (!file.Fits() || !copy.Fits()) return PushOutOfReach(from.Path());
    if ((found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0)
      return PlanFolder(file.Text(), copy.Text(), through_link || IsLink(copy.Text()));
    const EntryStatus status = from.Open().StatusOf(name);
    const bool equal = target_was_there && IsEqual(file, status, copy, to, name);
    Push(file.Text(), copy.Text(), equal ? SYNC_DIR_FILE_KEEP : SYNC_DIR_FILE_COPY, status);
  }

  [[nodiscard]] bool IsEqual(const PathText& file, const EntryStatus& status, const PathText& copy,
                             const Side& to, const char* name) const {
    if (opr_.fileCmp < kCompareHash) return FilesAreEqual(opr_.fileCmp, file.Text(), copy.Text()) != 0;
    const EntryStatus other = to.Open().StatusOf(name);
    if (opr_.fileCmp == kCompareHash) return IsEqualByContents(file, status, copy, other);
    return Exists(status) && Exists(other) &&
           EqualByTime(status.size, status.modified, other.size, other.modified);
  }

  [[nodiscard]] static bool IsEqualByContents(const PathText& file, const EntryStatus& status,
                                              const PathText& copy, const EntryStatus& other) {
    if (status.kind != EntryKind::kFile || other.kind != EntryKind::kFile)
      return other.kind != EntryKind::kMissing && FilesAreEqual(kCompareHash, file.Text(), copy.Text()) != 0;
    return status.size == other.size && SameSizeFilesAreEqual(file.Text(), copy.Text());
  }

  void PlanDeletions(const Side& from, const Side& to) {
    const tvl::WalkEnd end = VisitQuietly(to, pattern_, [&](const WIN32_FIND_DATAA& found) {
      const PathText file = from.With(found.cFileName);
      const PathText copy = to.With(found.cFileName);
      const bool decidable = file.Fits() && copy.Fits();
      if (!decidable || opr_.SyncDirFileExists(file.Text()) != 0) return true;
      if (!IsPassedOver(found, to, true)) Push(file.Text(), copy.Text(), SYNC_DIR_FILE_DELETE, {});
      return true;
    });
    if (end == tvl::WalkEnd::kStopped) stopped_ = true;
  }

  bool IsPassedOver(const WIN32_FIND_DATAA& found, const Side& side, bool in_target) {
    if (SyncDirFileIsExcluded(found.cFileName, exclude_) != 0) return true;
    if (found.unreachable == Unreachable::kNo) return false;
    const TVL_LEFT_OUT reason = tvl::LeftOutReason(found.unreachable);
    opr_.state->left_out.push_back({side.Path(), found.cFileName, reason, in_target});
    return true;
  }

  // An inaccessible part of the source must not be ignored silently, so it becomes a copy that will fail.
  void PushOutOfReach(const char* source) { Push(source, "", SYNC_DIR_FILE_COPY, {}); }

  void Push(const char* source, const char* target, SYNC_DIR_FILE_OPERATION operation,
            const EntryStatus& status) {
    const bool copies = operation == SYNC_DIR_FILE_COPY && *target != 0;
    const unsigned int size = copies ? static_cast<unsigned int>(FileLength(source)) : 0;
    *total_ += size;
    opr_.SyncDirFilePush(source, target, size, operation);
    SyncDirFile& entry = opr_.syncDirFiles[opr_.syncDirCount - 1];
    entry.kind = static_cast<unsigned char>(PlanKind(status.kind));
    entry.bytes = status.size;
    entry.root_length = root_length_;
  }

  CTVLClientSmbOpr& opr_;
  const char* pattern_;
  const SYNC_DIR_FILE_EXCLUDE exclude_;
  unsigned int* total_;
  const unsigned short root_length_;
  bool stopped_ = false;
};

void CTVLClientSmbOpr::SyncPlanFoldersLater(int later) {
  state->folders_later = later != 0;
}

int CTVLClientSmbOpr::SyncPlanPassesOver(const char* name, const char* pattern,
                                         SYNC_DIR_FILE_EXCLUDE exclude) {
  return SyncDirFileIsExcluded(name, exclude) != 0 || !tvl::MatchesPattern(pattern, name) ? 1 : 0;
}

int CTVLClientSmbOpr::SyncDirOpenGetRemote(char* remoteDirectory, char* localDirectory, char* pattern,
                                           SYNC_DIR_FILE_EXCLUDE exclude, unsigned int* total) try {
  if (dumbMode == 1) return TVL_OK;
  const PathText target = SyncTarget(workingDirectory, localDirectory, state->folders_later);
  const PathText source = tvl::JoinPath(state->serverRoot, remoteDirectory);
  if (!source.Fits() || !target.Fits()) return TVL_ERR_BAD_PATH;
  return state->SyncDirOpen(source.Text(), target.Text(), pattern, exclude, total);
} catch (const std::bad_alloc&) {
  return TVL_ERR_BAD_PATH;
}

int CTVLClientSmbOpr::SyncDirOpenPutRemote(char* remoteDirectory, char* localDirectory, char* pattern,
                                           SYNC_DIR_FILE_EXCLUDE exclude, unsigned int* total) try {
  if (dumbMode == 1) return TVL_OK;
  const PathText target = SyncTarget(state->serverRoot, remoteDirectory, state->folders_later);
  const PathText source = tvl::JoinPath(workingDirectory, localDirectory);
  if (!source.Fits() || !target.Fits()) return TVL_ERR_BAD_PATH;
  return state->SyncDirOpen(source.Text(), target.Text(), pattern, exclude, total);
} catch (const std::bad_alloc&) {
  return TVL_ERR_BAD_PATH;
}

int CTVLClientSmbOpr::State::SyncDirOpen(const char* source, const char* target, const char* pattern,
                                         SYNC_DIR_FILE_EXCLUDE exclude, unsigned int* total) {
  if (IsDirectory(source) == 0) return TVL_ERR_BAD_PATH;
  if (opr.syncDirCount == 0) left_out.clear();
  const int planned = opr.syncDirCount;
  const std::size_t names = left_out.size();
  const unsigned int sum = *total;
  SyncPlanner planner(opr, target, pattern, exclude, total);
  planner.PlanFolder(source, target, false);
  if (!planner.IsStopped()) return TVL_OK;
  opr.SyncDirTruncate(planned);
  left_out.resize(names);
  *total = sum;
  return TVL_ERR_STOPPED;
}

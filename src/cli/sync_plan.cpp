#include "cli/sync_plan.h"

#include <sys/stat.h>

#include <cerrno>
#include <filesystem>

#include "cli/file_access.h"
#include "cli/text.h"

namespace tvl::cli {
namespace {

namespace fs = std::filesystem;

constexpr int kHashPolicy = 1;

// The library's path in this system's form; a name is never put behind two slashes.
std::string HostPath(const char* path) {
  std::string text = Slashed(path);
  for (std::size_t at = text.find("//"); at != std::string::npos; at = text.find("//", at)) text.erase(at, 1);
  while (text.size() > 1 && text.back() == '/') text.pop_back();
  return text;
}

bool IsFolder(const std::string& path) {
  struct stat status = {};
  return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

void CountFile(const std::string& path, SyncEntry& entry) {
  struct stat status = {};
  entry.files = 1;
  entry.bytes = stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode)
                    ? static_cast<std::uint64_t>(status.st_size)
                    : 0;
}

// All that goes with `path`, links not followed, as the removal does.
void CountTree(const std::string& path, SyncEntry& entry) {
  struct stat status = {};
  if (lstat(path.c_str(), &status) != 0) return;
  ++entry.files;
  if (S_ISREG(status.st_mode)) entry.bytes += static_cast<std::uint64_t>(status.st_size);
  if (!S_ISDIR(status.st_mode)) return;
  std::error_code problem;
  for (fs::directory_iterator below(path, problem); !problem && below != fs::directory_iterator();
       below.increment(problem))
    CountTree(below->path().string(), entry);
}

// True if the folder that `path` would lie in was read and has no such name: a share that went away meanwhile
// has none either, and that is no reason to delete anything.
bool IsSurelyMissing(const std::string& path) {
  struct stat status = {};
  if (lstat(path.c_str(), &status) == 0 || errno != ENOENT) return false;
  return IsFolder(path.substr(0, path.find_last_of('/') + 1));
}

void AddWithFoldersAbove(const std::string& path, Identities& identities) {
  for (std::string above = path;; above.resize(above.find_last_of('/'))) {
    identities.Add(above.empty() ? "/" : above);
    if (above.find_last_of('/') == std::string::npos) return;
  }
}

}  // namespace

SyncPlan::SyncPlan(Store& store, Direction direction, bool removing, const WriteRoot& root)
    : store_(store),
      direction_(direction),
      own_files_(store),
      root_(root),
      compares_contents_(store.Client().FileCmp() == kHashPolicy) {
  std::error_code ignored;
  for (const std::string& path : {HostFolder(store.Variable("TmpDir")), store.Configuration()}) {
    AddWithFoldersAbove(fs::weakly_canonical(path, ignored).string(), above_own_);
  }
  const int count = store.Client().SyncPlanCount();
  entries_.reserve(static_cast<std::size_t>(count));
  for (int index = 0; index < count; ++index) Read(index, removing);
}

void SyncPlan::Read(int index, bool removing) {
  const char* source = nullptr;
  const char* target = nullptr;
  unsigned int low_size = 0;
  SYNC_DIR_FILE_OPERATION operation = SYNC_DIR_FILE_KEEP;
  if (store_.Client().SyncPlanEntry(index, &source, &target, &low_size, &operation) == 0) return;
  SyncEntry entry = {index, SyncAction::kSame, {}, HostPath(source), *target == 0 ? "" : HostPath(target), 0,
                     0};
  if (index == 0) top_ = entry.source;
  if (entry.source.size() > top_.size())
    entry.name = entry.source.substr(top_.size() + (top_.back() == '/' ? 0 : 1));
  if (operation != SYNC_DIR_FILE_DELETE && index > 0) ++source_names_;
  if (operation == SYNC_DIR_FILE_COPY || operation == SYNC_DIR_FILE_KEEP) ++source_files_;
  entry.action = ActionFor(operation, entry, removing);
  const bool to_do = entry.action == SyncAction::kCopy || entry.action == SyncAction::kMakeFolder ||
                     entry.action == SyncAction::kDelete;
  if (!to_do) store_.Client().SyncPlanTakeOut(index);
  if (entry.action == SyncAction::kCopy || entry.action == SyncAction::kSame) {
    if (operation == SYNC_DIR_FILE_FOLDER) return;  // a pair of folders: nothing to do, nothing to tell
    CountFile(entry.source, entry);
  } else if (entry.action == SyncAction::kDelete || entry.action == SyncAction::kExtra) {
    CountTree(entry.target, entry);
  }
  SyncSum& sum = sums_[static_cast<std::size_t>(entry.action)];
  ++sum.entries;
  sum.files += entry.files;
  sum.bytes += entry.bytes;
  entries_.push_back(std::move(entry));
}

SyncAction SyncPlan::ActionFor(SYNC_DIR_FILE_OPERATION operation, const SyncEntry& entry, bool removing) {
  if (!left_out_.empty() && entry.source.starts_with(left_out_)) return left_out_as_;
  switch (operation) {
    case SYNC_DIR_FILE_COPY:
      return ActionForCopy(entry);
    case SYNC_DIR_FILE_FOLDER:
      return ActionForFolder(entry);
    case SYNC_DIR_FILE_DELETE:
      return ActionForDelete(entry, removing);
    case SYNC_DIR_FILE_KEEP:
      break;
  }
  return ActionForSame(entry);
}

// Two files that cannot be read have the same signature.
SyncAction SyncPlan::ActionForSame(const SyncEntry& entry) const {
  if (!compares_contents_ || (ReadProblem(entry.source) == 0 && ReadProblem(entry.target) == 0))
    return SyncAction::kSame;
  return SyncAction::kUnreadable;
}

// kSame if nothing forbids to write to the target. What the store needs itself is not a document, so a pull
// does not copy it either.
SyncAction SyncPlan::WhyTargetRefused(const SyncEntry& entry) {
  if (direction_ == Direction::kGet && own_files_.IncludeEntry(entry.source)) return SyncAction::kOwn;
  if (direction_ == Direction::kPut && own_files_.IncludeEntry(entry.target)) return SyncAction::kOwnTarget;
  return root_.IsLeftBy(entry.target) ? SyncAction::kLeadsOut : SyncAction::kSame;
}

SyncAction SyncPlan::ActionForCopy(const SyncEntry& entry) {
  if (entry.target.empty()) return SyncAction::kUnreachable;
  if (const SyncAction why = WhyTargetRefused(entry); why != SyncAction::kSame) return why;
  return IsFolder(entry.target) ? SyncAction::kClash : SyncAction::kCopy;
}

SyncAction SyncPlan::ActionForFolder(const SyncEntry& entry) {
  struct stat status = {};
  SyncAction action = WhyTargetRefused(entry);
  if (action == SyncAction::kSame) {
    if (lstat(entry.target.c_str(), &status) != 0) return SyncAction::kMakeFolder;
    if (!IsFolder(entry.target)) action = SyncAction::kClash;
  }
  if (action == SyncAction::kSame) return action;
  left_out_ = entry.source + "/";
  left_out_as_ = action;
  return action;
}

SyncAction SyncPlan::ActionForDelete(const SyncEntry& entry, bool removing) const {
  struct stat status = {};
  if (lstat(entry.target.c_str(), &status) == 0 && above_own_.Hold(status)) return SyncAction::kOwn;
  if (!IsSurelyMissing(entry.source)) return SyncAction::kUncertain;
  return removing ? SyncAction::kDelete : SyncAction::kExtra;
}

}  // namespace tvl::cli

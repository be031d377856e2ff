#include "cli/trees/sync_plan.h"

#include <cerrno>

#include "cli/file_access.h"
#include "cli/file_status.h"
#include "cli/host_path.h"
#include "cli/interrupt.h"
#include "cli/output/text.h"

namespace tvl::cli {
namespace {

constexpr int kHashPolicy = 1;

// Converts a path of the library to a host path with single slashes.
std::string HostPath(const char* path) {
  std::string text = Slashed(path);
  const std::size_t root = DriveOf(text).size();
  for (std::size_t at = text.find("//", root); at != std::string::npos; at = text.find("//", at))
    text.erase(at, 1);
  while (text.size() > 1 && text.back() == '/') text.pop_back();
  return text;
}

// Returns true if the folder of `path` exists and has no such name. A share that was unmounted meanwhile has
// no such name either, which must not lead to deletions.
bool IsSurelyMissing(const std::string& path) {
  if (Exists(path) || errno != ENOENT) return false;
  return IsFolder(path.substr(0, path.find_last_of('/') + 1));
}

void AddWithFoldersAbove(const std::string& path, Identities& identities) {
  for (std::string above = path;; above = FolderOf(above)) {
    identities.Add(above);
    if (above == FolderOf(above)) return;
  }
}

}  // namespace

SyncPlan::SyncPlan(Store& store, Direction direction, const SyncRules& rules, const WriteRoot& root,
                   bool had_errors)
    : store_(store),
      direction_(direction),
      rules_(rules),
      own_files_(store),
      root_(root),
      compared_unreadable_(had_errors && store.Client().FileCmp() == kHashPolicy) {
  for (const std::string& path : {std::string(store.Layout().tmp), store.Configuration()}) {
    AddWithFoldersAbove(RealPath(path), above_own_);
  }
  const int count = store.Client().SyncPlanCount();
  for (int index = 0; index < count && !Interrupted(); ++index) Read(index);
  ReadLeftOut();
}

std::string SyncPlan::NameBelow(const std::string& top, const std::string& path) const {
  return path.size() > top.size() ? path.substr(top.size() + (top.back() == '/' ? 0 : 1)) : std::string();
}

void SyncPlan::Read(int index) {
  const char* source = nullptr;
  const char* target = nullptr;
  unsigned int low_size = 0;
  SYNC_DIR_FILE_OPERATION operation = SYNC_DIR_FILE_KEEP;
  if (store_.Client().SyncPlanEntry(index, &source, &target, &low_size, &operation) == 0) return;
  if (operation != SYNC_DIR_FILE_DELETE && index > 0) ++source_names_;
  if (operation == SYNC_DIR_FILE_COPY || operation == SYNC_DIR_FILE_KEEP) ++source_files_;
  if (IsPlainSame(operation, index)) return;
  SyncEntry entry = {index, SyncAction::kSame, {}, HostPath(source), *target == 0 ? "" : HostPath(target), 0,
                     0};
  if (index == 0) {
    top_ = entry.source;
    target_top_ = entry.target;
  }
  entry.name = NameBelow(top_, entry.source);
  entry.action = ActionFor(operation, entry);
  Count(operation, entry);
  if (!IsToDo(entry.action)) store_.Client().SyncPlanTakeOut(index);
  const bool silent = operation == SYNC_DIR_FILE_FOLDER && entry.action == SyncAction::kSame;
  if (!silent) Keep(std::move(entry));
}

void SyncPlan::Restrict(const std::function<bool(const SyncEntry&)>& keeps) {
  std::erase_if(entries_, [&](const SyncEntry& entry) {
    if (!IsToDo(entry.action) || keeps(entry)) return false;
    store_.Client().SyncPlanTakeOut(entry.index);
    SyncSum& sum = sums_[static_cast<std::size_t>(entry.action)];
    --sum.entries;
    sum.files -= entry.files;
    sum.bytes -= entry.bytes;
    return true;
  });
}

// Most names of most plans are the same on both sides. They are counted, but not looked at.
bool SyncPlan::IsPlainSame(SYNC_DIR_FILE_OPERATION operation, int index) {
  const bool looked_at = compared_unreadable_ || rules_.every_name || !left_out_.empty();
  if (operation != SYNC_DIR_FILE_KEEP || looked_at) return false;
  SYNC_PLAN_KIND kind = SYNC_PLAN_UNKNOWN;
  unsigned long long size = 0;
  store_.Directory()->SyncPlanSource(index, &kind, &size);
  SyncSum& sum = sums_[static_cast<std::size_t>(SyncAction::kSame)];
  ++sum.entries;
  ++sum.files;
  sum.bytes += size;
  ++target_names_;
  return true;
}

void SyncPlan::Count(SYNC_DIR_FILE_OPERATION operation, SyncEntry& entry) {
  if (operation == SYNC_DIR_FILE_DELETE) {
    const bool whole = CountTree(entry.target, entry);
    target_names_ += entry.files;
    if (!whole && entry.action == SyncAction::kDelete) entry.action = SyncAction::kHoldsKept;
    if (entry.action != SyncAction::kDelete && entry.action != SyncAction::kExtra)
      entry.files = entry.bytes = 0;
    return;
  }
  if (!entry.target.empty() && Exists(entry.target)) ++target_names_;
  if (operation == SYNC_DIR_FILE_FOLDER) return;
  SYNC_PLAN_KIND kind = SYNC_PLAN_UNKNOWN;
  unsigned long long size = 0;
  store_.Directory()->SyncPlanSource(entry.index, &kind, &size);
  if (entry.action != SyncAction::kCopy && entry.action != SyncAction::kSame) return;
  entry.files = 1;
  entry.bytes = kind == SYNC_PLAN_FILE ? size : 0;
}

void SyncPlan::Keep(SyncEntry entry) {
  SyncSum& sum = sums_[static_cast<std::size_t>(entry.action)];
  ++sum.entries;
  sum.files += entry.files;
  sum.bytes += entry.bytes;
  entries_.push_back(std::move(entry));
}

void SyncPlan::ReadLeftOut() {
  const char* folder = nullptr;
  const char* name = nullptr;
  TVL_LEFT_OUT reason = TVL_LEFT_OUT_NOT;
  int in_target = 0;
  for (int index = 0; store_.Directory()->SyncPlanLeftOut(index, &folder, &name, &reason, &in_target) != 0;
       ++index) {
    SyncAction action = reason == TVL_LEFT_OUT_BACKSLASH ? SyncAction::kBackslash : SyncAction::kLeadsBack;
    if (in_target != 0 && !rules_.removing) action = SyncAction::kExtra;  // kept in any case
    const std::string below = NameBelow(in_target != 0 ? target_top_ : top_, HostPath(folder));
    Keep({-1, action, Joined(below, name), {}, {}, 0, 0});
  }
}

SyncAction SyncPlan::ActionFor(SYNC_DIR_FILE_OPERATION operation, const SyncEntry& entry) {
  if (!left_out_.empty() && entry.source.starts_with(left_out_)) return left_out_as_;
  switch (operation) {
    case SYNC_DIR_FILE_COPY:
      return ActionForCopy(entry);
    case SYNC_DIR_FILE_FOLDER:
      return ActionForFolder(entry);
    case SYNC_DIR_FILE_DELETE:
      return ActionForDelete(entry);
    case SYNC_DIR_FILE_KEEP:
      break;
  }
  return ActionForSame(entry);
}

// Two unreadable files have the same signature, so readability is checked.
SyncAction SyncPlan::ActionForSame(const SyncEntry& entry) const {
  if (!compared_unreadable_ || (ReadProblem(entry.source) == 0 && ReadProblem(entry.target) == 0))
    return SyncAction::kSame;
  return SyncAction::kUnreadable;
}

// Returns kSame if the target may be written. The store's own files are not documents, so a pull does not
// copy them either.
SyncAction SyncPlan::WhyTargetRefused(const SyncEntry& entry) {
  if (direction_ == Direction::kGet && own_files_.IncludeEntry(entry.source)) return SyncAction::kOwn;
  const NameStatus target = LookAtName(entry.target);
  if (direction_ == Direction::kPut && own_files_.IncludeEntry(entry.target, target))
    return SyncAction::kOwnTarget;
  const bool leads_out = !entry.name.empty() && root_.IsLeftBy(entry.target, target);
  return leads_out ? SyncAction::kLeadsOut : SyncAction::kSame;
}

SyncAction SyncPlan::ActionForCopy(const SyncEntry& entry) {
  if (entry.target.empty()) return SyncAction::kUnreachable;
  SYNC_PLAN_KIND kind = SYNC_PLAN_UNKNOWN;
  unsigned long long size = 0;
  store_.Directory()->SyncPlanSource(entry.index, &kind, &size);
  if (kind == SYNC_PLAN_NOTHING) return SyncAction::kNothing;
  if (kind == SYNC_PLAN_OTHER) return SyncAction::kNoFile;
  if (const SyncAction why = WhyTargetRefused(entry); why != SyncAction::kSame) return why;
  return IsFolder(entry.target) ? SyncAction::kClash : SyncAction::kCopy;
}

SyncAction SyncPlan::ActionForFolder(const SyncEntry& entry) {
  SyncAction action = WhyTargetRefused(entry);
  if (action == SyncAction::kSame && LeadsBack(entry.target)) action = SyncAction::kLeadsBack;
  if (action == SyncAction::kSame) {
    if (!Exists(entry.target)) return SyncAction::kMakeFolder;
    if (!IsFolder(entry.target)) action = SyncAction::kClash;
  }
  if (action == SyncAction::kSame) return action;
  left_out_ = entry.source + "/";
  left_out_as_ = action;
  return action;
}

SyncAction SyncPlan::ActionForDelete(const SyncEntry& entry) const {
  const auto status = LinkStatusOf(entry.target);
  if (status && above_own_.Hold(*status)) return SyncAction::kOwn;
  if (!IsSurelyMissing(entry.source)) return SyncAction::kUncertain;
  return rules_.removing ? SyncAction::kDelete : SyncAction::kExtra;
}

// Counts everything that would be deleted with `path`, without following links. Returns false if it contains
// a name that the user wants to keep.
bool SyncPlan::CountTree(const std::string& path, SyncEntry& entry) const {
  const auto status = LinkStatusOf(path);
  if (Interrupted() || !status) return true;
  ++entry.files;
  if (status->IsFile()) entry.bytes += status->size;
  if (!status->IsFolder()) return true;
  bool whole = true;
  std::vector<std::string> names;
  static_cast<void>(ListNames(path, names));  // a folder that cannot be read cannot be deleted either
  for (const std::string& name : names) {
    if (CTVLClientSmbOpr::SyncPlanPassesOver(name.c_str(), rules_.pattern.c_str(), rules_.exclude) != 0)
      whole = false;
    if (!CountTree(Joined(path, name), entry)) whole = false;
  }
  return whole;
}

}  // namespace tvl::cli

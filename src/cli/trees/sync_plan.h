#ifndef TVL_CLI_TREES_SYNC_PLAN_H
#define TVL_CLI_TREES_SYNC_PLAN_H

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "cli/folder_trail.h"
#include "cli/names.h"
#include "cli/own_files.h"
#include "cli/store.h"
#include "cli/write_root.h"

namespace tvl::cli {

// What a synchronization does with a name.
enum class SyncAction {
  kCopy,
  kSame,
  kMakeFolder,
  kDelete,
  kExtra,        // only on the target; kept, because deletions were not requested
  kClash,        // a file on one side and a folder on the other; kept
  kOwn,          // on the target; kept, because the store itself needs it
  kOwnTarget,    // would replace a file that the store itself needs
  kLeadsOut,     // would be written through a link that leads out of the target
  kUnreadable,   // compares as equal, but cannot be read
  kUncertain,    // perhaps missing in the source, which cannot be confirmed; kept
  kHoldsKept,    // a folder to be deleted that contains excluded names; kept
  kNoFile,       // a pipe, a socket or a device
  kNothing,      // a dangling link
  kBackslash,    // a name with a backslash, which no path can express
  kLeadsBack,    // a link to a folder that the walk is in
  kUnreachable,  // in the source: a folder not read completely, or a path too long
};
inline constexpr std::size_t kSyncActions = static_cast<std::size_t>(SyncAction::kUnreachable) + 1;

// What the user asked to synchronize and to ignore.
struct SyncRules {
  bool removing;  // delete names that are only on the target
  std::string pattern;
  SYNC_DIR_FILE_EXCLUDE exclude;
  bool every_name;  // report even names that are the same
};

struct SyncEntry {
  int index;  // in the library's plan; negative for a name that is not in it
  SyncAction action;
  std::string name;  // relative to the two folders; empty for the folders themselves
  std::string source;
  std::string target;
  std::uint64_t files;  // for a folder to be deleted, with all of its contents
  std::uint64_t bytes;
};

// Returns true if the entry changes the target.
[[nodiscard]] constexpr bool IsToDo(SyncAction action) {
  return action == SyncAction::kCopy || action == SyncAction::kMakeFolder || action == SyncAction::kDelete;
}

struct SyncSum {
  std::uint64_t entries = 0;
  std::uint64_t files = 0;
  std::uint64_t bytes = 0;
};

// The library's plan after a check, which removes forbidden actions from it.
class SyncPlan {
 public:
  // Nothing may be written outside `root`. `had_errors` is true if the library had file errors as it
  // compared.
  SyncPlan(Store& store, Direction direction, const SyncRules& rules, const WriteRoot& root, bool had_errors);

  // Removes the entries to be done that `keeps` does not want.
  void Restrict(const std::function<bool(const SyncEntry&)>& keeps);

  // Returns what is to be done or reported, in the order of the plan. Names that are the same are included
  // only with `every_name`.
  [[nodiscard]] const std::vector<SyncEntry>& Entries() const { return entries_; }
  [[nodiscard]] const SyncSum& Sum(SyncAction action) const {
    return sums_[static_cast<std::size_t>(action)];
  }
  // Returns false if the source is empty.
  [[nodiscard]] bool SourceHasNames() const { return source_names_ > 0; }
  [[nodiscard]] bool SourceHasFiles() const { return source_files_ > 0; }
  // Returns the number of files and folders on the target, as far as the plan knows them.
  [[nodiscard]] std::uint64_t TargetNames() const { return target_names_; }

 private:
  void Read(int index);
  void ReadLeftOut();
  void Count(SYNC_DIR_FILE_OPERATION operation, SyncEntry& entry);
  void Keep(SyncEntry entry);
  [[nodiscard]] bool IsPlainSame(SYNC_DIR_FILE_OPERATION operation, int index);
  [[nodiscard]] std::string NameBelow(const std::string& top, const std::string& path) const;
  [[nodiscard]] SyncAction ActionFor(SYNC_DIR_FILE_OPERATION operation, const SyncEntry& entry);
  [[nodiscard]] SyncAction ActionForCopy(const SyncEntry& entry);
  [[nodiscard]] SyncAction ActionForFolder(const SyncEntry& entry);
  [[nodiscard]] SyncAction ActionForSame(const SyncEntry& entry) const;
  [[nodiscard]] SyncAction WhyTargetRefused(const SyncEntry& entry);
  [[nodiscard]] SyncAction ActionForDelete(const SyncEntry& entry) const;
  bool CountTree(const std::string& path, SyncEntry& entry) const;

  Store& store_;
  const Direction direction_;
  const SyncRules& rules_;
  const OwnFiles own_files_;
  Identities above_own_;  // the store's own files and their parent folders
  WriteRoot root_;
  const bool compared_unreadable_;  // perhaps: a comparison of contents met a file error
  std::string top_;                 // the source folder
  std::string target_top_;
  std::string left_out_;  // a skipped folder, with a slash; its contents are skipped too
  SyncAction left_out_as_ = SyncAction::kSame;
  std::vector<SyncEntry> entries_;
  SyncSum sums_[kSyncActions];
  std::uint64_t source_names_ = 0;
  std::uint64_t source_files_ = 0;
  std::uint64_t target_names_ = 0;
};

}  // namespace tvl::cli

#endif

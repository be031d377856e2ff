#ifndef TVL_CLI_SYNC_PLAN_H
#define TVL_CLI_SYNC_PLAN_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "cli/folder_trail.h"
#include "cli/names.h"
#include "cli/own_files.h"
#include "cli/store.h"
#include "cli/write_root.h"

namespace tvl::cli {

// What a synchronisation does with a name.
enum class SyncAction {
  kCopy,
  kSame,
  kMakeFolder,
  kDelete,
  kExtra,        // on the target only; stays, as deletions were not asked for
  kClash,        // a file in a folder's place, or the other way round; stays
  kOwn,          // on the target; stays, as the store itself needs it
  kOwnTarget,    // would replace what the store itself needs
  kLeadsOut,     // would be written through a link that leads out of the target
  kUnreadable,   // compares as equal, but cannot be read
  kUncertain,    // seemed missing in the source, which cannot be confirmed now; stays
  kHoldsKept,    // a folder to be deleted with names in it that were to be left alone; stays
  kNoFile,       // a pipe, a socket or a device
  kNothing,      // a link to nothing
  kBackslash,    // in its name, so that no path can say it
  kLeadsBack,    // a link to a folder that the walk is in
  kUnreachable,  // of the source; a folder not read to its end, or a path too long
};
inline constexpr std::size_t kSyncActions = static_cast<std::size_t>(SyncAction::kUnreachable) + 1;

// What a user asked to be done and to be left alone.
struct SyncRules {
  bool removing;  // names on the target only are deleted
  std::string pattern;
  SYNC_DIR_FILE_EXCLUDE exclude;
  bool every_name;  // also what is the same is reported by its name
};

struct SyncEntry {
  int index;  // in the library's plan; below 0 for a name that this does not have
  SyncAction action;
  std::string name;  // below the two folders; empty for these themselves
  std::string source;
  std::string target;
  std::uint64_t files;  // with everything in it, for a folder to be deleted
  std::uint64_t bytes;
};

struct SyncSum {
  std::uint64_t entries = 0;
  std::uint64_t files = 0;
  std::uint64_t bytes = 0;
};

// The library's plan, checked: what must not be done is removed from it.
class SyncPlan {
 public:
  // `root`: what is written must not leave it.
  SyncPlan(Store& store, Direction direction, const SyncRules& rules, const WriteRoot& root);

  // What is to be done or reported, in the plan's order; names that are the same only with `every_name`.
  [[nodiscard]] const std::vector<SyncEntry>& Entries() const { return entries_; }
  [[nodiscard]] const SyncSum& Sum(SyncAction action) const {
    return sums_[static_cast<std::size_t>(action)];
  }
  // False if the source has nothing at all to offer.
  [[nodiscard]] bool SourceHasNames() const { return source_names_ > 0; }
  [[nodiscard]] bool SourceHasFiles() const { return source_files_ > 0; }
  // Files and folders that the target has now, as far as the plan knows them.
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
  Identities above_own_;  // they and the folders that they are in
  WriteRoot root_;
  const bool compares_contents_;
  std::string top_;  // the source folder
  std::string target_top_;
  std::string left_out_;  // a folder whose contents share its fate, with a slash
  SyncAction left_out_as_ = SyncAction::kSame;
  std::vector<SyncEntry> entries_;
  SyncSum sums_[kSyncActions];
  std::uint64_t source_names_ = 0;
  std::uint64_t source_files_ = 0;
  std::uint64_t target_names_ = 0;
};

}  // namespace tvl::cli

#endif

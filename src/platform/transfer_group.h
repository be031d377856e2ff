#ifndef TVL_PLATFORM_TRANSFER_GROUP_H
#define TVL_PLATFORM_TRANSFER_GROUP_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/copy_file.h"
#include "platform/files.h"

namespace tvl {

class PartReplacer;

struct NewTimes {
  std::optional<FILETIME> accessed;  // not set: it is kept
  FILETIME written;
};

// A complete part that has not replaced its target yet. All paths are host paths.
struct FinishedPart {
  HANDLE file = INVALID_HANDLE_VALUE;  // open and held
  std::string path;
  std::string target;
  bool target_exists = false;
  std::uint64_t device = 0;
  bool target_examined = true;         // false: whether it exists is unknown
  std::optional<NewTimes> times = {};  // to be set
};

// Closes an open part, sets its times and renames it to its target. Returns false and notes an error on
// failure; then the part is removed, unless the target is gone.
[[nodiscard]] bool ReplaceTarget(const FinishedPart& part);

// Copies that are completed together. Those of level 2 are synced together: the file systems are synced once
// before all parts are renamed and once afterwards, so a copy costs a fraction of a sync. Those of level 1
// are renamed in the background. Used by one thread at a time. May throw std::bad_alloc.
class TransferGroup {
 public:
  TransferGroup();
  // Removes the parts of level 2 of a group that was not ended.
  ~TransferGroup();
  TransferGroup(const TransferGroup&) = delete;
  TransferGroup& operator=(const TransferGroup&) = delete;

  // Returns true once 1,000 files or 256 MiB are waiting, or half of the descriptors that the process may
  // open are in use.
  [[nodiscard]] bool IsFull() const;

  // Returns the number of copies so far, which is the index of the next one.
  [[nodiscard]] std::size_t Count() const { return entries_.size(); }

  // Adds a part of level 2 and takes ownership of it, unless it throws std::bad_alloc. `failure` is its
  // result if it fails.
  void Take(FinishedPart part, std::uint64_t bytes, int failure);

  // The same for a part of level 1, which replaces its target soon.
  void Replace(FinishedPart part, int failure);

  // Returns whether the times of a part of level 1 can be set later, by Replace, which takes a request or two
  // on a share. They can once those of another part were set: some shares refuse.
  [[nodiscard]] bool SetsTimesLater() const { return sets_times_; }
  void NoteTimesSet() { sets_times_ = true; }

  // Describes the next copy of level 1, so that End can repeat it if other processes remove its part.
  void NoteCopy(CopyAttempt* copy, const char* source, const char* target, CopiedTimes times) noexcept;

  // Counts a copy that is already complete.
  void TakeDone();

  // Ends and empties the group. Returns the results of the copies by index: 0, or the `failure` of the copy.
  // If a sync fails, all copies fail.
  [[nodiscard]] std::vector<int> End();

 private:
  struct NotedCopy {
    CopyAttempt* copy;
    std::string source;
    std::string target;
    CopiedTimes times;
  };
  struct Entry {
    FinishedPart part;  // `file` is invalid if nothing is left to do
    int failure;
    bool failed;
    std::optional<NotedCopy> noted;
  };
  struct Mounted;

  static constexpr std::size_t kMostFiles = 1000;
  static constexpr std::uint64_t kMostBytes = std::uint64_t{256} << 20;

  void NoteMount(const FinishedPart& part);
  [[nodiscard]] bool IsSyncedWhole(const FinishedPart& part) const;
  [[nodiscard]] int SyncMounts() const;
  [[nodiscard]] int SyncParts() const;
  [[nodiscard]] int SyncFolders() const;
  void RenameAll();
  void AwaitReplaced();
  [[nodiscard]] bool Repeat(std::size_t index) const;
  void FailAll(int problem);
  [[nodiscard]] std::vector<int> Results() const;
  void Clear();

  std::vector<Entry> entries_;
  std::optional<NotedCopy> next_;
  std::vector<Mounted> mounts_;
  std::unique_ptr<PartReplacer> replacer_;
  std::uint64_t bytes_ = 0;
  bool sets_times_ = false;
  std::size_t most_;
  DWORD process_;
};

}  // namespace tvl

#endif

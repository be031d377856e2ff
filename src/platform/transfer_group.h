#ifndef TVL_PLATFORM_TRANSFER_GROUP_H
#define TVL_PLATFORM_TRANSFER_GROUP_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "platform/files.h"

namespace tvl {

// A complete part that is yet to take its target's place. Host paths.
struct FinishedPart {
  HANDLE file;  // open and held
  std::string path;
  std::string target;
  bool target_exists;
  std::uint64_t device;
};

// Copies of level 2 that are synced together: the file systems are synced once before all parts are renamed
// and once after, so a copy costs a fraction of a sync. One thread at a time. std::bad_alloc may pass.
class TransferGroup {
 public:
  TransferGroup();
  // Removes the parts of a group that was not ended.
  ~TransferGroup();
  TransferGroup(const TransferGroup&) = delete;
  TransferGroup& operator=(const TransferGroup&) = delete;

  // True once 1,000 files or 256 MiB are waiting, or half of the descriptors that the process may have.
  [[nodiscard]] bool IsFull() const;

  // Copies taken so far; the number of the next one.
  [[nodiscard]] std::size_t Count() const { return entries_.size(); }

  // Takes a part. The group then owns it, unless std::bad_alloc passes. `failure` is its result if it fails.
  void Take(FinishedPart part, std::uint64_t bytes, int failure);

  // Counts a copy that is complete already.
  void TakeDone();

  // Ends the group, which is then empty. Result `n` is that of the copy with this number: 0, or what was to
  // be reported for a failure. A sync that fails is a failure of all.
  [[nodiscard]] std::vector<int> End();

  // Group bits of a folder with the setgid bit, or -1; asked once for each of a run of files in one folder.
  [[nodiscard]] int InheritedGroupBits(const std::string& folder);

 private:
  struct Entry {
    FinishedPart part;  // `file` is invalid where nothing is left to do
    int failure;
    bool failed;
  };
  // A file system that the group has written to.
  struct Mounted {
    std::uint64_t device;
    int folder;      // a descriptor
    bool syncs_all;  // syncfs() reaches the disk and reports what failed
  };

  void NoteMount(const FinishedPart& part);
  [[nodiscard]] bool IsSyncedWhole(const FinishedPart& part) const;
  [[nodiscard]] int SyncMounts() const;
  [[nodiscard]] int SyncParts() const;
  [[nodiscard]] int SyncFolders() const;
  void RenameAll();
  void FailAll(int problem);
  void Clear();

  std::vector<Entry> entries_;
  std::vector<Mounted> mounts_;
  std::uint64_t bytes_ = 0;
  std::size_t most_;
  DWORD process_;
  std::string last_folder_;
  int last_bits_ = -1;
};

}  // namespace tvl

#endif

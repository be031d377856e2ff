#ifndef TVL_CLIENT_SYNC_LIST_H
#define TVL_CLIENT_SYNC_LIST_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "platform/host_path.h"

// One planned step of a synchronisation, in plain data.
struct SyncDirFile {
  char source[tvl::kMaxPath];  // full paths
  char target[tvl::kMaxPath];
  unsigned int size;        // bytes to copy, low 32 bits
  unsigned char operation;  // a SYNC_DIR_FILE_OPERATION
  // Ours: what the plan knows of a file of the source, and how much of `target` the caller of the open named.
  // Links in that part are followed; nothing is deleted through one after it.
  unsigned char kind;  // a SYNC_PLAN_KIND
  unsigned short rootLength;
  std::uint64_t bytes;
};

// Finds entries of the list by their source path without a walk over it: places in the list, by a hash of the
// path that takes no notice of letter case.
struct SyncDirIndex {
 public:
  // Notes the entry at `place`; those before it are noted already. std::bad_alloc may pass.
  void Add(const SyncDirFile* entries, int place);

  [[nodiscard]] bool Contains(const SyncDirFile* entries, const char* source) const;

 private:
  // The hash stays with the place, so that few entries have to be read again.
  struct Slot {
    std::uint32_t hash;
    int place;  // -1 in a free one
  };

  void Grow();
  void Put(const Slot& slot);

  std::vector<Slot> slots_;  // their number is a power of two
  std::size_t used_ = 0;
};

#endif

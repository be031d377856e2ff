#ifndef TVL_CLIENT_SYNC_LIST_H
#define TVL_CLIENT_SYNC_LIST_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "platform/host_path.h"

// One planned step of a synchronization.
struct SyncDirFile {
  char source[tvl::kMaxPath];  // full paths
  char target[tvl::kMaxPath];
  unsigned int size;        // bytes to copy, low 32 bits
  unsigned char operation;  // a SYNC_DIR_FILE_OPERATION
  // Additions: what the plan knows of a file of the source, and the length of the part of `target` that the
  // caller specified. Links in that part are followed; nothing is deleted through links after it.
  unsigned char kind;  // a SYNC_PLAN_KIND
  unsigned short root_length;
  std::uint64_t bytes;
};

// Finds entries of the list by their source path, without regard to case: a hash table of indices.
struct SyncDirIndex {
 public:
  // Adds the entry at `place`, after those before it. May throw std::bad_alloc.
  void Add(const SyncDirFile* entries, int place);

  [[nodiscard]] bool Contains(const SyncDirFile* entries, const char* source) const;

 private:
  // Stores the hash with the index, so that few entries must be compared.
  struct Slot {
    std::uint32_t hash;
    int place;  // -1 in a free slot
  };

  void Grow();
  void Put(const Slot& slot);

  std::vector<Slot> slots_;  // the size is a power of two
  std::size_t used_ = 0;
};

#endif

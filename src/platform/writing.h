#ifndef TVL_PLATFORM_WRITING_H
#define TVL_PLATFORM_WRITING_H

#include <cstdint>

#include "platform/files.h"

namespace tvl {

class TransferGroup;

// How the target of a copy is written; the numbers are those of `SafeOnTransfert`.
enum class Safety {
  kInPlace = 0,
  kWhole = 1,   // as a part that is renamed to the target, so readers see either the old file or the new one
  kSynced = 2,  // the same, and synced before success is reported
};

// Returns the level for a number in a configuration or from a caller. Numbers above 2 work like 2.
[[nodiscard]] constexpr Safety SafetyOf(int level) {
  return level <= 0 ? Safety::kInPlace : level == 1 ? Safety::kWhole : Safety::kSynced;
}

struct Writing {
  Safety safety = Safety::kInPlace;
  TransferGroup* group = nullptr;  // collects copies that are to be synced together; null outside a group
  int failure = 0;                 // result that the group reports if this copy fails
  bool expects_new = false;        // the target is probably missing; the copy fails if it exists
  bool holds_small_parts = false;  // as it does large ones
};

// Properties of a source that its target gets.
struct SourceTraits {
  std::uint64_t size;
  std::uint64_t allocated;  // bytes on the disk, fewer than `size` in a file with holes
  unsigned int mode;
  std::uint64_t device;
  std::uint64_t inode;
  FILETIME accessed;
  FILETIME written;

  [[nodiscard]] bool HasHoles() const { return allocated < size; }
};

// Returns false if `path` cannot be examined.
[[nodiscard]] bool ReadTraits(const char* path, SourceTraits* traits);

}  // namespace tvl

#endif

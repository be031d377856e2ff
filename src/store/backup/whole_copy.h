#ifndef TVL_STORE_BACKUP_WHOLE_COPY_H
#define TVL_STORE_BACKUP_WHOLE_COPY_H

#include <cstdint>

#include "store/backup/open_folder.h"
#include "store/failure.h"

namespace tvl {

enum class SourceState {
  kInUse,   // programs may write the file at any time
  kAtRest,  // the caller keeps it from changing
};

enum class CopyOutcome { kCopied, kGone, kFailed };

// The copy of one file. The failure has no path, and the caller adds it.
struct WholeCopy {
  CopyOutcome outcome = CopyOutcome::kCopied;
  std::uint64_t size = 0;
  StoreFailure failure;
};

// A name in an open folder, or a full path in the current one.
struct NameIn {
  const OpenFolder& folder;
  const char* name;
};

// Copies a file to a name that must not exist: contents, holes, times, and access as far as this user may set
// it. The copy is one version of the file: one that changes while it is being read is read again, for about
// 10 s. Links are not followed. A file that has been deleted is kGone, and there is no copy.
[[nodiscard]] WholeCopy CopyWhole(const NameIn& from, const NameIn& to, SourceState state);

}  // namespace tvl

#endif

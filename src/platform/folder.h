#ifndef TVL_PLATFORM_FOLDER_H
#define TVL_PLATFORM_FOLDER_H

#include <cstdint>

#include "platform/files.h"

namespace tvl {

enum class EntryKind {
  kUnknown,  // cannot be examined
  kMissing,  // or a dangling link
  kFile,
  kFolder,
  kOther
};

// The status of an entry, with links followed.
struct EntryStatus {
  EntryKind kind = EntryKind::kUnknown;
  std::uint64_t size = 0;     // 0 for a folder
  std::int64_t modified = 0;  // whole seconds since 1970
};

// A folder that is kept open, so that its entries can be examined without resolving its path for each. It can
// be searched once (search.h).
class Folder {
 public:
  // `path` contains backslashes. Records a failure (last_error.h). Also opens a folder whose entries may be
  // used but not listed; then a search in it fails.
  explicit Folder(const char* path);
  ~Folder();
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  [[nodiscard]] bool IsOpen() const { return folder_ != INVALID_HANDLE_VALUE; }
  [[nodiscard]] EntryStatus StatusOf(const char* name) const;

  // Reads all names, so that a network file system knows the status of each and need not ask its server for
  // each StatusOf.
  void LookAhead() const;

  // For the platform layer: return the handle for listing, or why there is none.
  [[nodiscard]] HANDLE ListingHandle() const { return problem_ == 0 ? folder_ : INVALID_HANDLE_VALUE; }
  [[nodiscard]] int Problem() const { return problem_; }

 private:
  HANDLE folder_;
  int problem_ = 0;
};

}  // namespace tvl

#endif

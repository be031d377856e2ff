#ifndef TVL_PLATFORM_FOLDER_H
#define TVL_PLATFORM_FOLDER_H

#include <cstdint>

namespace tvl {

enum class EntryKind {
  kUnknown,  // cannot be examined
  kMissing,  // also a link to nothing
  kFile,
  kFolder,
  kOther
};

// What a name leads to, links followed.
struct EntryStatus {
  EntryKind kind = EntryKind::kUnknown;
  std::uint64_t size = 0;     // of a folder 0
  std::int64_t modified = 0;  // whole seconds since 1970
};

// A folder that is kept open, so that its names are examined without a walk down its path for each. It can be
// searched once (search.h).
class Folder {
 public:
  // `path` is the logic's; a failure is noted (last_error.h). A folder whose names may be used but not listed
  // is open too, and a search in it fails.
  explicit Folder(const char* path);
  ~Folder();
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  [[nodiscard]] bool IsOpen() const { return descriptor_ >= 0; }
  [[nodiscard]] EntryStatus StatusOf(const char* name) const;

  // For the platform layer: the descriptor to list the names with, or why there is none.
  [[nodiscard]] int ListingDescriptor() const { return problem_ == 0 ? descriptor_ : -1; }
  [[nodiscard]] int Problem() const { return problem_; }
  [[nodiscard]] int Descriptor() const { return descriptor_; }

 private:
  int descriptor_;
  int problem_ = 0;
};

}  // namespace tvl

#endif

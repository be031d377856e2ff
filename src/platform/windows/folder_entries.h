#ifndef TVL_PLATFORM_WINDOWS_FOLDER_ENTRIES_H
#define TVL_PLATFORM_WINDOWS_FOLDER_ENTRIES_H

#include <cerrno>

#include "platform/windows/native.h"

namespace tvl {

// Reads the names in a folder, in the order of the file system.
class FolderEntries {
 public:
  // Fails with `problem` if it is not 0.
  explicit FolderEntries(const char* folder, int problem = 0)
      : problem_(problem != 0 ? problem : native::FirstEntry(folder, &listing_, &entry_)) {}
  ~FolderEntries() {
    if (listing_ != native::kNoHandle) native::EndListing(listing_);
  }
  FolderEntries(const FolderEntries&) = delete;
  FolderEntries& operator=(const FolderEntries&) = delete;

  // Returns the next entry, which is valid until the next call, or null at the end and if the folder cannot
  // be read.
  [[nodiscard]] const native::Entry* Next() {
    if (problem_ == 0 && started_) problem_ = native::NextEntry(listing_, &entry_);
    started_ = true;
    return problem_ == 0 ? &entry_ : nullptr;
  }

  // Returns why Next returned null: 0 at the end, else an errno value.
  [[nodiscard]] int Problem() const {
    return listing_ != native::kNoHandle && problem_ == ENOENT ? 0 : problem_;
  }

 private:
  native::Handle listing_ = native::kNoHandle;
  native::Entry entry_;
  int problem_;
  bool started_ = false;
};

}  // namespace tvl

#endif

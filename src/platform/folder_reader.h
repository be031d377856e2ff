#ifndef TVL_PLATFORM_FOLDER_READER_H
#define TVL_PLATFORM_FOLDER_READER_H

#include <dirent.h>

#include <cstddef>
#include <memory>

namespace tvl {

// The names in an open folder, in the order of the file system; inside the platform layer only.
class FolderReader {
 public:
  // `descriptor` outlives the reader. Below 0 there are no names, and `problem` says why.
  explicit FolderReader(int descriptor, int problem = 0) : descriptor_(descriptor), problem_(problem) {}

  // The next name with its kind as the file system reports it, a DT_ value. Null at the end, and if the
  // folder cannot be read. The entry is valid until the next call.
  [[nodiscard]] const dirent64* Next();

  // Why Next returned null: 0 at the end, else an errno value.
  [[nodiscard]] int Problem() const { return problem_; }
  [[nodiscard]] int Descriptor() const { return descriptor_; }

 private:
  bool Fill();

  int descriptor_;
  int problem_;
  std::size_t at_ = 0;
  std::size_t filled_ = 0;
  std::unique_ptr<std::byte[]> entries_;  // on the heap: a deep tree has a reader for each level
};

}  // namespace tvl

#endif

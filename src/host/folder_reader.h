#ifndef TVL_HOST_FOLDER_READER_H
#define TVL_HOST_FOLDER_READER_H

#include <dirent.h>

#include <cstddef>
#include <memory>

namespace tvl {

// Reads the names in an open folder, in the order of the file system.
class FolderReader {
 public:
  // `descriptor` must outlive the reader. If it is negative, there are no names, and `problem` is the reason.
  explicit FolderReader(int descriptor, int problem = 0) : descriptor_(descriptor), problem_(problem) {}

  // Returns the next name with its kind as reported by the file system, a DT_ value. Returns null at the end,
  // and if the folder cannot be read. The entry is valid until the next call.
  [[nodiscard]] const dirent64* Next();

  // Returns why Next returned null: 0 at the end, else an errno value.
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

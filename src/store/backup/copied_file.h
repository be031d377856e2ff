#ifndef TVL_STORE_BACKUP_COPIED_FILE_H
#define TVL_STORE_BACKUP_COPIED_FILE_H

#include <cstddef>
#include <cstdint>
#include <memory>

#include "store/backup/open_folder.h"
#include "store/backup/source_file.h"

namespace tvl {

// The copy of a file, which is being written. Functions that return an int return 0 or an errno value.
class CopiedFile {
 public:
  CopiedFile(const OpenFolder& folder, const char* name);
  ~CopiedFile();
  CopiedFile(const CopiedFile&) = delete;
  CopiedFile& operator=(const CopiedFile&) = delete;

  // Creates the file, which must not exist, or empties it if this object has created it.
  [[nodiscard]] int OpenEmpty();
  // Deletes the file unless it is closed or was not created.
  void Remove();

  // Shares the blocks of the source, which takes neither time nor space and is one version of it. Returns
  // false if the file system cannot do that.
  [[nodiscard]] bool Share(const SourceFile& source);
  // Lets the parts that are skipped take no space, if the file system can do that.
  void AllowHoles();
  [[nodiscard]] int Write(const char* bytes, std::size_t count, std::uint64_t offset);
  [[nodiscard]] int SetSize(std::uint64_t size);

  // Returns whether the file consists of `size` bytes.
  [[nodiscard]] bool HasSize(std::uint64_t size) const;
  // Returns whether `count` bytes could be read.
  [[nodiscard]] bool Read(char* buffer, std::size_t count, std::uint64_t offset) const;

  // Sets access, as far as this user may, and times to those of the source, and closes the file.
  [[nodiscard]] int Finish(const SourceFile& source);

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace tvl

#endif

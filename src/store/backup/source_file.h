#ifndef TVL_STORE_BACKUP_SOURCE_FILE_H
#define TVL_STORE_BACKUP_SOURCE_FILE_H

#include <cstddef>
#include <cstdint>
#include <memory>

#include "store/backup/entry_status.h"
#include "store/backup/open_folder.h"

namespace tvl {

struct FileTime {
  std::int64_t seconds = 0;  // since 1970
  std::int64_t nanoseconds = 0;
  bool operator==(const FileTime&) const = default;
};

// Two equal versions of a file have the same contents, unless it changed twice within the precision of its
// times.
struct FileVersion {
  EntryStatus entry;
  std::uint64_t allocated = 0;
  FileTime written;
  FileTime changed;  // also when a program sets the time `written`
};

// A file that is open for reading. Reasons of failures are errno values; ELOOP means that another file or a
// link has taken its place.
class SourceFile {
 public:
  SourceFile(const OpenFolder& folder, const char* name);
  ~SourceFile();
  SourceFile(const SourceFile&) = delete;
  SourceFile& operator=(const SourceFile&) = delete;

  // Returns 0, or the errno value with which it could not be opened or examined.
  [[nodiscard]] int Problem() const;
  // Returns the version at the time of opening.
  [[nodiscard]] FileVersion Version() const;
  // Stores the version now. Returns 0 or an errno value.
  [[nodiscard]] int ReadVersion(FileVersion& version) const;
  // Stores in `count` how many bytes were read, 0 at the end. Returns 0 or an errno value.
  [[nodiscard]] int Read(char* buffer, std::size_t most, std::uint64_t offset, std::size_t& count) const;

  // What each system keeps of an open file.
  struct State;
  [[nodiscard]] const State& Opened() const { return *state_; }

 private:
  std::unique_ptr<State> state_;
};

}  // namespace tvl

#endif

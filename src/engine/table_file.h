#ifndef TVL_ENGINE_TABLE_FILE_H
#define TVL_ENGINE_TABLE_FILE_H

#include <sys/types.h>

#include <compare>
#include <optional>
#include <string>
#include <utility>

#include "engine/patience.h"

namespace tvl::engine {

// Which file it is, by whatever name.
struct FileId {
  dev_t device = 0;
  ino_t inode = 0;
  auto operator<=>(const FileId&) const = default;  // NOLINT(modernize-use-nullptr): a false alarm
};

// The path of a table's data file as its user names it: the host's separators and the extension ".dat".
[[nodiscard]] std::string NamedPath(const char* table);

// The same path with its links followed.
[[nodiscard]] std::string DataFilePath(const std::string& path);

// A table's data file, held by a lock as long as this object lives.
//
// Anyone who deletes or replaces a file of the store first tries for a range far beyond any data
// (store/lock_ranges.h). A table in use is guarded by one byte in that range, which all its users share.
class TableFile {
 public:
  // Holds the file for use, for reading only if it can't be written. Waits while another process makes it.
  // Nothing, and a noted error, if that fails.
  [[nodiscard]] static std::optional<TableFile> Share(const std::string& path, Patience& patience);

  // Holds the file, which is made if it isn't there, against all others. Doesn't wait for users.
  // Nothing, and a noted error, if there are any.
  [[nodiscard]] static std::optional<TableFile> Seize(const std::string& path);

  TableFile(TableFile&& other) noexcept
      : descriptor_(std::exchange(other.descriptor_, -1)), id_(other.id_), writable_(other.writable_) {}
  TableFile(const TableFile&) = delete;  // one object, one lock
  TableFile& operator=(const TableFile&) = delete;
  TableFile& operator=(TableFile&&) = delete;
  ~TableFile();

  [[nodiscard]] int Descriptor() const { return descriptor_; }
  [[nodiscard]] const FileId& Id() const { return id_; }
  [[nodiscard]] bool IsWritable() const { return writable_; }

  // Whether the path, which may lead to another file meanwhile, still names this one.
  [[nodiscard]] bool IsStill(const std::string& path) const;

 private:
  TableFile(int descriptor, bool writable) : descriptor_(descriptor), writable_(writable) {}

  [[nodiscard]] bool Identify();

  int descriptor_;
  FileId id_;
  bool writable_;
};

}  // namespace tvl::engine

#endif

#ifndef TVL_ENGINE_TABLE_FILE_H
#define TVL_ENGINE_TABLE_FILE_H

#include <cstddef>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <utility>

#include "engine/patience.h"
#include "engine/system.h"
#include "store/lock_ranges.h"

namespace tvl::engine {

// Returns the path of a table's data file: the given name with host separators and the extension ".dat".
[[nodiscard]] std::string NamedPath(const char* table);

// Returns the same path with its links resolved.
[[nodiscard]] std::string DataFilePath(const std::string& path);

// Returns a folder's path with slashes, without one at its end, and with its links resolved.
[[nodiscard]] std::string RealFolder(const std::string& folder);

// The data file of a table, locked as long as this object exists.
//
// Everyone who deletes or replaces a file of the store first tries to lock a range far beyond any data
// (store/lock_ranges.h). A table in use is protected by one byte in that range, which all its users share.
class TableFile {
 public:
  // Locks the file for use; for reading only if it cannot be written. Waits while another process creates it.
  // Returns nothing and notes an error on failure.
  [[nodiscard]] static std::optional<TableFile> Share(const std::string& path, Patience& patience);

  // Locks the file exclusively, and creates it if it does not exist. Does not wait for users. Returns nothing
  // and notes an error if there are any.
  [[nodiscard]] static std::optional<TableFile> Seize(const std::string& path);

  // The same for a file that exists.
  [[nodiscard]] static std::optional<TableFile> SeizeExisting(const std::string& path);

  // The same, except that this process can still open the table in the file: others can neither open nor
  // replace it. A program that uses plain SQLite is excluded by opening the table.
  [[nodiscard]] static std::optional<TableFile> SeizeRows(const std::string& path);

  TableFile(TableFile&& other) noexcept
      : file_(std::exchange(other.file_, kNoFile)),
        id_(other.id_),
        writable_(other.writable_),
        opens_apart_(other.opens_apart_),
        is_shared_(other.is_shared_) {}
  TableFile(const TableFile&) = delete;  // one object, one lock
  TableFile& operator=(const TableFile&) = delete;
  TableFile& operator=(TableFile&& other) noexcept;
  ~TableFile();

  [[nodiscard]] FileNumber Number() const { return file_; }
  [[nodiscard]] const FileId& Id() const { return id_; }
  [[nodiscard]] bool IsWritable() const { return writable_; }

  // Calls `open`, which opens the file once more by `path`, so that the locks of both are reliable. Returns
  // false and notes an error, without calling it, if other processes are opening the file for too long.
  [[nodiscard]] bool OpenAgain(const std::string& path, const std::function<void()>& open) const;

  // Returns whether others may use the table too, on a share where opens need OpenApart.
  [[nodiscard]] bool IsSharedApart() const { return opens_apart_ && is_shared_; }

  // Returns the first bytes of the file, at most `count`; fewer at its end or on failure.
  [[nodiscard]] std::string Start(std::size_t count) const;

  // Returns whether the path still refers to this file.
  [[nodiscard]] bool IsStill(const std::string& path) const;

 private:
  TableFile(FileNumber file, Access access) : file_(file), writable_(access == Access::kReadWrite) {}

  enum class Purpose { kUse, kReplacement };
  // Opens the file, which must exist.
  [[nodiscard]] static TableFile Open(const std::string& path, Access access, Purpose purpose);

  using Opening = TableFile (*)(const std::string& path);
  [[nodiscard]] static TableFile OpenExisting(const std::string& path);
  [[nodiscard]] static TableFile OpenOrMake(const std::string& path);
  [[nodiscard]] static std::optional<TableFile> SeizeOpened(const std::string& path, Opening open,
                                                            std::span<const LockRange> ranges);
  [[nodiscard]] bool IsOpen() const { return file_ != kNoFile; }
  [[nodiscard]] bool Identify();

  FileNumber file_;
  FileId id_;
  bool writable_;
  bool opens_apart_ = false;  // another open of the file needs OpenApart
  bool is_shared_ = false;
};

}  // namespace tvl::engine

#endif

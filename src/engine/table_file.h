#ifndef TVL_ENGINE_TABLE_FILE_H
#define TVL_ENGINE_TABLE_FILE_H

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <utility>

#include "engine/patience.h"
#include "host/file_identity.h"
#include "store/lock_ranges.h"

namespace tvl::engine {

// Sets the permissions of a new file to read and write as for its folder: everyone who may write in the
// folder must be able to use the table, regardless of the umask of this process.
void TakeModeOfFolder(int descriptor, const std::string& path);

// Returns the path of a table's data file: the given name with host separators and the extension ".dat".
[[nodiscard]] std::string NamedPath(const char* table);

// Returns the same path with its links resolved.
[[nodiscard]] std::string DataFilePath(const std::string& path);

// Returns a folder's path with host separators and its links resolved.
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
      : descriptor_(std::exchange(other.descriptor_, -1)),
        id_(other.id_),
        writable_(other.writable_),
        isOnSmb_(other.isOnSmb_) {}
  TableFile(const TableFile&) = delete;  // one object, one lock
  TableFile& operator=(const TableFile&) = delete;
  TableFile& operator=(TableFile&& other) noexcept;
  ~TableFile();

  [[nodiscard]] int Descriptor() const { return descriptor_; }
  [[nodiscard]] const FileIdentity& Id() const { return id_; }
  [[nodiscard]] bool IsWritable() const { return writable_; }

  // Returns whether another open of the file needs an OpeningApart.
  [[nodiscard]] bool IsOnSmb() const { return isOnSmb_; }

  // Returns the first bytes of the file, at most `count`; fewer at its end or on failure.
  [[nodiscard]] std::string Start(std::size_t count) const;

  // Returns whether the path still refers to this file.
  [[nodiscard]] bool IsStill(const std::string& path) const;

 private:
  TableFile(int descriptor, bool writable) : descriptor_(descriptor), writable_(writable) {}

  enum class Purpose { kUse, kReplacement };
  // Opens the file, which must exist.
  [[nodiscard]] static TableFile Open(const std::string& path, int access, Purpose purpose);

  using Opening = TableFile (*)(const std::string& path);
  [[nodiscard]] static TableFile OpenExisting(const std::string& path);
  [[nodiscard]] static TableFile OpenOrMake(const std::string& path);
  [[nodiscard]] static std::optional<TableFile> SeizeOpened(const std::string& path, Opening open,
                                                            std::span<const LockRange> ranges);
  [[nodiscard]] bool IsOpen() const { return descriptor_ >= 0; }
  [[nodiscard]] bool Identify();

  int descriptor_;
  FileIdentity id_;
  bool writable_;
  bool isOnSmb_ = false;
};

}  // namespace tvl::engine

#endif

#ifndef TVL_ENGINE_POINTER_FILE_H
#define TVL_ENGINE_POINTER_FILE_H

#include <memory>
#include <string>

#include "engine/layout.h"
#include "engine/permission.h"
#include "engine/storage_plugin.h"

namespace tvl::engine {

// A new table in the database server, with its data file. The rows come first: the data file appears complete
// and last, so that it never points to nothing. Functions that fail note an error.
class NewRemoteTable {
 public:
  // Creates the empty table, and its data file under a temporary name next to `path`. Returns null on
  // failure.
  [[nodiscard]] static std::unique_ptr<NewRemoteTable> Create(const std::string& path, const Layout& layout,
                                                              const Permission& permission);
  NewRemoteTable(const NewRemoteTable&) = delete;
  NewRemoteTable& operator=(const NewRemoteTable&) = delete;

  // Removes a table whose data file got no name.
  ~NewRemoteTable();

  [[nodiscard]] std::unique_ptr<Table> OpenRows(Patience& patience) const;

  // Publishes the data file under its name, which must not exist. Of two processes that do so at once, one
  // fails.
  [[nodiscard]] bool Publish();

  // Renames the data file over the one of that name, which the caller has locked. The rows of a former table
  // in the server stay there. After a failure the new rows stay too, because a share may have renamed the
  // file before it failed.
  [[nodiscard]] bool PublishInstead();

 private:
  class Part;
  enum class Published { kDone, kTaken, kNoLinks, kFailed };

  NewRemoteTable(std::string path, RemotePlace place, StoragePlugin& plugin, std::unique_ptr<Part> part);
  [[nodiscard]] Published Link() const;
  [[nodiscard]] Published WriteInPlace();
  void Keep();

  std::string path_;
  RemotePlace place_;
  StoragePlugin& plugin_;
  std::unique_ptr<Part> part_;
  bool is_kept_ = false;
};

// Creates an empty table in the database server at `path`. A table that existed there, and that nobody has
// open, is replaced. On failure returns false and notes an error.
[[nodiscard]] bool MakePointer(const std::string& path, const Layout& layout, const Permission& permission);

// Returns the temporary path, next to `path`, of a table file that is being written.
[[nodiscard]] std::string PartPath(const std::string& path, const Pointer& pointer);

}  // namespace tvl::engine

#endif

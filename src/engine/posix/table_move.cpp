#include "engine/table_move.h"

#include <memory>
#include <optional>

#include "engine/last_error.h"
#include "engine/plugin_module.h"
#include "engine/pointer_file.h"
#include "engine/row_copy.h"
#include "engine/sqlite/archive.h"
#include "engine/sqlite/table.h"
#include "engine/storage.h"
#include "engine/table_file.h"
#include "host/sync.h"
#include "host/system_calls.h"

namespace tvl::engine {
namespace {

// A table that this process alone can use, as long as the object exists.
class HeldTable {
 public:
  // Returns nothing and notes an error if others use the table.
  [[nodiscard]] static std::optional<HeldTable> Hold(const std::string& path) {
    std::optional<TableFile> file = TableFile::SeizeRows(path);
    if (!file) return std::nullopt;
    return HeldTable(path, std::move(*file));
  }

  [[nodiscard]] const std::string& Path() const { return path_; }
  [[nodiscard]] bool IsRemote() const { return IsPointer(start_); }

  // Returns where the rows are in the server, or nothing and notes an error.
  [[nodiscard]] std::optional<RemotePlace> Place() const { return FindPlace(path_, file_, start_); }

  [[nodiscard]] std::unique_ptr<Table> OpenFile(Patience& patience) const {
    return SqliteTable::Open(path_, file_, start_, patience);
  }

 private:
  HeldTable(const std::string& path, TableFile file)
      : path_(path), file_(std::move(file)), start_(file_.Start(kLongestPointer + 1)) {}

  std::string path_;
  TableFile file_;
  std::string start_;
};

// The rows of a table in a batch that excludes all others.
class LockedRows {
 public:
  explicit LockedRows(std::unique_ptr<Table> table) : table_(std::move(table)) {
    Patience patience;
    is_locked_ = table_ != nullptr && table_->Begin(true, patience);
  }
  LockedRows(const LockedRows&) = delete;
  LockedRows& operator=(const LockedRows&) = delete;
  ~LockedRows() {
    if (is_locked_) static_cast<void>(table_->End());
  }

  [[nodiscard]] bool AreLocked() const { return is_locked_; }
  [[nodiscard]] Table& Get() const { return *table_; }

 private:
  std::unique_ptr<Table> table_;
  bool is_locked_ = false;
};

// Copies the rows to the table that `open` opens, and compares them there.
template <typename Open>
bool CopyChecked(Table& source, Open open) {
  const auto opened = [&open] {
    Patience patience;
    return open(patience);
  };
  std::optional<RowSum> copied;
  if (const std::unique_ptr<Table> target = opened()) copied = CopyRows(source, *target);
  const std::unique_ptr<Table> target = copied ? opened() : nullptr;
  const std::optional<RowSum> found = target == nullptr ? std::nullopt : SumRows(*target);
  if (found && *found != *copied) NoteError("the copied rows differ from the table's", Problem::kDamaged);
  return found && *found == *copied;
}

// Before the data file is replaced: a later table with this name could already have a journal of its own.
bool RemoveJournal(const HeldTable& held) {
  if (RemoveCompanions(held.Path())) return true;
  NoteSystemError("the journal of the table cannot be removed");
  return false;
}

bool CopyToServer(const HeldTable& held, const LockedRows& rows, const Permission& permission) {
  if (!rows.AreLocked()) return false;
  const std::unique_ptr<NewRemoteTable> target =
      NewRemoteTable::Create(held.Path(), rows.Get().Lengths(), permission);
  return target != nullptr &&
         CopyChecked(rows.Get(), [&target](Patience& patience) { return target->OpenRows(patience); }) &&
         RemoveJournal(held) && target->PublishInstead();
}

bool MoveToServer(const HeldTable& held) {
  std::optional<Permission> permission;
  if (!FindPermission(held.Path(), permission)) return false;
  if (!permission) {
    NoteError("no tables.ini next to the store's configuration names a PostgreSQL server");
    return false;
  }
  Patience patience;
  const LockedRows rows(held.OpenFile(patience));
  return CopyToServer(held, rows, *permission);
}

// A table in a file under a temporary name. It is removed with this object, unless it was renamed.
class PartTable {
 public:
  PartTable(const std::string& path, const Pointer& pointer) : path_(PartPath(path, pointer)) {}
  PartTable(const PartTable&) = delete;
  PartTable& operator=(const PartTable&) = delete;
  ~PartTable() {
    if (!is_made_) return;
    System().unlink(path_.c_str());
    static_cast<void>(RemoveCompanions(path_));
  }

  // The lock of a user protects the file from those who remove parts that nobody holds.
  [[nodiscard]] bool Create(const Layout& layout) {
    is_made_ = MakeSqliteArchive(path_, layout);
    if (!is_made_) return false;
    Patience patience;
    if (std::optional<TableFile> file = TableFile::Share(path_, patience)) file_.emplace(std::move(*file));
    return file_.has_value();
  }

  [[nodiscard]] std::unique_ptr<Table> OpenRows(Patience& patience) const {
    std::unique_ptr<SqliteTable> table =
        SqliteTable::Open(path_, *file_, file_->Start(kLongestPointer), patience);
    return table != nullptr && table->KeepJournalInMemory() ? std::move(table) : nullptr;
  }

  [[nodiscard]] bool Rename(const std::string& path) const {
    if (System().rename(path_.c_str(), path.c_str()) != 0) {
      NoteSystemError("the table cannot be replaced");
      return false;
    }
    static_cast<void>(SyncFolderOf(path));
    return true;
  }

 private:
  std::string path_;
  bool is_made_ = false;
  std::optional<TableFile> file_;
};

std::unique_ptr<Table> OpenPlace(const RemotePlace& place) {
  Patience patience;
  StoragePlugin* const plugin = PostgresPlugin();
  return plugin == nullptr ? nullptr : plugin->Open(place, patience);
}

bool MoveToFile(const HeldTable& held) {
  const std::optional<RemotePlace> place = held.Place();
  if (!place || RefuseTableFile(held.Path())) return false;
  const LockedRows rows(OpenPlace(*place));
  PartTable target(held.Path(), place->pointer);
  return rows.AreLocked() && target.Create(rows.Get().Lengths()) &&
         CopyChecked(rows.Get(), [&target](Patience& patience) { return target.OpenRows(patience); }) &&
         RemoveJournal(held) && target.Rename(held.Path());
}

// Returns where the rows of a data file are that was copied, or nothing and notes an error.
std::optional<RemotePlace> PlaceOfCopy(const HeldTable& held) {
  if (!held.IsRemote()) {
    NoteError("the table is a file of its own, not a pointer to a table in PostgreSQL");
    return std::nullopt;
  }
  std::optional<RemotePlace> place = held.Place();
  if (!place) return std::nullopt;
  if (OpenPlace(*place) != nullptr) {
    NoteError("the file was not copied: the rows belong to it");
    return std::nullopt;
  }
  place->is_copy = true;
  return place;
}

}  // namespace

bool MoveTable(const std::string& path, TablePlace place) {
  const std::optional<HeldTable> held = HeldTable::Hold(path);
  if (!held) return false;
  if (held->IsRemote() == (place == TablePlace::kDatabase)) {
    NoteError(held->IsRemote() ? "the rows are already in PostgreSQL" : "the rows are already in the file");
    return false;
  }
  return place == TablePlace::kDatabase ? MoveToServer(*held) : MoveToFile(*held);
}

bool AdoptTable(const std::string& path) {
  const std::optional<HeldTable> held = HeldTable::Hold(path);
  const std::optional<RemotePlace> place = held ? PlaceOfCopy(*held) : std::nullopt;
  return place && OpenPlace(*place) != nullptr && PostgresPlugin()->Adopt(*place);
}

bool ForkTable(const std::string& path) {
  const std::optional<HeldTable> held = HeldTable::Hold(path);
  const std::optional<RemotePlace> place = held ? PlaceOfCopy(*held) : std::nullopt;
  if (!place) return false;
  const LockedRows rows(OpenPlace(*place));
  return CopyToServer(*held, rows, place->permission);
}

}  // namespace tvl::engine

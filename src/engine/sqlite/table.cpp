#include "engine/sqlite/table.h"

#include <sqlite3.h>

#include <chrono>
#include <cstddef>
#include <cstring>
#include <new>
#include <string_view>

#include "engine/last_error.h"
#include "engine/sqlite/library.h"
#include "engine/sqlite/row_search.h"
#include "engine/system.h"
#include "store/table_kind.h"

namespace tvl::engine {
namespace {

using std::string_view;

#define ROWS "SELECT key1, key2, record FROM records WHERE "

// Indexed by key number and mode. RowSearch skips the rows that an upward search meets before the wanted key.
constexpr const char* kReads[] = {
    ROWS "key1 >= ?1 ORDER BY key1",
    ROWS "key1 >= ?1 ORDER BY key1",
    ROWS "key1 >= ?1 ORDER BY key1",
    ROWS "key1 < ?1 ORDER BY key1 DESC",
    ROWS "key1 <= ?1 ORDER BY key1 DESC",
    ROWS "key2 >= ?1 ORDER BY key2, key1",
    ROWS "key2 > ?1 ORDER BY key2, key1",
    ROWS "key2 >= ?1 ORDER BY key2, key1",
    ROWS "key2 < ?1 ORDER BY key2 DESC, key1 DESC",
    ROWS "key2 <= ?1 ORDER BY key2 DESC, key1 DESC",
};
#undef ROWS

// Values that are not bytes sort before all bytes.
constexpr const char* kFirstKeys[] = {
    "SELECT typeof(key1) = 'blob' FROM records ORDER BY key1 LIMIT 1",
    "SELECT typeof(key2) = 'blob' FROM records ORDER BY key2 LIMIT 1",
};
constexpr std::size_t kModes = 5;

constexpr const char* kWrites[] = {
    "INSERT INTO records VALUES(?1, ?2, ?3) "
    "ON CONFLICT(key1) DO UPDATE SET key2 = excluded.key2, record = excluded.record",
    "INSERT INTO records VALUES(?1, ?2, ?3) ON CONFLICT(key1) DO UPDATE SET record = excluded.record",
};
constexpr std::size_t kWriteAll = 0;
constexpr std::size_t kWriteKeepingKey2 = 1;

constexpr const char* kDeletes[] = {
    "DELETE FROM records WHERE key1 = ?1",
    "DELETE FROM records WHERE key2 = ?2",
    "DELETE FROM records WHERE key1 = ?1 AND key2 = ?2",
};

constexpr const char* kBatches[] = {"BEGIN", "BEGIN IMMEDIATE", "SELECT 1 FROM layout", "COMMIT", "ROLLBACK"};
constexpr std::size_t kBegin = 0;
constexpr std::size_t kBeginWriting = 1;
constexpr std::size_t kTakeSnapshot = 2;
constexpr std::size_t kCommit = 3;
constexpr std::size_t kRollback = 4;

// Safe against a power failure at any moment. Caches 8 MB of pages before a large batch is written to the
// file.
constexpr const char* kSettings =
    "PRAGMA journal_mode = TRUNCATE; PRAGMA synchronous = EXTRA; PRAGMA secure_delete = FAST;"
    "PRAGMA temp_store = MEMORY; PRAGMA cell_size_check = ON; PRAGMA cache_size = -8192";

// The records come first: as long as they fit in one page, that page follows the first page, which every
// transaction changes too, and both are written in one request.
constexpr const char* kMakeTables =
    "CREATE TABLE records(key1 BLOB NOT NULL PRIMARY KEY, key2 BLOB NOT NULL, record BLOB NOT NULL) WITHOUT "
    "ROWID;"
    "CREATE TABLE layout(record INTEGER NOT NULL, key1 INTEGER NOT NULL, key2 INTEGER NOT NULL);";
constexpr const char* kMakeIndex = "CREATE INDEX records_by_key2 ON records(key2);";

constexpr int kLongestValue = 1 << 20;

// A file may come from anyone, so no code in it may run.
constexpr struct {
  int option;
  int value;
} kDefences[] = {
    {SQLITE_DBCONFIG_DEFENSIVE, 1},
    {SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0},
    {SQLITE_DBCONFIG_ENABLE_TRIGGER, 0},
    {SQLITE_DBCONFIG_ENABLE_VIEW, 0},
};

// Offsets in the header of a database.
constexpr char kMagicText[] = "SQLite format 3";
constexpr string_view kMagic(kMagicText, sizeof kMagicText);  // includes the NUL
constexpr std::size_t kWriteVersion = 18;
constexpr std::size_t kReadVersion = 19;
constexpr std::size_t kHeaderLooked = 20;
constexpr char kRollbackJournal = 1;

// Returns false for anything but a database with a rollback journal. SQLite itself would also use a
// write-ahead log next to the file, regardless of the header.
bool HasOurFormat(const std::string& path, string_view start) {
  return start.size() >= kHeaderLooked && start.starts_with(kMagic) &&
         start[kWriteVersion] == kRollbackJournal && start[kReadVersion] == kRollbackJournal &&
         !FileExists(path + "-wal");
}

// A node of the tree contains at least four rows. The part of a row that does not fit into a quarter of a
// node goes to separate pages.
int PageSizeFor(const Layout& layout) {
  constexpr int head = 32;
  const int row = layout.record + layout.key1 + layout.key2 + head;
  int size = 4096;
  while (size < 32768 && (size - 12) * 64 / 255 - 23 < row) size *= 2;
  return size;
}

Problem ProblemOf(int sqlite_code) {
  switch (sqlite_code & 0xFF) {
    case SQLITE_BUSY:
      return Problem::kBusy;
    case SQLITE_READONLY:
      return Problem::kReadOnly;
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
    case SQLITE_TOOBIG:
      return Problem::kDamaged;
    default:
      return Problem::kUnusable;
  }
}

Region::Strength StrengthFor(bool for_writing) {
  return for_writing ? Region::Strength::kExclusive : Region::Strength::kShared;
}

struct DatabaseCloser {
  void operator()(sqlite3* database) const { sqlite3_close(database); }
};

}  // namespace

std::string SqliteTable::EmptyImage(const Layout& layout) {
  const SqlitePassage passage;
  sqlite3* opened = nullptr;
  const int opening = sqlite3_open(":memory:", &opened);
  const std::unique_ptr<sqlite3, DatabaseCloser> database(opened);
  const std::string sql =
      "PRAGMA page_size = " + std::to_string(PageSizeFor(layout)) +
      "; PRAGMA auto_vacuum = NONE; PRAGMA application_id = " + std::to_string(kApplicationId) + ';' +
      kMakeTables + (layout.key2 > 0 ? kMakeIndex : "") + "INSERT INTO layout VALUES(" +
      std::to_string(layout.record) + ',' + std::to_string(layout.key1) + ',' + std::to_string(layout.key2) +
      ')';
  if (opening != SQLITE_OK || sqlite3_exec(opened, sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
    NoteError("the table cannot be created");
    return {};
  }
  sqlite3_int64 size = 0;
  const std::unique_ptr<unsigned char, decltype(&sqlite3_free)> image(
      sqlite3_serialize(opened, "main", &size, 0), sqlite3_free);
  if (image == nullptr) throw std::bad_alloc();
  return {reinterpret_cast<const char*>(image.get()), static_cast<std::size_t>(size)};
}

std::unique_ptr<SqliteTable> SqliteTable::Open(const std::string& path, const TableFile& file,
                                               string_view start, Patience& patience) {
  if (!HasOurFormat(path, start)) {
    NoteError("the file is not a table");
    return nullptr;
  }
  std::unique_ptr<SqliteTable> table(new SqliteTable);
  if (!table->Connect(path, file)) return nullptr;
  if (!table->Transact(false, patience, [&] { return table->Run(kSettings) && table->ReadLayout(); }))
    return nullptr;
  // SQLite opened the path again, which may meanwhile refer to another file.
  if (!file.IsStill(path)) {
    NoteError("the table was replaced");
    return nullptr;
  }
  table->StampJournal();
  return table;
}

SqliteTable::~SqliteTable() {
  const SqlitePassage passage(&region_);
  for (Statement& statement : reads_) statement.Finalize();
  for (Statement& statement : first_keys_) statement.Finalize();
  for (Statement& statement : writes_) statement.Finalize();
  for (Statement& statement : deletes_) statement.Finalize();
  for (Statement& statement : batches_) statement.Finalize();
  sqlite3_close(database_);
}

// SQLite's own open file has locks too.
bool SqliteTable::Connect(const std::string& path, const TableFile& file) {
  const Access access = file.IsWritable() ? Access::kReadWrite : Access::kRead;
  if (file.IsSharedApart()) region_.Seen().NoteApart();
  bool is_open = false;
  return file.OpenAgain(path, [&] { is_open = OpenDatabase(path, access); }) && is_open;
}

bool SqliteTable::OpenDatabase(const std::string& path, Access access) {
  const SqlitePassage passage(&region_);
  const int flags = (access == Access::kReadWrite ? SQLITE_OPEN_READWRITE : SQLITE_OPEN_READONLY) |
                    SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_PRIVATECACHE;
  if (sqlite3_open_v2(PathForSqlite(path).c_str(), &database_, flags, nullptr) != SQLITE_OK) {
    NoteDatabaseError();
    return false;
  }
  const bool is_read_only = sqlite3_db_readonly(database_, "main") != 0;
  region_.Attach(LastOpenedBySqlite(), is_read_only ? Access::kRead : Access::kReadWrite);
  if (!is_read_only) region_.Seen().PrepareJournal(path);
  if (LastOpenedBySqlite() == kNoFile) {
    NoteError("the table cannot be locked");
    return false;
  }
  for (const auto& defence : kDefences) sqlite3_db_config(database_, defence.option, defence.value, nullptr);
  sqlite3_limit(database_, SQLITE_LIMIT_LENGTH, kLongestValue);
  return true;
}

// Runs `action`, which returns true on success, with the locks that it needs. Inside a batch they are already
// held.
template <typename Action>
bool SqliteTable::Transact(bool for_writing, Patience& patience, Action action) {
  if (in_batch_) {
    const SqlitePassage passage(&region_);
    return action();
  }
  do {
    const RegionHold hold(region_, StrengthFor(for_writing), patience);
    if (!hold.Has()) return false;
    const SqlitePassage passage(&region_);
    if (action() && HasSeenJournal()) return true;
  } while (region_.WasTooWeak() && RollBackKilledWriter(patience));
  return false;
}

// SQLite rolls back the changes of a killed writer when it next reads with a lock for writing.
bool SqliteTable::RollBackKilledWriter(Patience& patience) {
  const RegionHold hold(region_, Region::Strength::kExclusive, patience);
  const SqlitePassage passage(&region_);
  return hold.Has() && RunBatchStep(kTakeSnapshot);
}

// With a stamp, a read need not ask the server whether others have changed the table. If others are using it
// now, the next writer leaves one.
void SqliteTable::StampJournal() {
  if (!region_.Seen().LacksStamp()) return;
  Patience none(std::chrono::milliseconds(0));
  const RegionHold hold(region_, Region::Strength::kExclusive, none);
  if (hold.Has()) region_.Seen().StampJournal();
}

bool SqliteTable::ReadLayout() {
  Statement statement;
  Execution lengths(statement, database_, "SELECT record, key1, key2 FROM layout");
  if (lengths.Step() != SQLITE_ROW) {
    NoteDatabaseError();
    return false;
  }
  layout_ = {lengths.Number(0), lengths.Number(1), lengths.Number(2)};
  if (!layout_.IsValid()) NoteError("the lengths of the table are out of bounds");
  return layout_.IsValid();
}

bool SqliteTable::Run(const char* sql) {
  if (sqlite3_exec(database_, sql, nullptr, nullptr, nullptr) == SQLITE_OK) return true;
  NoteDatabaseError();
  return false;
}

bool SqliteTable::KeepJournalInMemory() {
  const SqlitePassage passage(&region_);
  return Run("PRAGMA journal_mode = MEMORY");
}

void SqliteTable::NoteDatabaseError() const {
  NoteError(database_ == nullptr ? "out of memory" : sqlite3_errmsg(database_),
            ProblemOf(sqlite3_errcode(database_)));
}

// Returns whether any key of this number is not bytes. Checks again only if the table has changed.
bool SqliteTable::HasForeignKeys(std::size_t keyNumber) {
  unsigned int version = 0;
  sqlite3_file_control(database_, "main", SQLITE_FCNTL_DATA_VERSION, &version);
  FirstKey& known = known_first_keys_[keyNumber - 1];
  if (known.is_known && known.version == version) return known.is_foreign;
  Execution first(first_keys_[keyNumber - 1], database_, kFirstKeys[keyNumber - 1]);
  const int outcome = first.Step();
  known = {outcome == SQLITE_ROW || outcome == SQLITE_DONE, version,
           outcome != SQLITE_DONE && (outcome != SQLITE_ROW || first.Number(0) == 0)};
  return known.is_foreign;
}

bool SqliteTable::ReadRow(int keyNumber, ReadMode mode, Key& key, Key* other, void* record) {
  const auto number = static_cast<std::size_t>(keyNumber);
  const std::size_t which = (number - 1) * kModes + static_cast<std::size_t>(mode);
  RowSearch search(layout_, keyNumber, mode, key);
  Execution read(reads_[which], database_, kReads[which]);
  read.Bind(1, key.Bytes(), search.StartLength());
  int outcome = SQLITE_ROW;
  Verdict verdict = Verdict::kGoOn;
  while (verdict == Verdict::kGoOn && (outcome = read.Step()) == SQLITE_ROW) {
    verdict = search.Judge({read.Value(0), read.Value(1), read.Value(2)});
  }
  if (verdict == Verdict::kGoOn && outcome != SQLITE_DONE) {
    NoteDatabaseError();
    return false;
  }
  const bool is_sure = verdict == Verdict::kFound && mode == ReadMode::kEqual;
  if (verdict == Verdict::kDamaged || (!is_sure && HasForeignKeys(number))) {
    NoteError("a key or a record is damaged", Problem::kDamaged);
    return false;
  }
  if (verdict != Verdict::kFound) {
    NoteError("there is no such record", Problem::kNotFound);
    return false;
  }
  std::memcpy(record, read.Value(2).bytes.data(), static_cast<std::size_t>(layout_.record));
  const auto assign = [&read](int column, Key& target) {
    const std::string_view found = read.Value(column).bytes;
    target.Assign(found.data(), found.size());
  };
  assign(keyNumber - 1, key);
  if (other != nullptr) assign(2 - keyNumber, *other);
  return true;
}

bool SqliteTable::Read(int keyNumber, ReadMode mode, Key& key, Key* other, void* record, Patience& patience) {
  return Transact(false, patience, [&] { return ReadRow(keyNumber, mode, key, other, record); });
}

bool SqliteTable::WriteRow(const Key& key1, const Key& key2, const void* record) {
  if (IsBatchLost()) return false;
  const std::size_t which = key2.IsBlank() ? kWriteKeepingKey2 : kWriteAll;
  Execution write(writes_[which], database_, kWrites[which]);
  write.Bind(1, key1.Bytes(), key1.Length());
  write.Bind(2, key2.Bytes(), key2.Length());
  write.Bind(3, record, layout_.record);
  const bool done = write.Step() == SQLITE_DONE;
  if (!done) NoteDatabaseError();
  return done;
}

bool SqliteTable::Write(const Key& key1, const Key& key2, const void* record, Patience& patience) {
  return Transact(true, patience, [&] { return WriteRow(key1, key2, record); });
}

bool SqliteTable::DeleteRow(const Key* key1, const Key* key2) {
  if (IsBatchLost()) return false;
  const std::size_t which = (key1 != nullptr ? 1U : 0U) + (key2 != nullptr ? 2U : 0U) - 1;
  Execution deletion(deletes_[which], database_, kDeletes[which]);
  if (key1 != nullptr) deletion.Bind(1, key1->Bytes(), key1->Length());
  if (key2 != nullptr) deletion.Bind(2, key2->Bytes(), key2->Length());
  if (deletion.Step() != SQLITE_DONE) {
    NoteDatabaseError();
    return false;
  }
  const bool deleted = sqlite3_changes(database_) > 0;
  if (!deleted) NoteError("there is no such record", Problem::kNotFound);
  return deleted;
}

bool SqliteTable::Delete(const Key* key1, const Key* key2, Patience& patience) {
  if (key1 != nullptr || key2 != nullptr) {
    return Transact(true, patience, [&] { return DeleteRow(key1, key2); });
  }
  NoteError("both keys are empty");
  return false;
}

// SQLite rolls back a transaction by itself if the disk is full or fails. The following changes must not be
// committed alone.
bool SqliteTable::IsBatchLost() const {
  const bool lost = in_batch_ && sqlite3_get_autocommit(database_) != 0;
  if (lost) NoteError("the batch was rolled back");
  return lost;
}

bool SqliteTable::RunBatchStep(std::size_t which) {
  const int outcome = Execution(batches_[which], database_, kBatches[which]).Step();
  if (outcome == SQLITE_ROW || outcome == SQLITE_DONE) return true;
  NoteDatabaseError();
  return false;
}

void SqliteTable::RollBack() {
  if (sqlite3_get_autocommit(database_) != 0) return;
  static_cast<void>(Execution(batches_[kRollback], database_, kBatches[kRollback]).Step());
}

// Returns false, without a transaction, if there may be a journal of a killed writer.
bool SqliteTable::HasSeenJournal() {
  if (!region_.HasUnseenJournal()) return true;
  NoteError("the journal cannot be examined");
  RollBack();
  in_batch_ = false;
  return false;
}

bool SqliteTable::BeginTransaction(bool for_writing) {
  in_batch_ =
      RunBatchStep(for_writing ? kBeginWriting : kBegin) && (for_writing || RunBatchStep(kTakeSnapshot));
  if (!in_batch_) RollBack();
  return in_batch_;
}

bool SqliteTable::Begin(bool for_writing, Patience& patience) {
  do {
    RegionHold hold(region_, StrengthFor(for_writing), patience);
    if (!hold.Has()) return false;
    const SqlitePassage passage(&region_);
    if (BeginTransaction(for_writing) && HasSeenJournal()) {
      hold.Keep();
      return true;
    }
  } while (region_.WasTooWeak() && RollBackKilledWriter(patience));
  return false;
}

bool SqliteTable::End() {
  bool kept = false;
  {
    const SqlitePassage passage(&region_);
    kept = !IsBatchLost() && RunBatchStep(kCommit);
    if (!kept) RollBack();
  }
  in_batch_ = false;
  region_.Release();
  return kept;
}

}  // namespace tvl::engine

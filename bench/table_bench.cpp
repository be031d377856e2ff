// Compares the table engine with the SQLite library that it uses, with the same settings and rows like those
// of the lock table. The argument of the large writes is their number of rows.

#include <benchmark/benchmark.h>
#include <dlfcn.h>
#include <sqlite3.h>
#include <stdlib.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "engine/vbctree.h"

namespace {

constexpr int kRecord = 154;
constexpr int kKey1 = 82;
constexpr int kManyRows = 100'000;

template <typename Function>
Function* Resolve(Function* /*like*/, const char* name) {
  static void* const module = dlopen(TVL_ENGINE_MODULE, RTLD_NOW);
  return reinterpret_cast<Function*>(dlsym(module, name));
}

const auto open_table = Resolve(&IOpen, "IOpen");
const auto close_table = Resolve(&IClose, "IClose");
const auto read_equal = Resolve(&ReadKeyEq, "ReadKeyEq");
const auto write_raw = Resolve(&WriteRawKeys, "WriteRawKeys");
const auto delete_keys = Resolve(&DeleteKeys, "DeleteKeys");
const auto create_archive = Resolve(&CreateArchive, "CreateArchive");
const auto begin_batch = Resolve(&BeginBatch, "BeginBatch");
const auto end_batch = Resolve(&EndBatch, "EndBatch");

class Folder {
 public:
  Folder() : path_((std::filesystem::current_path() / "table_bench_XXXXXX").string()) {
    if (mkdtemp(path_.data()) == nullptr) abort();
  }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;
  ~Folder() { std::filesystem::remove_all(path_); }
  [[nodiscard]] std::string File(const char* name) const { return path_ + '/' + name; }

 private:
  std::string path_;
};

// A row's key 1 and record; both have their full length.
struct Row {
  char key[kKey1 + 1];
  char record[kRecord + 1];
};

Row RowOf(int number) {
  Row row;
  std::snprintf(row.key, sizeof row.key, " 1OBJECT%-74d", number);
  std::snprintf(row.record, sizeof row.record, "%-154d", number);
  return row;
}

// Returns keys in random order.
int Scattered(int number) {
  return static_cast<int>(static_cast<unsigned int>(number) * 2654435761U % kManyRows);
}

class EngineTable {
 public:
  EngineTable() {
    create_archive(folder_.File("t.dat").c_str(), kRecord, kKey1, 0);
    handle_ = open_table(folder_.File("t.dat").c_str());
  }
  EngineTable(const EngineTable&) = delete;
  EngineTable& operator=(const EngineTable&) = delete;
  ~EngineTable() { close_table(handle_); }

  bool Begin(bool for_writing) const { return begin_batch(handle_, for_writing ? 1 : 0) == 1; }
  bool End() const { return end_batch(handle_) == 1; }
  bool Write(const Row& row) const { return write_raw(handle_, row.key, "", row.record) == 1; }
  bool Delete(const Row& row) const { return delete_keys(handle_, row.key, nullptr) == 1; }
  bool Read(Row& row) const { return read_equal(handle_, 1, row.key, row.record) == 1; }

 private:
  Folder folder_;
  int handle_;
};

class SqliteTable {
 public:
  SqliteTable() {
    sqlite3_open(folder_.File("t.dat").c_str(), &database_);
    Run("PRAGMA journal_mode = TRUNCATE; PRAGMA synchronous = EXTRA; PRAGMA secure_delete = FAST;"
        "PRAGMA cache_size = -8192;"
        "CREATE TABLE records(key1 BLOB NOT NULL PRIMARY KEY, key2 BLOB NOT NULL, record BLOB NOT NULL) "
        "WITHOUT ROWID");
    write_ = Prepare("REPLACE INTO records VALUES(?1, x'', ?2)");
    delete_ = Prepare("DELETE FROM records WHERE key1 = ?1");
    read_ = Prepare("SELECT key1, record FROM records WHERE key1 = ?1");
    begin_ = Prepare("BEGIN");
    begin_writing_ = Prepare("BEGIN IMMEDIATE");
    commit_ = Prepare("COMMIT");
  }
  SqliteTable(const SqliteTable&) = delete;
  SqliteTable& operator=(const SqliteTable&) = delete;
  ~SqliteTable() {
    for (sqlite3_stmt* statement : {write_, delete_, read_, begin_, begin_writing_, commit_}) {
      sqlite3_finalize(statement);
    }
    sqlite3_close(database_);
  }

  bool Begin(bool for_writing) const { return Step(for_writing ? begin_writing_ : begin_); }
  bool End() const { return Step(commit_); }

  bool Write(const Row& row) const {
    sqlite3_bind_blob(write_, 1, row.key, kKey1, SQLITE_STATIC);
    sqlite3_bind_blob(write_, 2, row.record, kRecord, SQLITE_STATIC);
    return Step(write_);
  }

  bool Delete(const Row& row) const {
    sqlite3_bind_blob(delete_, 1, row.key, kKey1, SQLITE_STATIC);
    return Step(delete_);
  }

  bool Read(Row& row) const {
    sqlite3_bind_blob(read_, 1, row.key, kKey1, SQLITE_STATIC);
    const bool found = sqlite3_step(read_) == SQLITE_ROW;
    if (found) {
      std::copy_n(static_cast<const char*>(sqlite3_column_blob(read_, 0)), kKey1, row.key);
      std::copy_n(static_cast<const char*>(sqlite3_column_blob(read_, 1)), kRecord, row.record);
    }
    sqlite3_reset(read_);
    return found;
  }

 private:
  void Run(const char* sql) const {
    if (sqlite3_exec(database_, sql, nullptr, nullptr, nullptr) != SQLITE_OK) abort();
  }
  sqlite3_stmt* Prepare(const char* sql) const {
    sqlite3_stmt* statement = nullptr;
    sqlite3_prepare_v3(database_, sql, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr);
    return statement;
  }
  static bool Step(sqlite3_stmt* statement) {
    const bool done = sqlite3_step(statement) == SQLITE_DONE;
    sqlite3_reset(statement);
    return done;
  }

  Folder folder_;
  sqlite3* database_ = nullptr;
  sqlite3_stmt* write_ = nullptr;
  sqlite3_stmt* delete_ = nullptr;
  sqlite3_stmt* read_ = nullptr;
  sqlite3_stmt* begin_ = nullptr;
  sqlite3_stmt* begin_writing_ = nullptr;
  sqlite3_stmt* commit_ = nullptr;
};

const std::vector<Row>& Rows() {
  static const std::vector<Row> rows = [] {
    std::vector<Row> made;
    made.reserve(kManyRows);
    for (int row = 0; row < kManyRows; ++row) made.push_back(RowOf(Scattered(row)));
    return made;
  }();
  return rows;
}

template <typename Table>
bool Fill(const Table& table, std::size_t rows) {
  bool good = table.Begin(true);
  for (std::size_t row = 0; row < rows; ++row) good = table.Write(Rows()[row]) && good;
  return table.End() && good;
}

// Looks up one row after another among the first `count`.
template <typename Table>
void ReadRows(benchmark::State& state, const Table& table, std::size_t count) {
  std::size_t next = 0;
  for (auto step : state) {
    Row row = Rows()[next++ % count];
    if (!table.Read(row)) state.SkipWithError("a row is missing");
  }
  state.SetItemsProcessed(state.iterations());
}

// Single keyed reads inside one read batch.
template <typename Table>
void KeyedReads(benchmark::State& state) {
  const Table table;
  if (!Fill(table, kManyRows) || !table.Begin(false)) state.SkipWithError("the table cannot be filled");
  ReadRows(state, table, kManyRows);
  if (!table.End()) state.SkipWithError("the batch cannot be ended");
}
BENCHMARK(KeyedReads<EngineTable>);
BENCHMARK(KeyedReads<SqliteTable>);

// Single keyed reads, each in its own batch, like the check of a lock.
template <typename Table>
void LoneReads(benchmark::State& state) {
  const Table table;
  if (!Fill(table, 1000)) state.SkipWithError("the table cannot be filled");
  ReadRows(state, table, 1000);
}
BENCHMARK(LoneReads<EngineTable>);
BENCHMARK(LoneReads<SqliteTable>);

// Many rows in one batch, into an empty table.
template <typename Table>
void WriteMany(benchmark::State& state) {
  const auto rows = static_cast<std::size_t>(state.range(0));
  for (auto step : state) {
    state.PauseTiming();
    {
      const Table table;
      state.ResumeTiming();
      if (!Fill(table, rows)) state.SkipWithError("the table cannot be filled");
      state.PauseTiming();
    }
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(WriteMany<EngineTable>)->Arg(kManyRows)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(WriteMany<SqliteTable>)->Arg(kManyRows)->Unit(benchmark::kMillisecond)->UseRealTime();

// Locks and unlocks: a write and a delete, each in its own batch.
template <typename Table>
void LockPairs(benchmark::State& state) {
  const Table table;
  if (!Fill(table, 100)) state.SkipWithError("the table cannot be filled");
  const Row row = RowOf(kManyRows);
  bool good = true;
  for (auto step : state) {
    good = table.Begin(true) && table.Write(row) && table.End() && good;
    good = table.Begin(true) && table.Delete(row) && table.End() && good;
  }
  if (!good) state.SkipWithError("a batch failed");
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(LockPairs<EngineTable>)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(LockPairs<SqliteTable>)->Unit(benchmark::kMicrosecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();

#ifndef TVL_ENGINE_SQLITE_TABLE_H
#define TVL_ENGINE_SQLITE_TABLE_H

#include <array>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "engine/patience.h"
#include "engine/sqlite/region.h"
#include "engine/sqlite/statement.h"
#include "engine/table.h"
#include "engine/table_file.h"

struct sqlite3;

namespace tvl::engine {

// A table as an SQLite database of one file.
//
// The rows are in a tree ordered by key 1, with an index for key 2. The journal is a rollback journal,
// because the file may be on a share, where the shared memory of a write-ahead log does not work.
class SqliteTable : public Table {
 public:
  // Opens the database in `file`, which begins with `start` and must outlive it. Returns null and notes an
  // error if it is not a table, or if others keep it locked.
  [[nodiscard]] static std::unique_ptr<SqliteTable> Open(const std::string& path, const TableFile& file,
                                                         std::string_view start, Patience& patience);

  // Returns the bytes of a table without records. Returns nothing and notes an error if memory runs out.
  [[nodiscard]] static std::string EmptyImage(const Layout& layout);

  // For a table that nobody else uses and that is removed if this process ends early: its journal is not a
  // file. Returns false and notes an error on failure.
  [[nodiscard]] bool KeepJournalInMemory();

  SqliteTable(const SqliteTable&) = delete;
  SqliteTable& operator=(const SqliteTable&) = delete;
  ~SqliteTable() override;

  [[nodiscard]] const Layout& Lengths() const override { return layout_; }
  [[nodiscard]] bool Read(int keyNumber, ReadMode mode, Key& key, Key* other, void* record,
                          Patience& patience) override;
  [[nodiscard]] bool Write(const Key& key1, const Key& key2, const void* record, Patience& patience) override;
  [[nodiscard]] bool Delete(const Key* key1, const Key* key2, Patience& patience) override;
  [[nodiscard]] bool Begin(bool for_writing, Patience& patience) override;
  [[nodiscard]] bool End() override;

 private:
  // What is known about the first key in the order of one of the keys, at a version of the data.
  struct FirstKey {
    bool is_known = false;
    unsigned int version = 0;
    bool is_foreign = false;
  };

  SqliteTable() = default;

  [[nodiscard]] bool Connect(const std::string& path, const TableFile& file);
  [[nodiscard]] bool OpenDatabase(const std::string& path, Access access);
  void StampJournal();
  [[nodiscard]] bool ReadLayout();

  template <typename Action>
  [[nodiscard]] bool Transact(bool for_writing, Patience& patience, Action action);
  [[nodiscard]] bool RollBackKilledWriter(Patience& patience);

  // These run inside a transaction.
  [[nodiscard]] bool HasForeignKeys(std::size_t keyNumber);
  [[nodiscard]] bool ReadRow(int keyNumber, ReadMode mode, Key& key, Key* other, void* record);
  [[nodiscard]] bool WriteRow(const Key& key1, const Key& key2, const void* record);
  [[nodiscard]] bool DeleteRow(const Key* key1, const Key* key2);
  [[nodiscard]] bool HasSeenJournal();
  [[nodiscard]] bool BeginTransaction(bool for_writing);
  [[nodiscard]] bool Run(const char* sql);
  [[nodiscard]] bool RunBatchStep(std::size_t which);
  void RollBack();
  [[nodiscard]] bool IsBatchLost() const;
  void NoteDatabaseError() const;

  sqlite3* database_ = nullptr;
  Region region_;
  Layout layout_;
  bool in_batch_ = false;
  std::array<FirstKey, 2> known_first_keys_;
  std::array<Statement, 10> reads_;
  std::array<Statement, 2> first_keys_;
  std::array<Statement, 2> writes_;
  std::array<Statement, 3> deletes_;
  std::array<Statement, 5> batches_;
};

}  // namespace tvl::engine

#endif

#ifndef TVL_ENGINE_SQLITE_TABLE_H
#define TVL_ENGINE_SQLITE_TABLE_H

#include <array>
#include <cstddef>
#include <memory>
#include <string>

#include "engine/patience.h"
#include "engine/sqlite_statement.h"
#include "engine/table.h"
#include "engine/table_file.h"

struct sqlite3;

namespace tvl::engine {

// A table as an SQLite database of one file.
//
// The rows lie in one tree ordered by key 1, with a second one over key 2. The journal is a rollback journal,
// since the file may lie on a share, where the shared memory of a write-ahead log doesn't reach.
class SqliteTable : public Table {
 public:
  // Opens the database in `file`, which outlives it. Null and a noted error if it isn't one of ours.
  [[nodiscard]] static std::unique_ptr<SqliteTable> Open(const std::string& path, const TableFile& file);

  // The bytes of a table without records; empty, and a noted error, if memory runs out.
  [[nodiscard]] static std::string EmptyImage(const Layout& layout);

  SqliteTable(const SqliteTable&) = delete;
  SqliteTable& operator=(const SqliteTable&) = delete;
  ~SqliteTable() override;

  [[nodiscard]] const Layout& Lengths() const override { return layout_; }
  [[nodiscard]] bool Read(int keyNumber, ReadMode mode, Key& key, void* record) override;
  [[nodiscard]] bool Write(const Key& key1, const Key& key2, const void* record) override;
  [[nodiscard]] bool Delete(const Key& key1, const Key& key2) override;
  [[nodiscard]] bool Begin(bool forWriting) override;
  [[nodiscard]] bool End() override;

 private:
  class Call;

  SqliteTable() = default;

  [[nodiscard]] bool Connect(const std::string& path, bool writable);
  [[nodiscard]] bool ReadLayout();
  [[nodiscard]] bool Run(const char* sql);
  [[nodiscard]] bool RunBatchStep(std::size_t which);
  void RollBack();
  [[nodiscard]] bool IsBatchLost() const;
  void NoteDatabaseError() const;

  static int OnBusy(void* table, int round);

  sqlite3* database_ = nullptr;
  Layout layout_;
  bool inBatch_ = false;
  Patience patience_;
  std::array<Statement, 10> reads_;
  std::array<Statement, 2> writes_;
  std::array<Statement, 3> deletes_;
  std::array<Statement, 5> batches_;
};

}  // namespace tvl::engine

#endif

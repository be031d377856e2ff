#ifndef TVL_ENGINE_SQLITE_STATEMENT_H
#define TVL_ENGINE_SQLITE_STATEMENT_H

#include <sqlite3.h>

#include <memory>
#include <string_view>

#include "engine/sqlite/row_search.h"

namespace tvl::engine {

// A statement that is prepared at its first use and kept.
class Statement {
 public:
  // Returns null if SQLite refuses the statement.
  [[nodiscard]] sqlite3_stmt* Prepared(sqlite3* database, const char* sql) {
    if (statement_ == nullptr) {
      sqlite3_stmt* statement = nullptr;
      sqlite3_prepare_v3(database, sql, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr);
      statement_.reset(statement);
    }
    return statement_.get();
  }

  // Must be called before the database is closed.
  void Finalize() { statement_.reset(); }

 private:
  struct Finalizer {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
  };
  std::unique_ptr<sqlite3_stmt, Finalizer> statement_;
};

// One run of a statement. Its end releases the locks that the run acquired.
class Execution {
 public:
  Execution(Statement& statement, sqlite3* database, const char* sql)
      : statement_(statement.Prepared(database, sql)) {}
  Execution(const Execution&) = delete;
  Execution& operator=(const Execution&) = delete;
  ~Execution() { sqlite3_reset(statement_); }

  // The bytes must remain valid until the run ends.
  void Bind(int place, const void* bytes, int count) {
    sqlite3_bind_blob(statement_, place, bytes, count, SQLITE_STATIC);
  }

  // Returns SQLITE_ROW, SQLITE_DONE or an error.
  [[nodiscard]] int Step() { return statement_ == nullptr ? SQLITE_ERROR : sqlite3_step(statement_); }

  // Returns a column of the row, valid until the next step.
  [[nodiscard]] StoredValue Value(int column) const {
    const bool is_bytes = sqlite3_column_type(statement_, column) == SQLITE_BLOB;
    const auto* bytes = static_cast<const char*>(sqlite3_column_blob(statement_, column));
    const int count = sqlite3_column_bytes(statement_, column);
    if (bytes == nullptr) return {{}, is_bytes};
    return {{bytes, static_cast<std::size_t>(count)}, is_bytes};
  }

  [[nodiscard]] int Number(int column) const { return sqlite3_column_int(statement_, column); }

 private:
  sqlite3_stmt* statement_;
};

}  // namespace tvl::engine

#endif

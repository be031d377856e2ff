#ifndef TVL_ENGINE_POSTGRES_TABLE_H
#define TVL_ENGINE_POSTGRES_TABLE_H

#include <memory>
#include <optional>
#include <string>

#include "engine/postgres/batch.h"
#include "engine/postgres/session_pool.h"
#include "engine/postgres/statements.h"
#include "engine/storage_plugin.h"
#include "engine/table.h"

namespace tvl::engine {

// A table whose rows are in a PostgreSQL server.
class PostgresTable : public Table {
 public:
  explicit PostgresTable(const RemotePlace& place)
      : place_(place), statements_(place), pool_(SessionPool::Of(place.permission.service)) {}
  PostgresTable(const PostgresTable&) = delete;
  PostgresTable& operator=(const PostgresTable&) = delete;
  ~PostgresTable() override;

  [[nodiscard]] const Layout& Lengths() const override { return place_.pointer.layout; }
  [[nodiscard]] bool Read(int keyNumber, ReadMode mode, Key& key, Key* other, void* record,
                          Patience& patience) override;
  [[nodiscard]] bool Write(const Key& key1, const Key& key2, const void* record, Patience& patience) override;
  [[nodiscard]] bool Delete(const Key* key1, const Key* key2, Patience& patience) override;
  [[nodiscard]] bool Begin(bool for_writing, Patience& patience) override;
  [[nodiscard]] bool End() override;

 private:
  [[nodiscard]] bool Alone(const Change& change, bool deletes, Patience& patience);
  [[nodiscard]] bool TakeRow(const RemoteRow& row, int keyNumber, Key& key, Key* other, void* record) const;

  RemotePlace place_;
  Statements statements_;
  SessionPool& pool_;
  std::optional<Batch> batch_;
};

}  // namespace tvl::engine

#endif

#ifndef TVL_ENGINE_POSTGRES_READ_AHEAD_H
#define TVL_ENGINE_POSTGRES_READ_AHEAD_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/key.h"
#include "engine/postgres/session.h"
#include "engine/table.h"

namespace tvl::engine {

// A row inside a result of the server.
struct RemoteRow {
  std::string_view key1;
  std::string_view key2;
  std::string_view record;
};

// Returns a row of the result of a read.
[[nodiscard]] RemoteRow RowOf(const Result& rows, int index);

// Rows that follow each other in the order of a key, fetched in a batch with the row that was asked for.
// While the batch lasts, nobody else changes them; the batch's own changes clear them.
class ReadAhead {
 public:
  // Returns the row that such a read of the table would find, if it is among the rows.
  [[nodiscard]] std::optional<RemoteRow> Find(int keyNumber, ReadMode mode, const Key& key) const;

  // Returns how many rows to fetch: more if the read continues where the rows end.
  [[nodiscard]] int CountFor(int keyNumber, ReadMode mode, const Key& key) const;

  // Returns the first row, if there is one.
  [[nodiscard]] std::optional<RemoteRow> First() const;

  void Set(int keyNumber, ReadMode mode, Result rows);
  void Clear() { rows_.reset(); }

 private:
  [[nodiscard]] std::string_view KeyOf(int index) const;
  [[nodiscard]] bool IsInOrder(int keyNumber, ReadMode mode) const;

  Result rows_;
  int count_ = 0;
  int keyNumber_ = 0;
  bool is_upward_ = false;
};

}  // namespace tvl::engine

#endif

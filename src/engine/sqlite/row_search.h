#ifndef TVL_ENGINE_SQLITE_ROW_SEARCH_H
#define TVL_ENGINE_SQLITE_ROW_SEARCH_H

#include <string>
#include <string_view>

#include "engine/key.h"
#include "engine/layout.h"
#include "engine/table.h"

namespace tvl::engine {

// A stored value. This module stores only bytes, but a foreign file may contain a text or a number.
struct StoredValue {
  std::string_view bytes;
  bool is_bytes = true;
};

struct StoredRow {
  StoredValue key1;
  StoredValue key2;
  StoredValue record;
};

enum class Verdict { kFound, kGoOn, kAbsent, kDamaged };

// Examines the rows that a read meets, in the order of its key, up to the row that it looks for.
//
// A file may be damaged or malicious. A row whose key or record has the wrong length is never mistaken for
// "no such record", and rows in the wrong order are detected, so that no reader loops forever.
class RowSearch {
 public:
  RowSearch(const Layout& layout, int keyNumber, ReadMode mode, const Key& wanted);

  // Returns how many bytes of the wanted key a search starts with. An upward search starts with the key
  // without its trailing blanks.
  [[nodiscard]] int StartLength() const { return static_cast<int>(start_.size()); }

  [[nodiscard]] Verdict Judge(const StoredRow& row);

 private:
  [[nodiscard]] bool IsWholeKey(const StoredValue& key, int length) const;
  [[nodiscard]] bool IsWhole(const StoredRow& row) const;
  [[nodiscard]] bool IsMatch(std::string_view key) const;
  [[nodiscard]] Verdict JudgeEqual(const StoredRow& row);
  [[nodiscard]] Verdict Pass(const StoredRow& row);

  const Layout& layout_;
  int keyNumber_;
  ReadMode mode_;
  std::string_view wanted_;
  std::string_view start_;
  std::string passed_;  // the position of the last row in the order
};

}  // namespace tvl::engine

#endif

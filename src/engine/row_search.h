#ifndef TVL_ENGINE_ROW_SEARCH_H
#define TVL_ENGINE_ROW_SEARCH_H

#include <string>
#include <string_view>

#include "engine/key.h"
#include "engine/layout.h"
#include "engine/table.h"

namespace tvl::engine {

// A value as it is stored. Only bytes are ours; a file from elsewhere may hold a text or a number.
struct StoredValue {
  std::string_view bytes;
  bool isBytes = true;
};

struct StoredRow {
  StoredValue key1;
  StoredValue key2;
  StoredValue record;
};

enum class Verdict { kFound, kGoOn, kAbsent, kDamaged };

// Judges the rows that a read meets on its way, in the order of its key, up to the one that it looks for.
//
// A file may be damaged or made to do harm. A row whose key or record hasn't its length is never taken for
// "no such record", and rows out of order are noticed, so that no reader goes round in circles.
class RowSearch {
 public:
  RowSearch(const Layout& layout, int keyNumber, ReadMode mode, const Key& wanted);

  // How much of the wanted key a walk begins with. An upward walk begins with the key as it would be if its
  // blanks at the end were missing.
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
  std::string passed_;  // the row passed last, as its place in the order
};

}  // namespace tvl::engine

#endif

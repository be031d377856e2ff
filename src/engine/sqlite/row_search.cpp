#include "engine/sqlite/row_search.h"

namespace tvl::engine {
namespace {

using std::string_view;

bool IsUpward(ReadMode mode) {
  return mode != ReadMode::kLess && mode != ReadMode::kLessOrEqual;
}

// Many rows may have the same key 2, so a search for a greater key must not begin before them.
bool BeginsBelow(int keyNumber, ReadMode mode) {
  return IsUpward(mode) && (keyNumber == 1 || mode != ReadMode::kGreater);
}

string_view WithoutBlanks(string_view key) {
  return key.substr(0, key.find_last_not_of(' ') + 1);
}

bool HasLength(const StoredValue& value, int length) {
  return value.is_bytes && value.bytes.size() == static_cast<std::size_t>(length);
}

}  // namespace

RowSearch::RowSearch(const Layout& layout, int keyNumber, ReadMode mode, const Key& wanted)
    : layout_(layout),
      keyNumber_(keyNumber),
      mode_(mode),
      wanted_(wanted.Bytes(), static_cast<std::size_t>(wanted.Length())),
      start_(BeginsBelow(keyNumber, mode) ? WithoutBlanks(wanted_) : wanted_) {}

// A NUL ends a key text, so stored keys never contain one.
bool RowSearch::IsWholeKey(const StoredValue& key, int length) const {
  return HasLength(key, length) && key.bytes.find('\0') == string_view::npos;
}

bool RowSearch::IsWhole(const StoredRow& row) const {
  return IsWholeKey(row.key1, layout_.key1) && IsWholeKey(row.key2, layout_.key2) &&
         HasLength(row.record, layout_.record);
}

bool RowSearch::IsMatch(string_view key) const {
  const int order = key.compare(wanted_);
  switch (mode_) {
    case ReadMode::kEqual:
      return order == 0;
    case ReadMode::kGreater:
      return order > 0;
    case ReadMode::kGreaterOrEqual:
      return order >= 0;
    case ReadMode::kLess:
      return order < 0;
    case ReadMode::kLessOrEqual:
      return order <= 0;
  }
  return false;
}

// Each row must come after the previous one in the order.
Verdict RowSearch::Pass(const StoredRow& row) {
  std::string place(keyNumber_ == 1 ? row.key1.bytes : row.key2.bytes);
  if (place < start_) return Verdict::kDamaged;
  if (keyNumber_ == 2) place += row.key1.bytes;
  if (!passed_.empty() && place <= passed_) return Verdict::kDamaged;
  passed_ = std::move(place);
  return Verdict::kGoOn;
}

// A key of the wrong length may be the wanted key if it was padded or cut.
Verdict RowSearch::JudgeEqual(const StoredRow& row) {
  const string_view key = keyNumber_ == 1 ? row.key1.bytes : row.key2.bytes;
  Key completed("", static_cast<int>(wanted_.size()));
  completed.Assign(key.data(), key.size());
  if (string_view(completed.Bytes(), wanted_.size()) == wanted_) {
    return IsWhole(row) ? Verdict::kFound : Verdict::kDamaged;
  }
  return key > wanted_ ? Verdict::kAbsent : Pass(row);
}

Verdict RowSearch::Judge(const StoredRow& row) {
  if (mode_ == ReadMode::kEqual) return JudgeEqual(row);
  const bool is_whole_key =
      keyNumber_ == 1 ? IsWholeKey(row.key1, layout_.key1) : IsWholeKey(row.key2, layout_.key2);
  if (!is_whole_key) return Verdict::kDamaged;
  const string_view key = keyNumber_ == 1 ? row.key1.bytes : row.key2.bytes;
  if (IsMatch(key)) return IsWhole(row) ? Verdict::kFound : Verdict::kDamaged;
  return IsUpward(mode_) && key <= wanted_ ? Pass(row) : Verdict::kDamaged;
}

}  // namespace tvl::engine

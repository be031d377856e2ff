#include "engine/postgres/read_ahead.h"

#include <algorithm>
#include <ranges>
#include <utility>

namespace tvl::engine {
namespace {

using std::string_view;

// A scan begins with few rows, because most reads want a single one. 10,000 rows take 21 requests.
constexpr int kFirstRows = 16;
constexpr int kMoreRows = 500;

string_view BytesOf(const Key& key) {
  return {key.Bytes(), static_cast<std::size_t>(key.Length())};
}

bool IsUpward(ReadMode mode) {
  return mode == ReadMode::kGreater || mode == ReadMode::kGreaterOrEqual;
}

}  // namespace

RemoteRow RowOf(const Result& rows, int index) {
  return {Column(rows, index, 0), Column(rows, index, 1), Column(rows, index, 2)};
}

std::optional<RemoteRow> ReadAhead::First() const {
  return rows_ != nullptr && count_ > 0 ? std::optional(RowOf(rows_, 0)) : std::nullopt;
}

string_view ReadAhead::KeyOf(int index) const {
  return Column(rows_, index, keyNumber_ - 1);
}

bool ReadAhead::IsInOrder(int keyNumber, ReadMode mode) const {
  return rows_ != nullptr && count_ > 0 && mode != ReadMode::kEqual && keyNumber == keyNumber_ &&
         IsUpward(mode) == is_upward_;
}

// The rows are contiguous and begin with the first one of its key. So from that key on, the first row among
// them that matches is the one that the table would find.
std::optional<RemoteRow> ReadAhead::Find(int keyNumber, ReadMode mode, const Key& key) const {
  const string_view wanted = BytesOf(key);
  if (!IsInOrder(keyNumber, mode)) return std::nullopt;
  const int order = wanted.compare(KeyOf(0));
  if (is_upward_ ? order < 0 : order > 0) return std::nullopt;
  const bool may_equal = mode == ReadMode::kGreaterOrEqual || mode == ReadMode::kLessOrEqual;
  const auto is_before = [&](int index) {
    const int place = is_upward_ ? KeyOf(index).compare(wanted) : wanted.compare(KeyOf(index));
    return may_equal ? place < 0 : place <= 0;
  };
  const int found = *std::ranges::partition_point(std::views::iota(0, count_), is_before);
  return found < count_ ? std::optional(RowOf(rows_, found)) : std::nullopt;
}

int ReadAhead::CountFor(int keyNumber, ReadMode mode, const Key& key) const {
  if (mode == ReadMode::kEqual) return 1;
  return IsInOrder(keyNumber, mode) && BytesOf(key) == KeyOf(count_ - 1) ? kMoreRows : kFirstRows;
}

void ReadAhead::Set(int keyNumber, ReadMode mode, Result rows) {
  rows_ = std::move(rows);
  count_ = PQntuples(rows_.get());
  keyNumber_ = keyNumber;
  is_upward_ = IsUpward(mode);
}

}  // namespace tvl::engine

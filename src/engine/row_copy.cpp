#include "engine/row_copy.h"

#include <string>
#include <string_view>

#include "engine/last_error.h"

namespace tvl::engine {
namespace {

// FNV-1a. It finds faults, not attacks: anyone who could replace rows could also write them.
constexpr std::uint64_t kFirstDigest = 0xCBF29CE484222325;
constexpr std::uint64_t kPrime = 0x100000001B3;

std::uint64_t Digest(std::uint64_t digest, std::string_view bytes) {
  for (const char byte : bytes) digest = (digest ^ static_cast<unsigned char>(byte)) * kPrime;
  return digest;
}

std::string_view BytesOf(const Key& key) {
  return {key.Bytes(), static_cast<std::size_t>(key.Length())};
}

struct Row {
  explicit Row(const Layout& lengths)
      : key1(nullptr, lengths.key1),
        key2(nullptr, lengths.key2),
        record(static_cast<std::size_t>(lengths.record), '\0') {
    key1.Assign(std::string(BytesOf(key1).size(), '\0').data(), BytesOf(key1).size());  // not above any key
  }

  Key key1;
  Key key2;
  std::string record;
};

// Calls `visit` with each row. Returns nothing if that returns false or a row cannot be read.
template <typename Visit>
std::optional<RowSum> ForEachRow(Table& table, Visit visit) {
  Row row(table.Lengths());
  RowSum sum = {0, kFirstDigest};
  ReadMode mode = ReadMode::kGreaterOrEqual;
  for (;; mode = ReadMode::kGreater) {
    Patience patience;
    if (!table.Read(1, mode, row.key1, &row.key2, row.record.data(), patience)) break;
    if (!visit(row)) return std::nullopt;
    ++sum.rows;
    for (const std::string_view bytes : {BytesOf(row.key1), BytesOf(row.key2), std::string_view(row.record)})
      sum.digest = Digest(sum.digest, bytes);
  }
  return LastProblem() == Problem::kNotFound ? std::optional(sum) : std::nullopt;
}

}  // namespace

std::optional<RowSum> CopyRows(Table& source, Table& target) {
  Patience patience;
  if (!target.Begin(true, patience)) return std::nullopt;
  const std::optional<RowSum> sum = ForEachRow(source, [&target](const Row& row) {
    Patience of_row;
    return target.Write(row.key1, row.key2, row.record.data(), of_row);
  });
  const bool is_kept = target.End();
  return is_kept ? sum : std::nullopt;
}

std::optional<RowSum> SumRows(Table& table) {
  Patience patience;
  if (!table.Begin(false, patience)) return std::nullopt;
  const std::optional<RowSum> sum = ForEachRow(table, [](const Row&) { return true; });
  static_cast<void>(table.End());
  return sum;
}

}  // namespace tvl::engine

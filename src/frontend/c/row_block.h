#ifndef TVL_FRONTEND_C_ROW_BLOCK_H
#define TVL_FRONTEND_C_ROW_BLOCK_H

#include <cstddef>
#include <string_view>
#include <vector>

namespace tvl::c {

// The lengths of a table in bytes.
struct TableLengths {
  std::size_t record = 0;
  std::size_t key1 = 0;
  std::size_t key2 = 0;

  bool operator==(const TableLengths&) const = default;
  [[nodiscard]] std::size_t Key(int number) const { return number == 1 ? key1 : key2; }
};

// Rows of a table in memory, as the connection reads and writes them: key 1, a NUL, key 2, a NUL, the record.
// Keys are padded with blanks. Rows are numbered from 0; a number must be below Count.
class RowBlock {
 public:
  explicit RowBlock(const TableLengths& lengths) : lengths_(lengths) {}

  [[nodiscard]] const TableLengths& Lengths() const { return lengths_; }
  [[nodiscard]] std::size_t Count() const { return bytes_.size() / RowSize(); }
  [[nodiscard]] std::vector<unsigned char>& Bytes() { return bytes_; }

  // Appends a row. A null record means blanks. The keys must not be longer than those of the table.
  void Add(std::string_view key1, std::string_view key2, const void* record);

  // Returns a key without trailing blanks.
  [[nodiscard]] std::string_view Key(std::size_t row, int number) const;
  [[nodiscard]] unsigned char* Record(std::size_t row);

 private:
  [[nodiscard]] std::size_t RowSize() const { return lengths_.key1 + lengths_.key2 + 2 + lengths_.record; }
  [[nodiscard]] std::size_t RecordOffset() const { return lengths_.key1 + lengths_.key2 + 2; }

  TableLengths lengths_;
  std::vector<unsigned char> bytes_;
};

}  // namespace tvl::c

#endif

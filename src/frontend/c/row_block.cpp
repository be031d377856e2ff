#include "frontend/c/row_block.h"

#include <algorithm>
#include <cstring>

namespace tvl::c {

void RowBlock::Add(std::string_view key1, std::string_view key2, const void* record) {
  const std::size_t start = bytes_.size();
  bytes_.resize(start + RowSize(), ' ');
  unsigned char* row = bytes_.data() + start;
  std::copy(key1.begin(), key1.end(), row);
  row[lengths_.key1] = 0;
  std::copy(key2.begin(), key2.end(), row + lengths_.key1 + 1);
  row[RecordOffset() - 1] = 0;
  if (record != nullptr) std::memcpy(row + RecordOffset(), record, lengths_.record);
}

std::string_view RowBlock::Key(std::size_t row, int number) const {
  const std::size_t offset = row * RowSize() + (number == 1 ? 0 : lengths_.key1 + 1);
  const char* text = reinterpret_cast<const char*>(bytes_.data()) + offset;
  const std::string_view key(text, strnlen(text, lengths_.Key(number)));
  return key.substr(0, key.find_last_not_of(' ') + 1);
}

unsigned char* RowBlock::Record(std::size_t row) {
  return bytes_.data() + row * RowSize() + RecordOffset();
}

}  // namespace tvl::c

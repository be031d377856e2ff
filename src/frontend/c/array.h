#ifndef TVL_FRONTEND_C_ARRAY_H
#define TVL_FRONTEND_C_ARRAY_H

#include <cstdlib>
#include <cstring>
#include <deque>
#include <new>
#include <string>
#include <vector>

namespace tvl::c {

// Collects structures with texts, and makes one block of them that the caller frees as a whole: an array of
// pointers, the structures, the texts. Pointers, since a later version may have larger structures.
template <typename Row>
class Array {
 public:
  // A copy of `text` that lives as long as this object. Null becomes an empty text.
  const char* Keep(const char* text) { return texts_.emplace_back(text != nullptr ? text : "").c_str(); }

  // Adds a structure whose texts were passed through Keep.
  void Add(const Row& row) { rows_.push_back(row); }

  // Allocates the block. `members` are all texts of a row. May throw std::bad_alloc.
  template <typename... Members>
  Row** Release(Members... members) const {
    const std::size_t pointers = (rows_.size() + 1) * sizeof(Row*);
    const std::size_t head = (pointers + alignof(Row) - 1) / alignof(Row) * alignof(Row);
    auto* block = static_cast<char*>(std::malloc(head + rows_.size() * sizeof(Row) + TextBytes()));
    if (block == nullptr) throw std::bad_alloc();
    auto** array = reinterpret_cast<Row**>(block);
    auto* row = reinterpret_cast<Row*>(block + head);
    auto* text = reinterpret_cast<char*>(row + rows_.size());
    for (std::size_t at = 0; at < rows_.size(); ++at, ++row) {
      *row = rows_[at];
      (MoveText(row->*members, text), ...);
      array[at] = row;
    }
    array[rows_.size()] = nullptr;
    return array;
  }

  [[nodiscard]] std::size_t Count() const { return rows_.size(); }

 private:
  [[nodiscard]] std::size_t TextBytes() const {
    std::size_t bytes = 0;
    for (const std::string& text : texts_) bytes += text.size() + 1;
    return bytes;
  }

  // Copies a text to `place`, and moves `place` after it.
  static void MoveText(const char*& text, char*& place) {
    const std::size_t size = std::strlen(text) + 1;
    std::memcpy(place, text, size);
    text = place;
    place += size;
  }

  std::deque<std::string> texts_;  // does not move its elements
  std::vector<Row> rows_;
};

}  // namespace tvl::c

#endif

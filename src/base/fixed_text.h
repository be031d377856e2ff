#ifndef TVL_BASE_FIXED_TEXT_H
#define TVL_BASE_FIXED_TEXT_H

#include <cstddef>
#include <cstring>
#include <string_view>

#include "platform/host_path.h"

namespace tvl {

// Copies `text` into a field, cut to fit. For names, where a part is better than nothing.
template <std::size_t N>
void CopyCut(char (&field)[N], std::string_view text) {
  const std::size_t length = text.size() < N ? text.size() : N - 1;
  if (length > 0) std::memmove(field, text.data(), length);  // an empty view may have a null pointer
  field[length] = 0;
}

// Copies a path into a field. A cut path would name another file, so if the path does not fit, empties the
// field and returns false.
template <std::size_t N>
[[nodiscard]] bool CopyPath(char (&field)[N], std::string_view path) {
  const bool fits = path.size() < N;
  CopyCut(field, fits ? path : std::string_view());
  return fits;
}

// A text in a buffer of N bytes, including the terminator, that is built piece by piece.
//
// A piece that does not fit is omitted completely, and Fits returns false from then on, so a chain of pieces
// needs only one check at its end.
template <std::size_t N>
class FixedText {
 public:
  FixedText() { text_[0] = 0; }

  FixedText& Append(std::string_view piece) {
    if (overflown_ || length_ + piece.size() >= N) {
      overflown_ = true;
      return *this;
    }
    std::memcpy(text_ + length_, piece.data(), piece.size());
    length_ += piece.size();
    text_[length_] = 0;
    return *this;
  }

  // Empties the text and marks it as one that does not fit.
  void Discard() {
    length_ = 0;
    text_[0] = 0;
    overflown_ = true;
  }

  // For functions that modify characters in place without changing the length.
  [[nodiscard]] char* Data() { return text_; }

  [[nodiscard]] bool Fits() const { return !overflown_; }
  [[nodiscard]] const char* Text() const { return text_; }
  [[nodiscard]] std::string_view View() const { return {text_, length_}; }

 private:
  char text_[N];
  std::size_t length_ = 0;
  bool overflown_ = false;
};

using PathText = FixedText<kMaxPath>;

}  // namespace tvl

#endif

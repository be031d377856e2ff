#ifndef TVL_TESTS_SUPPORT_ARG_H
#define TVL_TESTS_SUPPORT_ARG_H

#include <algorithm>
#include <string>
#include <string_view>

// A text for an argument that the interface declares writable. Its buffer has the size of a path, or exactly
// that of a longer text.
class Arg {
 public:
  explicit Arg(std::string_view text) : bytes_(text) {
    bytes_.resize(std::max<std::size_t>(bytes_.size(), 259));
    bytes_.shrink_to_fit();
  }
  operator char*() { return bytes_.data(); }

 private:
  std::string bytes_;
};

#endif

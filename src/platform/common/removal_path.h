#ifndef TVL_PLATFORM_COMMON_REMOVAL_PATH_H
#define TVL_PLATFORM_COMMON_REMOVAL_PATH_H

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "platform/host_path.h"
#include "platform/remove_tree.h"

namespace tvl {

// The path that a removal has reached, in the form with backslashes, and what is reported about it.
class RemovalPath {
 public:
  explicit RemovalPath(const RemovalHooks& hooks) : hooks_(hooks) {}

  void Set(std::string_view path);
  void Report(std::uint64_t size) const;

  // Notes the error. Returns `result`.
  [[nodiscard]] Removal Fail(Removal result, int problem) const;

  // Calls `remove` with one more name in the path.
  template <typename Remove>
  [[nodiscard]] Removal Below(std::string_view name, Remove remove) {
    const std::size_t before = length_;
    if (!Append(name)) return FailTooLong();
    const Removal result = remove();
    Cut(before);
    return result;
  }

  [[nodiscard]] const char* Text() const { return path_; }

 private:
  [[nodiscard]] bool Append(std::string_view name);
  [[nodiscard]] Removal FailTooLong() const;
  void Cut(std::size_t length);

  const RemovalHooks& hooks_;
  std::size_t length_ = 0;
  char path_[kMaxPath] = {};
};

}  // namespace tvl

#endif

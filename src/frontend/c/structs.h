#ifndef TVL_FRONTEND_C_STRUCTS_H
#define TVL_FRONTEND_C_STRUCTS_H

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace tvl::c {

// A size above this is an uninitialized one.
constexpr std::size_t kLargestStruct = 65536;

// Returns true if the caller set the size of a structure that this interface fills in.
template <typename Struct>
[[nodiscard]] bool HasSize(const Struct* target) {
  return target != nullptr && target->size >= sizeof target->size && target->size <= kLargestStruct;
}

// Copies as much of `source` as the caller's structure has, whose version may be older or newer. Members that
// are unknown to this version become zero.
template <typename Struct>
void CopyStruct(const Struct& source, Struct* target) {
  constexpr std::size_t kHead = sizeof source.size;
  const std::size_t size = target->size;
  const std::size_t known = std::min(size, sizeof source);
  auto* bytes = reinterpret_cast<unsigned char*>(target);
  std::memcpy(bytes + kHead, reinterpret_cast<const unsigned char*>(&source) + kHead, known - kHead);
  std::memset(bytes + known, 0, size - known);
}

}  // namespace tvl::c

#endif

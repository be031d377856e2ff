#ifndef TVL_ENGINE_POINTER_H
#define TVL_ENGINE_POINTER_H

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "engine/layout.h"

namespace tvl::engine {

constexpr std::size_t kLongestPointer = 512;
constexpr std::size_t kTableIdLength = 32;

// The contents of a data file whose rows are in a database server. It contains no connection data: who may
// use which server is the administrator's decision (permission.h).
struct Pointer {
  std::string id;  // random, kTableIdLength lower-case hexadecimal digits
  Layout layout;
};

// Returns whether `text` has the form of an id.
[[nodiscard]] bool IsTableId(std::string_view text);

// Returns whether a data file that starts with `bytes` is meant to be a pointer, complete or not.
[[nodiscard]] bool IsPointer(std::string_view bytes);

// Parses the contents of a data file. Returns nothing for anything but a complete pointer of this release.
[[nodiscard]] std::optional<Pointer> ParsePointer(std::string_view text);

[[nodiscard]] std::string TextOf(const Pointer& pointer);

}  // namespace tvl::engine

#endif

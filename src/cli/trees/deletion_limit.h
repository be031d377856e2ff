#ifndef TVL_CLI_TREES_DELETION_LIMIT_H
#define TVL_CLI_TREES_DELETION_LIMIT_H

#include <cstdint>
#include <string>

namespace tvl::cli {

// The value of --max-delete: a number or a percentage.
struct DeletionLimit {
  std::uint64_t number;
  bool percent;

  [[nodiscard]] bool Allows(std::uint64_t deletions, std::uint64_t names) const {
    return percent ? deletions * 100 <= number * names : deletions <= number;
  }
};

// Throws Stop if `text` is neither.
[[nodiscard]] DeletionLimit ParseDeletionLimit(const std::string& text);

}  // namespace tvl::cli

#endif

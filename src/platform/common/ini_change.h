#ifndef TVL_PLATFORM_COMMON_INI_CHANGE_H
#define TVL_PLATFORM_COMMON_INI_CHANGE_H

#include <optional>
#include <string>
#include <string_view>

namespace tvl {

// One key that is set, or deleted if there is no value.
struct IniChange {
  std::string_view section;
  std::string_view key;
  std::optional<std::string_view> value;
};

// Why a write failed, and the file concerned; 0 if it succeeded.
struct IniOutcome {
  int problem;
  std::string path;
};

// Writes an INI file in the way of the system. The problem is EAGAIN if another writer has the turn.
[[nodiscard]] IniOutcome TryWriteIni(const char* file, const IniChange& change);

}  // namespace tvl

#endif

#ifndef TVL_SERVER_SERVICE_MANAGER_ENVIRONMENT_H
#define TVL_SERVER_SERVICE_MANAGER_ENVIRONMENT_H

#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string_view>
#include <system_error>

namespace tvl::server {

// A variable of the environment; empty if there is none.
[[nodiscard]] inline std::string_view EnvironmentText(const char* name) {
  const char* const value = std::getenv(name);
  return value == nullptr ? "" : value;
}

// The same as a decimal number; nothing if it is not one.
[[nodiscard]] inline std::optional<std::int64_t> EnvironmentNumber(const char* name) {
  const std::string_view text = EnvironmentText(name);
  std::int64_t number = 0;
  const auto [end, problem] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (problem != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

}  // namespace tvl::server

#endif

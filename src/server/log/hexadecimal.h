#ifndef TVL_SERVER_LOG_HEXADECIMAL_H
#define TVL_SERVER_LOG_HEXADECIMAL_H

#include <string>
#include <string_view>

namespace tvl::server {

// Two digits for each byte.
[[nodiscard]] inline std::string Hexadecimal(std::string_view text) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string digits;
  for (const char character : text) {
    const auto byte = static_cast<unsigned char>(character);
    digits += kDigits[byte >> 4U];
    digits += kDigits[byte & 0xFU];
  }
  return digits;
}

}  // namespace tvl::server

#endif

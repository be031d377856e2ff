#ifndef TVL_SERVER_LOG_LOG_LINE_H
#define TVL_SERVER_LOG_LOG_LINE_H

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace tvl::server {

enum class Level { kError, kWarning, kInfo };

// One event. Members that are empty or absent are omitted from the line.
struct Event {
  std::string what;
  Level level = Level::kInfo;
  std::string client = {};                    // its address
  std::string who = {};                       // the identity that it claims
  std::optional<std::uint64_t> request = {};  // number of the client's request, from 1
  std::string name = {};
  std::optional<int> code = {};
  std::optional<std::uint64_t> bytes = {};
  std::optional<std::chrono::microseconds> duration = {};
  std::optional<std::uint64_t> left_out = {};  // lines of this client that were not written before this one
  std::string note = {};
};

using LogTime = std::chrono::system_clock::time_point;

// Returns the line of an event with its line feed. Texts from a client are quoted, and their control and
// direction characters are escaped, so that they can neither forge a line nor control a terminal.
[[nodiscard]] std::string TextLine(LogTime time, const Event& event);

// The same as a JSON object. A text that is not UTF-8 appears in hexadecimal as the member KEY_hex.
[[nodiscard]] std::string JsonLine(LogTime time, const Event& event);

}  // namespace tvl::server

#endif

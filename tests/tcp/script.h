#ifndef TVL_TESTS_TCP_SCRIPT_H
#define TVL_TESTS_TCP_SCRIPT_H

#include <string>
#include <string_view>
#include <vector>

// Bytes of a case file; some may be wildcards.
struct Bytes {
  std::string text;
  std::vector<bool> any;

  void Add(std::string_view more, bool anything = false);
  [[nodiscard]] bool Matches(std::string_view other) const;
};

// A line of a case. cases/README.md describes the possible lines.
struct Step {
  int line = 0;
  std::string verb;
  std::vector<std::string> words;  // after the verb, for lines without bytes
  Bytes bytes;
};

// Reads a case. Throws std::runtime_error with the line number for a syntax error.
std::vector<Step> ReadCase(const std::string& path);

// Returns a packet with this payload. Its length includes `extra` bytes: 4 from a client, 0 from a server.
// Head bytes without a meaning are wildcards.
Bytes Packet(const Bytes& payload, std::size_t extra);

// Returns a packet from a server.
std::string Reply(std::string_view payload);

#endif

#ifndef TVL_TESTS_TCP_SCRIPT_H
#define TVL_TESTS_TCP_SCRIPT_H

#include <string>
#include <string_view>
#include <vector>

// Bytes as a case file writes them; some may be any.
struct Bytes {
  std::string text;
  std::vector<bool> any;

  void Add(std::string_view more, bool anything = false);
  [[nodiscard]] bool Matches(std::string_view other) const;
};

// A line of a case: who does what. cases/README.md tells the lines there are.
struct Step {
  int line = 0;
  std::string verb;
  std::vector<std::string> words;  // behind the verb, for lines that aren't bytes
  Bytes bytes;
};

// Reads a case; throws std::runtime_error with the line if it is not written right.
std::vector<Step> ReadCase(const std::string& path);

// A packet of this payload as the client's `extra` 4, or the server's 0, counts its length. Head bytes
// without a meaning are any bytes.
Bytes Packet(const Bytes& payload, std::size_t extra);

// A packet from a server.
std::string Reply(std::string_view payload);

#endif

#ifndef TVL_SERVER_LOG_H
#define TVL_SERVER_LOG_H

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace tvl::server {

// One thing that happened; what is empty or absent isn't told.
struct Event {
  std::string what;
  std::string client = {};  // its address
  std::string who = {};     // what it says it is
  std::string name = {};
  std::optional<int> code = {};
  std::optional<std::uint64_t> bytes = {};
  std::optional<std::chrono::microseconds> duration = {};
  std::string note = {};
};

// Writes events to standard error, a line each, as text or as JSON.
class Log {
 public:
  explicit Log(bool json) : json_(json) {}
  void Write(const Event& event) const;

  // The lines, for a given time.
  static std::string TextLine(const std::string& time, const Event& event);
  static std::string JsonLine(const std::string& time, const Event& event);

 private:
  const bool json_;
};

// Measures from its making on.
class Stopwatch {
 public:
  [[nodiscard]] std::chrono::microseconds Elapsed() const {
    return std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - began_);
  }

 private:
  std::chrono::steady_clock::time_point began_ = std::chrono::steady_clock::now();
};

}  // namespace tvl::server

#endif

#ifndef TVL_SERVER_WIRE_TAG_GUARD_H
#define TVL_SERVER_WIRE_TAG_GUARD_H

#include <asio/ip/address.hpp>
#include <chrono>
#include <cstddef>
#include <map>

namespace tvl::server {

// Slows down guessing of client tags: the answer to a wrong tag is delayed by a second, and the delay doubles
// with each further wrong tag from that address, up to kLongest. A correct tag is never delayed. Used on the
// network thread only.
class TagGuard {
 public:
  using Clock = std::chrono::steady_clock;

  static constexpr std::chrono::seconds kFirst{1};
  static constexpr std::chrono::seconds kLongest{8};
  static constexpr std::chrono::minutes kForgiven{10};  // time without a wrong tag
  static constexpr std::size_t kMostAddresses = 4096;

  // Counts a wrong tag. Returns the delay of its answer.
  [[nodiscard]] std::chrono::seconds Delay(const asio::ip::address& address, Clock::time_point now);

 private:
  struct Guesser {
    std::chrono::seconds delay = kFirst;
    Clock::time_point last;
  };

  void ForgetSome(Clock::time_point now);

  std::map<asio::ip::address, Guesser> guessers_;
};

}  // namespace tvl::server

#endif

#include "server/wire/tag_guard.h"

#include <algorithm>

namespace tvl::server {

std::chrono::seconds TagGuard::Delay(const asio::ip::address& address, Clock::time_point now) {
  if (guessers_.size() >= kMostAddresses) ForgetSome(now);
  Guesser& guesser = guessers_[address];
  if (now - guesser.last > kForgiven) guesser.delay = kFirst;
  guesser.last = now;
  const std::chrono::seconds delay = guesser.delay;
  guesser.delay = std::min(2 * delay, kLongest);
  return delay;
}

// Removes forgiven addresses; if there are none, the one that has been quiet for the longest time.
void TagGuard::ForgetSome(Clock::time_point now) {
  const auto forgiven = [now](const auto& entry) { return now - entry.second.last > kForgiven; };
  if (std::erase_if(guessers_, forgiven) > 0) return;
  guessers_.erase(std::min_element(guessers_.begin(), guessers_.end(), [](const auto& a, const auto& b) {
    return a.second.last < b.second.last;
  }));
}

}  // namespace tvl::server

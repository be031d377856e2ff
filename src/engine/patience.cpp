#include "engine/patience.h"

#include <algorithm>
#include <thread>

namespace tvl::engine {
namespace {

using std::chrono::microseconds;
using std::chrono::steady_clock;

constexpr microseconds kFirstPause{50};
constexpr microseconds kLongestPause{5'000};

}  // namespace

steady_clock::time_point Patience::End() {
  if (end_ == steady_clock::time_point()) end_ = steady_clock::now() + limit_;
  return end_;
}

bool Patience::Pause() {
  if (steady_clock::now() >= End()) return false;
  pause_ = std::clamp(pause_ + pause_ / 2, kFirstPause, kLongestPause);
  std::this_thread::sleep_for(pause_);
  return true;
}

}  // namespace tvl::engine

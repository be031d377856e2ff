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

bool Patience::Pause() {
  const steady_clock::time_point now = steady_clock::now();
  if (pause_ == microseconds::zero()) {
    end_ = now + limit_;
    pause_ = kFirstPause;
  } else {
    pause_ = std::min(pause_ + pause_ / 2, kLongestPause);
  }
  if (now >= end_) return false;
  std::this_thread::sleep_for(pause_);
  return true;
}

}  // namespace tvl::engine

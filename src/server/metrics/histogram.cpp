#include "server/metrics/histogram.h"

#include <algorithm>

namespace tvl::server {
namespace {

constexpr std::array<std::uint64_t, 11> kMicroseconds = {
    100, 500, 1'000, 5'000, 10'000, 50'000, 100'000, 500'000, 1'000'000, 5'000'000, 10'000'000};
constexpr std::array<std::uint64_t, 11> kNumbers = {0, 1, 2, 4, 8, 16, 32, 64, 128, 256, 1024};
static_assert(std::max(kMicroseconds.size(), kNumbers.size()) <= Histogram::kMostBounds);

}  // namespace

const Histogram::Scale Histogram::kSeconds = {kMicroseconds, 1e6};
const Histogram::Scale Histogram::kLengths = {kNumbers, 1};

void Histogram::Observe(std::uint64_t value) {
  const auto bound = std::lower_bound(scale_.bounds.begin(), scale_.bounds.end(), value);
  counts_[static_cast<std::size_t>(bound - scale_.bounds.begin())].Add();
  sum_.Add(value);
}

Histogram::Reading Histogram::Read() const {
  Reading reading;
  std::uint64_t up_to = 0;
  for (std::size_t at = 0; at <= scale_.bounds.size(); ++at) {
    reading.up_to.push_back(up_to += counts_[at].Value());
  }
  reading.sum = static_cast<double>(sum_.Value()) / scale_.per_unit;
  return reading;
}

std::vector<double> Histogram::Bounds() const {
  std::vector<double> bounds;
  for (const std::uint64_t bound : scale_.bounds)
    bounds.push_back(static_cast<double>(bound) / scale_.per_unit);
  return bounds;
}

}  // namespace tvl::server

#ifndef TVL_SERVER_METRICS_HISTOGRAM_H
#define TVL_SERVER_METRICS_HISTOGRAM_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "server/metrics/counter.h"

namespace tvl::server {

// How often values up to each of some bounds were observed. Any thread may use it.
class Histogram {
 public:
  static constexpr std::size_t kMostBounds = 12;

  // Ascending bounds in the unit of the observed values, of which `per_unit` make one of the unit reported.
  struct Scale {
    std::span<const std::uint64_t> bounds;
    double per_unit;
  };
  static const Scale kSeconds;  // observed in microseconds
  static const Scale kLengths;

  explicit Histogram(const Scale& scale) : scale_(scale) {}

  void Observe(std::uint64_t value);

  // `up_to[i]`: values not above the i-th bound; the last one, without a bound, is the number of all. They
  // agree with each other also while values are observed; the sum may be ahead.
  struct Reading {
    std::vector<std::uint64_t> up_to;
    double sum;
  };
  [[nodiscard]] Reading Read() const;

  // In the unit reported.
  [[nodiscard]] std::vector<double> Bounds() const;

 private:
  const Scale scale_;
  std::array<Counter, kMostBounds + 1> counts_;
  Counter sum_;
};

}  // namespace tvl::server

#endif

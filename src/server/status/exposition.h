#ifndef TVL_SERVER_STATUS_EXPOSITION_H
#define TVL_SERVER_STATUS_EXPOSITION_H

#include <cstdint>
#include <string>

#include "server/metrics/histogram.h"

namespace tvl::server {

// A page of metrics in the text format of Prometheus, built family by family.
class Exposition {
 public:
  enum class Type { kCounter, kGauge, kHistogram };

  // One label of a sample; with an empty key, none.
  struct Label {
    const char* key;
    std::string value;
  };

  // Begins a family, to which the samples that follow belong. `name` and `help` are constants of the program.
  void Begin(const char* name, Type type, const char* help);
  void Add(std::uint64_t value, const Label& label = {"", {}});
  void Add(std::int64_t value, const Label& label = {"", {}});
  void Add(double value, const Label& label = {"", {}});
  void Add(const Histogram& histogram, const Label& label);

  // A family of one sample without labels.
  template <typename Value>
  void Single(const char* name, Type type, const char* help, Value value) {
    Begin(name, type, help);
    Add(value);
  }

  [[nodiscard]] const std::string& Text() const { return text_; }

 private:
  void Line(const char* suffix, const std::string& labels, const std::string& value);

  std::string name_;
  std::string text_;
};

}  // namespace tvl::server

#endif

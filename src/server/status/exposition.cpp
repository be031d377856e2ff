#include "server/status/exposition.h"

#include <array>
#include <charconv>
#include <string_view>
#include <vector>

namespace tvl::server {
namespace {

constexpr std::array<const char*, 3> kTypes = {"counter", "gauge", "histogram"};

std::string Formatted(double value) {
  std::array<char, 32> text = {};
  const auto result = std::to_chars(text.data(), text.data() + text.size(), value);
  return {text.data(), result.ptr};
}

std::string Escaped(std::string_view value) {
  std::string escaped;
  for (const char character : value) {
    if (character == '\\' || character == '"') escaped += '\\';
    escaped += character == '\n' ? std::string("\\n") : std::string(1, character);
  }
  return escaped;
}

std::string Formatted(const Exposition::Label& label) {
  if (*label.key == 0) return {};
  return std::string(label.key) + "=\"" + Escaped(label.value) + "\"";
}

}  // namespace

void Exposition::Begin(const char* name, Type type, const char* help) {
  name_ = name;
  text_ += "# HELP " + name_ + " " + help + "\n";
  text_ += "# TYPE " + name_ + " " + kTypes[static_cast<std::size_t>(type)] + "\n";
}

void Exposition::Line(const char* suffix, const std::string& labels, const std::string& value) {
  text_ += name_ + suffix + (labels.empty() ? "" : "{" + labels + "}") + " " + value + "\n";
}

void Exposition::Add(std::uint64_t value, const Label& label) {
  Line("", Formatted(label), std::to_string(value));
}

void Exposition::Add(std::int64_t value, const Label& label) {
  Line("", Formatted(label), std::to_string(value));
}

void Exposition::Add(double value, const Label& label) {
  Line("", Formatted(label), Formatted(value));
}

void Exposition::Add(const Histogram& histogram, const Label& label) {
  const Histogram::Reading reading = histogram.Read();
  const std::vector<double> bounds = histogram.Bounds();
  const std::string labels = Formatted(label);
  for (std::size_t at = 0; at < reading.up_to.size(); ++at) {
    const std::string bound = at < bounds.size() ? Formatted(bounds[at]) : "+Inf";
    Line("_bucket", labels + ",le=\"" + bound + "\"", std::to_string(reading.up_to[at]));
  }
  Line("_sum", labels, Formatted(reading.sum));
  Line("_count", labels, std::to_string(reading.up_to.back()));
}

}  // namespace tvl::server

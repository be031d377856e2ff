// Compares packed numbers with what the C library does for the same texts.

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "record/packed_number.h"

namespace {

constexpr int kSize = 8;
constexpr int kDecimals = 2;

std::vector<double> Values() {
  std::vector<double> values;
  values.reserve(1000);
  for (int i = 0; i < 1000; ++i) values.push_back(i * 7919.37 - 3000000);
  return values;
}

std::vector<std::string> Texts() {
  std::vector<std::string> texts;
  for (const double value : Values()) {
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", kDecimals, value);
    texts.emplace_back(text);
  }
  return texts;
}

template <typename Action>
void ForEach(benchmark::State& state, const auto& items, Action action) {
  for (auto step : state) {
    for (const auto& item : items) action(item);
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(items.size()));
}

void Pack(benchmark::State& state) {
  unsigned char field[kSize];
  ForEach(state, Texts(), [&](const std::string& text) {
    benchmark::DoNotOptimize(tvl::PackNumber(field, kSize, text.c_str()));
    benchmark::ClobberMemory();
  });
}
BENCHMARK(Pack);

void TextToDouble(benchmark::State& state) {
  ForEach(state, Texts(),
          [](const std::string& text) { benchmark::DoNotOptimize(std::strtod(text.c_str(), nullptr)); });
}
BENCHMARK(TextToDouble);

void Unpack(benchmark::State& state) {
  std::vector<std::vector<unsigned char>> fields;
  for (const std::string& text : Texts()) {
    fields.emplace_back(kSize);
    if (!tvl::PackNumber(fields.back().data(), kSize, text.c_str())) state.SkipWithError("doesn't fit");
  }
  char text[tvl::kNumberText];
  for ([[maybe_unused]] auto step : state) {
    for (auto& field : fields) {
      benchmark::DoNotOptimize(tvl::UnpackNumber(field.data(), kSize, kDecimals, text));
      benchmark::ClobberMemory();
    }
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(fields.size()));
}
BENCHMARK(Unpack);

void DoubleToText(benchmark::State& state) {
  char text[64];
  ForEach(state, Values(), [&](double value) {
    benchmark::DoNotOptimize(std::snprintf(text, sizeof text, "%.*f", kDecimals, value));
    benchmark::ClobberMemory();
  });
}
BENCHMARK(DoubleToText);

}  // namespace

BENCHMARK_MAIN();

#include <benchmark/benchmark.h>

#include <vector>

#include "transfer/sha1_transform.h"

namespace {

constexpr std::size_t kBlock = 64;
constexpr std::size_t kBytes = std::size_t{128} * 1024;

void Transform(benchmark::State& state, tvl::Sha1Transform transform) {
  if (transform == nullptr) {
    state.SkipWithError("this processor has no SHA-1 instructions");
    return;
  }
  const std::vector<unsigned char> bytes(kBytes, 0x5A);
  std::uint32_t words[5] = {};
  while (state.KeepRunning()) {
    transform(words, bytes.data(), kBytes / kBlock);
    benchmark::DoNotOptimize(words);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kBytes));
}

BENCHMARK_CAPTURE(Transform, portable, tvl::Sha1TransformPortable);
BENCHMARK_CAPTURE(Transform, processor, tvl::ProcessorSha1Transform());

}  // namespace

#include <cpuid.h>
#include <immintrin.h>

#include <utility>

#include "transfer/sha1_transform.h"

// SHA-1 with Intel's SHA extensions: four steps per instruction, four schedule words per register.

namespace {

constexpr unsigned int kShaBit = 1U << 29U;    // leaf 7, EBX
constexpr unsigned int kSse41Bit = 1U << 19U;  // leaf 1, ECX

bool HasInstructions() {
  unsigned int a = 0;
  unsigned int b = 0;
  unsigned int c = 0;
  unsigned int d = 0;
  if (__get_cpuid(1, &a, &b, &c, &d) == 0 || (c & kSse41Bit) == 0) return false;
  return __get_cpuid_count(7, 0, &a, &b, &c, &d) != 0 && (b & kShaBit) != 0;
}

// Steps 4 x Group to 4 x Group + 3. `abcd` contains hash words a to d, with a in the highest lane. `e`
// contains the value for the highest lane of the words, and afterwards that for the next group.
template <int Group>
[[gnu::target("sha,sse4.1"), gnu::always_inline]] inline void FourSteps(__m128i words[4], __m128i& abcd,
                                                                        __m128i& e) {
  __m128i& current = words[Group % 4];
  if constexpr (Group >= 4) {
    const __m128i mixed =
        _mm_xor_si128(_mm_sha1msg1_epu32(current, words[(Group + 1) % 4]), words[(Group + 2) % 4]);
    current = _mm_sha1msg2_epu32(mixed, words[(Group + 3) % 4]);
  }
  const __m128i before = abcd;
  const __m128i with_e = Group == 0 ? _mm_add_epi32(e, current) : _mm_sha1nexte_epu32(e, current);
  abcd = _mm_sha1rnds4_epu32(abcd, with_e, Group / 5);
  e = before;
}

template <int... Groups>
[[gnu::target("sha,sse4.1"), gnu::always_inline]] inline void AllSteps(
    std::integer_sequence<int, Groups...> /*groups*/, __m128i words[4], __m128i& abcd, __m128i& e) {
  (FourSteps<Groups>(words, abcd, e), ...);
}

[[gnu::target("sha,sse4.1")]] void Transform(std::uint32_t state[5], const unsigned char* blocks,
                                             std::size_t count) {
  const __m128i reverse_bytes = _mm_set_epi64x(0x0001020304050607, 0x08090a0b0c0d0e0f);
  constexpr int kReverseWords = 0x1B;
  __m128i abcd = _mm_loadu_si128(reinterpret_cast<const __m128i*>(state));
  abcd = _mm_shuffle_epi32(abcd, kReverseWords);
  __m128i e = _mm_set_epi32(static_cast<int>(state[4]), 0, 0, 0);
  for (; count > 0; --count, blocks += 64) {
    const __m128i abcd_before = abcd;
    const __m128i e_before = e;
    __m128i words[4];
    for (int i = 0; i < 4; ++i) {
      const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(blocks + 16 * i));
      words[i] = _mm_shuffle_epi8(bytes, reverse_bytes);
    }
    AllSteps(std::make_integer_sequence<int, 20>(), words, abcd, e);
    e = _mm_sha1nexte_epu32(e, e_before);
    abcd = _mm_add_epi32(abcd, abcd_before);
  }
  abcd = _mm_shuffle_epi32(abcd, kReverseWords);
  _mm_storeu_si128(reinterpret_cast<__m128i*>(state), abcd);
  state[4] = static_cast<std::uint32_t>(_mm_extract_epi32(e, 3));
}

}  // namespace

tvl::Sha1Transform tvl::ProcessorSha1Transform() {
  return HasInstructions() ? Transform : nullptr;
}

#include <bit>

#include "transfer/sha1_transform.h"

namespace {

using std::uint32_t;

constexpr int kScheduleWords = 16;

uint32_t BigEndian(const unsigned char* bytes) {
  return uint32_t{bytes[0]} << 24U | uint32_t{bytes[1]} << 16U | uint32_t{bytes[2]} << 8U |
         uint32_t{bytes[3]};
}

uint32_t Choose(uint32_t b, uint32_t c, uint32_t d) {
  return d ^ (b & (c ^ d));
}
uint32_t Parity(uint32_t b, uint32_t c, uint32_t d) {
  return b ^ c ^ d;
}
uint32_t Majority(uint32_t b, uint32_t c, uint32_t d) {
  return (b & c) | (d & (b | c));
}

// The last sixteen words of the message schedule; word t replaces word t - 16.
class Schedule {
 public:
  explicit Schedule(const unsigned char* block) {
    for (int t = 0; t < kScheduleWords; ++t) words_[t] = BigEndian(block + 4 * t);
  }

  uint32_t Word(int t) {
    uint32_t& word = words_[t & 15];
    if (t >= kScheduleWords) {
      word = std::rotl(words_[(t + 13) & 15] ^ words_[(t + 8) & 15] ^ words_[(t + 2) & 15] ^ word, 1);
    }
    return word;
  }

 private:
  uint32_t words_[kScheduleWords];
};

struct Variables {
  uint32_t a, b, c, d, e;
};

// Twenty steps with one function and one constant.
template <uint32_t (*Function)(uint32_t, uint32_t, uint32_t), uint32_t Constant>
void TwentySteps(int first, Schedule& schedule, Variables& v) {
  for (int t = first; t < first + 20; ++t) {
    const uint32_t next = std::rotl(v.a, 5) + Function(v.b, v.c, v.d) + v.e + schedule.Word(t) + Constant;
    v.e = v.d;
    v.d = v.c;
    v.c = std::rotl(v.b, 30);
    v.b = v.a;
    v.a = next;
  }
}

void TransformBlock(uint32_t state[5], const unsigned char* block) {
  Schedule schedule(block);
  Variables v = {state[0], state[1], state[2], state[3], state[4]};
  TwentySteps<Choose, 0x5A827999>(0, schedule, v);
  TwentySteps<Parity, 0x6ED9EBA1>(20, schedule, v);
  TwentySteps<Majority, 0x8F1BBCDC>(40, schedule, v);
  TwentySteps<Parity, 0xCA62C1D6>(60, schedule, v);
  state[0] += v.a;
  state[1] += v.b;
  state[2] += v.c;
  state[3] += v.d;
  state[4] += v.e;
}

}  // namespace

void tvl::Sha1TransformPortable(uint32_t state[5], const unsigned char* blocks, std::size_t count) {
  for (; count > 0; --count, blocks += 64) TransformBlock(state, blocks);
}

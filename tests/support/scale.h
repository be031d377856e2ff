#ifndef TVL_TESTS_SUPPORT_SCALE_H
#define TVL_TESTS_SUPPORT_SCALE_H

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif

// Number of rounds of a long test; a tenth of them with a sanitizer, where each is slow.
constexpr int Rounds(int full) {
  return kSanitized ? full / 10 : full;
}

#endif

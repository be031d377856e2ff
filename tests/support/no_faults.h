#ifndef TVL_TESTS_SUPPORT_NO_FAULTS_H
#define TVL_TESTS_SUPPORT_NO_FAULTS_H

#include <cerrno>

// For systems on which no system call can be made to fail: tests run each operation once, without a fault.

constexpr bool kHasFaults = false;

struct FailingRename {
  explicit FailingRename(const char* /*end*/, bool /*loses_part*/ = false) {}
};
struct FailingTimes {
  explicit FailingTimes(long /*size*/) {}
};
constexpr int ESTALE = 116;

class Faults {
 public:
  enum class Span { kOne, kFromThereOn };

  Faults(int /*at*/, int /*error*/, Span /*span*/ = Span::kOne) {}
  ~Faults() {}
  Faults(const Faults&) = delete;
  Faults& operator=(const Faults&) = delete;

  static const char* Hit() { return nullptr; }
};

template <typename Operation>
auto WithFault(int /*at*/, int /*error*/, Faults::Span /*span*/, Operation operation) {
  return operation();
}

template <typename Operation>
auto WithFault(int at, int error, Operation operation) {
  return WithFault(at, error, Faults::Span::kOne, operation);
}

#endif

#ifndef TVL_HOST_DESCRIPTOR_H
#define TVL_HOST_DESCRIPTOR_H

#include <cerrno>
#include <utility>

#include "host/system_calls.h"

namespace tvl {

// An open file descriptor that this object closes. Closing does not change errno, because a failure is often
// reported on the way out.
class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int number) : number_(number) {}
  Descriptor(Descriptor&& other) noexcept : number_(other.Release()) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }
  ~Descriptor() {
    if (!IsOpen()) return;
    const int kept = errno;
    System().close(number_);
    errno = kept;
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  [[nodiscard]] bool IsOpen() const { return number_ >= 0; }
  [[nodiscard]] int Get() const { return number_; }

  // Returns the descriptor, which the caller then has to close.
  [[nodiscard]] int Release() { return std::exchange(number_, -1); }

  // Returns 0, or the errno value of a close that failed: a network share may only now report that what was
  // written did not arrive. The descriptor is closed in either case.
  [[nodiscard]] int Close() { return System().close(Release()) == 0 ? 0 : errno; }

 private:
  int number_ = -1;
};

}  // namespace tvl

#endif

#ifndef TVL_SERVER_DESCRIPTOR_H
#define TVL_SERVER_DESCRIPTOR_H

#include <unistd.h>

#include <cerrno>
#include <utility>

namespace tvl::server {

// A file descriptor that is closed automatically. Closing keeps errno, because a failure is often reported
// while leaving a function.
class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int number) : number_(number) {}
  Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }
  ~Descriptor() {
    if (!IsOpen()) return;
    const int kept = errno;
    close(number_);
    errno = kept;
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  [[nodiscard]] bool IsOpen() const { return number_ >= 0; }
  [[nodiscard]] int Number() const { return number_; }

 private:
  int number_ = -1;
};

}  // namespace tvl::server

#endif

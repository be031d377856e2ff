#ifndef TVL_PLATFORM_DESCRIPTOR_H
#define TVL_PLATFORM_DESCRIPTOR_H

#include "platform/system_calls.h"

namespace tvl {

// An open descriptor that is closed automatically. For the platform layer only.
class Descriptor {
 public:
  explicit Descriptor(int descriptor) : descriptor_(descriptor) {}
  ~Descriptor() {
    if (IsOpen()) System().close(descriptor_);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  [[nodiscard]] bool IsOpen() const { return descriptor_ >= 0; }
  [[nodiscard]] int Get() const { return descriptor_; }

 private:
  int descriptor_;
};

}  // namespace tvl

#endif

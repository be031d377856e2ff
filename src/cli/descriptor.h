#ifndef TVL_CLI_DESCRIPTOR_H
#define TVL_CLI_DESCRIPTOR_H

#include <unistd.h>

namespace tvl::cli {

// A descriptor that closes itself.
class Descriptor {
 public:
  explicit Descriptor(int descriptor) : descriptor_(descriptor) {}
  ~Descriptor() {
    if (descriptor_ >= 0) close(descriptor_);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  [[nodiscard]] int Get() const { return descriptor_; }

 private:
  int descriptor_;
};

}  // namespace tvl::cli

#endif

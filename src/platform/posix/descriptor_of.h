#ifndef TVL_PLATFORM_POSIX_DESCRIPTOR_OF_H
#define TVL_PLATFORM_POSIX_DESCRIPTOR_OF_H

#include "platform/files.h"

namespace tvl {

// The handle of an open file is its descriptor here.
[[nodiscard]] inline int DescriptorOf(HANDLE file) {
  return static_cast<int>(file);
}

}  // namespace tvl

#endif

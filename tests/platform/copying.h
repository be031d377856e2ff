#ifndef TVL_TESTS_PLATFORM_COPYING_H
#define TVL_TESTS_PLATFORM_COPYING_H

#include <string>

#include "platform/files.h"
#include "support/temp_folder.h"

// Bytes of which each part differs from all others.
inline std::string Pattern(std::size_t size) {
  std::string bytes(size, 0);
  for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>(i * 7 + i / 251);
  return bytes;
}

inline int Copy(const TempFolder& folder, const std::string& source, const std::string& target) {
  return CopyFileA(folder.Logical(source).c_str(), folder.Logical(target).c_str(), 0);
}

#endif

#ifndef TVL_PLATFORM_HOST_PATH_H
#define TVL_PLATFORM_HOST_PATH_H

#include <cstddef>

namespace tvl {

// Size of a path field in bytes, including the terminator.
constexpr std::size_t kMaxPath = 260;

// A host path, converted from a path with backslashes by replacing each with a slash. So a name on disk that
// contains a backslash is not accessible, and searches omit it.
class HostPath {
 public:
  explicit HostPath(const char* path);

  // A path that is too long for the operating system is cut one byte above the limit, so that the system call
  // fails with the correct reason.
  [[nodiscard]] const char* Text() const { return text_; }

 private:
  static constexpr std::size_t kTooLong = 4096;
  char text_[kTooLong + 1];
};

}  // namespace tvl

// Converts `path` to a full path relative to the current folder: resolves `.` and `..`, merges runs of
// separators, and keeps a trailing one. Returns the length written to `buffer`, the required size including
// the terminator if that exceeds `size`, or 0 on failure. `buffer` is empty if the text is not written.
// `file_part` must be null.
unsigned int GetFullPathNameA(const char* path, unsigned int size, char* buffer, char** file_part);

#endif

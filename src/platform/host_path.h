#ifndef TVL_PLATFORM_HOST_PATH_H
#define TVL_PLATFORM_HOST_PATH_H

#include <cstddef>

namespace tvl {

// Bytes of a path in a field of the data model, the terminator included.
constexpr std::size_t kMaxPath = 260;

// A path as the operating system takes it, made from one of the logic's paths: every backslash becomes a
// slash. So a name on disk that itself holds a backslash is out of reach, and searches leave it out.
class HostPath {
 public:
  explicit HostPath(const char* path);

  // A path longer than the operating system takes is cut one byte above that limit, so the call with it fails
  // and says why.
  [[nodiscard]] const char* Text() const { return text_; }

 private:
  static constexpr std::size_t kTooLong = 4096;
  char text_[kTooLong + 1];
};

}  // namespace tvl

// Full form of `path` against the current folder: `.` and `..` go, runs of separators become one, a trailing
// one stays. Result: the length written to `buffer`; the room needed, terminator included, if that exceeds
// `size`; 0 for a failure. `buffer` is empty where the text isn't written. `filePart` must be null.
unsigned int GetFullPathNameA(const char* path, unsigned int size, char* buffer, char** filePart);

#endif

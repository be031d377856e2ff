#include "platform/host_path.h"

#include <cerrno>
#include <cstring>

#include "platform/last_error.h"
#include "platform/windows/native.h"

namespace tvl {

HostPath::HostPath(const char* path) {
  std::size_t length = 0;
  for (; path[length] != 0 && length < kTooLong; ++length) {
    text_[length] = path[length] == '/' ? '\\' : path[length];
  }
  text_[length] = 0;
}

}  // namespace tvl

unsigned int GetFullPathNameA(const char* path, unsigned int size, char* buffer, char** /*file_part*/) {
  if (size > 0) buffer[0] = 0;
  if (path[0] == 0) return 0;
  const std::size_t length = tvl::native::FullPath(path, buffer, size);
  if (length == 0 || length >= size) tvl::NoteError(path, length == 0 ? EINVAL : ENAMETOOLONG);
  return static_cast<unsigned int>(length);
}

#include "host/write_all.h"

#include <cerrno>

#include "host/system_calls.h"

namespace tvl {
namespace {

// `write` writes some of the remaining bytes; it gets them and the number of those written before.
template <typename Write>
int WriteRest(const void* bytes, std::size_t count, Write write) {
  const auto* start = static_cast<const char*>(bytes);
  std::size_t done = 0;
  while (done < count) {
    const ssize_t written = write(start + done, count - done, done);
    if (written < 0 && errno != EINTR) return errno;
    if (written == 0) return EIO;
    if (written > 0) done += static_cast<std::size_t>(written);
  }
  return 0;
}

}  // namespace

int WriteAll(int file, const void* bytes, std::size_t count) {
  return WriteRest(bytes, count, [file](const char* next, std::size_t left, std::size_t /*done*/) {
    return System().write(file, next, left);
  });
}

int WriteAllAt(int file, const void* bytes, std::size_t count, std::int64_t offset) {
  return WriteRest(bytes, count, [=](const char* next, std::size_t left, std::size_t done) {
    return System().pwrite(file, next, left, offset + static_cast<off_t>(done));
  });
}

}  // namespace tvl

#include "host/read_all.h"

#include <cerrno>

#include "host/system_calls.h"

namespace tvl {

int ReadAll(int file, std::string& contents, std::size_t most) {
  char piece[16384];
  for (;;) {
    const ssize_t count = System().read(file, piece, sizeof piece);
    if (count == 0) return 0;
    if (count < 0 && errno != EINTR) return errno;
    if (count > 0) contents.append(piece, static_cast<std::size_t>(count));
    if (contents.size() > most) return EFBIG;
  }
}

}  // namespace tvl

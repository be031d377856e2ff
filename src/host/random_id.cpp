#include "host/random_id.h"

#include <sys/random.h>

namespace tvl {

std::string RandomId() {
  constexpr char digits[] = "0123456789abcdef";
  unsigned char bytes[kRandomIdLength / 2];
  if (getrandom(bytes, sizeof bytes, 0) != static_cast<ssize_t>(sizeof bytes)) return {};
  std::string id;
  for (const unsigned char byte : bytes) {
    id += digits[byte >> 4U];
    id += digits[byte & 15U];
  }
  return id;
}

}  // namespace tvl

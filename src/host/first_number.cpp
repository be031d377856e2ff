#include "host/first_number.h"

#include <sys/random.h>

namespace tvl {

unsigned int FirstNumber() {
  unsigned int number = 0;
  static_cast<void>(getrandom(&number, sizeof number, GRND_NONBLOCK));
  return number;
}

}  // namespace tvl

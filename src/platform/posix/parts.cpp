#include "platform/parts.h"

#include <unistd.h>

#include <atomic>

#include "host/first_number.h"
#include "store/part_name.h"

std::string tvl::NextPartName() {
  static std::atomic<unsigned int> last_number = FirstNumber();
  return PartName(static_cast<unsigned int>(getpid()), ++last_number);
}

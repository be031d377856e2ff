#include "platform/parts.h"

#include <atomic>

#include "platform/windows/native.h"
#include "store/part_name.h"

std::string tvl::NextPartName() {
  static std::atomic<unsigned int> last_number = native::Random();
  return PartName(native::ProcessId(), ++last_number);
}

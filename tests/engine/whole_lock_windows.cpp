#include "engine/engine.h"
#include "platform/windows/native.h"

bool CanLockWhole(const string& path) {
  tvl::native::Handle file = tvl::native::kNoHandle;
  if (tvl::native::Open(path.c_str(), {.writes = true}, &file) != 0) return false;
  const bool can = tvl::native::Lock(file, 0, std::int64_t{1} << 62) == 0;
  tvl::native::Close(file);
  return can;
}

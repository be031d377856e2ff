#ifndef TVL_PLATFORM_FILE_TIMES_H
#define TVL_PLATFORM_FILE_TIMES_H

#include <cstdint>

namespace tvl {

// Sets both access and modification time of a file, in seconds since 1970-01-01 UTC. Returns false if they
// are refused.
bool SetFileTimes(const char* path, std::int64_t seconds);

}  // namespace tvl

#endif

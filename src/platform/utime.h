#ifndef TVL_PLATFORM_UTIME_H
#define TVL_PLATFORM_UTIME_H

#include <cstdint>

// Sets both access and modification time of a file, in seconds since 1970-01-01 UTC. Returns 0 or -1.
int _utime64(const char* path, std::int64_t seconds);

#endif

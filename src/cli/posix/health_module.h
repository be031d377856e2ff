#ifndef TVL_CLI_POSIX_HEALTH_MODULE_H
#define TVL_CLI_POSIX_HEALTH_MODULE_H

#include <cstddef>

namespace tvl::cli {

// The module with the HTTP client. tvl loads it only for `status --health`, because loading the libraries
// that the client needs takes longer than most commands.
inline constexpr char kHealthModule[] = "tvl-health.so";
inline constexpr char kPageFunction[] = "TvlFetchPage";

// Fetches `path` from `origin`, which is http://HOST:PORT, and copies the beginning of the page to `text`, a
// buffer of `size` bytes, with a NUL. Returns the status of the answer, 0 if there was no answer within
// `milliseconds`, or -1 if `origin` is not an address.
using PageFunction = int(const char* origin, const char* path, long milliseconds, char* text,
                         std::size_t size);

}  // namespace tvl::cli

#endif

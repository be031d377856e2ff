#ifndef TVL_CLI_COMPLETION_LIMITED_OUTPUT_H
#define TVL_CLI_COMPLETION_LIMITED_OUTPUT_H

#include <chrono>
#include <functional>
#include <string>

namespace tvl::cli {

// Returns the result of `work`, which runs in a process of its own: even if it waits inside the kernel for a
// dead share, the caller continues at the end of the time. Returns an empty text if there is no complete
// result by then.
[[nodiscard]] std::string LimitedOutput(const std::function<std::string()>& work,
                                        std::chrono::milliseconds limit);

}  // namespace tvl::cli

#endif

#ifndef TVL_CLI_POSIX_SIGNALS_H
#define TVL_CLI_POSIX_SIGNALS_H

namespace tvl::cli {

// Returns true if this process was started with the signal ignored, as a shell does for background jobs.
[[nodiscard]] bool IsIgnored(int signal);

// Undoes, in a child process before it runs another program, what StartProcess changed.
void RestoreFileSizeSignal();

}  // namespace tvl::cli

#endif

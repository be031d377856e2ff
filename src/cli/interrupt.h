#ifndef TVL_CLI_INTERRUPT_H
#define TVL_CLI_INTERRUPT_H

namespace tvl::cli {

// Returns true if this process was started with the signal ignored, as a shell does for background jobs.
[[nodiscard]] bool IsIgnored(int signal);

// Ignores SIGXFSZ, which would end the process when a file exceeds its size limit, so that the write fails
// and is reported. RestoreFileSizeSignal undoes this in a child process before it runs another program.
void IgnoreFileSizeSignal();
void RestoreFileSizeSignal();

// From now on the first SIGINT or SIGTERM makes the library stop after the current entry, with a notice on
// standard error unless `quiet`. The second one ends the process. An ignored signal stays ignored.
void CatchInterrupts(bool quiet);

[[nodiscard]] bool Interrupted();

}  // namespace tvl::cli

#endif

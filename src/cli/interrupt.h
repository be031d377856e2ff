#ifndef TVL_CLI_INTERRUPT_H
#define TVL_CLI_INTERRUPT_H

namespace tvl::cli {

// True if the process that started this one has the signal ignored, as a shell does for its background jobs.
[[nodiscard]] bool IsIgnored(int signal);

// Ignores the signal of a file that exceeds the limit of this process, which would end it: the write fails
// then, and is reported. RestoreFileSizeSignal undoes that in a new process, before it becomes another
// program.
void IgnoreFileSizeSignal();
void RestoreFileSizeSignal();

// From here on the first SIGINT or SIGTERM is only noted, with a notice on standard error unless `quiet`, and
// ends what this thread has the library do between two entries; the next one ends the process. A signal
// that is ignored stays ignored.
void CatchInterrupts(bool quiet);

[[nodiscard]] bool Interrupted();

}  // namespace tvl::cli

#endif

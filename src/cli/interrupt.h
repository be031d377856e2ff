#ifndef TVL_CLI_INTERRUPT_H
#define TVL_CLI_INTERRUPT_H

namespace tvl::cli {

// From here on the first SIGINT or SIGTERM is only noted, and told on standard error unless `quiet`; the next
// one ends the process.
void CatchInterrupts(bool quiet);

[[nodiscard]] bool Interrupted();

}  // namespace tvl::cli

#endif

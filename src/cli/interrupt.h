#ifndef TVL_CLI_INTERRUPT_H
#define TVL_CLI_INTERRUPT_H

namespace tvl::cli {

// From now on the first interrupt (OnInterrupt) makes the library stop after the current entry, with a notice
// on standard error unless `quiet`. The second one ends the process.
void CatchInterrupts(bool quiet);

[[nodiscard]] bool Interrupted();

}  // namespace tvl::cli

#endif

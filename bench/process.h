#ifndef TVL_BENCH_PROCESS_H
#define TVL_BENCH_PROCESS_H

#include <string>
#include <vector>

namespace bench {

using Command = std::vector<std::string>;

struct Usage {
  double seconds = 0;  // wall-clock time from start to end
  double cpu = 0;      // processor time in seconds, in the program and in the kernel
  double peak_mib = 0;
};

// Runs a command, discards its output and waits for it. Throws if it cannot be started or fails.
//
// The kernel includes the memory of the process before the exec in a program's peak, so this program must
// stay small itself.
Usage Run(const Command& command);

}  // namespace bench

#endif

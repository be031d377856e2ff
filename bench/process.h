#ifndef TVL_BENCH_PROCESS_H
#define TVL_BENCH_PROCESS_H

#include <string>
#include <vector>

namespace bench {

using Command = std::vector<std::string>;

struct Usage {
  double seconds = 0;  // from start to end, as a clock on the wall tells it
  double cpu = 0;      // seconds of all processors, in the program and in the kernel
  double peak_mib = 0;
};

// Runs a command with its output thrown away and waits for it. Throws if it can't be started or fails.
//
// The kernel counts into a program's peak what its process held before the exec, so this program must stay
// small itself.
Usage Run(const Command& command);

}  // namespace bench

#endif

#ifndef TVL_BENCH_SERVER_LOAD_H
#define TVL_BENCH_SERVER_LOAD_H

#include <sys/types.h>

#include <vector>

#include "table.h"

namespace bench {

// 200 clients at once, each with gets of `busy`, a file of 4 KiB, and locks: how much longer the slowest
// waits than the median.
std::vector<Row> BusyRows(unsigned short port);

// What clients that do nothing cost a server: memory, and processor time, which is printed. As many clients
// as the server and the limits of open files admit, 9,999 at most.
std::vector<Row> IdleRows(unsigned short port, pid_t server);

// A server to measure.
struct Measured {
  unsigned short port;
  pid_t server;
};

// What --status costs: gets of `busy` from a server without it, and from one with it and an open page. Prints
// the gets per second of both.
std::vector<Row> StatusRows(const Measured& without, const Measured& with, unsigned short status);

// Raises this process's limit of open files, which its children inherit, as far as it may.
void RaiseFileLimit();

}  // namespace bench

#endif

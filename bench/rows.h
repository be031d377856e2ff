#ifndef TVL_BENCH_ROWS_H
#define TVL_BENCH_ROWS_H

#include <string>
#include <vector>

#include "scratch.h"
#include "table.h"

namespace bench {

struct Setting {
  Scratch& scratch;
  std::string tvl;   // the program measured
  std::string self;  // this program, which runs parts of itself as children
  int runs;

  // Return the command of a get from the source folder, or of a put from it, followed by `words`. `safety` is
  // the store's SafeOnTransfert.
  [[nodiscard]] Command Get(const char* policy, bool packed, const Command& words) const;
  [[nodiscard]] Command Put(const char* policy, const Command& words, int safety = 0) const;
};

std::vector<Row> HashRows(const Setting& setting);
std::vector<Row> BigFileRows(const Setting& setting);
std::vector<Row> TreeRows(const Setting& setting);
std::vector<Row> PackedRows(const Setting& setting);

// Compresses a file in memory, like the first part of a get from a store with `ZipOnTransfert`. Returns the
// exit code.
int PackOnly(const char* path);

}  // namespace bench

#endif

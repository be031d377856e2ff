#ifndef TVL_BENCH_TABLE_H
#define TVL_BENCH_TABLE_H

#include <functional>
#include <string>
#include <vector>

#include "process.h"

namespace bench {

// Someone who does a piece of work.
struct Contender {
  std::string name;
  Command command;
};

// Runs the contenders in turn, `runs` times each behind one turn that doesn't count, `prepare` before each.
// The median of each one's usage.
std::vector<Usage> Alternate(const std::vector<Contender>& contenders, int runs,
                             const std::function<void()>& prepare);

constexpr double kNoAim = 0;

// Something measured on both sides.
struct Row {
  std::string work;
  double ours;
  std::string beside;
  double theirs;
  const char* unit;
  double aim;            // what the judged number may be at most
  bool of_ratio = true;  // judged is ours : theirs, else ours
};

// Prints rows with what came of them.
void Print(const std::string& title, const std::vector<Row>& rows);

}  // namespace bench

#endif

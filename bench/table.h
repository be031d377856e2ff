#ifndef TVL_BENCH_TABLE_H
#define TVL_BENCH_TABLE_H

#include <functional>
#include <string>
#include <vector>

#include "process.h"

namespace bench {

// A program that does a task.
struct Contender {
  std::string name;
  Command command;
};

// Runs the contenders alternately, `runs` times each after a warm-up run, with `prepare` before each run.
// Returns the median usage of each.
std::vector<Usage> Alternate(const std::vector<Contender>& contenders, int runs,
                             const std::function<void()>& prepare);

constexpr double kNoAim = 0;

// A measurement of both sides.
struct Row {
  std::string work;
  double ours;
  std::string versus;
  double theirs;
  const char* unit;
  double aim;            // maximum of the judged number
  bool of_ratio = true;  // judges the ratio ours : theirs, else ours
};

// Prints rows with their results.
void Print(const std::string& title, const std::vector<Row>& rows);

}  // namespace bench

#endif

#include "table.h"

#include <algorithm>
#include <cstdio>

namespace bench {
namespace {

double Median(std::vector<Usage> usages, double Usage::*field) {
  const auto middle = usages.begin() + static_cast<std::ptrdiff_t>(usages.size() / 2);
  std::nth_element(usages.begin(), middle, usages.end(),
                   [field](const Usage& a, const Usage& b) { return a.*field < b.*field; });
  return *middle.*field;
}

std::string AimText(const Row& row) {
  if (row.aim == kNoAim) return "-";
  char text[32];
  std::snprintf(text, sizeof text, row.of_ratio ? "<= %.2fx" : "<= %.0f", row.aim);
  return text;
}

const char* Verdict(const Row& row) {
  if (row.aim == kNoAim) return "";
  const double judged = row.of_ratio ? row.ours / row.theirs : row.ours;
  return judged <= row.aim ? "met" : "SHORT";
}

}  // namespace

std::vector<Usage> Alternate(const std::vector<Contender>& contenders, int runs,
                             const std::function<void()>& prepare) {
  std::vector<std::vector<Usage>> usages(contenders.size());
  for (int run = -1; run < runs; ++run) {
    for (std::size_t i = 0; i < contenders.size(); ++i) {
      prepare();
      const Usage usage = Run(contenders[i].command);
      if (run >= 0) usages[i].push_back(usage);
    }
  }
  std::vector<Usage> medians;
  medians.reserve(contenders.size());
  for (const std::vector<Usage>& each : usages) {
    medians.push_back(
        {Median(each, &Usage::seconds), Median(each, &Usage::cpu), Median(each, &Usage::peak_mib)});
  }
  return medians;
}

void Print(const std::string& title, const std::vector<Row>& rows) {
  std::printf("\n%s\n\n", title.c_str());
  std::printf("| %-46s | %11s | %-24s | %11s | %7s | %9s | %-5s |\n", "Work", "tvl", "Compared with", "",
              "Ratio", "Aim", "");
  std::printf("|%s|%s|%s|%s|%s|%s|%s|\n", std::string(48, '-').c_str(), std::string(13, '-').c_str(),
              std::string(26, '-').c_str(), std::string(13, '-').c_str(), std::string(9, '-').c_str(),
              std::string(11, '-').c_str(), std::string(7, '-').c_str());
  for (const Row& row : rows) {
    const double ratio = row.ours / row.theirs;
    std::printf("| %-46s | %7.3f %-3s | %-24s | %7.3f %-3s | %6.2fx | %9s | %-5s |\n", row.work.c_str(),
                row.ours, row.unit, row.versus.c_str(), row.theirs, row.unit, ratio, AimText(row).c_str(),
                Verdict(row));
  }
  std::fflush(stdout);
}

}  // namespace bench

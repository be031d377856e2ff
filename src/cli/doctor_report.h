#ifndef TVL_CLI_DOCTOR_REPORT_H
#define TVL_CLI_DOCTOR_REPORT_H

#include <string>
#include <vector>

#include <tvlclient/store.h>

#include "cli/options.h"
#include "cli/output/reporter.h"

namespace tvl::cli {

// Collects the findings of a run and prints them at its end.
class Report {
 public:
  void Add(const TVLFinding& finding);

  // Prints the findings, in JSON as members of `document`. Returns kFailed if a needed check found a problem,
  // which is reported as `problem` of `subject`.
  ExitStatus Print(Reporter& reporter, const Options& options, JsonObject document,
                   const std::string& subject, const std::string& problem) const;

 private:
  void PrintRows(Reporter& reporter) const;

  std::vector<std::vector<std::string>> rows_;
  std::vector<std::string> remedies_;
  std::vector<JsonObject> documents_;
  ExitStatus status_ = kDone;
};

}  // namespace tvl::cli

#endif

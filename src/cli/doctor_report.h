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
  // `if_bad` is the exit status that a needed check with a bad verdict leads to: kFailed or kUnreachable,
  // which outweighs it.
  void Add(const TVLFinding& finding, ExitStatus if_bad = kFailed);

  // Prints the findings, in JSON as members of `document`. Returns the exit status of the bad verdicts of
  // needed checks, which is reported as `problem` of `subject`.
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

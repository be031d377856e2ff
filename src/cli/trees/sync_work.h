#ifndef TVL_CLI_TREES_SYNC_WORK_H
#define TVL_CLI_TREES_SYNC_WORK_H

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cli/options.h"
#include "cli/output/progress.h"
#include "cli/output/reporter.h"
#include "cli/store.h"
#include "cli/trees/sync_plan.h"

namespace tvl::cli {

// Shows a plan, carries it out, and reports the result of each name and of the whole.
class SyncWork {
 public:
  SyncWork(Store& store, Reporter& reporter, const Options& options, const SyncPlan& plan);

  void ReportPlan(bool removing);
  void ReportDryRun();
  void Run();
  // Compares the hashes of both sides of each file that is now the same, and reports differences as failures.
  void Check();
  // Reports the totals and returns the exit status.
  [[nodiscard]] ExitStatus Finish();

 private:
  static void OnCopied(char* source, unsigned int size, void* work);
  void BeginCopy();
  void EndCopy();
  void ReportProgress();
  void CheckEntry(const SyncEntry& entry);
  void ReportSkipped();
  void ReportResults();
  void ReportResult(const SyncEntry& entry, int code);
  [[nodiscard]] Failure WhyFailed(const SyncEntry& entry, int code) const;
  void Report(const SyncEntry& entry, const char* result, const char* words, bool worth_a_line);
  void ReportFailed(const SyncEntry& entry, const Failure& failure);
  [[nodiscard]] ExitStatus Status() const;
  [[nodiscard]] JsonObject Summary(ExitStatus status) const;

  Store& store_;
  Reporter& reporter_;
  const Options& options_;
  const SyncPlan& plan_;
  const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
  std::chrono::steady_clock::time_point last_progress_ = start_;
  std::vector<const SyncEntry*> copies_;
  std::size_t reached_ = 0;   // number of copies_ that the library has processed
  std::size_t reported_ = 0;  // number of entries of the plan whose results were reported
  std::unique_ptr<Progress> bar_;
  std::uint64_t bytes_reached_ = 0;
  std::uint64_t copied_ = 0;
  std::uint64_t bytes_copied_ = 0;
  std::uint64_t folders_ = 0;
  std::uint64_t deleted_ = 0;
  std::optional<std::uint64_t> checked_;  // number of files that Check found equal
};

}  // namespace tvl::cli

#endif

#ifndef TVL_CLI_TRANSFER_TRANSFER_LOG_H
#define TVL_CLI_TRANSFER_TRANSFER_LOG_H

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "cli/names.h"
#include "cli/options.h"
#include "cli/output/reporter.h"

namespace tvl::cli {

// The result for one file or folder.
enum class Outcome {
  kTransferred,
  kSame,
  kWouldTransfer,
  kCopied,
  kWouldCopy,
  kFolderMade,
  kWouldMakeFolder,
  kNothingToDo
};

// Reports what a get, put or copy does file by file, and adds up the totals.
class TransferLog {
 public:
  // How many results there may be: one, reported as one document; several; or a tree, reported by its totals.
  enum class Shape { kSingle, kSeveral, kTree };

  TransferLog(Reporter& reporter, const Options& options, Direction direction, Shape shape);

  void Report(const NamePair& names, Outcome outcome, std::optional<std::uint64_t> size);
  void ReportFailed(const NamePair& names, const Failure& failure);
  void ReportSkipped(const NamePair& names, const std::string& why);
  void Notice(const std::string& subject, const std::string& text);

  // Reports the totals if there may be several results, and returns the exit status of the command.
  ExitStatus Finish(bool interrupted);

 private:
  void ReportLine(const NamePair& names, Outcome outcome);
  [[nodiscard]] JsonObject Document(const NamePair& names, const std::string& result) const;
  [[nodiscard]] ExitStatus Status(bool interrupted) const;
  [[nodiscard]] std::string Sum() const;
  [[nodiscard]] JsonObject SumDocument(ExitStatus status) const;

  Reporter& reporter_;
  const Options& options_;
  const Direction direction_;
  const Shape shape_;
  const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
  std::uint64_t transferred_ = 0;
  std::uint64_t same_ = 0;
  std::uint64_t folders_ = 0;
  std::uint64_t skipped_ = 0;
  std::uint64_t bytes_ = 0;
};

}  // namespace tvl::cli

#endif

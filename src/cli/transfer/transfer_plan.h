#ifndef TVL_CLI_TRANSFER_TRANSFER_PLAN_H
#define TVL_CLI_TRANSFER_TRANSFER_PLAN_H

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "cli/folder_trail.h"
#include "cli/names.h"
#include "cli/output/scan_notice.h"
#include "cli/own_files.h"
#include "cli/store.h"
#include "cli/transfer/transfer_log.h"
#include "cli/write_root.h"

namespace tvl::cli {

// One file to transfer, or one empty folder to create.
struct TransferJob {
  NamePair names;
  bool folder;
  std::optional<std::uint64_t> size;  // of a file; unknown on a server
  bool is_new;                        // missing on the target side when that was listed
};

// Finds the files to transfer. Reports files that cannot be transferred to the log at once.
class TransferPlan {
 public:
  // With `follow`, links on the target side may lead out of the store.
  TransferPlan(Store& store, TransferLog& log, Direction direction, bool recursive, bool follow);

  // Shows a notice on the terminal if it takes long.
  void AddAll(const std::vector<NamePair>& names, Reporter& reporter);

  [[nodiscard]] const std::vector<TransferJob>& Jobs() const { return jobs_; }
  [[nodiscard]] std::chrono::steady_clock::time_point Begin() const { return begin_; }
  [[nodiscard]] std::uint64_t TotalBytes() const;

 private:
  [[nodiscard]] std::string SourcePath(const NamePair& names) const;
  [[nodiscard]] std::string TargetPath(const NamePair& names) const;

  void Add(const NamePair& names);
  void AddTree(const NamePair& names);
  void WalkFolder(const NamePair& names);
  void WalkEntry(const NamePair& names, bool is_new);
  void AddFile(const NamePair& names, const FileStatus& status, bool is_new);
  void AddTop(const NamePair& names, const FileStatus& status);
  void ReportMissing(const NamePair& names, int error);
  [[nodiscard]] const char* WhyTargetRefused(const std::string& target);
  [[nodiscard]] const char* WhyEntryRefused(const std::string& target, bool is_new);
  [[nodiscard]] bool IsLeftOut(const NamePair& names, const FileStatus& status, const std::string& path,
                               bool is_new);
  [[nodiscard]] bool List(const NamePair& names, std::vector<std::string>& entries);
  [[nodiscard]] bool ListStore(const NamePair& names, std::vector<std::string>& entries);
  [[nodiscard]] bool ListHost(const NamePair& names, std::vector<std::string>& entries);

  const std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
  Store& store_;
  TransferLog& log_;
  const Direction direction_;
  const bool recursive_;
  std::vector<TransferJob> jobs_;
  ScanNotice* notice_ = nullptr;  // while names are added
  const OwnFiles own_files_;
  WriteRoot write_root_;
  Identities trail_;    // the current folder of the walk and its parents
  Identities targets_;  // the folder that the current tree is copied to
};

}  // namespace tvl::cli

#endif

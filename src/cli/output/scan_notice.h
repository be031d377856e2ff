#ifndef TVL_CLI_OUTPUT_SCAN_NOTICE_H
#define TVL_CLI_OUTPUT_SCAN_NOTICE_H

#include <atomic>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "cli/output/bar.h"
#include "cli/output/reporter.h"

namespace tvl::cli {

// Shows on the terminal that names are being collected, as long as the object exists.
class ScanNotice {
 public:
  ScanNotice(Reporter& reporter, const std::string& what);

  // Counts a name.
  void Count() { ++names_; }

 private:
  [[nodiscard]] std::string Text() const;

  const std::string what_;
  const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
  std::atomic<std::uint64_t> names_ = 0;
  std::optional<Bar> bar_;  // last: its thread uses all of the above
};

}  // namespace tvl::cli

#endif

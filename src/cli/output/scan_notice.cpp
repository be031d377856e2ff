#include "cli/output/scan_notice.h"

#include "cli/output/text.h"

namespace tvl::cli {

ScanNotice::ScanNotice(Reporter& reporter, const std::string& what) : what_(Printable(what)) {
  if (reporter.ShowsBar()) bar_.emplace(reporter.Terminal(), [this](std::size_t) { return Text(); });
}

std::string ScanNotice::Text() const {
  const auto time =
      std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - start_);
  std::string text = "scanning  " + HumanSeconds(static_cast<std::uint64_t>(time.count()));
  if (names_ > 0) text += "  " + Counted(names_, "name");
  return text + "  " + what_;
}

}  // namespace tvl::cli

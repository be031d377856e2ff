#include "cli/doctor/report.h"

#include "cli/columns.h"
#include "cli/console.h"
#include "cli/text.h"

namespace tvl::cli {
namespace {

constexpr const char* kWords[] = {"ok", "warning", "bad"};

}  // namespace

void Report::Add(const std::string& name, bool needed, const Finding& finding) {
  const char* word = kWords[static_cast<int>(finding.verdict)];
  rows_.push_back({name, word, Printable(finding.detail)});
  if (!finding.remedy.empty()) remedies_.push_back(name + ": " + finding.remedy);
  JsonObject document;
  document.Text("check", name).Flag("ok", finding.verdict != Verdict::kBad).Flag("needed", needed);
  document.Text("verdict", word).Text("detail", finding.detail);
  if (!finding.remedy.empty()) document.Text("remedy", finding.remedy);
  documents_.push_back(document);
  if (needed && finding.verdict == Verdict::kBad) status_ = kFailed;
}

ExitStatus Report::Print(const Options& options, const std::string& folder) const {
  Console console;
  if (options.json) {
    JsonObject document;
    document.Text("command", "doctor").Text("folder", folder).Array("checks", documents_);
    console.Out(document.Number("exit", status_).Line());
    return status_;
  }
  if (!options.quiet) {
    for (const std::string& line : InColumns(rows_)) console.Out(line);
    if (!remedies_.empty()) console.Out("What to do:");
    for (const std::string& remedy : remedies_) console.Out("  " + Printable(remedy));
  }
  if (status_ != kDone)
    console.Err("tvl: doctor: " + Printable(folder) + ": presence and locks cannot be trusted here");
  return status_;
}

}  // namespace tvl::cli

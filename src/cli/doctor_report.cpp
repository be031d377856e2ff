#include "cli/doctor_report.h"

#include "cli/output/colour.h"
#include "cli/output/columns.h"
#include "cli/output/text.h"

namespace tvl::cli {
namespace {

constexpr const char* kWords[] = {"ok", "warning", "bad"};

Colour ColourOf(const std::string& word) {
  return word == kWords[TVL_VERDICT_OK]    ? Colour::kGood
         : word == kWords[TVL_VERDICT_BAD] ? Colour::kBad
                                           : Colour::kWarning;
}

}  // namespace

void Report::Add(const TVLFinding& finding, ExitStatus if_bad) {
  const char* word = kWords[finding.verdict];
  const std::string name = finding.check;
  const std::string remedy = finding.remedy;
  rows_.push_back({name, word, Printable(finding.detail)});
  if (!remedy.empty()) remedies_.push_back(name + ": " + remedy);
  const bool is_bad = finding.verdict == TVL_VERDICT_BAD;
  JsonObject document;
  document.Text("check", name).Flag("ok", !is_bad).Flag("needed", finding.needed != 0);
  document.Text("verdict", word).Text("detail", finding.detail);
  if (!remedy.empty()) document.Text("remedy", remedy);
  documents_.push_back(document);
  if (finding.needed != 0 && is_bad && status_ != kUnreachable) status_ = if_bad;
}

void Report::PrintRows(Reporter& reporter) const {
  const std::vector<std::string> lines = InColumns(rows_);
  for (std::size_t row = 0; row < lines.size(); ++row) {
    const std::string& word = rows_[row][1];
    const std::size_t at = lines[row].find(word, rows_[row][0].size());
    std::string line = lines[row];
    reporter.PrintLine(line.replace(at, word.size(), Coloured(word, ColourOf(word), Stream::kOutput)));
  }
}

ExitStatus Report::Print(Reporter& reporter, const Options& options, JsonObject document,
                         const std::string& subject, const std::string& problem) const {
  if (reporter.PrintsJson()) {
    document.Array("checks", documents_);
    reporter.Print(document.Number("exit", static_cast<int>(status_)));
  } else if (!options.quiet) {
    PrintRows(reporter);
    if (!remedies_.empty()) reporter.PrintLine("What to do:");
    for (const std::string& remedy : remedies_) reporter.PrintLine("  " + Printable(remedy));
  }
  if (status_ != kDone) reporter.Fail(subject, {status_, 0, problem});
  return status_;
}

}  // namespace tvl::cli

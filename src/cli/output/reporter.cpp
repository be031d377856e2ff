#include "cli/output/reporter.h"

#include <utility>

#include "cli/output/colour.h"
#include "cli/output/columns.h"
#include "cli/output/terminal.h"
#include "cli/output/text.h"

namespace tvl::cli {

Reporter::Reporter(const Options& options, std::string command)
    : options_(options), command_(std::move(command)) {}

JsonObject Reporter::Document() const {
  return JsonObject().Text("command", command_);
}

void Reporter::Print(const JsonObject& document) {
  console_.Out(document.Line());
}

void Reporter::PrintLine(const std::string& line) {
  console_.Out(line);
}

void Reporter::PrintColumns(const std::vector<std::vector<std::string>>& rows) {
  for (const std::string& line : InColumns(rows)) console_.Out(line);
}

void Reporter::PrintDone(const std::string& line) {
  if (!options_.quiet) console_.Out(Printable(line));
}

bool Reporter::ShowsBar() const {
  return IsTerminal(Stream::kErrors) && !options_.quiet && !options_.json;
}

std::string Reporter::Heading(const std::string& subject) const {
  std::string heading = "tvl: " + command_;
  if (!subject.empty()) heading += (command_.empty() ? "" : " ") + subject;
  return heading + (command_.empty() && subject.empty() ? "" : ": ");
}

void Reporter::Notice(const std::string& subject, const std::string& text) {
  if (!options_.quiet) console_.Err(Printable(Heading(subject) + text));
}

void Reporter::Fail(const std::string& subject, const Failure& failure) {
  ++failures_;
  const bool first = exit_ == kDone || exit_ == failure.exit || failure.exit == kInterrupted;
  exit_ = first ? failure.exit : kFailed;
  if (PrintsJson()) {
    JsonObject document;
    document.Text("type", "failure").Text("command", command_).Text("subject", subject);
    failure.Describe(document);
    Print(document);
  }
  std::string text = Heading(subject) + failure.Message();
  if (options_.verbose && failure.code != 0) text += " [" + LibraryText(failure.code) + "]";
  console_.Err(Coloured(Printable(text), Colour::kBad, Stream::kErrors));
  PrintHint(failure.hint);
}

void Reporter::PrintHint(const std::string& hint) {
  if (hint.empty() || options_.quiet || !hints_.insert(hint).second) return;
  console_.Err(Printable("tvl: hint: " + hint));
}

}  // namespace tvl::cli

#ifndef TVL_CLI_OUTPUT_REPORTER_H
#define TVL_CLI_OUTPUT_REPORTER_H

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "cli/options.h"
#include "cli/output/console.h"
#include "cli/output/failure.h"
#include "cli/output/json.h"

namespace tvl::cli {

// Prints the results, notices and failures of a command: as text, or with --json as JSON documents, one per
// line. Every failure is printed on standard error too.
class Reporter {
 public:
  // `command` is the full name, such as "config show"; empty if none was given.
  Reporter(const Options& options, std::string command);

  [[nodiscard]] bool PrintsJson() const { return options_.json && !output_left_; }

  // Returns a document that begins with the name of the command.
  [[nodiscard]] JsonObject Document() const;

  // Print a requested result on standard output, even with --quiet.
  void Print(const JsonObject& document);
  void PrintLine(const std::string& line);
  void PrintColumns(const std::vector<std::vector<std::string>>& rows);

  // Prints what was done, unless --quiet. Replaces control characters.
  void PrintDone(const std::string& line);

  // Prints "tvl: COMMAND SUBJECT: text" on standard error, unless --quiet. `subject` may be empty.
  void Notice(const std::string& subject, const std::string& text);

  // Reports a failure as "tvl: COMMAND SUBJECT: reason", with its hint on a second line. The same hint is
  // printed once.
  void Fail(const std::string& subject, const Failure& failure);

  [[nodiscard]] std::uint64_t Failures() const { return failures_; }

  // Returns the exit status that follows from the failures: their common one, else kFailed. An interruption
  // outweighs the others.
  [[nodiscard]] ExitStatus Exit() const { return exit_; }

  // From now on standard output belongs to another program, so no documents are printed.
  void LeaveOutput() { output_left_ = true; }

  [[nodiscard]] Console& Terminal() { return console_; }

  // Returns true if a progress line is visible and wanted.
  [[nodiscard]] bool ShowsBar() const;

 private:
  [[nodiscard]] std::string Heading(const std::string& subject) const;
  void PrintHint(const std::string& hint);

  const Options& options_;
  const std::string command_;
  Console console_;
  std::set<std::string> hints_;  // already printed
  std::uint64_t failures_ = 0;
  ExitStatus exit_ = kDone;
  bool output_left_ = false;
};

}  // namespace tvl::cli

#endif

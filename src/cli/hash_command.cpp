#include <CLI/CLI.hpp>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <tvlclient/tvl.h>

#include "cli/command_line.h"
#include "cli/hash_input.h"
#include "cli/output/reporter.h"

namespace tvl::cli {
namespace {

// Returns 40 hexadecimal digits; empty if the file cannot be read.
std::string HashOf(const HashInput& file) {
  std::string path = file.UsablePath();
  const std::string signature = GetFileSignature(path.data());
  const std::size_t bar = signature.find('|');
  return bar == std::string::npos ? std::string() : signature.substr(bar + 1);
}

// Formats a line like sha1sum, which marks an escaped name with a backslash at the start of the line.
std::string HashLine(const std::string& hash, const std::string& name) {
  std::string escaped;
  for (const char character : name) {
    if (character == '\\') {
      escaped += "\\\\";
    } else if (character == '\n') {
      escaped += "\\n";
    } else if (character == '\r') {
      escaped += "\\r";
    } else {
      escaped += character;
    }
  }
  return (escaped == name ? "" : "\\") + hash + "  " + escaped;
}

ExitStatus RunHash(Reporter& reporter, const std::vector<std::string>& names) {
  for (const std::string& name : names) {
    const HashInput file(name);
    ForgetFileErrors();
    const std::string hash = file.Problem() == 0 ? HashOf(file) : std::string();
    if (hash.empty()) {
      const int problem = file.Problem() != 0 ? file.Problem() : TVLLastFileError(nullptr, 0);
      reporter.Fail(name, SystemFailure("cannot be read", problem, {}));
    } else if (reporter.PrintsJson()) {
      reporter.Print(reporter.Document().Text("file", name).Text("sha1", hash).Number("size", file.Size()));
    } else {
      reporter.PrintLine(HashLine(hash, name));
    }
  }
  return reporter.Exit();
}

}  // namespace

void AddHashCommand(CLI::App& app, Invocation& invocation) {
  auto names = std::make_shared<std::vector<std::string>>();
  CLI::App& command = AddCommand(
      app, "hash", "Print the SHA-1 of local files, like sha1sum", "hash", invocation,
      [names](const Options& /*unused*/, Reporter& reporter) { return RunHash(reporter, *names); });
  AddNames(command, *names, "Local files", "FILE");
  command.footer(
      "Examples:\n  tvl hash report.pdf\n  tvl hash docs/*.doc | sha1sum -c\n  tvl --json hash report.pdf");
}

}  // namespace tvl::cli

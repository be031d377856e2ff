#include <unistd.h>

#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdio>
#include <exception>
#include <optional>
#include <string>

#include "cli/failure.h"
#include "cli/interrupt.h"
#include "cli/json.h"
#include "cli/options.h"
#include "cli/stall_watch.h"
#include "cli/text.h"

namespace tvl::cli {
namespace {

constexpr char kAbout[] = "Client of the Tavolis File System: files of a shared store, fetched and stored.";
constexpr char kFooter[] = R"(Examples:
  tvl init /srv/store
  tvl --config /srv/store/tvl.ini put report.pdf
  tvl --config /srv/store/tvl.ini get -r docs

Exit status: 0 done, 1 failed, 2 wrong usage, 3 something was skipped,
4 held by another, 5 store or server unreachable, or a lock lost, 6 not found,
7 not allowed, 130 interrupted.

'tvl COMMAND --help' describes a command.)";

void DescribeProgram(CLI::App& app, Invocation& invocation) {
  app.name("tvl");
  app.footer(kFooter);
  app.get_formatter()->label("SUBCOMMAND", "COMMAND ...");
  app.require_subcommand(0, 1);
  app.fallthrough();
  app.set_version_flag("--version", "tvl " TVL_VERSION);
  AddOptions(app, invocation.options);
  AddStoreCommands(app, invocation);
  AddShowCommands(app, invocation);
  AddTransferCommands(app, invocation);
  AddListCommand(app, invocation);
  AddTreeCommands(app, invocation);
  AddSyncCommands(app, invocation);
  AddHashCommand(app, invocation);
  AddLockCommands(app, invocation);
  AddLockListings(app, invocation);
  AddTableCommands(app, invocation);
  AddValueCommands(app, invocation);
  AddServiceCommands(app, invocation);
  AddPingCommand(app, invocation);
  AddDoctorCommand(app, invocation);
}

// What ends a command at once is written to standard error, and with --json also into the command's document.
ExitStatus ReportStop(const Invocation& invocation, const std::string& subject, const Failure& failure) {
  std::string text = "tvl: " + invocation.command + ": ";
  if (!subject.empty()) text += Printable(subject) + ": ";
  text += Printable(failure.Message()) + "\n";
  std::fputs(text.c_str(), stderr);
  if (!invocation.options.json) return failure.exit;
  JsonObject document;
  document.Text("command", invocation.command);
  if (!subject.empty()) document.Text("subject", subject);
  AddFailure(failure, document);
  document.Number("exit", failure.exit);
  std::fputs((document.Line() + "\n").c_str(), stdout);
  return failure.exit;
}

// A call in which the library waits for a dead mount does not return, so the process ends under it.
[[noreturn]] void EndWait(const Invocation& invocation, const std::string& what) {
  const std::string limit = std::to_string(invocation.options.timeout.value_or(0));
  const int exit =
      ReportStop(invocation, {}, {kUnreachable, 0, "no answer within " + limit + " s from " + what, 0, {}});
  std::fflush(stdout);
  _exit(exit);
}

ExitStatus RunCommand(const Invocation& invocation) try {
  const Options& options = invocation.options;
  std::optional<std::chrono::seconds> limit;
  if (options.timeout) limit = std::chrono::seconds(*options.timeout);
  // The library ends what it waits for on a socket; this one must not be earlier.
  if (limit && !options.tcp.empty()) *limit += std::chrono::seconds(1);
  const StallWatch watch(options.quiet, limit,
                         [&invocation](const std::string& what) { EndWait(invocation, what); });
  return invocation.run();
} catch (const Stop& stop) {
  return ReportStop(invocation, stop.Subject(), stop.Reason());
} catch (const std::exception& problem) {
  return ReportStop(invocation, {}, {kFailed, 0, problem.what(), 0, {}});
}

// A result that didn't reach its reader is no result.
ExitStatus FlushOutput(ExitStatus status) {
  if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return status;
  std::perror("tvl: standard output");
  return status == kDone ? kFailed : status;
}

int Main(int count, char** arguments) try {
  Invocation invocation;
  CLI::App app(kAbout);
  DescribeProgram(app, invocation);
  app.failure_message([](const CLI::App*, const CLI::Error& problem) {
    return std::string("tvl: ") + problem.what() + "\nTry 'tvl --help'.\n";
  });
  try {
    app.parse(MarkedArguments(count, arguments));
  } catch (const CLI::ParseError& problem) {
    return FlushOutput(app.exit(problem) == 0 ? kDone : kUsage);
  }
  // A program that reads JSON gets each line as it comes, however long the work takes.
  if (invocation.options.json) std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
  if (!invocation.run) {
    std::fputs(app.help().c_str(), stderr);
    return kUsage;
  }
  return FlushOutput(RunCommand(invocation));
} catch (const std::exception& problem) {
  std::fprintf(stderr, "tvl: %s\n", problem.what());
  return kFailed;
}

}  // namespace
}  // namespace tvl::cli

int main(int count, char** arguments) {
  tvl::cli::IgnoreFileSizeSignal();
  return tvl::cli::Main(count, arguments);
}

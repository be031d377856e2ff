#include <unistd.h>

#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdio>
#include <exception>
#include <memory>
#include <optional>
#include <string>

#include "cli/help_formatter.h"
#include "cli/interrupt.h"
#include "cli/options.h"
#include "cli/output/failure.h"
#include "cli/output/json.h"
#include "cli/output/text.h"
#include "cli/stall_watch.h"
#include "cli/unknown_command.h"

namespace tvl::cli {
namespace {

constexpr char kAbout[] = "Fetches files from a shared store of the Tavolis File System and stores them.";
constexpr char kFooter[] = R"(Examples:
  tvl init /srv/store
  tvl --config /srv/store/tvl.ini put report.pdf
  tvl --config /srv/store/tvl.ini get -r docs

Exit status: 0 done, 1 failed, 2 wrong usage, 3 something was skipped,
4 in use by another client, 5 store or server unreachable or lock lost,
6 not found, 7 not allowed, 130 interrupted.

Run 'tvl COMMAND --help' for the options and examples of a command.)";

void DescribeProgram(CLI::App& app, Invocation& invocation) {
  app.name("tvl");
  app.footer(kFooter);
  app.formatter(std::make_shared<HelpFormatter>());
  app.require_subcommand(0, 1);
  app.fallthrough();
  app.set_help_flag("-h,--help", "Print this help and exit");
  app.set_version_flag("--version", "tvl " TVL_VERSION, "Print the version and exit");
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

// Reports why a command ended, on standard error and with --json also in the command's document.
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
  document.Number("exit", static_cast<int>(failure.exit));
  std::fputs((document.Line() + "\n").c_str(), stdout);
  return failure.exit;
}

// Ends the process, because a library call that waits for a dead mount never returns.
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
  // The library has its own limit for waiting on a socket, which must expire before this one.
  if (limit && !options.tcp.empty()) *limit += std::chrono::seconds(1);
  const StallWatch watch(options.quiet, limit,
                         [&invocation](const std::string& what) { EndWait(invocation, what); });
  return invocation.run();
} catch (const Stop& stop) {
  return ReportStop(invocation, stop.Subject(), stop.Reason());
} catch (const std::exception& problem) {
  return ReportStop(invocation, {}, {kFailed, 0, problem.what(), 0, {}});
}

// A result that could not be written counts as a failure.
ExitStatus FlushOutput(ExitStatus status) {
  if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return status;
  std::perror("tvl: standard output");
  return status == kDone ? kFailed : status;
}

int Main(int count, char** arguments) try {
  Invocation invocation;
  CLI::App app(kAbout);
  DescribeProgram(app, invocation);
  app.failure_message([](const CLI::App* program, const CLI::Error& problem) {
    return "tvl: " + UnknownCommand(*program).value_or(problem.what()) + "\nTry 'tvl --help'.\n";
  });
  try {
    app.parse(MarkedArguments(count, arguments));
  } catch (const CLI::ParseError& problem) {
    return FlushOutput(app.exit(problem) == 0 ? kDone : kUsage);
  }
  // A program that reads the JSON must get each line at once, even during long work.
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

#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <optional>
#include <string>
#include <vector>

#include "cli/command_line.h"
#include "cli/output/reporter.h"
#include "cli/process.h"
#include "cli/stall_watch.h"
#include "cli/unknown_command.h"

namespace tvl::cli {
namespace {

std::string HelpHint(const std::string& command) {
  return "try 'tvl " + command + (command.empty() ? "" : " ") + "--help'";
}

// Ends the process, because a library call that waits for a dead mount never returns.
[[noreturn]] void EndWait(const Options& options, Reporter& reporter, const std::string& what) {
  const std::string limit = std::to_string(options.timeout.value_or(0));
  reporter.Fail({}, {kUnreachable, 0, "no answer within " + limit + " s from " + what});
  std::fflush(stdout);
  std::_Exit(kUnreachable);
}

ExitStatus RunCommand(const Invocation& invocation, Reporter& reporter) try {
  const Options& options = invocation.options;
  std::optional<std::chrono::seconds> limit;
  if (options.timeout) limit = std::chrono::seconds(*options.timeout);
  // The library has its own limit for waiting on a socket, which must expire before this one.
  if (limit && !options.tcp.empty()) *limit += std::chrono::seconds(1);
  const StallWatch watch(options.quiet, limit,
                         [&](const std::string& what) { EndWait(options, reporter, what); });
  return invocation.run(options, reporter);
} catch (const Stop& stop) {
  Failure failure = stop.Reason();
  if (failure.exit == kUsage && failure.hint.empty()) failure.hint = HelpHint(invocation.command);
  reporter.Fail(stop.Subject(), failure);
  return failure.exit;
} catch (const std::exception& problem) {
  reporter.Fail({}, {kFailed, 0, problem.what()});
  return kFailed;
}

// The options may not have been stored yet when parsing ended.
ExitStatus ReportUsage(const CLI::App& app, const std::string& problem) {
  Options options;
  options.json = app.count("--json") > 0;
  options.quiet = app.count("--quiet") > 0;
  const std::string command = CommandPath(app);
  Reporter(options, command).Fail({}, {kUsage, 0, problem, 0, {}, HelpHint(command)});
  return kUsage;
}

// A result that could not be written counts as a failure.
ExitStatus FlushOutput(ExitStatus status) {
  if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return status;
  std::perror("tvl: standard output");
  return status == kDone ? kFailed : status;
}

int Main(const std::vector<std::string>& arguments) try {
  Invocation invocation;
  CLI::App app;
  DescribeProgram(app, invocation);
  try {
    app.parse(MarkedArguments(arguments));
  } catch (const CLI::Success& request) {  // for help or the version
    app.exit(request);
    return FlushOutput(kDone);
  } catch (const CLI::ParseError& problem) {
    return FlushOutput(ReportUsage(app, UnknownCommand(app).value_or(problem.what())));
  }
  // A program that reads the JSON must get each line at once, even during long work.
  if (invocation.options.json) std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
  if (!invocation.run) {
    if (invocation.options.json) return FlushOutput(ReportUsage(app, "no command was given"));
    std::fputs(app.help().c_str(), stderr);
    return kUsage;
  }
  Reporter reporter(invocation.options, invocation.command);
  return FlushOutput(RunCommand(invocation, reporter));
} catch (const std::exception& problem) {
  std::fprintf(stderr, "tvl: %s\n", problem.what());
  return kFailed;
}

}  // namespace
}  // namespace tvl::cli

int main(int count, char** arguments) {
  return tvl::cli::Main(tvl::cli::StartProcess(count, arguments));
}

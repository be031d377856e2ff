#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdio>
#include <string>

#include <tvlclient/errors.h>
#include <tvlclient/tcp_opr.h>

#include "cli/command_line.h"
#include "cli/output/reporter.h"
#include "cli/output/text.h"
#include "cli/store.h"

namespace tvl::cli {
namespace {

using Clock = std::chrono::steady_clock;

// A stopped server must not hold up what monitors it, so this command never waits without a limit.
constexpr int kPatience = 10;  // seconds

std::chrono::microseconds Since(Clock::time_point begin) {
  return std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - begin);
}

std::string Milliseconds(std::chrono::microseconds time) {
  char text[32];
  std::snprintf(text, sizeof text, "%.3f ms", std::chrono::duration<double, std::milli>(time).count());
  return text;
}

ExitStatus RunPing(const Options& options, Reporter& reporter) {
  if (options.tcp.empty()) throw Stop("ping needs a server: --tcp HOST:PORT");
  const auto begin = Clock::now();
  Store store(options, {}, UseOf(options));
  const std::chrono::microseconds connecting = Since(begin);
  const auto sent = Clock::now();
  if (const int code = store.Server()->Ping()) throw Stop(options.tcp, LibraryFailure(code));
  const std::chrono::microseconds round_trip = Since(sent);
  const std::string version = store.Server()->ServerVersion();
  if (reporter.PrintsJson()) {
    JsonObject document = reporter.Document().Text("server", options.tcp);
    if (!version.empty()) document.Text("version", version);
    document.Number("connect_us", connecting.count()).Number("round_trip_us", round_trip.count());
    reporter.Print(document);
  } else {
    reporter.PrintLine(Printable(options.tcp) + ": version " +
                       (version.empty() ? "unknown" : Printable(version)) + ", connected in " +
                       Milliseconds(connecting) + ", round trip " + Milliseconds(round_trip));
  }
  return kDone;
}

}  // namespace

void AddPingCommand(CLI::App& app, Invocation& invocation) {
  CLI::App& ping = *app.add_subcommand("ping", "Test whether a server is alive");
  ping.callback([&invocation] {
    if (!invocation.options.timeout) invocation.options.timeout = kPatience;
    invocation.command = "ping";
    invocation.run = RunPing;
  });
  ping.footer(
      R"(Connects like any other client and prints the server's version and the time
of one round trip. Waits 10 s at most, or as long as --timeout says. With
--json, times are in microseconds, and "version" is missing if the server
reports none.

Exit status: 0 if the server answers, 5 if not, 7 if it refuses this client.

Examples:
  tvl --tcp store.example:7440 ping
  tvl --tcp store.example:7440 --timeout 3 --json ping)");
}

}  // namespace tvl::cli

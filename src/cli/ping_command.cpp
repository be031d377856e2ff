#include <CLI/CLI.hpp>

#include "cli/command_line.h"
#include "cli/output/reporter.h"
#include "cli/output/text.h"
#include "cli/server_ping.h"

namespace tvl::cli {
namespace {

ExitStatus RunPing(const Options& options, Reporter& reporter) {
  if (options.tcp.empty()) throw Stop("ping needs a server: --tcp HOST:PORT");
  const ServerPing ping = PingServer(options);
  if (reporter.PrintsJson()) {
    JsonObject document = reporter.Document().Text("server", options.tcp);
    ping.Describe(document);
    reporter.Print(document);
  } else {
    reporter.PrintLine(Printable(options.tcp) + ": " + ping.Text());
  }
  return kDone;
}

}  // namespace

void AddPingCommand(CLI::App& app, Invocation& invocation) {
  CLI::App& ping = AddMonitor(app, "ping", "Test whether a server is alive", invocation, RunPing);
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

#include <CLI/CLI.hpp>
#include <memory>

#include "cli/command_line.h"
#include "cli/help_formatter.h"

namespace tvl::cli {
namespace {

constexpr char kAbout[] = "Works with a shared store of files of the Tavolis File System.";
constexpr char kFooter[] = R"(Examples:
  tvl init /srv/store
  tvl --config /srv/store/tvl.ini put report.pdf
  tvl --config /srv/store/tvl.ini get -r docs

Exit status: 0 done, 1 failed, 2 wrong usage, 3 something was skipped,
4 in use by another client, 5 store or server unreachable or lock lost,
6 not found, 7 not allowed, 130 interrupted.

Run 'tvl COMMAND --help' for the options and examples of a command.)";

}  // namespace

void DescribeProgram(CLI::App& app, Invocation& invocation) {
  app.name("tvl");
  app.description(kAbout);
  app.footer(kFooter);
  app.formatter(std::make_shared<HelpFormatter>());
  app.require_subcommand(0, 1);
  app.fallthrough();
  // On Windows, /data is a path.
  app.allow_windows_style_options(false);
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
  AddStatusCommand(app, invocation);
  AddBackupCommands(app, invocation);
  AddDoctorCommand(app, invocation);
  AddCompletionCommands(app, invocation);
}

}  // namespace tvl::cli

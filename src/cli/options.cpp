#include "cli/options.h"

#include <CLI/CLI.hpp>
#include <utility>

namespace tvl::cli {

void AddOptions(CLI::App& app, Options& options) {
  CLI::Option* config = app.add_option("--config", options.config,
                                       "Configuration of the store (default: $TVL_CONFIG, ./tvl.ini,\n"
                                       "$XDG_CONFIG_HOME/tvl/tvl.ini, /etc/tvl/tvl.ini)")
                            ->type_name("FILE");
  app.add_option("--tcp", options.tcp, "Server in front of the store; an IPv6 address in brackets")
      ->type_name("HOST:PORT")
      ->excludes(config);
  app.add_option_function<std::string>(
         "--work",
         [&options](const std::string& folder) {
           options.work = folder;
           options.work_given = true;
         },
         "Working directory, which local names start from\n(default: $TVL_WORK, the current folder)")
      ->type_name("DIR");
  app.add_option("--class", options.class_name, "Client class, 4 characters (default: tvlc)")
      ->type_name("CCCC");
  app.add_option("--tag-file", options.tag_file,
                 "File with the client tag for a server\n(default: the tag in $TVL_TAG)")
      ->type_name("FILE");
  app.add_flag("--json", options.json, "Results as JSON on standard output");
  CLI::Option* quiet = app.add_flag("-q,--quiet", options.quiet, "Say nothing but errors");
  app.add_flag("-v,--verbose", options.verbose, "Tell of every file")->excludes(quiet);
  app.add_flag("-n,--dry-run", options.dry_run, "Show what would be done, change nothing");
}

CLI::App& AddCommand(CLI::App& parent, const std::string& name, const std::string& description,
                     const std::string& path, Invocation& invocation, std::function<ExitStatus()> run) {
  CLI::App* command = parent.add_subcommand(name, description);
  command->callback([&invocation, path, run = std::move(run)] {
    invocation.command = path;
    invocation.run = run;
  });
  return *command;
}

}  // namespace tvl::cli

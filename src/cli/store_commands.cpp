#include <CLI/CLI.hpp>
#include <memory>
#include <string>

#include "cli/console.h"
#include "cli/json.h"
#include "cli/new_store.h"
#include "cli/options.h"
#include "cli/text.h"

namespace tvl::cli {
namespace {

ExitStatus RunInit(const Options& options, const std::string& folder) {
  const NewStore store(folder);
  Console console;
  if (!options.dry_run) {
    store.Make();
  } else if (!options.json && !options.quiet) {
    for (const std::string& path : store.Missing()) console.Out(Printable(path) + ": would be made");
  }
  if (options.json) {
    JsonObject document;
    document.Text("command", "init").Text("result", options.dry_run ? "would_make" : "made");
    console.Out(document.Text("root", store.Root()).Text("configuration", store.Configuration()).Line());
  } else if (!options.quiet && !options.dry_run) {
    console.Out("store made, its configuration is " + Printable(store.Configuration()));
  }
  return kDone;
}

}  // namespace

void AddStoreCommands(CLI::App& app, Invocation& invocation) {
  auto folder = std::make_shared<std::string>();
  CLI::App& init = AddCommand(app, "init", "Make a new store", "init", invocation,
                              [folder, &options = invocation.options] { return RunInit(options, *folder); });
  AddText(init, "DIR", *folder, "Folder of the store, made if it is not there", "").required();
  init.footer(
      R"(Makes tvl.ini, tmp/, tmp/locks/ with dtlocks.dat, and tmp/procs/ in DIR. Who may use DIR may use
these: they get its permissions, so set them first, for instance
  install -d -m 2770 -g staff /srv/store

Examples:
  tvl init /srv/store
  tvl init . && tvl info)");
}

}  // namespace tvl::cli

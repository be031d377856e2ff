#include <CLI/CLI.hpp>
#include <memory>
#include <string>
#include <vector>

#include "cli/configuration.h"
#include "cli/layout.h"
#include "cli/options.h"
#include "cli/output/console.h"
#include "cli/output/json.h"
#include "cli/output/text.h"

namespace tvl::cli {
namespace {

struct InitRequest {
  std::string folder;
  std::string group;
  bool missing = false;
};

TVLStoreLayout LayoutFor(const Options& options, const InitRequest& request) {
  if (!request.missing && request.folder.empty()) throw Stop("init needs the folder of the store");
  if (!request.missing) return NewLayout(request.folder);
  return request.folder.empty() ? LayoutOf(FindConfiguration(options)) : LayoutAt(request.folder);
}

void Report(const Options& options, const TVLStoreLayout& layout, const std::vector<std::string>& parts) {
  Console console;
  const char* created = options.dry_run ? "would_create" : "created";
  if (options.json) {
    std::vector<JsonObject> documents;
    for (const std::string& part : parts) documents.emplace_back().Text("path", part);
    JsonObject document;
    document.Text("command", "init").Text("result", parts.empty() ? "complete" : created);
    document.Text("root", layout.root).Text("configuration", layout.configuration).Array("parts", documents);
    console.Out(document.Line());
    return;
  }
  if (options.quiet) return;
  const std::string configuration = Printable(layout.configuration);
  if (parts.empty()) {
    console.Out("nothing is missing; configuration: " + configuration);
  } else if (options.dry_run) {
    for (const std::string& part : parts) console.Out(Printable(part) + ": would be created");
  } else if (layout.isNew != 0) {
    console.Out("created store; configuration: " + configuration);
  } else {
    for (const std::string& part : parts) console.Out(Printable(part) + ": created");
  }
}

ExitStatus RunInit(const Options& options, const InitRequest& request) {
  const TVLStoreLayout layout = LayoutFor(options, request);
  const std::vector<std::string> parts = MissingParts(layout);
  if (!options.dry_run) CreateMissingParts(layout, request.group);
  Report(options, layout, parts);
  return kDone;
}

}  // namespace

void AddStoreCommands(CLI::App& app, Invocation& invocation) {
  auto request = std::make_shared<InitRequest>();
  CLI::App& init =
      AddCommand(app, "init", "Create a new store", "init", invocation,
                 [request, &options = invocation.options] { return RunInit(options, *request); });
  AddText(init, "DIR", request->folder, "Folder of the store, created if it does not exist", "");
  CLI::Option* missing = init.add_flag("--missing", request->missing,
                                       "Create only the missing parts of a store, such as its lock table "
                                       "(without DIR: of the store of the configuration)");
  AddText(init, "--shared", request->group, "Give DIR this group and the setgid bit", "GROUP")
      .excludes(missing);
  init.footer(
      R"(Creates tvl.ini, tmp/, tmp/locks/dtlocks.dat and tmp/procs/ in DIR, with the
permissions of DIR regardless of the umask. With --shared all members of GROUP
can use the store. Exit 4: a part is missing, but clients are connected.

Examples:
  tvl init /srv/store
  tvl init --shared staff /srv/store
  tvl init --missing /srv/store)");
}

}  // namespace tvl::cli

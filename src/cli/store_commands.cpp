#include <CLI/CLI.hpp>
#include <memory>
#include <string>
#include <vector>

#include "cli/command_line.h"
#include "cli/configuration.h"
#include "cli/layout.h"
#include "cli/output/reporter.h"
#include "cli/output/text.h"

namespace tvl::cli {
namespace {

struct InitRequest {
  std::string folder;
  std::string group;
  bool missing = false;
  std::string service;
  std::string schema = "tvl";
  bool asynchronous_locks = false;
};

TVLDatabase DatabaseOf(const InitRequest& request) {
  TVLDatabase database = {};
  if (request.service.size() >= sizeof database.service) throw Stop("--postgresql: the name is too long");
  if (request.schema.size() >= sizeof database.schema) throw Stop("--schema: the name is too long");
  request.service.copy(database.service, sizeof database.service - 1);
  request.schema.copy(database.schema, sizeof database.schema - 1);
  database.acceptsAsynchronousLocks = request.asynchronous_locks ? 1 : 0;
  return database;
}

std::string TablesFile(const TVLStoreLayout& layout) {
  return Joined(layout.root, "tables.ini");
}

void Create(const TVLStoreLayout& layout, const InitRequest& request) {
  if (request.service.empty()) {
    CreateMissingParts(layout, request.group);
  } else {
    CreateInDatabase(layout, request.group, DatabaseOf(request));
  }
}

TVLStoreLayout LayoutFor(const Options& options, const InitRequest& request) {
  if (!request.missing && request.folder.empty()) throw Stop("init needs the folder of the store");
  if (!request.missing) return NewLayout(request.folder);
  return request.folder.empty() ? LayoutOf(FindConfiguration(options)) : LayoutAt(request.folder);
}

void ReportInit(const Options& options, Reporter& reporter, const TVLStoreLayout& layout,
                const std::vector<std::string>& parts) {
  if (reporter.PrintsJson()) {
    std::vector<JsonObject> documents;
    for (const std::string& part : parts) documents.emplace_back().Text("path", part);
    JsonObject document = reporter.Document();
    const char* created = options.dry_run ? "would_create" : "created";
    document.Text("result", parts.empty() ? "complete" : created).Text("root", layout.root);
    reporter.Print(document.Text("configuration", layout.configuration).Array("parts", documents));
  } else if (parts.empty()) {
    reporter.PrintDone(std::string("nothing is missing; configuration: ") + layout.configuration);
  } else if (layout.isNew != 0 && !options.dry_run) {
    reporter.PrintDone(std::string("created store; configuration: ") + layout.configuration);
  } else {
    for (const std::string& part : parts)
      reporter.PrintDone(part + (options.dry_run ? ": would be created" : ": created"));
  }
}

ExitStatus RunInit(const Options& options, Reporter& reporter, const InitRequest& request) {
  const TVLStoreLayout layout = LayoutFor(options, request);
  std::vector<std::string> parts = MissingParts(layout);
  if (!request.service.empty()) parts.insert(parts.end() - 1, TablesFile(layout));
  if (!options.dry_run) Create(layout, request);
  ReportInit(options, reporter, layout, parts);
  return kDone;
}

}  // namespace

void AddStoreCommands(CLI::App& app, Invocation& invocation) {
  auto request = std::make_shared<InitRequest>();
  CLI::App& init = AddCommand(
      app, "init", "Create a new store", "init", invocation,
      [request](const Options& options, Reporter& reporter) { return RunInit(options, reporter, *request); });
  AddText(init, "DIR", request->folder, "Folder of the store, created if it does not exist", "");
  CLI::Option* missing = init.add_flag("--missing", request->missing,
                                       "Create only the missing parts of a store, such as its lock table "
                                       "(without DIR: of the store of the configuration)");
  AddText(init, "--shared", request->group, "Give DIR this group and the setgid bit", "GROUP")
      .excludes(missing);
  CLI::Option& service =
      AddText(init, "--postgresql", request->service,
              "Keep the tables in the PostgreSQL server of this connection service", "SERVICE");
  service.excludes(missing);
  AddText(init, "--schema", request->schema, "Schema in the database (default: tvl)", "SCHEMA")
      .needs(&service);
  init.add_flag("--asynchronous-locks", request->asynchronous_locks,
                "Accept a server without a synchronous standby, which may lose locks when it fails")
      ->needs(&service);
  init.footer(
      R"(Creates tvl.ini, tmp/, tmp/locks/dtlocks.dat and tmp/procs/ in DIR, with the
permissions of DIR regardless of the umask. With --shared all members of GROUP
can use the store. Exit 4: a part is missing, but clients are connected. With
--postgresql, tables.ini in DIR names the server, and the lock table is in it.

Examples:
  tvl init /srv/store
  tvl init --shared staff /srv/store
  tvl init --missing /srv/store
  tvl init --postgresql store --schema store /srv/store)");
}

}  // namespace tvl::cli

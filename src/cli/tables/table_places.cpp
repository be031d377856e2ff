#include "cli/tables/table_places.h"

#include <CLI/CLI.hpp>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <tvlclient/errors.h>
#include <tvlclient/store.h>

#include "cli/command_line.h"
#include "cli/configuration.h"
#include "cli/file_status.h"
#include "cli/host_path.h"
#include "cli/layout.h"
#include "cli/output/reporter.h"
#include "cli/output/text.h"
#include "cli/tables/table.h"

namespace tvl::cli {
namespace {

constexpr unsigned int kSecondsOfDay = 24 * 60 * 60;
constexpr char kPostgresql[] = "postgresql";
constexpr char kSqlite[] = "sqlite";

struct PlaceRequest {
  std::string table;
  std::string place;
  bool drops = false;
  unsigned int days = 7;
};

// These commands open no connection, which would use the tables.
TVLStoreLayout LayoutFor(const Options& options) {
  if (!options.tcp.empty())
    throw Stop("needs the folder of the store: name a configuration with --config instead of --tcp");
  return LayoutOf(FindConfiguration(options));
}

// Returns the path of the table's data file. A table of the store itself may be outside its root.
std::string DataFile(const TVLStoreLayout& layout, const std::string& table) {
  const std::string path =
      IsFullPath(HostName(table)) ? HostName(table) : Joined(layout.root, Slashed(table));
  const std::string file = DataFileName(path);
  if (Exists(file)) return file;
  throw Stop(table, {kNotFound, 0, "there is no such table", 0, file});
}

[[noreturn]] void FailOn(const std::string& table, const char* what) {
  Failure failure = {kFailed, TVL_ERR_SERVER_FILE, what, 0, {}};
  AddTableReason(failure);
  throw Stop(table, failure);
}

void ReportTable(const Options& options, Reporter& reporter, const std::string& table, const char* result) {
  if (reporter.PrintsJson()) {
    reporter.Print(reporter.Document().Text("table", table).Flag("dry_run", options.dry_run));
  } else {
    reporter.PrintDone(table + ": " + (options.dry_run ? "would be " : "") + result);
  }
}

ExitStatus Move(const Options& options, Reporter& reporter, const PlaceRequest& request) {
  const TVLStoreLayout layout = LayoutFor(options);
  const std::string file = DataFile(layout, request.table);
  const bool to_database = request.place == kPostgresql;
  if ((TVLIsTablePointer(file.c_str()) != 0) == to_database)
    throw Stop(request.table, {kFailed, 0, "the rows are already there", 0, {}});
  if (!options.dry_run &&
      TVLStoreMoveTable(&layout, file.c_str(), to_database ? TVL_TABLE_IN_DATABASE : TVL_TABLE_IN_FILE) !=
          TVL_OK)
    FailOn(request.table, "the table cannot be moved");
  ReportTable(options, reporter, request.table,
              to_database ? "moved to PostgreSQL" : "moved to a file of its own");
  return kDone;
}

ExitStatus Adopt(const Options& options, Reporter& reporter, const PlaceRequest& request) {
  const TVLStoreLayout layout = LayoutFor(options);
  const std::string file = DataFile(layout, request.table);
  if (!options.dry_run && TVLStoreAdoptTable(&layout, file.c_str()) != TVL_OK)
    FailOn(request.table, "the rows cannot be adopted");
  ReportTable(options, reporter, request.table, "adopted with its rows");
  return kDone;
}

ExitStatus Fork(const Options& options, Reporter& reporter, const PlaceRequest& request) {
  const TVLStoreLayout layout = LayoutFor(options);
  const std::string file = DataFile(layout, request.table);
  if (!options.dry_run && TVLStoreForkTable(&layout, file.c_str()) != TVL_OK)
    FailOn(request.table, "the rows cannot be copied");
  ReportTable(options, reporter, request.table, "given a copy of the rows");
  return kDone;
}

struct Orphan {
  std::string id;
  long long bytes;
  long long seconds;  // since it was first noted
};

void AddOrphan(const TVLDatabaseTable* table, void* orphans) {
  if (table->state != TVL_TABLE_ORPHAN) return;
  static_cast<std::vector<Orphan>*>(orphans)->push_back({table->id, table->bytes, table->orphanedFor});
}

std::vector<Orphan> FindOrphans(const TVLStoreLayout& layout, bool notes) {
  std::vector<Orphan> orphans;
  TVLStoreProblem problem = {};
  const int code = TVLStoreListDatabaseTables(&layout, notes ? 1 : 0, AddOrphan, &orphans, &problem);
  if (code == TVL_OK) return orphans;
  if (code == TVL_ERR_NOT_SUPPORTED)
    throw Stop({}, {kFailed, 0, "the store has no tables.ini, so it has no tables in PostgreSQL", 0, {}});
  Failure failure = {kUnreachable, 0, problem.what, problem.error, problem.path};
  if (failure.error == 0) AddTableReason(failure);
  throw Stop({}, failure);
}

// What happens to an orphan in this run.
enum class Fate { kKept, kDropped, kFailed };

struct FateWord {
  Fate fate;
  const char* word;
};
constexpr FateWord kWords[] = {{Fate::kKept, "kept"}, {Fate::kDropped, "dropped"}, {Fate::kFailed, "failed"}};

const char* WordFor(Fate fate) {
  for (const FateWord& known : kWords) {
    if (known.fate == fate) return known.word;
  }
  return "";
}

Fate Decide(const Options& options, Reporter& reporter, const PlaceRequest& request,
            const TVLStoreLayout& layout, const Orphan& orphan) {
  const unsigned int grace = request.days * kSecondsOfDay;
  if (!request.drops || orphan.seconds < static_cast<long long>(grace)) return Fate::kKept;
  if (options.dry_run || TVLStoreDropOrphan(&layout, orphan.id.c_str(), grace) == TVL_OK)
    return Fate::kDropped;
  Failure failure = {kFailed, TVL_ERR_SERVER_FILE, "the rows cannot be dropped", 0, {}};
  AddTableReason(failure);
  reporter.Fail(orphan.id, failure);
  return Fate::kFailed;
}

std::string Describe(const Options& options, const Orphan& orphan, Fate fate) {
  std::string text = "rows_" + orphan.id + ": ";
  text += orphan.bytes < 0 ? "no rows" : HumanBytes(static_cast<std::uint64_t>(orphan.bytes));
  text += ", without a data file ";
  text += orphan.seconds < 0
              ? "since now"
              : "for " + Counted(static_cast<std::uint64_t>(orphan.seconds) / kSecondsOfDay, "day");
  if (fate != Fate::kKept) text += std::string("; ") + (options.dry_run ? "would be " : "") + WordFor(fate);
  return text;
}

ExitStatus CollectGarbage(const Options& options, Reporter& reporter, const PlaceRequest& request) {
  const TVLStoreLayout layout = LayoutFor(options);
  const std::vector<Orphan> orphans = FindOrphans(layout, !options.dry_run);
  for (const Orphan& orphan : orphans) {
    const Fate fate = Decide(options, reporter, request, layout, orphan);
    if (reporter.PrintsJson()) {
      JsonObject document = reporter.Document().Text("id", orphan.id).Text("result", WordFor(fate));
      document.Number("bytes", orphan.bytes).Number("seconds", orphan.seconds);
      reporter.Print(document.Flag("dry_run", options.dry_run));
    } else {
      reporter.PrintLine(Describe(options, orphan, fate));
    }
  }
  if (orphans.empty() && !reporter.PrintsJson()) reporter.PrintDone("all tables have a data file");
  return reporter.Exit();
}

using PlaceRun = ExitStatus (*)(const Options&, Reporter&, const PlaceRequest&);

struct PlaceCommand {
  const char* name;
  const char* description;
  PlaceRun run;
  const char* footer;
};

constexpr PlaceCommand kPlaceCommands[] = {
    {"move", "Move the rows of a table to PostgreSQL, or to its file", Move,
     "The copied rows are compared before the table is replaced in one step. Nobody\nmay have the table "
     "open. The lock table can be moved when all clients have\nended. The store's tables.ini names the "
     "server.\n\n"
     "Examples:\n  tvl table move data/orders.dat --to postgresql\n"
     "  tvl table move tmp/locks/dtlocks.dat --to postgresql"},
    {"adopt", "Connect a data file that was copied or restored with its rows", Adopt,
     "From now on only this file points to the rows in PostgreSQL, and its original is\nrefused.\n\n"
     "Examples:\n  tvl table adopt data/orders.dat"},
    {"fork", "Copy the rows for a data file that was copied", Fork,
     "The file and its original then are tables of their own in PostgreSQL.\n\n"
     "Examples:\n  tvl table fork data/copy.dat"},
    {"gc", "List rows in PostgreSQL to which no data file points, and drop them", CollectGarbage,
     "Each run notes in the server which rows have no data file. With --drop, rows for\nwhich that was first "
     "noted more than the given number of days ago are dropped.\n\n"
     "Examples:\n  tvl table gc\n  tvl table gc --drop --days 30"},
};

void AddPlaceCommand(const PlaceCommand& about, CLI::App& group, Invocation& invocation) {
  auto request = std::make_shared<PlaceRequest>();
  CLI::App& command = AddCommand(group, about, std::string("table ") + about.name, invocation, request);
  if (about.run == CollectGarbage) {
    command.add_flag("--drop", request->drops, "Drop these rows, if the grace time is over");
    command.add_option("--days", request->days, "Grace time (default: 7)")
        ->type_name("DAYS")
        ->check(CLI::Range(0U, 10'000U).description(""));
  } else {
    AddText(command, "TABLE", request->table, "Table in the store, such as data/orders.dat", "").required();
  }
  if (about.run == Move)
    AddText(command, "--to", request->place, "postgresql, or sqlite for a file of its own", "PLACE")
        .required()
        ->check(CLI::IsMember({kPostgresql, kSqlite}).description(""));
  command.footer(about.footer);
}

}  // namespace

void AddTablePlaceCommands(CLI::App& group, Invocation& invocation) {
  for (const PlaceCommand& command : kPlaceCommands) AddPlaceCommand(command, group, invocation);
}

}  // namespace tvl::cli

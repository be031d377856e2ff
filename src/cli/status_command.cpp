#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include <tvlclient/errors.h>
#include <tvlclient/store.h>
#include <tvlclient/tvl.h>

#include "cli/command_line.h"
#include "cli/configuration.h"
#include "cli/doctor_report.h"
#include "cli/locks/lock_answer.h"
#include "cli/output/reporter.h"
#include "cli/output/text.h"
#include "cli/server_health.h"
#include "cli/server_ping.h"
#include "cli/store.h"

namespace tvl::cli {
namespace {

// The findings of a run, and their numbers for JSON.
struct Status {
  Report report;
  JsonObject document;

  void Add(const char* check, TVL_VERDICT verdict, const std::string& detail, const char* remedy = "",
           ExitStatus if_bad = kFailed) {
    report.Add({check, 1, verdict, detail.c_str(), remedy}, if_bad);
  }
};

void AddEngine(Status& status) {
  const std::string version = TVLEngineVersion();
  if (version.empty())
    status.Add("table engine", TVL_VERDICT_BAD, "cannot be loaded",
               "install vbctree.so next to the library, or its package tvlclient-engine-sqlite");
  else
    status.Add("table engine", TVL_VERDICT_OK, version);
}

void AddClients(CTVLClientSmbOpr& directory, Status& status) {
  std::uint64_t count = 0;
  const int code = directory.ListInstances(
      "*", [](const TVLInstance*, void* number) { ++*static_cast<std::uint64_t*>(number); }, &count);
  if (code != TVL_OK) {
    status.Add("clients", TVL_VERDICT_BAD, LibraryFailure(code).Message(), "run 'tvl doctor'");
    return;
  }
  status.Add("clients", TVL_VERDICT_OK, std::to_string(count) + " connected");
  status.document.Number("clients", static_cast<std::int64_t>(count));
}

struct LockCounts {
  std::int64_t alive = 0;
  std::int64_t dead = 0;
};

void AddLocks(Store& store, Status& status) {
  LockCounts counts;
  const int code = store.Directory()->ListLocks(
      [](const TVLStandingLock* lock, void* numbers) {
        auto& both = *static_cast<LockCounts*>(numbers);
        ++(lock->alive != 0 ? both.alive : both.dead);
      },
      &counts);
  if (code != TVL_OK) {
    const Failure failure = LockTableFailure(store);
    const bool is_remote = TVLIsTablePointer(store.Layout().lockTable) != 0;
    status.Add("locks", TVL_VERDICT_BAD, failure.Message(), failure.hint.c_str(),
               is_remote ? failure.exit : kFailed);
    return;
  }
  status.Add("locks", TVL_VERDICT_OK,
             std::to_string(counts.alive) + " held, " + std::to_string(counts.dead) + " of dead clients");
  status.document.Number("locks_alive", counts.alive).Number("locks_dead", counts.dead);
}

// Everything that can be seen on a share without writing to it. Any bad verdict means that not all is well.
void AddShare(const TVLStoreLayout& layout, Status& status) {
  TVLStoreProblem problem;
  const auto add = [](const TVLFinding* finding, void* report) {
    TVLFinding needed = *finding;
    needed.needed = 1;
    static_cast<Report*>(report)->Add(needed);
  };
  const int code = TVLCheckShare(layout.root, &layout, TVL_CHECK_LOOK, add, &status.report, &problem);
  if (code != TVL_OK) throw Stop({}, SystemFailure(problem.what, problem.error, problem.path));
}

void AddDirectory(const Options& options, Status& status) {
  Store store(options, {}, Store::Use::kLook);
  const TVLStoreLayout layout = store.Layout();
  status.Add("store", TVL_VERDICT_OK, store.Client().LongName() + std::string(", ") + store.Configuration());
  status.Add("compared by", TVL_VERDICT_OK, PolicyName(store.Client().FileCmp()));
  AddEngine(status);
  AddClients(*store.Directory(), status);
  AddLocks(store, status);
  AddShare(layout, status);
}

void AddServer(const Options& options, Status& status) {
  const ServerPing ping = PingServer(options);
  status.Add("server", TVL_VERDICT_OK, ping.Text());
  ping.Describe(status.document);
}

ExitStatus RunStatus(const Options& options, Reporter& reporter, const std::string& health_url) {
  Status status = {{}, reporter.Document()};
  const std::string subject = options.tcp.empty() ? FindConfiguration(options) : options.tcp;
  status.document.Text("store", subject);
  if (options.tcp.empty())
    AddDirectory(options, status);
  else
    AddServer(options, status);
  if (!health_url.empty()) {
    const ServerHealth health = AskHealth(health_url, std::chrono::seconds(*options.timeout));
    status.Add("health", health.is_good ? TVL_VERDICT_OK : TVL_VERDICT_BAD, health.text,
               health.is_good ? "" : "look at the server's log");
  }
  return status.report.Print(reporter, options, status.document, subject, "not all is well");
}

}  // namespace

void AddStatusCommand(CLI::App& app, Invocation& invocation) {
  auto health = std::make_shared<std::string>();
  CLI::App& status = AddMonitor(
      app, "status", "Show whether all is well with the store", invocation,
      [health](const Options& options, Reporter& reporter) { return RunStatus(options, reporter, *health); });
  AddText(status, "--health", *health, "Ask the status page of a server too", "URL");
  status.footer(
      R"(Shows clients, locks, the parts of the store, free space and the like, and
changes nothing. With --tcp, shows how the server answers. Waits 10 s at most,
or as long as --timeout says.

Exit status: 0 if all is well, 1 if not, 5 if the store cannot be reached, or
the PostgreSQL server with its lock table.

Examples:
  tvl status
  tvl --tcp store.example:7440 status --health http://store.example:8080)");
}

}  // namespace tvl::cli

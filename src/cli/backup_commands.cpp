#include <CLI/CLI.hpp>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <tvlclient/errors.h>
#include <tvlclient/store.h>

#include "cli/command_line.h"
#include "cli/configuration.h"
#include "cli/interrupt.h"
#include "cli/layout.h"
#include "cli/output/reporter.h"
#include "cli/output/text.h"

namespace tvl::cli {
namespace {

constexpr char kRowsNotCopied[] = "its rows are in a database server; back them up there with pg_dump";
constexpr char kRowsShared[] =
    "its rows are in a database server; run 'tvl table adopt' to use them in this store instead of the old "
    "one, or "
    "'tvl table fork' for a copy of them";

// How the result of a command is called: for people, in JSON, and in JSON with -n.
struct ResultWords {
  const char* text;
  const char* done;
  const char* would;
};
constexpr ResultWords kBackedUp = {"backed up", "backed_up", "would_back_up"};
constexpr ResultWords kRestored = {"restored", "restored", "would_restore"};

// Counts what was copied, and reports what a user must know.
class Tally {
 public:
  // `without_rows` is the notice about a table in a database server.
  Tally(const Options& options, Reporter& reporter, const char* without_rows)
      : options_(options), reporter_(reporter), without_rows_(without_rows) {}

  void Add(const TVLBackupEntry& entry) {
    ++counts_[entry.kind];
    bytes_ += entry.size;
    if (entry.kind == TVL_BACKUP_POINTER) reporter_.Notice(entry.name, without_rows_);
    if (entry.kind == TVL_BACKUP_SKIPPED)
      reporter_.Notice(entry.name, "left out, since it is neither file, folder nor link");
    if (options_.verbose && !reporter_.PrintsJson()) reporter_.PrintDone(entry.name);
  }

  void Print(const ResultWords& words, const std::string& folder, JsonObject document) const {
    if (!reporter_.PrintsJson()) {
      const std::string tables = Counted(Of(TVL_BACKUP_TABLE) + Of(TVL_BACKUP_POINTER), "table");
      reporter_.PrintDone(folder + ": " + Counted(Of(TVL_BACKUP_FILE), "document") + " and " + tables + ", " +
                          HumanBytes(bytes_) + (options_.dry_run ? ", would be " : ", ") + words.text);
      return;
    }
    document.Text("result", options_.dry_run ? words.would : words.done);
    document.Number("documents", Of(TVL_BACKUP_FILE)).Number("folders", Of(TVL_BACKUP_FOLDER));
    document.Number("links", Of(TVL_BACKUP_LINK)).Number("tables", Of(TVL_BACKUP_TABLE));
    document.Number("tables_without_rows", Of(TVL_BACKUP_POINTER));
    reporter_.Print(document.Number("skipped", Of(TVL_BACKUP_SKIPPED)).Number("bytes", bytes_));
  }

 private:
  [[nodiscard]] std::uint64_t Of(TVL_BACKUP_KIND kind) const { return counts_[kind]; }

  const Options& options_;
  Reporter& reporter_;
  const char* without_rows_;
  std::uint64_t counts_[TVL_BACKUP_SKIPPED + 1] = {};
  std::uint64_t bytes_ = 0;
};

void AddToTally(const TVLBackupEntry* entry, void* tally) {
  static_cast<Tally*>(tally)->Add(*entry);
}

[[noreturn]] void FailCopy(int code, const TVLStoreProblem& problem) {
  if (code == TVL_ERR_STOPPED) throw Stop({}, {kInterrupted, 0, problem.what});
  Failure failure = SystemFailure(problem.what, problem.error, problem.path);
  if (code == TVL_ERR_STORE_IN_USE) failure.exit = kHeld;
  if (code == TVL_ERR_CREATE_DIR && failure.exit == kNotFound) failure.exit = kFailed;
  throw Stop({}, failure);
}

TVL_BACKUP_SCOPE ScopeOf(const Options& options) {
  return options.dry_run ? TVL_BACKUP_LOOK : TVL_BACKUP_COPY;
}

void NeedFolder(const Options& options, const char* command) {
  if (!options.tcp.empty())
    throw Stop(std::string(command) + " needs the folder of a store; run it on the server's computer");
}

ExitStatus RunBackup(const Options& options, Reporter& reporter, const std::string& folder) {
  NeedFolder(options, "backup");
  const TVLStoreLayout store = LayoutOf(FindConfiguration(options));
  CatchInterrupts(options.quiet);
  Tally tally(options, reporter, kRowsNotCopied);
  TVLStoreProblem problem;
  const int code = TVLStoreBackup(&store, folder.c_str(), ScopeOf(options), AddToTally, &tally, &problem);
  if (code != TVL_OK) FailCopy(code, problem);
  tally.Print(kBackedUp, folder,
              reporter.Document().Text("folder", folder).Text("configuration", store.configuration));
  return kDone;
}

ExitStatus RunRestore(const Options& options, Reporter& reporter, const std::string& backup,
                      const std::string& folder) {
  NeedFolder(options, "restore");
  CatchInterrupts(options.quiet);
  Tally tally(options, reporter, kRowsShared);
  TVLStoreLayout store;
  TVLStoreProblem problem;
  const int code =
      TVLStoreRestore(backup.c_str(), folder.c_str(), ScopeOf(options), &store, AddToTally, &tally, &problem);
  if (code != TVL_OK) FailCopy(code, problem);
  tally.Print(kRestored, folder,
              reporter.Document().Text("folder", folder).Text("configuration", store.configuration));
  return kDone;
}

void AddBackup(CLI::App& app, Invocation& invocation) {
  auto folder = std::make_shared<std::string>();
  CLI::App& backup = AddCommand(
      app, "backup", "Copy the whole store, which may be in use", "backup", invocation,
      [folder](const Options& options, Reporter& reporter) { return RunBackup(options, reporter, *folder); });
  AddText(backup, "DIR", *folder, "Folder of the backup, which must be empty or not exist", "").required();
  backup.footer(
      R"(Copies documents, tables and configuration while clients work: each file is one
version of it, and each table has the rows of one moment. DIR appears when it is
complete; until then it is called DIR.tvlpart. Locks and clients are left out.

Exit status: 4 if another backup to DIR is running.

Examples:
  tvl backup /mnt/backup/monday
  tvl --config /srv/store/tvl.ini backup /mnt/backup/tuesday)");
}

void AddRestore(CLI::App& app, Invocation& invocation) {
  auto backup = std::make_shared<std::string>();
  auto folder = std::make_shared<std::string>();
  CLI::App& restore = AddCommand(app, "restore", "Make a new store of a backup", "restore", invocation,
                                 [backup, folder](const Options& options, Reporter& reporter) {
                                   return RunRestore(options, reporter, *backup, *folder);
                                 });
  AddText(restore, "BACKUP", *backup, "Folder that 'tvl backup' has written", "").required();
  AddText(restore, "DIR", *folder, "Folder of the new store, which must be empty or not exist", "")
      .required();
  restore.footer(
      R"(In the new tvl.ini, every DocumentRoot becomes DIR and every TmpDir its default,
so both stores can be used at the same time. DIR appears when it is complete;
until then it is called DIR.tvlpart.

Exit status: 4 if another process is restoring to DIR.

Examples:
  tvl restore /mnt/backup/monday /srv/restored)");
}

}  // namespace

void AddBackupCommands(CLI::App& app, Invocation& invocation) {
  AddBackup(app, invocation);
  AddRestore(app, invocation);
}

}  // namespace tvl::cli

#include <CLI/CLI.hpp>
#include <cerrno>
#include <charconv>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <system_error>

#include <tvlclient/errors.h>

#include "cli/command_line.h"
#include "cli/configuration.h"
#include "cli/file_status.h"
#include "cli/folder_trail.h"
#include "cli/interrupt.h"
#include "cli/output/reporter.h"
#include "cli/output/text.h"
#include "cli/store.h"
#include "cli/trees/sync_plan.h"
#include "cli/trees/sync_work.h"

namespace tvl::cli {
namespace {

constexpr int kDumbPolicy = 0;
constexpr char kTopFolder[] = "/";

struct SyncRequest {
  std::string remote;
  std::string local;
  std::string pattern = "*.*";
  std::string exclude;
  bool remove = false;
  bool follow = false;
  std::string most_deletions;
  bool limits_deletions = false;
};

// The value of --max-delete: a number or a percentage.
struct DeletionLimit {
  std::uint64_t number;
  bool percent;

  [[nodiscard]] bool Allows(std::uint64_t deletions, std::uint64_t names) const {
    return percent ? deletions * 100 <= number * names : deletions <= number;
  }
};

DeletionLimit ParseDeletionLimit(const std::string& text) {
  const bool percent = text.ends_with('%');
  const std::string_view digits = std::string_view(text).substr(0, text.size() - (percent ? 1 : 0));
  DeletionLimit limit = {0, percent};
  const auto [end, problem] = std::from_chars(digits.data(), digits.data() + digits.size(), limit.number);
  const bool whole = problem == std::errc() && end == digits.data() + digits.size();
  if (!whole || (percent && limit.number > 100))
    throw Stop("--max-delete takes a number, or 0% to 100% of the names on the target, not '" + text + "'");
  return limit;
}

struct ExcludeName {
  const char* name;
  SYNC_DIR_FILE_EXCLUDE flag;
};
constexpr ExcludeName kExcludeNames[] = {{"database", SYNC_DIR_FILE_EXCLUDE_DATABASE},
                                         {"document", SYNC_DIR_FILE_EXCLUDE_DOCUMENT},
                                         {"pdf", SYNC_DIR_FILE_EXCLUDE_PDF}};

unsigned int ExcludeFlag(const std::string& name) {
  for (const ExcludeName& row : kExcludeNames) {
    if (name == row.name) return row.flag;
  }
  throw Stop("--exclude takes database, document and pdf, not '" + name + "'");
}

SYNC_DIR_FILE_EXCLUDE ExcludeFlags(const std::string& list) {
  unsigned int flags = 0;
  std::istringstream text(list);
  for (std::string name; std::getline(text, name, ',');) flags |= ExcludeFlag(name);
  return static_cast<SYNC_DIR_FILE_EXCLUDE>(flags);
}

class Sync {
 public:
  Sync(Direction direction, const Options& options, Reporter& reporter, const SyncRequest& request)
      : direction_(direction),
        options_(options),
        reporter_(reporter),
        request_(request),
        rules_{request.remove, request.pattern, ExcludeFlags(request.exclude), options.verbose},
        names_{TidyName(request.remote), TidyName(request.local)},
        store_(options, WorkingDirectory(), UseOf(options)) {
    if (request.limits_deletions) limit_ = ParseDeletionLimit(request.most_deletions);
  }

  ExitStatus Run() {
    if (store_.Client().DumbMode() != 0) return ReportNothingToDo();
    CheckPlaces();
    if (store_.Client().FileCmp() == kDumbPolicy)
      reporter_.Notice({}, "the store's FileCompare is dumb: only files of new folders are copied");
    CatchInterrupts(options_.quiet);
    const bool had_errors = Open();
    const std::string root = direction_ == Direction::kPut ? store_.StorePath({}) : TargetPath();
    const SyncPlan plan(store_, direction_, rules_, WriteRoot(root, request_.follow), had_errors);
    if (Interrupted()) throw Stop(SourcePath(), LibraryFailure(TVL_ERR_STOPPED));
    SyncWork work(store_, reporter_, options_, plan);
    work.ReportPlan(request_.remove);
    CheckPlan(plan);
    if (options_.dry_run)
      work.ReportDryRun();
    else
      work.Run();
    return work.Finish();
  }

 private:
  // The library appends the local name to its working directory, which is "/" for an absolute name.
  [[nodiscard]] std::string WorkingDirectory() const {
    if (!options_.tcp.empty()) throw Stop(options_.tcp, LibraryFailure(TVL_ERR_NOT_SUPPORTED));
    return Slashed(request_.local).starts_with('/') ? kTopFolder : FindWorkingDirectory(options_);
  }

  ExitStatus ReportNothingToDo() {
    if (reporter_.PrintsJson())
      reporter_.Print(reporter_.Document().Text("result", "nothing_to_do"));
    else
      reporter_.PrintDone("nothing to do: the working directory is the store's own folder");
    return kDone;
  }

  [[nodiscard]] std::string SourcePath() const {
    return direction_ == Direction::kGet ? store_.StorePath(names_.remote) : store_.LocalPath(names_.local);
  }
  [[nodiscard]] std::string TargetPath() const {
    return direction_ == Direction::kGet ? store_.LocalPath(names_.local) : store_.StorePath(names_.remote);
  }

  void CheckPlaces() const {
    const std::string source = SourcePath();
    const auto status = StatusOf(source);
    if (!status) throw Stop({}, SystemFailure("cannot open the source", errno, source));
    if (!S_ISDIR(status->st_mode)) throw Stop({}, {kFailed, 0, "the source is not a folder", 0, source});
    const std::string target = TargetPath();
    if (const auto there = StatusOf(target); there && !S_ISDIR(there->st_mode))
      throw Stop({}, {kFailed, 0, "the target is not a folder", 0, target});
    if (LiesIn(source, target) || LiesIn(target, source))
      throw Stop(
          {}, {kFailed, 0, "source and target are the same folder, or one is inside the other", 0, target});
  }

  // Returns true if the library had file errors.
  [[nodiscard]] bool Open() {
    std::string remote = names_.remote;
    std::string local = names_.local;
    std::string pattern = request_.pattern;
    unsigned int total = 0;
    store_.Directory()->SyncPlanFoldersLater(1);
    store_.Directory()->SyncPlanSetTimes(1);
    ForgetFileErrors();
    CTVLClientOpr& client = store_.Client();
    const int code =
        direction_ == Direction::kGet
            ? client.SyncDirOpenGetRemote(remote.data(), local.data(), pattern.data(), rules_.exclude, &total)
            : client.SyncDirOpenPutRemote(remote.data(), local.data(), pattern.data(), rules_.exclude,
                                          &total);
    if (code != TVL_OK) throw Stop(SourcePath(), store_.Explain(code, names_));
    return HadFileErrors();
  }

  // Refuses an empty source, because a share that is not mounted looks like an empty folder.
  void CheckPlan(const SyncPlan& plan) const {
    if (!plan.SourceHasNames())
      throw Stop({}, {kFailed, 0, "the source is empty, so nothing was changed", 0, SourcePath()});
    const SyncSum& deletions = plan.Sum(SyncAction::kDelete);
    if (deletions.entries == 0) return;
    if (!plan.SourceHasFiles())
      throw Stop({},
                 {kFailed, 0, "the source has no files, so nothing was deleted or changed", 0, SourcePath()});
    if (limit_ && !limit_->Allows(deletions.files, plan.TargetNames()))
      throw Stop({}, {kFailed,
                      0,
                      Counted(deletions.files, "deletion") + " planned, more than the " +
                          request_.most_deletions + " of --max-delete; nothing was changed",
                      0,
                      {}});
  }

  const Direction direction_;
  const Options& options_;
  Reporter& reporter_;
  const SyncRequest& request_;
  const SyncRules rules_;
  std::optional<DeletionLimit> limit_;
  const NamePair names_;
  Store store_;
};

ExitStatus RunSync(Direction direction, const Options& options, Reporter& reporter,
                   const SyncRequest& request) {
  if (request.pattern.find_first_of("/\\") != std::string::npos)
    throw Stop("a pattern matches names on every level and cannot contain a separator");
  return Sync(direction, options, reporter, request).Run();
}

struct SyncCommand {
  Direction direction;
  const char* name;
  const char* path;
  const char* description;
};
constexpr SyncCommand kCommands[] = {
    {Direction::kGet, "pull", "sync pull", "Make a local folder equal to a folder of the store"},
    {Direction::kPut, "push", "sync push", "Make a folder of the store equal to a local folder"},
};

constexpr char kFooter[] =
    R"(Prints a plan first: what will be copied, created and deleted, and how much.
Deletes only with --delete. Refuses an empty source, because a share that is not
mounted looks like one. Reports and skips (exit 3): a file on one side and a
folder on the other, pipes, dangling links and links that form a loop, names
with a backslash, links that lead out of the target, and folders to be deleted
that contain names which --exclude or --pattern protects.

Examples:
  tvl -n sync pull docs docs                          print the plan only
  tvl sync pull docs /home/me/docs
  tvl sync push docs docs --delete --max-delete 10%
  tvl sync pull docs docs --exclude database,pdf)";

void AddSyncCommand(const SyncCommand& about, CLI::App& group, Invocation& invocation) {
  auto request = std::make_shared<SyncRequest>();
  CLI::App& command =
      AddCommand(group, about.name, about.description, about.path, invocation,
                 [direction = about.direction, request](const Options& options, Reporter& reporter) {
                   return RunSync(direction, options, reporter, *request);
                 });
  AddText(command, "REMOTE", request->remote, "Folder in the store", "").required();
  AddText(command, "LOCAL", request->local, "Local folder", "").required();
  AddText(command, "--pattern", request->pattern,
          "Synchronize only matching names of files and folders, on every level", "PATTERN");
  AddText(
      command, "--exclude", request->exclude,
      "Ignore files by extension: database (mdb, ldb), document (doc, docx, rtf), pdf; separated by commas",
      "KINDS");
  command.add_flag("--delete", request->remove, "Delete files and folders that the source does not have");
  command.add_flag("--follow", request->follow, "Write through links that lead out of the target");
  command
      .add_option_function<std::string>(
          "--max-delete",
          [request](const std::string& text) {
            request->most_deletions = text;
            request->limits_deletions = true;
          },
          "Do nothing if more than N files and folders would be deleted, or more than N% of those on the "
          "target")
      ->type_name("N|N%");
  command.footer(kFooter);
}

}  // namespace

void AddSyncCommands(CLI::App& app, Invocation& invocation) {
  CLI::App* group = app.add_subcommand("sync", "Synchronize a folder of the store with a local folder");
  group->require_subcommand(1);
  group->footer("Examples:\n  tvl -n sync pull docs docs\n  tvl sync push docs docs --delete");
  for (const SyncCommand& command : kCommands) AddSyncCommand(command, *group, invocation);
}

}  // namespace tvl::cli

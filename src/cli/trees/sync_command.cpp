#include <CLI/CLI.hpp>
#include <memory>
#include <string>

#include "cli/command_line.h"
#include "cli/output/reporter.h"
#include "cli/trees/saved_sync_plan.h"
#include "cli/trees/sync.h"

namespace tvl::cli {
namespace {

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
  tvl sync pull docs docs --exclude database,pdf
  tvl sync push docs docs --delete --backup-dir old   keep old versions)";

constexpr char kRunFooter[] =
    R"(Carries out what 'tvl sync pull --plan FILE' or 'tvl sync push --plan FILE' has
planned. If a file of the plan has changed since, was removed or has appeared,
nothing is done (exit 1). Names that are not in the plan are left alone.

Examples:
  tvl sync push docs docs --delete --plan plan.json
  tvl -n sync run plan.json                           is it still valid?
  tvl sync run plan.json --check)";

// A plan is written without changing anything.
ExitStatus RunSyncCommand(Options options, Reporter& reporter, const SyncRequest& request) {
  if (!request.plan_file.empty()) {
    if (!request.backup_folder.empty() || request.check)
      throw Stop("--backup-dir and --check are options of the run", "give them to 'tvl sync run'");
    options.dry_run = true;
  }
  return RunSync(options, reporter, request);
}

ExitStatus RunSavedPlan(const Options& options, Reporter& reporter, SyncRequest request,
                        const std::string& file) {
  const SavedSyncPlan saved = ReadPlan(file);
  request.scope = saved.scope;
  return RunSync(options, reporter, request, &saved);
}

void AddRunOptions(CLI::App& command, SyncRequest& request) {
  AddText(
      command, "--backup-dir", request.backup_folder,
      "Keep what is replaced or deleted in this folder: a local one for a pull, one of the store for a push",
      "DIR");
  command.add_flag("--check", request.check,
                   "Afterwards compare the hash of each file on both sides; a difference is a failure");
}

void AddSyncCommand(const SyncCommand& about, CLI::App& group, Invocation& invocation) {
  auto request = std::make_shared<SyncRequest>();
  request->scope.direction = about.direction;
  CLI::App& command = AddCommand(group, about.name, about.description, about.path, invocation,
                                 [request](const Options& options, Reporter& reporter) {
                                   return RunSyncCommand(options, reporter, *request);
                                 });
  SyncScope& scope = request->scope;
  AddText(command, "REMOTE", scope.remote, "Folder in the store", "").required();
  AddText(command, "LOCAL", scope.local, "Local folder", "").required();
  AddText(command, "--pattern", scope.pattern,
          "Synchronize only matching names of files and folders, on every level", "PATTERN");
  AddText(
      command, "--exclude", scope.exclude,
      "Ignore files by extension: database (mdb, ldb), document (doc, docx, rtf), pdf; separated by commas",
      "KINDS");
  command.add_flag("--delete", scope.remove, "Delete files and folders that the source does not have");
  command.add_flag("--follow", scope.follow, "Write through links that lead out of the target");
  command
      .add_option_function<std::string>(
          "--max-delete", [request](const std::string& text) { request->most_deletions = text; },
          "Do nothing if more than N files and folders would be deleted, or more than N% of those on the "
          "target")
      ->type_name("N|N%");
  AddRunOptions(command, *request);
  AddText(command, "--plan", request->plan_file,
          "Write the plan to a file for 'tvl sync run', and change nothing", "FILE");
  command.footer(kFooter);
}

void AddRunCommand(CLI::App& group, Invocation& invocation) {
  auto request = std::make_shared<SyncRequest>();
  auto file = std::make_shared<std::string>();
  CLI::App& command =
      AddCommand(group, "run", "Carry out a plan exactly, or nothing if its files have changed since",
                 "sync run", invocation, [request, file](const Options& options, Reporter& reporter) {
                   return RunSavedPlan(options, reporter, *request, *file);
                 });
  AddText(command, "FILE", *file, "The plan", "").required();
  AddRunOptions(command, *request);
  command.footer(kRunFooter);
}

}  // namespace

void AddSyncCommands(CLI::App& app, Invocation& invocation) {
  CLI::App* group = app.add_subcommand("sync", "Synchronize a folder of the store with a local folder");
  group->require_subcommand(1);
  group->footer("Examples:\n  tvl -n sync pull docs docs\n  tvl sync push docs docs --delete");
  for (const SyncCommand& command : kCommands) AddSyncCommand(command, *group, invocation);
  AddRunCommand(*group, invocation);
}

}  // namespace tvl::cli

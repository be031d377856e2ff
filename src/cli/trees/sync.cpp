#include "cli/trees/sync.h"

#include <cerrno>
#include <filesystem>
#include <map>
#include <sstream>

#include <tvlclient/errors.h>

#include "cli/configuration.h"
#include "cli/file_status.h"
#include "cli/folder_trail.h"
#include "cli/host_path.h"
#include "cli/interrupt.h"
#include "cli/output/scan_notice.h"
#include "cli/output/text.h"
#include "cli/own_files.h"
#include "cli/store.h"
#include "cli/trees/deletion_limit.h"
#include "cli/trees/sync_plan.h"
#include "cli/trees/sync_work.h"

namespace tvl::cli {
namespace {

constexpr int kDumbPolicy = 0;

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
  Sync(const Options& options, Reporter& reporter, const SyncRequest& request, const SavedSyncPlan* saved)
      : options_(options),
        reporter_(reporter),
        request_(request),
        saved_(saved),
        direction_(request.scope.direction),
        rules_{request.scope.remove, request.scope.pattern, ExcludeFlags(request.scope.exclude),
               options.verbose || request.check},
        names_{TidyName(request.scope.remote), TidyName(WithoutDrive(Slashed(request.scope.local)))},
        store_(options, WorkingDirectory(), UseOf(options)) {
    if (request.most_deletions) limit_ = ParseDeletionLimit(*request.most_deletions);
  }

  ExitStatus Run() {
    if (store_.Client().DumbMode() != 0) return ReportNothingToDo();
    CheckPlaces();
    const std::string backups = BackupFolder();
    if (store_.Client().FileCmp() == kDumbPolicy)
      reporter_.Notice({}, "the store's FileCompare is dumb: only files of new folders are copied");
    CatchInterrupts(options_.quiet);
    std::optional<ScanNotice> notice(std::in_place, reporter_, SourcePath());
    const bool had_errors = Open();
    const std::string root = direction_ == Direction::kPut ? store_.StorePath({}) : TargetPath();
    SyncPlan plan(store_, direction_, rules_, WriteRoot(root, request_.scope.follow), had_errors);
    notice.reset();
    if (Interrupted()) throw Stop(SourcePath(), LibraryFailure(TVL_ERR_STOPPED));
    if (saved_ != nullptr) RestrictTo(*saved_, plan);
    SyncWork work(store_, reporter_, options_, plan);
    work.ReportPlan(request_.scope.remove);
    CheckPlan(plan);
    if (!request_.plan_file.empty()) Save(plan);
    if (options_.dry_run) {
      work.ReportDryRun();
    } else {
      if (!backups.empty() && store_.Directory()->SyncPlanBackups(backups.c_str()) != TVL_OK)
        throw Stop("--backup-dir", {kFailed, 0, "the path is too long", 0, backups});
      work.Run();
      if (request_.check && !Interrupted()) work.Check();
    }
    return work.Finish();
  }

 private:
  // The library appends the local name to its working directory, which is the root for an absolute name.
  [[nodiscard]] std::string WorkingDirectory() const {
    if (!options_.tcp.empty()) throw Stop(options_.tcp, LibraryFailure(TVL_ERR_NOT_SUPPORTED));
    const std::string local = Slashed(request_.scope.local);
    return IsFullPath(local) ? DriveOf(local) + "/" : FindWorkingDirectory(options_);
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
    if (!status->IsFolder()) throw Stop({}, {kFailed, 0, "the source is not a folder", 0, source});
    const std::string target = TargetPath();
    if (const auto there = StatusOf(target); there && !there->IsFolder())
      throw Stop({}, {kFailed, 0, "the target is not a folder", 0, target});
    if (LiesIn(source, target) || LiesIn(target, source))
      throw Stop(
          {}, {kFailed, 0, "source and target are the same folder, or one is inside the other", 0, target});
  }

  // Returns the full path of --backup-dir, which is on the same side as the target; empty without the option.
  [[nodiscard]] std::string BackupFolder() const {
    if (request_.backup_folder.empty()) return {};
    const std::string name = Slashed(request_.backup_folder);
    const std::string path = direction_ == Direction::kPut ? store_.StorePath(TidyName(name))
                             : IsFullPath(name)            ? name
                                                           : Joined(FindWorkingDirectory(options_), name);
    const auto refuse = [&](const std::string& why) {
      throw Stop("--backup-dir", {kFailed, 0, why, 0, path});
    };
    if (const auto status = StatusOf(path); status && !status->IsFolder()) refuse("is not a folder");
    if (LiesIn(path, SourcePath()) || LiesIn(path, TargetPath()))
      refuse("is inside the source or the target, so a later run would copy or delete it");
    if (OwnFiles(store_).AreIn(path)) refuse(kOwnFile);
    if (direction_ == Direction::kPut &&
        WriteRoot(store_.StorePath({}), request_.scope.follow).IsLeftBy(path))
      refuse(kLeadsOutText);
    return path;
  }

  void Save(const SyncPlan& plan) const {
    const std::string file = TextOf(std::filesystem::absolute(PathOf(HostName(request_.plan_file))));
    if (OwnFiles(store_).Include(file)) throw Stop("--plan", {kFailed, 0, kOwnFile, 0, file});
    SavedSyncPlan saved = {RealPath(store_.StorePath({})), request_.scope, {}};
    saved.scope.remote = names_.remote;
    saved.scope.local = store_.LocalPath(names_.local);
    for (const SyncEntry& entry : plan.Entries()) {
      if (IsToDo(entry.action)) saved.entries.push_back(LookAt(entry));
    }
    WritePlan(saved, file);
    reporter_.Notice({}, "wrote the plan to " + file);
  }

  // Throws Stop if what a saved plan relies on is no longer so. Removes all else from `plan`.
  void RestrictTo(const SavedSyncPlan& saved, SyncPlan& plan) {
    if (RealPath(store_.StorePath({})) != saved.store)
      throw Stop({}, {kFailed, 0, "the plan was made for another store", 0, saved.store});
    std::map<std::string, const PlannedEntry*> wanted;
    for (const PlannedEntry& entry : saved.entries) wanted[entry.name] = &entry;
    const auto is_planned = [&](const SyncEntry& entry) {
      const auto found = wanted.find(entry.name);
      if (found == wanted.end() || *found->second != LookAt(entry)) return false;
      wanted.erase(found);
      return true;
    };
    plan.Restrict(is_planned);
    for (const auto& [name, entry] : wanted)
      reporter_.Fail(name.empty() ? "." : name, {kFailed, 0, "has changed since the plan was made"});
    if (!wanted.empty()) throw Stop({}, {kFailed, 0, "the plan is out of date, so nothing was changed"});
  }

  // Returns true if the library had file errors.
  [[nodiscard]] bool Open() {
    std::string remote = names_.remote;
    std::string local = names_.local;
    std::string pattern = request_.scope.pattern;
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
                          *request_.most_deletions + " of --max-delete; nothing was changed",
                      0,
                      {}});
  }

  const Options& options_;
  Reporter& reporter_;
  const SyncRequest& request_;
  const SavedSyncPlan* const saved_;
  const Direction direction_;
  const SyncRules rules_;
  std::optional<DeletionLimit> limit_;
  const NamePair names_;
  Store store_;
};

}  // namespace

ExitStatus RunSync(const Options& options, Reporter& reporter, const SyncRequest& request,
                   const SavedSyncPlan* saved) {
  if (request.scope.pattern.find_first_of("/\\") != std::string::npos)
    throw Stop("a pattern matches names on every level and cannot contain a separator");
  return Sync(options, reporter, request, saved).Run();
}

}  // namespace tvl::cli

#include "cli/transfer/transfer.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <memory>
#include <optional>

#include <tvlclient/errors.h>
#include <tvlclient/store.h>

#include "cli/configuration.h"
#include "cli/file_access.h"
#include "cli/file_status.h"
#include "cli/host_path.h"
#include "cli/interrupt.h"
#include "cli/local_file.h"
#include "cli/output/progress.h"
#include "cli/output/text.h"
#include "cli/store.h"
#include "cli/transfer/folder_names.h"
#include "cli/transfer/transfer_batch.h"
#include "cli/transfer/transfer_log.h"
#include "cli/transfer/transfer_plan.h"

namespace tvl::cli {
namespace {

constexpr int kDumbPolicy = 0;
constexpr int kHashPolicy = 1;
constexpr int kTimePolicy = 2;
constexpr std::size_t kManyFiles = 8;
// Network file systems remember what they saw for at least a second.
constexpr std::chrono::milliseconds kRemembered{500};

// Names on both sides, and the working directory of the local names.
struct Places {
  std::vector<NamePair> names;
  std::string working_directory;
};

void MakeAbsolute(Places& places) {
  std::optional<std::string> drive;
  for (NamePair& pair : places.names) {
    if (!IsFullPath(pair.local)) pair.local = Joined(places.working_directory, pair.local);
    if (DriveOf(pair.local).empty()) pair.local.insert(0, DriveOf(places.working_directory));
    if (drive.value_or(DriveOf(pair.local)) != DriveOf(pair.local))
      throw Stop("the local names are on several drives", "use one command for each drive");
    drive = DriveOf(pair.local);
    pair.local = WithoutDrive(pair.local);
  }
  places.working_directory = drive.value_or(std::string()) + "/";
}

// Even if the working directory is the store's own folder, different names are different files.
bool HasTwoNames(const Places& places) {
  return std::any_of(places.names.begin(), places.names.end(),
                     [](const NamePair& pair) { return pair.local != pair.remote; });
}

// The library appends every local name to its working directory. If one name is absolute, all are made
// absolute and the working directory becomes the root of their drive.
Places FindPlaces(Direction direction, const Options& options, const TransferRequest& request) {
  Places places = {{}, FindWorkingDirectory(options)};
  places.names = PairNames(direction, request.names, request.other, places.working_directory);
  if (std::any_of(places.names.begin(), places.names.end(),
                  [](const NamePair& pair) { return IsFullPath(pair.local); }))
    MakeAbsolute(places);
  return places;
}

// Creates the folder and its missing parents. Returns 0 or an errno value.
int MakeFolders(const std::string& path) {
  for (std::size_t end = path.find('/', 1); end != std::string::npos; end = path.find('/', end + 1))
    static_cast<void>(MakeLocalFolder(path.substr(0, end)));
  const int problem = MakeLocalFolder(path);
  return problem == 0 || IsFolder(path) ? 0 : problem;
}

// Carries out a plan.
class Transfer {
 public:
  Transfer(Store& store, TransferLog& log, Direction direction, const Options& options, bool force)
      : store_(store),
        log_(log),
        direction_(direction),
        options_(options),
        force_(force),
        batch_(store, log, direction, options) {}

  void Run(Reporter& reporter, const TransferPlan& plan) {
    std::optional<Progress> progress;
    if (reporter.ShowsBar() && !options_.dry_run)
      progress.emplace(reporter.Terminal(), plan.Jobs().size(), plan.TotalBytes());
    if (plan.Jobs().size() > 1) batch_.Begin();
    for (std::size_t index = 0; index < plan.Jobs().size(); ++index) {
      const TransferJob& job = plan.Jobs()[index];
      if (Interrupted() || connection_lost_) break;
      if (std::chrono::steady_clock::now() - plan.Begin() > kRemembered) LookAhead(plan.Jobs(), index);
      if (progress) progress->Begin(job.names.Source(direction_), TargetPath(job), job.size.value_or(0));
      Do(job);
      if (progress) progress->End();
    }
    batch_.End();
  }

 private:
  [[nodiscard]] std::string TargetPath(const TransferJob& job) const {
    return direction_ != Direction::kPut ? store_.LocalPath(job.names.local)
                                         : store_.StorePath(job.names.remote);
  }

  [[nodiscard]] std::string SourcePath(const TransferJob& job) const {
    return direction_ != Direction::kPut ? store_.StorePath(job.names.remote)
                                         : store_.LocalPath(job.names.local);
  }

  [[nodiscard]] std::string StoreFolderOf(const TransferJob& job) const {
    const std::string path = store_.StorePath(job.names.remote);
    return path.substr(0, path.find_last_of('/') + 1);
  }

  // Lists a folder of the store shortly before the first of many of its files is examined, because the system
  // may have forgotten by then what it saw for the plan.
  void LookAhead(const std::vector<TransferJob>& jobs, std::size_t index) {
    if (!store_.IsDirectory() || (direction_ == Direction::kPut && jobs[index].is_new)) return;
    const std::string folder = StoreFolderOf(jobs[index]);
    if (folder == listed_) return;
    listed_ = folder;
    const std::size_t last = index + kManyFiles - 1;
    if (last < jobs.size() && StoreFolderOf(jobs[last]) == folder) static_cast<void>(FolderNames(folder));
  }

  void Do(const TransferJob& job) {
    if (job.folder) {
      DoFolder(job);
    } else if (direction_ == Direction::kCopy) {
      options_.dry_run ? PreviewCopy(job, Outcome::kWouldCopy, TVL_ERR_COPY) : CopyFile(job);
    } else if (options_.dry_run) {
      Preview(job);
    } else {
      DoFile(job);
    }
    if (!job.folder && direction_ != Direction::kPut) NotePointer(job);
  }

  // The rows of a table in a database server do not come with its data file.
  void NotePointer(const TransferJob& job) {
    if (TVLStoreFileKind(job.names.remote.c_str()) != TVL_FILE_TABLE) return;
    const std::string path = store_.IsDirectory() ? SourcePath(job) : TargetPath(job);
    if (TVLIsTablePointer(path.c_str()) != 0)
      log_.Notice(job.names.remote, "points to a table in PostgreSQL and contains no rows");
  }

  // Reports why the copy would fail, or else `outcome`.
  void PreviewCopy(const TransferJob& job, Outcome outcome, int code) {
    if (const auto failure = CopyProblem(SourcePath(job), TargetPath(job), code))
      return log_.ReportFailed(job.names, *failure);
    log_.Report(job.names, outcome, job.size);
  }

  // Two unreadable files compare as equal, and with the policy "dumb" so do missing ones. The library has
  // read both if it had no error.
  void ReportSame(const TransferJob& job) {
    const int policy = store_.Client().FileCmp();
    if (policy == kTimePolicy || (policy == kHashPolicy && !HadFileErrors()))
      return log_.Report(job.names, Outcome::kSame, job.size);
    const bool dumb = policy == kDumbPolicy;
    for (const std::string& path : {SourcePath(job), TargetPath(job)}) {
      const int problem = path.empty() ? 0 : ReadProblem(path);
      if (problem == 0) continue;
      if (dumb && problem == ENOENT && path == TargetPath(job))
        return log_.ReportSkipped(job.names,
                                  "missing on the other side; with FileCompare=dumb only -f transfers it");
      return log_.ReportFailed(job.names, SystemFailure("cannot be read", problem, path));
    }
    log_.Report(job.names, Outcome::kSame, job.size);
  }

  void CopyFile(const TransferJob& job) {
    std::string source = job.names.remote;
    std::string target = job.names.local;
    ForgetFileErrors();
    const int code = store_.Client().CopyServer2Server(source.data(), target.data(), 0);
    if (code != TVL_OK) return ReportFailed(job, code);
    batch_.Add(job, Outcome::kCopied);
  }

  void DoFile(const TransferJob& job) {
    std::string remote = job.names.remote;
    std::string local = job.names.local;
    int transferred = force_ ? 1 : 0;
    if (store_.IsDirectory()) store_.Directory()->TransfersExpectNew(job.is_new ? 1 : 0);
    ForgetFileErrors();
    const int code = direction_ == Direction::kGet
                         ? store_.Client().GetRemote(remote.data(), local.data(), &transferred)
                         : store_.Client().PutRemote(remote.data(), local.data(), &transferred);
    if (code != TVL_OK) return ReportFailed(job, code);
    if (transferred == 0) return ReportSame(job);
    batch_.Add(job, Outcome::kTransferred);
  }

  void Preview(const TransferJob& job) {
    std::string remote = job.names.remote;
    std::string local = job.names.local;
    int equal = 0;
    ForgetFileErrors();
    const int code = force_ ? TVL_OK : store_.Directory()->CompareRemote(remote.data(), local.data(), &equal);
    if (code != TVL_OK) return ReportFailed(job, code);
    if (equal != 0) return ReportSame(job);
    const int packing = direction_ == Direction::kPut ? TVL_ERR_ZIP : TVL_ERR_UNZIP;
    PreviewCopy(job, Outcome::kWouldTransfer, store_.Client().ZipOnTransfert() != 0 ? packing : TVL_ERR_COPY);
  }

  void DoFolder(const TransferJob& job) {
    if (IsFolder(TargetPath(job))) return;  // the folder already exists: nothing to report
    if (options_.dry_run) {
      const int problem = FolderProblem(TargetPath(job), true);
      if (problem == 0) return log_.Report(job.names, Outcome::kWouldMakeFolder, {});
      return log_.ReportFailed(job.names,
                               SystemFailure("folder cannot be created", problem, TargetPath(job)));
    }
    if (direction_ != Direction::kPut) {
      if (const int error = MakeFolders(TargetPath(job)))
        return log_.ReportFailed(job.names,
                                 SystemFailure("folder cannot be created", error, TargetPath(job)));
    } else {
      std::string remote = job.names.remote;
      std::string local = job.names.local;
      int transferred = 0;
      ForgetFileErrors();
      const int code = store_.Client().PutRemote(remote.data(), local.data(), &transferred);
      if (code != TVL_OK) return ReportFailed(job, code);
    }
    log_.Report(job.names, Outcome::kFolderMade, {});
  }

  void ReportFailed(const TransferJob& job, int code) {
    const Failure failure = store_.Explain(code, job.names, direction_);
    log_.ReportFailed(job.names, failure);
    connection_lost_ = failure.exit == kUnreachable;
  }

  Store& store_;
  TransferLog& log_;
  const Direction direction_;
  const Options& options_;
  const bool force_;
  TransferBatch batch_;
  bool connection_lost_ = false;
  std::string listed_;  // the folder of the store that was listed last
};

// If the working directory is the store's own folder, every existing file is already in its place.
void ReportNothingToDo(Store& store, TransferLog& log, const std::vector<NamePair>& names) {
  for (const NamePair& pair : names) {
    std::string remote = pair.remote;
    ForgetFileErrors();
    const int code = store.Client().ExistsRemote(remote.data());
    if (code == TVL_OK)
      log.Report(pair, Outcome::kNothingToDo, {});
    else
      log.ReportFailed(pair, store.Explain(code, pair));
  }
}

void CheckStoreOfTop(const Store& store, const Places& places) {
  if (store.Client().DumbMode() == 0 || WithoutDrive(places.working_directory) != "/") return;
  throw Stop({}, {kFailed, 0, "the store is the root folder, so absolute local names are inside it", 0, {}});
}

TransferLog::Shape ShapeOf(const TransferRequest& request, const Places& places) {
  if (request.recursive) return TransferLog::Shape::kTree;
  return places.names.size() == 1 ? TransferLog::Shape::kSingle : TransferLog::Shape::kSeveral;
}

}  // namespace

ExitStatus RunTransfer(Direction direction, const Options& options, Reporter& reporter,
                       const TransferRequest& request) {
  Places places = FindPlaces(direction, options, request);
  const auto use = UseOf(options);
  auto opened = std::make_unique<Store>(options, places.working_directory, use);
  if (opened->Client().DumbMode() != 0 && HasTwoNames(places)) {
    MakeAbsolute(places);
    opened = std::make_unique<Store>(options, places.working_directory, use);
  }
  Store& store = *opened;
  CheckStoreOfTop(store, places);
  CatchInterrupts(options.quiet);
  TransferLog log(reporter, options, direction, ShapeOf(request, places));
  if (store.Client().DumbMode() != 0) {
    ReportNothingToDo(store, log, places.names);
    return log.Finish(Interrupted());
  }
  if (store.Client().FileCmp() == kDumbPolicy && !request.force)
    log.Notice({},
               "the store's FileCompare is dumb: all files count as the same, and only -f transfers them");
  TransferPlan plan(store, log, direction, request.recursive, request.follow);
  plan.AddAll(places.names, reporter);
  Transfer(store, log, direction, options, request.force).Run(reporter, plan);
  return log.Finish(Interrupted());
}

ExitStatus RunCopies(Store& store, const Options& options, Reporter& reporter,
                     const std::vector<NamePair>& names, bool recursive, bool follow) {
  CatchInterrupts(options.quiet);
  const auto shape = recursive           ? TransferLog::Shape::kTree
                     : names.size() == 1 ? TransferLog::Shape::kSingle
                                         : TransferLog::Shape::kSeveral;
  TransferLog log(reporter, options, Direction::kCopy, shape);
  TransferPlan plan(store, log, Direction::kCopy, recursive, follow);
  plan.AddAll(names, reporter);
  Transfer(store, log, Direction::kCopy, options, true).Run(reporter, plan);
  return log.Finish(Interrupted());
}

}  // namespace tvl::cli

#include "cli/trees/sync_work.h"

#include <tvlclient/errors.h>
#include <tvlclient/tvl.h>

#include "cli/file_access.h"
#include "cli/held_files.h"
#include "cli/interrupt.h"
#include "cli/output/columns.h"
#include "cli/output/scan_notice.h"
#include "cli/output/text.h"

namespace tvl::cli {
namespace {

constexpr std::chrono::seconds kProgressInterval{1};

struct ActionWords {
  SyncAction action;
  const char* key;     // in the plan's document
  const char* label;   // in the plan's table
  const char* result;  // in JSON output, with -n
  const char* words;   // in text output, with -n
  bool skipped;        // requested, but not done
};
constexpr ActionWords kWords[kSyncActions] = {
    {SyncAction::kCopy, "copy", "to copy", "would_copy", "would be copied", false},
    {SyncAction::kSame, "same", "the same", "same", "already the same", false},
    {SyncAction::kMakeFolder, "folders", "folders to create", "would_make_folder", "folder would be created",
     false},
    {SyncAction::kDelete, "delete", "to delete", "would_delete", "would be deleted", false},
    {SyncAction::kExtra, "extra", "only on the target, kept without --delete", "extra",
     "only on the target, kept without --delete", false},
    {SyncAction::kClash, "clash", "skipped, a file on one side and a folder on the other", "clash",
     "skipped: a file on one side and a folder on the other", true},
    {SyncAction::kOwn, "own", "skipped, the store's own files", "own", "skipped: belongs to the store itself",
     false},
    {SyncAction::kOwnTarget, "own_target", "skipped, belong to the store itself", "own_target",
     "skipped: belongs to the store itself", true},
    {SyncAction::kLeadsOut, "leads_out", "skipped, links lead out of the target", "leads_out",
     "skipped: a link leads out of the target; --follow allows this", true},
    {SyncAction::kUnreadable, "unreadable", "unreadable", "unreadable", "cannot be read", true},
    {SyncAction::kUncertain, "uncertain", "not deleted, perhaps still in the source", "uncertain",
     "not deleted: it may still exist in the source", true},
    {SyncAction::kHoldsKept, "holds_kept", "not deleted, contain excluded names", "holds_kept",
     "not deleted: it contains names that --exclude or --pattern protects", true},
    {SyncAction::kNoFile, "no_file", "skipped, neither files nor folders", "no_file",
     "skipped: neither a file nor a folder", true},
    {SyncAction::kNothing, "dangling", "skipped, dangling links", "dangling", "skipped: a dangling link",
     true},
    {SyncAction::kBackslash, "backslash", "skipped, the name contains a backslash", "backslash",
     "skipped: its name contains a backslash", true},
    {SyncAction::kLeadsBack, "circle", "skipped, links that form a loop", "circle",
     "skipped: a link that forms a loop", true},
    {SyncAction::kUnreachable, "unreachable", "not completely readable", "unreachable",
     "cannot be read completely, or its path is too long", true},
};

const ActionWords& WordsOf(SyncAction action) {
  return kWords[static_cast<std::size_t>(action)];
}

bool IsFailure(SyncAction action) {
  return action == SyncAction::kUnreachable || action == SyncAction::kUnreadable;
}

std::string ShownName(const SyncEntry& entry) {
  return entry.name.empty() ? "." : entry.name;
}

// Returns the SHA-1 of a file in hexadecimal, empty if it cannot be read.
std::string HashOfFile(std::string path) {
  const std::string signature = GetFileSignature(path.data());
  const std::size_t bar = signature.find('|');
  return bar == std::string::npos ? std::string() : signature.substr(bar + 1);
}

Failure FailureOf(const SyncEntry& entry, const char* words) {
  if (entry.action == SyncAction::kUnreadable) {
    for (const std::string& path : {entry.source, entry.target}) {
      if (const int problem = ReadProblem(path)) return {kFailed, 0, words, problem, path};
    }
  }
  return {kFailed, 0, words, 0, {}};
}

// Words for what was done.
struct DoneWords {
  SyncAction action;
  const char* result;
  const char* words;
};
constexpr DoneWords kDoneWords[] = {{SyncAction::kCopy, "copied", "copied"},
                                    {SyncAction::kMakeFolder, "folder_made", "folder created"},
                                    {SyncAction::kDelete, "deleted", "deleted"}};

const DoneWords* DoneWordsOf(SyncAction action) {
  for (const DoneWords& row : kDoneWords) {
    if (row.action == action) return &row;
  }
  return nullptr;
}

}  // namespace

SyncWork::SyncWork(Store& store, Reporter& reporter, const Options& options, const SyncPlan& plan)
    : store_(store), reporter_(reporter), options_(options), plan_(plan) {
  for (const SyncEntry& entry : plan.Entries()) {
    if (entry.action == SyncAction::kCopy) copies_.push_back(&entry);
  }
}

void SyncWork::ReportPlan(bool removing) {
  if (reporter_.PrintsJson()) {
    JsonObject plan;
    for (const ActionWords& words : kWords) {
      const SyncSum& sum = plan_.Sum(words.action);
      JsonObject row;
      row.Number("count", sum.entries);
      row.Number("files", sum.files);
      plan.Object(words.key, row.Number("bytes", sum.bytes));
    }
    reporter_.Print(reporter_.Document().Object("plan", plan.Flag("delete_allowed", removing)));
    return;
  }
  if (options_.quiet) return;
  std::vector<std::vector<std::string>> rows;
  for (const ActionWords& words : kWords) {
    const SyncSum& sum = plan_.Sum(words.action);
    const bool always = words.action == SyncAction::kCopy || words.action == SyncAction::kSame;
    if (sum.entries == 0 && !always) continue;
    const bool has_bytes = sum.files > 0;
    rows.push_back({words.label, std::to_string(sum.files > 0 ? sum.files : sum.entries),
                    has_bytes ? HumanBytes(sum.bytes) : "-"});
  }
  for (const std::string& line : InColumns(rows)) reporter_.PrintLine("plan: " + line);
}

void SyncWork::Report(const SyncEntry& entry, const char* result, const char* words, bool worth_a_line) {
  if (reporter_.PrintsJson()) {
    JsonObject document = reporter_.Document().Text("name", ShownName(entry)).Text("result", result);
    if (entry.files > 0) document.Number("size", entry.bytes);
    reporter_.Print(document);
  } else if (worth_a_line || options_.verbose) {
    reporter_.PrintDone(ShownName(entry) + ": " + words);
  }
}

void SyncWork::ReportFailed(const SyncEntry& entry, const Failure& failure) {
  reporter_.Fail(ShownName(entry), failure);
}

void SyncWork::ReportDryRun() {
  for (const SyncEntry& entry : plan_.Entries()) {
    const ActionWords& words = WordsOf(entry.action);
    if (IsFailure(entry.action)) {
      ReportFailed(entry, FailureOf(entry, words.words));
    } else if (entry.action != SyncAction::kSame || options_.verbose) {
      Report(entry, words.result, words.words, entry.action != SyncAction::kOwn);
    }
  }
}

void SyncWork::ReportSkipped() {
  for (const SyncEntry& entry : plan_.Entries()) {
    const ActionWords& words = WordsOf(entry.action);
    if (IsFailure(entry.action)) {
      ReportFailed(entry, FailureOf(entry, words.words));
    } else if (words.skipped || (options_.verbose &&
                                 (entry.action == SyncAction::kSame || entry.action == SyncAction::kExtra))) {
      Report(entry, words.result, words.words, words.skipped);
    }
  }
}

void SyncWork::Run() {
  ReportSkipped();
  if (reporter_.ShowsBar())
    bar_ =
        std::make_unique<Progress>(reporter_.Terminal(), copies_.size(), plan_.Sum(SyncAction::kCopy).bytes);
  BeginCopy();
  ForgetFileErrors();
  const std::uint64_t failed_before = reporter_.Failures();
  const int code = store_.Client().SyncDirSyncronize(OnCopied, this);
  Failure failure = LibraryFailure(code);
  failure.exit = kFailed;
  bar_.reset();
  ReportResults();
  if (code == TVL_OK || code == TVL_ERR_STOPPED || reporter_.Failures() > failed_before) return;
  reporter_.Fail({}, failure);
}

void SyncWork::Check() {
  const ScanNotice notice(reporter_, "comparing hashes");
  checked_ = 0;
  for (const SyncEntry& entry : plan_.Entries()) {
    if (Interrupted()) return;
    int code = TVL_OK;
    const bool is_file = entry.action == SyncAction::kCopy || entry.action == SyncAction::kSame;
    if (!is_file || store_.Directory()->SyncPlanResult(entry.index, &code) == 0 || code != TVL_OK) continue;
    CheckEntry(entry);
  }
}

void SyncWork::CheckEntry(const SyncEntry& entry) {
  ForgetFileErrors();
  const std::string source = HashOfFile(entry.source);
  const std::string target = source.empty() ? source : HashOfFile(entry.target);
  if (source.empty() || target.empty()) {
    const std::string& path = source.empty() ? entry.source : entry.target;
    ReportFailed(entry, SystemFailure("cannot be read for the check", TVLLastFileError(nullptr, 0), path));
  } else if (source != target) {
    ReportFailed(entry, {kFailed, 0, "differs from its source after the synchronization", 0, entry.target});
  } else {
    ++*checked_;
  }
}

void SyncWork::BeginCopy() {
  if (reached_ >= copies_.size()) return;
  const SyncEntry& entry = *copies_[reached_];
  if (bar_) bar_->Begin(entry.name, entry.target, entry.bytes);
}

void SyncWork::OnCopied(char* /*source*/, unsigned int /*size*/, void* work) {
  auto& self = *static_cast<SyncWork*>(work);
  if (self.reached_ >= self.copies_.size()) return;
  self.EndCopy();
  self.BeginCopy();
  ForgetFileErrors();
}

void SyncWork::EndCopy() {
  const SyncEntry& entry = *copies_[reached_++];
  if (bar_) bar_->End();
  bytes_reached_ += entry.bytes;
  ReportResults();
  ReportProgress();
}

// Reports final results. Copies that are synced together get their results together.
void SyncWork::ReportResults() {
  for (; reported_ < plan_.Entries().size(); ++reported_) {
    const SyncEntry& entry = plan_.Entries()[reported_];
    if (DoneWordsOf(entry.action) == nullptr) continue;
    int code = TVL_OK;
    if (store_.Directory()->SyncPlanResult(entry.index, &code) == 0) return;
    ReportResult(entry, code);
  }
}

void SyncWork::ReportResult(const SyncEntry& entry, int code) {
  if (code == TVL_ERR_STOPPED) return;
  if (code != TVL_OK) return ReportFailed(entry, WhyFailed(entry, code));
  if (entry.action == SyncAction::kCopy) {
    ++copied_;
    bytes_copied_ += entry.bytes;
  } else if (entry.action == SyncAction::kDelete) {
    deleted_ += entry.files;
  } else {
    ++folders_;
  }
  const DoneWords& words = *DoneWordsOf(entry.action);
  Report(entry, words.result, words.words, false);
}

Failure SyncWork::WhyFailed(const SyncEntry& entry, int code) const {
  Failure failure = {kFailed, code, MeaningOf(code).what, 0, entry.target};
  const char* path = nullptr;
  if (store_.Directory()->SyncPlanFailure(entry.index, &failure.error, &path) != 0 && *path != 0)
    failure.path = Slashed(path);
  if (entry.action != SyncAction::kDelete) return failure;
  const std::vector<HeldFile> held = HeldFilesAt(entry.target);
  if (!held.empty()) failure.what += ": it is in use: " + DescribeHeldFiles(held);
  return failure;
}

void SyncWork::ReportProgress() {
  if (!reporter_.PrintsJson()) return;
  const auto now = std::chrono::steady_clock::now();
  if (now - last_progress_ < kProgressInterval && reached_ < copies_.size()) return;
  last_progress_ = now;
  const double seconds = std::chrono::duration<double>(now - start_).count();
  const std::uint64_t total = plan_.Sum(SyncAction::kCopy).bytes;
  JsonObject progress;
  progress.Number("files", reached_);
  progress.Number("of_files", copies_.size());
  progress.Number("bytes", bytes_reached_);
  progress.Number("of_bytes", total);
  const auto rate = static_cast<std::int64_t>(static_cast<double>(bytes_reached_) / seconds);
  progress.Number("bytes_per_second", rate);
  if (rate > 0) progress.Number("seconds_left", static_cast<std::int64_t>(total - bytes_reached_) / rate);
  reporter_.Print(reporter_.Document().Object("progress", progress));
}

ExitStatus SyncWork::Status() const {
  if (Interrupted() && !options_.dry_run) return kInterrupted;
  if (reporter_.Failures() > 0) return kFailed;
  for (const ActionWords& words : kWords) {
    if (words.skipped && plan_.Sum(words.action).entries > 0) return kSkipped;
  }
  return kDone;
}

JsonObject SyncWork::Summary(ExitStatus status) const {
  const auto time =
      std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start_);
  JsonObject sum;
  sum.Number("copied", copied_);
  sum.Number("bytes", bytes_copied_);
  sum.Number("same", plan_.Sum(SyncAction::kSame).entries);
  sum.Number("folders", folders_);
  sum.Number("deleted", deleted_);
  if (checked_) sum.Number("checked", *checked_);
  std::uint64_t skipped = 0;
  for (const ActionWords& words : kWords) skipped += words.skipped ? plan_.Sum(words.action).entries : 0;
  sum.Number("clash", plan_.Sum(SyncAction::kClash).entries);
  sum.Number("skipped", skipped);
  sum.Number("failed", reporter_.Failures()).Number("milliseconds", time.count());
  sum.Flag("dry_run", options_.dry_run).Flag("interrupted", status == kInterrupted);
  return sum.Number("exit", static_cast<int>(status));
}

ExitStatus SyncWork::Finish() {
  const ExitStatus status = Status();
  if (reporter_.PrintsJson()) {
    reporter_.Print(reporter_.Document().Object("summary", Summary(status)));
  } else if (options_.dry_run) {
    reporter_.PrintDone("nothing was changed");
  } else {
    std::string line = status == kInterrupted ? "interrupted: " : "";
    line += Counted(copied_, "file") + " copied (" + HumanBytes(bytes_copied_) + "), " +
            std::to_string(plan_.Sum(SyncAction::kSame).entries) + " already the same";
    if (folders_ > 0) line += ", " + Counted(folders_, "folder") + " created";
    if (deleted_ > 0) line += ", " + std::to_string(deleted_) + " deleted";
    if (checked_) line += ", " + Counted(*checked_, "file") + " checked";
    if (reporter_.Failures() > 0) line += ", " + std::to_string(reporter_.Failures()) + " failed";
    reporter_.PrintDone(line);
  }
  return status;
}

}  // namespace tvl::cli

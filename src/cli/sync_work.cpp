#include "cli/sync_work.h"

#include <sys/stat.h>

#include <tvlclient/errors.h>

#include "cli/columns.h"
#include "cli/file_access.h"
#include "cli/held_files.h"
#include "cli/interrupt.h"
#include "cli/json.h"
#include "cli/text.h"

namespace tvl::cli {
namespace {

constexpr std::chrono::seconds kProgressInterval{1};

struct ActionWords {
  SyncAction action;
  const char* key;     // in the plan's document
  const char* label;   // in the plan's table
  const char* result;  // of a line for a program, with -n
  const char* words;   // of a line for a person, with -n
  bool skipped;        // something was asked for and is not done
};
constexpr ActionWords kWords[kSyncActions] = {
    {SyncAction::kCopy, "copy", "to copy", "would_copy", "would be copied", false},
    {SyncAction::kSame, "same", "the same", "same", "already the same", false},
    {SyncAction::kMakeFolder, "folders", "folders to make", "would_make_folder", "folder would be made",
     false},
    {SyncAction::kDelete, "delete", "to delete", "would_delete", "would be deleted", false},
    {SyncAction::kExtra, "extra", "on the target only, stay without --delete", "extra",
     "on the target only, stays without --delete", false},
    {SyncAction::kClash, "clash", "skipped, a file and a folder in each other's place", "clash",
     "skipped: a file and a folder stand in each other's place", true},
    {SyncAction::kOwn, "own", "left alone, the store's own", "own", "left alone: the store's own", false},
    {SyncAction::kOwnTarget, "own_target", "skipped, belong to the store itself", "own_target",
     "skipped: belongs to the store itself", true},
    {SyncAction::kLeadsOut, "leads_out", "skipped, lead out through a link on the target", "leads_out",
     "skipped: leads out through a link on the target; --follow allows it", true},
    {SyncAction::kUnreadable, "unreadable", "not to be read", "unreadable", "cannot be read", true},
    {SyncAction::kUncertain, "uncertain", "not deleted, the source cannot be told to lack them", "uncertain",
     "not deleted: the source cannot be told to lack it", true},
    {SyncAction::kUnreachable, "unreachable", "not to be read to the end", "unreachable",
     "cannot be read to its end, or its path is too long", true},
};

const ActionWords& WordsOf(SyncAction action) {
  return kWords[static_cast<std::size_t>(action)];
}

bool IsFailure(SyncAction action) {
  return action == SyncAction::kUnreachable || action == SyncAction::kUnreadable;
}

Failure FailureOf(const SyncEntry& entry, const char* words) {
  if (entry.action == SyncAction::kUnreadable) {
    for (const std::string& path : {entry.source, entry.target}) {
      if (const int problem = ReadProblem(path)) return {kFailed, 0, words, problem, path};
    }
  }
  return {kFailed, 0, words, 0, {}};
}

bool IsThere(const std::string& path) {
  struct stat status = {};
  return lstat(path.c_str(), &status) == 0;
}

// The failure of the copy that has just ended, if it failed. The library's callback comes either way, but
// what failed last is known by its name.
bool TakeCopyFailure(const SyncEntry& entry, Failure& failure) {
  failure = LibraryFailure(TVL_ERR_COPY);
  if (failure.error == 0) return false;
  for (const std::string* path : {&entry.source, &entry.target}) {
    if (failure.path.ends_with(path->substr(path->find_last_of('/')))) return true;
  }
  return false;
}

}  // namespace

SyncWork::SyncWork(Store& store, Console& console, const Options& options, const SyncPlan& plan)
    : store_(store), console_(console), options_(options), plan_(plan) {
  for (const SyncEntry& entry : plan.Entries()) {
    if (entry.action == SyncAction::kCopy) copies_.push_back(&entry);
  }
}

void SyncWork::TellPlan(bool removing) {
  if (options_.json) {
    JsonObject plan;
    for (const ActionWords& words : kWords) {
      const SyncSum& sum = plan_.Sum(words.action);
      JsonObject row;
      row.Number("count", static_cast<std::int64_t>(sum.entries));
      row.Number("files", static_cast<std::int64_t>(sum.files));
      plan.Object(words.key, row.Number("bytes", static_cast<std::int64_t>(sum.bytes)));
    }
    console_.Out(
        JsonObject().Text("command", "sync").Object("plan", plan.Flag("delete_allowed", removing)).Line());
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
  for (const std::string& line : InColumns(rows)) console_.Out("plan: " + line);
}

void SyncWork::Tell(const SyncEntry& entry, const char* result, const char* words, bool worth_a_line) {
  const std::string name = entry.name.empty() ? "." : entry.name;
  if (options_.json) {
    JsonObject document;
    document.Text("command", "sync").Text("name", name).Text("result", result);
    if (entry.files > 0) document.Number("size", static_cast<std::int64_t>(entry.bytes));
    console_.Out(document.Line());
  } else if (!options_.quiet && (worth_a_line || options_.verbose)) {
    console_.Out(Printable(name) + ": " + words);
  }
}

void SyncWork::TellFailed(const SyncEntry& entry, const Failure& failure) {
  ++failed_;
  const std::string name = entry.name.empty() ? "." : entry.name;
  if (options_.json) {
    JsonObject document;
    document.Text("command", "sync").Text("name", name).Text("result", "failed");
    AddFailure(failure, document);
    console_.Out(document.Line());
  }
  console_.Err("tvl: sync " + Printable(name + ": " + failure.Message()));
}

// What is the same is told to those only who want every name.
void SyncWork::TellWouldBe() {
  for (const SyncEntry& entry : plan_.Entries()) {
    const ActionWords& words = WordsOf(entry.action);
    if (IsFailure(entry.action)) {
      TellFailed(entry, FailureOf(entry, words.words));
    } else if (entry.action != SyncAction::kSame || options_.verbose) {
      Tell(entry, words.result, words.words, entry.action != SyncAction::kOwn);
    }
  }
}

void SyncWork::TellLeftAlone() {
  for (const SyncEntry& entry : plan_.Entries()) {
    const ActionWords& words = WordsOf(entry.action);
    if (IsFailure(entry.action)) {
      TellFailed(entry, FailureOf(entry, words.words));
    } else if (words.skipped || (options_.verbose &&
                                 (entry.action == SyncAction::kSame || entry.action == SyncAction::kExtra))) {
      Tell(entry, words.result, words.words, words.skipped);
    }
  }
}

void SyncWork::Run() {
  TellLeftAlone();
  if (HasTerminal() && !options_.quiet && !options_.json)
    bar_ = std::make_unique<Progress>(console_, plan_.Sum(SyncAction::kCopy).bytes);
  BeginCopy();
  ForgetFileErrors();
  const std::uint64_t failed_before = failed_;
  const int code = store_.Client().SyncDirSyncronize(OnCopied, this);
  bar_.reset();
  if (code != TVL_OK && failed_ == failed_before) {
    ++failed_;
    console_.Err("tvl: sync: " + Printable(LibraryFailure(code).Message()));
  }
  TellFoldersAndDeletions();
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
  Failure failure;
  if (TakeCopyFailure(entry, failure)) {
    TellFailed(entry, failure);
  } else {
    ++copied_;
    bytes_copied_ += entry.bytes;
    Tell(entry, "copied", "copied", false);
  }
  TellProgress();
  if (Interrupted()) StopBehind(entry.index);
}

// The library goes on to the end of its plan, so the plan has to end here.
void SyncWork::StopBehind(int index) {
  stopped_behind_ = index;
  for (int later = index + 1; later < store_.Client().SyncPlanCount(); ++later)
    store_.Client().SyncPlanTakeOut(later);
}

void SyncWork::TellProgress() {
  if (!options_.json) return;
  const auto now = std::chrono::steady_clock::now();
  if (now - last_progress_ < kProgressInterval && reached_ < copies_.size()) return;
  last_progress_ = now;
  const double seconds = std::chrono::duration<double>(now - start_).count();
  const std::uint64_t total = plan_.Sum(SyncAction::kCopy).bytes;
  JsonObject progress;
  progress.Number("files", static_cast<std::int64_t>(reached_));
  progress.Number("of_files", static_cast<std::int64_t>(copies_.size()));
  progress.Number("bytes", static_cast<std::int64_t>(bytes_reached_));
  progress.Number("of_bytes", static_cast<std::int64_t>(total));
  const auto rate = static_cast<std::int64_t>(static_cast<double>(bytes_reached_) / seconds);
  progress.Number("bytes_per_second", rate);
  if (rate > 0) progress.Number("seconds_left", static_cast<std::int64_t>(total - bytes_reached_) / rate);
  console_.Out(JsonObject().Text("command", "sync").Object("progress", progress).Line());
}

void SyncWork::TellFoldersAndDeletions() {
  for (const SyncEntry& entry : plan_.Entries()) {
    if (stopped_behind_ >= 0 && entry.index > stopped_behind_) return;
    if (entry.action == SyncAction::kMakeFolder) {
      if (!IsThere(entry.target)) {
        TellFailed(entry, {kFailed, TVL_ERR_CREATE_DIR, MeaningOf(TVL_ERR_CREATE_DIR).what, 0, entry.target});
        continue;
      }
      ++folders_;
      Tell(entry, "folder_made", "folder made", false);
    } else if (entry.action == SyncAction::kDelete) {
      if (IsThere(entry.target)) {
        std::string what = "could not be deleted";
        const std::vector<HeldFile> held = HeldFilesAt(entry.target);
        if (!held.empty()) what += ": somebody stands in the way: " + DescribeHeldFiles(held);
        TellFailed(entry, {kFailed, TVL_ERR_DELETE_FILE, what, 0, entry.target});
        continue;
      }
      deleted_ += entry.files;
      Tell(entry, "deleted", "deleted", false);
    }
  }
}

ExitStatus SyncWork::Status() const {
  if (Interrupted() && !options_.dry_run) return kInterrupted;
  if (failed_ > 0) return kFailed;
  for (const ActionWords& words : kWords) {
    if (words.skipped && plan_.Sum(words.action).entries > 0) return kSkipped;
  }
  return kDone;
}

JsonObject SyncWork::Summary(ExitStatus status) const {
  const auto time =
      std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start_);
  JsonObject sum;
  sum.Number("copied", static_cast<std::int64_t>(copied_));
  sum.Number("bytes", static_cast<std::int64_t>(bytes_copied_));
  sum.Number("same", static_cast<std::int64_t>(plan_.Sum(SyncAction::kSame).entries));
  sum.Number("folders", static_cast<std::int64_t>(folders_));
  sum.Number("deleted", static_cast<std::int64_t>(deleted_));
  sum.Number("clash", static_cast<std::int64_t>(plan_.Sum(SyncAction::kClash).entries));
  sum.Number("failed", static_cast<std::int64_t>(failed_)).Number("milliseconds", time.count());
  sum.Flag("dry_run", options_.dry_run).Flag("interrupted", status == kInterrupted);
  return sum.Number("exit", status);
}

ExitStatus SyncWork::Finish() {
  const ExitStatus status = Status();
  if (options_.json) {
    console_.Out(JsonObject().Text("command", "sync").Object("summary", Summary(status)).Line());
  } else if (!options_.quiet && options_.dry_run) {
    console_.Out("nothing was changed");
  } else if (!options_.quiet) {
    std::string line = status == kInterrupted ? "interrupted: " : "";
    line += Counted(copied_, "file") + " copied (" + HumanBytes(bytes_copied_) + "), " +
            std::to_string(plan_.Sum(SyncAction::kSame).entries) + " already the same";
    if (folders_ > 0) line += ", " + Counted(folders_, "folder") + " made";
    if (deleted_ > 0) line += ", " + std::to_string(deleted_) + " deleted";
    if (failed_ > 0) line += ", " + std::to_string(failed_) + " failed";
    console_.Out(line);
  }
  return status;
}

}  // namespace tvl::cli

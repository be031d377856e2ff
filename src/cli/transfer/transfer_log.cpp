#include "cli/transfer/transfer_log.h"

#include "cli/output/text.h"

namespace tvl::cli {
namespace {

struct OutcomeWords {
  const char* line;
  const char* document;
  Outcome outcome;
  bool worth_a_line;  // printed for trees even without -v
};
constexpr OutcomeWords kOutcomeWords[] = {
    {"transferred", "transferred", Outcome::kTransferred, false},
    {"copied", "copied", Outcome::kCopied, false},
    {"would be copied", "would_copy", Outcome::kWouldCopy, true},
    {"already the same", "same", Outcome::kSame, false},
    {"would be transferred", "would_transfer", Outcome::kWouldTransfer, true},
    {"folder created", "folder_made", Outcome::kFolderMade, false},
    {"folder would be created", "would_make_folder", Outcome::kWouldMakeFolder, true},
    {"nothing to do: the working directory is the store's own folder", "nothing_to_do", Outcome::kNothingToDo,
     true},
};

const OutcomeWords& WordsOf(Outcome outcome) {
  for (const OutcomeWords& words : kOutcomeWords) {
    if (words.outcome == outcome) return words;
  }
  return kOutcomeWords[0];
}

struct DirectionWords {
  Direction direction;
  const char* remote_key;
  const char* local_key;
  const char* done;
};
constexpr DirectionWords kDirectionWords[] = {
    {Direction::kGet, "remote", "local", "transferred"},
    {Direction::kPut, "remote", "local", "transferred"},
    {Direction::kCopy, "source", "target", "copied"},
};

const DirectionWords& WordsOf(Direction direction) {
  for (const DirectionWords& words : kDirectionWords) {
    if (words.direction == direction) return words;
  }
  return kDirectionWords[0];
}

std::string Shown(const std::string& name) {
  return name.empty() ? "." : name;
}

// Formats source and target, or a single name if both are the same.
std::string ShownPair(const NamePair& names, Direction direction) {
  const std::string& source = names.Source(direction);
  const std::string& target = names.Target(direction);
  return source == target ? Shown(source) : Shown(source) + " -> " + Shown(target);
}

}  // namespace

TransferLog::TransferLog(Reporter& reporter, const Options& options, Direction direction, Shape shape)
    : reporter_(reporter), options_(options), direction_(direction), shape_(shape) {}

void TransferLog::Report(const NamePair& names, Outcome outcome, std::optional<std::uint64_t> size) {
  if (outcome == Outcome::kSame) ++same_;
  if (outcome == Outcome::kFolderMade || outcome == Outcome::kWouldMakeFolder) ++folders_;
  if (outcome == Outcome::kTransferred || outcome == Outcome::kWouldTransfer || outcome == Outcome::kCopied ||
      outcome == Outcome::kWouldCopy) {
    ++transferred_;
    bytes_ += size.value_or(0);
  }
  if (!reporter_.PrintsJson()) return ReportLine(names, outcome);
  JsonObject document = Document(names, WordsOf(outcome).document);
  if (size) document.Number("size", *size);
  reporter_.Print(document);
}

void TransferLog::ReportLine(const NamePair& names, Outcome outcome) {
  const OutcomeWords& words = WordsOf(outcome);
  if (shape_ == Shape::kTree && !options_.verbose && !words.worth_a_line) return;
  reporter_.PrintDone(ShownPair(names, direction_) + ": " + words.line);
}

JsonObject TransferLog::Document(const NamePair& names, const std::string& result) const {
  const DirectionWords& words = WordsOf(direction_);
  JsonObject document = reporter_.Document().Text(words.remote_key, names.remote);
  return document.Text(words.local_key, names.local).Text("result", result);
}

void TransferLog::ReportFailed(const NamePair& names, const Failure& failure) {
  reporter_.Fail(Shown(names.Source(direction_)), failure);
}

void TransferLog::ReportSkipped(const NamePair& names, const std::string& why) {
  ++skipped_;
  if (reporter_.PrintsJson()) reporter_.Print(Document(names, "skipped").Text("reason", why));
  reporter_.Notice(Shown(names.Source(direction_)), "skipped: " + why);
}

void TransferLog::Notice(const std::string& subject, const std::string& text) {
  reporter_.Notice(subject, text);
}

ExitStatus TransferLog::Status(bool interrupted) const {
  if (interrupted) return kInterrupted;
  const bool some_done = transferred_ + same_ + folders_ > 0;
  // A missing name among others counts as skipped. "Not found" would mean that nothing was done.
  if (reporter_.Failures() > 0)
    return reporter_.Exit() == kNotFound && some_done ? kSkipped : reporter_.Exit();
  return skipped_ > 0 ? kSkipped : kDone;
}

std::string TransferLog::Sum() const {
  std::string sum = Counted(transferred_, "file");
  sum += options_.dry_run ? " would be " : " ";
  sum += WordsOf(direction_).done;
  sum += " (" + HumanBytes(bytes_) + ")";
  if (direction_ != Direction::kCopy) sum += ", " + std::to_string(same_) + " already the same";
  if (folders_ > 0) sum += ", " + Counted(folders_, "empty folder");
  if (skipped_ > 0) sum += ", " + std::to_string(skipped_) + " skipped";
  if (reporter_.Failures() > 0) sum += ", " + std::to_string(reporter_.Failures()) + " failed";
  return sum;
}

JsonObject TransferLog::SumDocument(ExitStatus status) const {
  const auto time =
      std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start_);
  JsonObject sum;
  sum.Number(WordsOf(direction_).done, static_cast<std::int64_t>(transferred_));
  if (direction_ != Direction::kCopy) sum.Number("same", same_);
  sum.Number("folders", folders_);
  sum.Number("skipped", skipped_);
  sum.Number("failed", reporter_.Failures());
  sum.Number("bytes", bytes_);
  sum.Number("milliseconds", time.count());
  sum.Flag("dry_run", options_.dry_run).Flag("interrupted", status == kInterrupted);
  sum.Number("exit", static_cast<int>(status));
  return sum;
}

ExitStatus TransferLog::Finish(bool interrupted) {
  const ExitStatus status = Status(interrupted);
  if (reporter_.PrintsJson()) {
    if (shape_ != Shape::kSingle)
      reporter_.Print(reporter_.Document().Object("summary", SumDocument(status)));
  } else if (shape_ == Shape::kTree || (interrupted && shape_ == Shape::kSeveral)) {
    reporter_.PrintDone((interrupted ? "interrupted: " : "") + Sum());
  }
  return status;
}

}  // namespace tvl::cli

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
  const char* command;
  const char* remote_key;
  const char* local_key;
  const char* done;
};
constexpr DirectionWords kDirectionWords[] = {
    {Direction::kGet, "get", "remote", "local", "transferred"},
    {Direction::kPut, "put", "remote", "local", "transferred"},
    {Direction::kCopy, "cp", "source", "target", "copied"},
};

const DirectionWords& WordsOf(Direction direction) {
  for (const DirectionWords& words : kDirectionWords) {
    if (words.direction == direction) return words;
  }
  return kDirectionWords[0];
}

const char* CommandName(Direction direction) {
  return WordsOf(direction).command;
}

std::string Shown(const std::string& name) {
  return name.empty() ? "." : Printable(name);
}

// Formats source and target, or a single name if both are the same.
std::string ShownPair(const NamePair& names, Direction direction) {
  const std::string& source = names.Source(direction);
  const std::string& target = names.Target(direction);
  return source == target ? Shown(source) : Shown(source) + " -> " + Shown(target);
}

}  // namespace

TransferLog::TransferLog(Console& console, const Options& options, Direction direction, Shape shape)
    : console_(console), options_(options), direction_(direction), shape_(shape) {}

void TransferLog::Report(const NamePair& names, Outcome outcome, std::optional<std::uint64_t> size) {
  if (outcome == Outcome::kSame) ++same_;
  if (outcome == Outcome::kFolderMade || outcome == Outcome::kWouldMakeFolder) ++folders_;
  if (outcome == Outcome::kTransferred || outcome == Outcome::kWouldTransfer || outcome == Outcome::kCopied ||
      outcome == Outcome::kWouldCopy) {
    ++transferred_;
    bytes_ += size.value_or(0);
  }
  if (options_.json) {
    ReportDocument(names, WordsOf(outcome).document, size, nullptr);
  } else {
    ReportLine(names, outcome);
  }
}

void TransferLog::ReportLine(const NamePair& names, Outcome outcome) {
  const OutcomeWords& words = WordsOf(outcome);
  if (options_.quiet) return;
  if (shape_ == Shape::kTree && !options_.verbose && !words.worth_a_line) return;
  console_.Out(ShownPair(names, direction_) + ": " + words.line);
}

void TransferLog::ReportDocument(const NamePair& names, const std::string& result,
                                 std::optional<std::uint64_t> size, const Failure* failure) {
  JsonObject document;
  const DirectionWords& words = WordsOf(direction_);
  document.Text("command", words.command).Text(words.remote_key, names.remote);
  document.Text(words.local_key, names.local);
  document.Text("result", result);
  if (size) document.Number("size", *size);
  if (failure != nullptr) AddFailure(*failure, document);
  console_.Out(document.Line());
}

void TransferLog::ReportFailed(const NamePair& names, const Failure& failure) {
  ++failed_;
  failure_status_ = failed_ == 1 || failure_status_ == failure.exit ? failure.exit : kFailed;
  std::string line = std::string("tvl: ") + CommandName(direction_) + " ";
  line += Shown(names.Source(direction_)) + ": " + Printable(failure.Message());
  if (options_.verbose && failure.code != 0) line += " [" + LibraryText(failure.code) + "]";
  if (options_.json) ReportDocument(names, "failed", {}, &failure);
  console_.Err(line);
}

void TransferLog::ReportSkipped(const NamePair& names, const std::string& why) {
  ++skipped_;
  if (options_.json) {
    const Failure reason = {kSkipped, 0, why, 0, {}};
    ReportDocument(names, "skipped", {}, &reason);
  }
  Notice(std::string(CommandName(direction_)) + " " + Shown(names.Source(direction_)) + ": skipped: " + why);
}

void TransferLog::Notice(const std::string& text) {
  if (!options_.quiet) console_.Err("tvl: " + Printable(text));
}

ExitStatus TransferLog::Status(bool interrupted) const {
  if (interrupted) return kInterrupted;
  const bool some_done = transferred_ + same_ + folders_ > 0;
  // A missing name among others counts as skipped. "Not found" would mean that nothing was done.
  if (failed_ > 0) return failure_status_ == kNotFound && some_done ? kSkipped : failure_status_;
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
  if (failed_ > 0) sum += ", " + std::to_string(failed_) + " failed";
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
  sum.Number("failed", failed_);
  sum.Number("bytes", bytes_);
  sum.Number("milliseconds", time.count());
  sum.Flag("dry_run", options_.dry_run).Flag("interrupted", status == kInterrupted);
  sum.Number("exit", static_cast<int>(status));
  return sum;
}

ExitStatus TransferLog::Finish(bool interrupted) {
  const ExitStatus status = Status(interrupted);
  if (options_.json) {
    if (shape_ == Shape::kSingle) return status;
    JsonObject document;
    document.Text("command", CommandName(direction_)).Object("summary", SumDocument(status));
    console_.Out(document.Line());
  } else if (!options_.quiet && (shape_ == Shape::kTree || (interrupted && shape_ == Shape::kSeveral))) {
    console_.Out((interrupted ? "interrupted: " : "") + Sum());
  }
  return status;
}

}  // namespace tvl::cli

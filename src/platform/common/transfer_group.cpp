#include "platform/transfer_group.h"

#include <algorithm>
#include <cstddef>
#include <new>

#include "platform/last_error.h"

namespace tvl {

bool TransferGroup::IsFull() const {
  return entries_.size() >= most_ || bytes_ >= kMostBytes;
}

void TransferGroup::TakeDone() {
  entries_.push_back({{}, 0, false, {}});
}

// Without memory the copy cannot be repeated, which is necessary only rarely.
void TransferGroup::NoteCopy(CopyAttempt* copy, const char* source, const char* target,
                             CopiedTimes times) noexcept try {
  next_ = NotedCopy{copy, source, target, times};
} catch (const std::bad_alloc&) {
  next_.reset();
}

// Returns false for a copy that a later one of the same target must follow.
bool TransferGroup::Repeat(std::size_t index) const {
  const std::optional<NotedCopy>& noted = entries_.at(index).noted;
  const auto has_same_target = [&](const Entry& entry) {
    return entry.noted && entry.noted->target == noted->target;
  };
  const auto next = entries_.begin() + static_cast<std::ptrdiff_t>(index) + 1;
  if (!noted || std::any_of(next, entries_.end(), has_same_target)) return false;
  Writing writing;
  writing.safety = Safety::kWhole;
  writing.holds_small_parts = true;
  return IsCopied(noted->copy(noted->source.c_str(), noted->target.c_str(), writing, noted->times));
}

void TransferGroup::RenameAll() {
  for (Entry& entry : entries_) {
    if (entry.part.file == INVALID_HANDLE_VALUE) continue;
    entry.failed = !ReplaceTarget(entry.part);
    entry.part.file = INVALID_HANDLE_VALUE;
  }
}

// Copies that were complete before they joined the group are not affected.
void TransferGroup::FailAll(int problem) {
  for (Entry& entry : entries_) {
    if (entry.part.path.empty()) continue;
    entry.failed = true;
    NoteError(entry.part.target.c_str(), problem);
  }
}

std::vector<int> TransferGroup::Results() const {
  std::vector<int> results(entries_.size());
  std::transform(entries_.begin(), entries_.end(), results.begin(),
                 [](const Entry& entry) { return entry.failed ? entry.failure : 0; });
  return results;
}

}  // namespace tvl

#include "platform/transfer_group.h"

#include <algorithm>

#include "platform/last_error.h"

namespace tvl {

bool TransferGroup::IsFull() const {
  return entries_.size() >= most_ || bytes_ >= kMostBytes;
}

void TransferGroup::TakeDone() {
  entries_.push_back({{}, 0, false});
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

#include "platform/transfer_group.h"

#include <utility>

#include "platform/held_file.h"
#include "platform/last_error.h"
#include "platform/names.h"
#include "platform/windows/native.h"
#include "platform/windows/replace_file.h"

namespace tvl {

// There is none: parts of level 1 replace their targets at once.
class PartReplacer {};

bool ReplaceTarget(const FinishedPart& part) {
  ReleaseFile(part.file);
  if (CloseHandle(part.file) != 0)
    return ReplaceFile(part.path.c_str(), part.target.c_str(), false) == Replacement::kDone;
  NoteError(part.target.c_str(), LastErrorCode());
  native::Delete(part.path.c_str());
  return false;
}

// Nothing is kept for each file system: only single files can be flushed.
struct TransferGroup::Mounted {};

TransferGroup::TransferGroup() : most_(kMostFiles), process_(GetCurrentProcessId()) {}

TransferGroup::~TransferGroup() {
  Clear();
}

void TransferGroup::Take(FinishedPart part, std::uint64_t bytes, int failure) {
  entries_.push_back({std::move(part), failure, false, {}});
  bytes_ += bytes;
}

int TransferGroup::SyncParts() const {
  for (const Entry& entry : entries_) {
    if (entry.part.file == INVALID_HANDLE_VALUE) continue;
    if (const int problem = native::Flush(entry.part.file)) return problem;
  }
  return 0;
}

std::vector<int> TransferGroup::End() {
  const int problem = SyncParts();
  if (problem == 0)
    RenameAll();
  else
    FailAll(problem);
  std::vector<int> results = Results();
  Clear();
  return results;
}

void TransferGroup::Clear() {
  for (const Entry& entry : entries_) {
    if (entry.part.file == INVALID_HANDLE_VALUE) continue;
    ReleaseFile(entry.part.file);
    native::Close(entry.part.file);
    native::Delete(entry.part.path.c_str());
  }
  entries_.clear();
  bytes_ = 0;
}

}  // namespace tvl

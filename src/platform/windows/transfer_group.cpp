#include "platform/transfer_group.h"

#include <algorithm>

#include "platform/held_file.h"
#include "platform/last_error.h"
#include "platform/names.h"
#include "platform/windows/native.h"
#include "platform/windows/replace_file.h"

namespace tvl {

// There is none: parts of level 1 replace their targets at once.
class PartReplacer {};

namespace {

constexpr std::size_t kMostFiles = 1000;
constexpr std::uint64_t kMostBytes = std::uint64_t{256} << 20;

bool Rename(const FinishedPart& part) {
  ReleaseFile(part.file);
  if (CloseHandle(part.file) != 0)
    return ReplaceFile(part.path.c_str(), part.target.c_str(), false) == Replacement::kDone;
  NoteError(part.target.c_str(), LastErrorCode());
  native::Delete(part.path.c_str());
  return false;
}

}  // namespace

// Nothing is kept for each file system: only single files can be flushed.
struct TransferGroup::Mounted {};

TransferGroup::TransferGroup() : most_(kMostFiles), process_(GetCurrentProcessId()) {}

TransferGroup::~TransferGroup() {
  Clear();
}

bool TransferGroup::IsFull() const {
  return entries_.size() >= most_ || bytes_ >= kMostBytes;
}

void TransferGroup::Take(FinishedPart part, std::uint64_t bytes, int failure) {
  entries_.push_back({std::move(part), failure, false});
  bytes_ += bytes;
}

void TransferGroup::TakeDone() {
  entries_.push_back({{INVALID_HANDLE_VALUE, {}, {}, false, 0}, 0, false});
}

int TransferGroup::SyncParts() const {
  for (const Entry& entry : entries_) {
    if (entry.part.file == INVALID_HANDLE_VALUE) continue;
    if (const int problem = native::Flush(entry.part.file)) return problem;
  }
  return 0;
}

void TransferGroup::RenameAll() {
  for (Entry& entry : entries_) {
    if (entry.part.file == INVALID_HANDLE_VALUE) continue;
    entry.failed = !Rename(entry.part);
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

std::vector<int> TransferGroup::End() {
  std::vector<int> results(entries_.size());
  const int problem = SyncParts();
  if (problem == 0)
    RenameAll();
  else
    FailAll(problem);
  std::transform(entries_.begin(), entries_.end(), results.begin(),
                 [](const Entry& entry) { return entry.failed ? entry.failure : 0; });
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

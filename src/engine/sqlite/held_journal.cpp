#include "engine/sqlite/held_journal.h"

#include <algorithm>
#include <cstring>

namespace tvl::engine {

void HeldJournal::Reset() {
  state_ = State::kInFile;
  is_touched_ = is_whole_ = false;
  buffer_.Clear();
}

bool HeldJournal::Write(const void* bytes, std::size_t count, std::int64_t offset) {
  const bool begins = offset == 0 && (state_ == State::kInFile || state_ == State::kEnded);
  if (begins) Reset();
  is_whole_ = false;
  if (!begins && !Holds()) return false;
  if (offset > static_cast<std::int64_t>(kMost) || count > kMost - static_cast<std::size_t>(offset))
    return false;
  if (!buffer_.Put(bytes, count, static_cast<std::size_t>(offset))) return false;
  state_ = State::kHeld;
  return true;
}

std::size_t HeldJournal::Read(void* bytes, std::size_t count, std::int64_t offset) const {
  const std::size_t start = std::min(static_cast<std::size_t>(offset), buffer_.Size());
  return buffer_.Bytes().substr(start).copy(static_cast<char*>(bytes), count);
}

bool HeldJournal::IsComplete() const {
  return CanSealJournal(buffer_.Bytes()) && HasJournalHeader(buffer_.Bytes());
}

bool HeldJournal::IsDue() const {
  return IsComplete() || !CanSealJournal(buffer_.Bytes());
}

// The padding is not sealed, because SQLite overwrites it if the journal grows.
std::string_view HeldJournal::Sealed() {
  SealJournal(buffer_.Data(), buffer_.Size());
  const std::size_t sectors = (buffer_.Size() + kJournalHeader - 1) / kJournalHeader;
  return buffer_.Padded((sectors + 1) * kJournalHeader);
}

bool HeldJournal::End(bool is_void) {
  const bool has_ended = is_void || (Holds() && !is_touched_);
  Reset();
  if (has_ended) state_ = State::kEnded;
  return has_ended;
}

}  // namespace tvl::engine

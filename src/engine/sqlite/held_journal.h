#ifndef TVL_ENGINE_SQLITE_HELD_JOURNAL_H
#define TVL_ENGINE_SQLITE_HELD_JOURNAL_H

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "engine/sqlite/journal_seal.h"
#include "engine/sqlite/write_buffer.h"

namespace tvl::engine {

// The journal of a transaction, kept in memory until the table must be changed.
//
// SQLite writes a journal in parts and syncs it twice: its pages, and then the header that makes it valid. On
// a share each of these is a request. A journal that is sealed (journal_seal.h) can be written and synced in
// one step. A longer one than kMost is written in SQLite's way.
class HeldJournal {
 public:
  static constexpr std::size_t kMost = std::size_t{8} << 20;

  // For a journal that has just been opened.
  void Reset();

  // Keeps bytes of the journal, which begins with a write at 0. Returns false if they must go to the file; if
  // Holds() is still true, the file must first get what is held.
  [[nodiscard]] bool Write(const void* bytes, std::size_t count, std::int64_t offset);

  // Copies held bytes. Returns how many there are, at most `count`.
  [[nodiscard]] std::size_t Read(void* bytes, std::size_t count, std::int64_t offset) const;

  [[nodiscard]] bool Holds() const { return state_ == State::kHeld; }
  [[nodiscard]] std::size_t Size() const { return buffer_.Size(); }

  // Returns whether a sync must write the journal. SQLite syncs a journal without a header before it writes
  // the header; the sync after that is enough for one that is sealed.
  [[nodiscard]] bool IsDue() const;

  // Passes what is held to `write`, which writes it to the file and returns success. On failure it is still
  // held. A complete journal is sealed and followed by zeros, so that SQLite finds no old header after
  // it.
  template <typename Write>
  [[nodiscard]] bool WriteOut(Write write) {
    is_touched_ = true;
    is_whole_ = IsComplete();
    if (!write(is_whole_ ? Sealed() : buffer_.Bytes())) return false;
    state_ = State::kWritten;
    return true;
  }

  // Returns true if the file contains the whole journal as it was written out.
  [[nodiscard]] bool IsWhole() const { return state_ == State::kWritten && is_whole_; }

  // Ends the use of the journal. `is_void` states that its file is void already, also on the disk. Returns
  // false if the file must be emptied: neither is it void, nor was nothing of the journal written.
  [[nodiscard]] bool End(bool is_void);
  // Returns true if End returned true, so that nothing need be synced.
  [[nodiscard]] bool HasEnded() const { return state_ == State::kEnded; }

 private:
  enum class State { kInFile, kHeld, kWritten, kEnded };

  static constexpr std::size_t kMostPadding = 2 * kJournalHeader;

  [[nodiscard]] bool IsComplete() const;
  [[nodiscard]] std::string_view Sealed();

  State state_ = State::kInFile;
  bool is_touched_ = false;
  bool is_whole_ = false;
  WriteBuffer buffer_{kMost + kMostPadding};
};

}  // namespace tvl::engine

#endif

#ifndef TVL_ENGINE_SQLITE_KNOWN_CHANGE_H
#define TVL_ENGINE_SQLITE_KNOWN_CHANGE_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string_view>

#include "engine/sqlite/void_header.h"

namespace tvl::engine {

// The bytes of a table by which SQLite notices in each transaction that others have changed it, remembered
// with the stamp that its void journal had then.
//
// Whoever changes a table writes a journal first, and then leaves it with another stamp, or without one. So
// as long as the stamp is the same, these bytes are too, and need not be read again.
class KnownChange {
 public:
  static constexpr std::int64_t kStart = 24;
  static constexpr std::size_t kLength = 16;

  // For a new transaction, which has not examined the journal yet.
  void Forget() {
    seen_.reset();
    is_written_ = false;
  }

  // Notes the first bytes of the journal.
  void NoteJournal(std::string_view header) { seen_ = StampOf(header); }

  // Copies the bytes. Returns false if they are not known.
  [[nodiscard]] bool Copy(void* bytes) const {
    if (!seen_ || seen_ != stamp_) return false;
    std::memcpy(bytes, bytes_.data(), kLength);
    return true;
  }

  // Notes the bytes as they were read.
  void NoteRead(const void* bytes) {
    stamp_ = seen_;
    std::memcpy(bytes_.data(), bytes, kLength);
  }

  // Notes that the first page of the table, which contains the bytes, is written. They are known again once
  // the journal has a new header.
  void NoteWritten(const void* page) {
    stamp_.reset();
    is_written_ = true;
    std::memcpy(bytes_.data(), static_cast<const char*>(page) + kStart, kLength);
  }

  // Notes the header that was written to the journal.
  void NoteVoid(const VoidHeader& header) {
    if (is_written_) stamp_ = StampOf({header.data(), header.size()});
  }

 private:
  std::optional<Stamp> seen_;   // by this transaction
  std::optional<Stamp> stamp_;  // with which the bytes are known
  std::array<char, kLength> bytes_ = {};
  bool is_written_ = false;
};

}  // namespace tvl::engine

#endif

#ifndef TVL_ENGINE_SQLITE_JOURNAL_SEAL_H
#define TVL_ENGINE_SQLITE_JOURNAL_SEAL_H

#include <cstddef>
#include <string_view>

// A checksum of a whole rollback journal, in bytes of its header that SQLite does not use.
//
// SQLite's own checksums cover each 200th byte of a page, because it writes and syncs the pages before it
// makes the header valid. A journal that is written in one step needs more: after a power failure its header
// may be on the disk and some of its pages not. The table was not changed before all of the journal was on
// the disk, so a journal that does not match its seal must be ignored.

namespace tvl::engine {

// The length of the header of a journal that can be sealed.
constexpr std::size_t kJournalHeader = 512;

// Returns whether SQLite has completed the header. It is void until then.
[[nodiscard]] bool HasJournalHeader(std::string_view journal);

// Returns false for a journal whose header has another length.
[[nodiscard]] bool CanSealJournal(std::string_view journal);

// For a journal that can be sealed.
void SealJournal(char* journal, std::size_t length);

// Returns true for a journal that was sealed and is not complete. `journal` may be longer than what was
// sealed.
[[nodiscard]] bool IsJournalTorn(std::string_view journal);

}  // namespace tvl::engine

#endif

#ifndef TVL_ENGINE_SQLITE_VOID_HEADER_H
#define TVL_ENGINE_SQLITE_VOID_HEADER_H

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>

#include "engine/sqlite/journal_seal.h"

// The header that a client writes over that of a finished journal on SMB. It begins with a zero, so the
// journal is void, and ends with a stamp, a number that no other transaction has.

namespace tvl::engine {

using Stamp = std::array<char, 16>;
using VoidHeader = std::array<char, kJournalHeader>;

// Returns a header with a new stamp.
[[nodiscard]] VoidHeader MakeVoidHeader();

// Returns the stamp of a void header; nothing for other bytes.
[[nodiscard]] std::optional<Stamp> StampOf(std::string_view header);

}  // namespace tvl::engine

#endif

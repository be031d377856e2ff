#ifndef TVL_STORE_LOCK_RANGES_H
#define TVL_STORE_LOCK_RANGES_H

#include <cstdint>

// The byte ranges of a file that clients of a store lock. All clients of a store must agree on them.
//
// All of them are beyond any data, because on SMB a lock also prevents others from reading the range. A
// client locks the turn byte before a hold, a try or the use byte. So a conflict in the range of the hold
// always means that the file is held, regardless of what the lock query of a file system reports.

namespace tvl {

struct LockRange {
  std::int64_t start;
  std::int64_t length;  // 0 means to the end of any file
};

constexpr LockRange kWholeFile = {0, 0};

// Shared by all clients that have a table open. A try covers it too.
constexpr LockRange kUseByte = {std::int64_t{1} << 40, 1};

// Locked exclusively by the owner of a marker as long as it is alive.
constexpr LockRange kHoldRange = {std::int64_t{1} << 41, (std::int64_t{1} << 62) - (std::int64_t{1} << 41)};

// Locked exclusively for a moment by a client that is about to delete or replace a file.
constexpr LockRange kTryRange = {std::int64_t{1} << 40, (std::int64_t{1} << 62) - (std::int64_t{1} << 40)};

// Locked exclusively while a lock on one of the ranges above is requested.
constexpr LockRange kTurnByte = {std::int64_t{1} << 62, 1};

// The ranges of a try and its turn are adjacent, so an uncontended try needs only one call.
constexpr LockRange kTryWithTurn = {kTryRange.start, kTryRange.length + kTurnByte.length};
static_assert(kTryRange.start + kTryRange.length == kTurnByte.start);

// Earlier releases have no turn byte. They hold a whole file, and try with this range.
constexpr LockRange kEarlierTry = {0, std::int64_t{1} << 62};

// Only a hold by an earlier release covers this byte.
constexpr LockRange kBeyondTurn = {kTurnByte.start + kTurnByte.length, 1};

// The bytes that SQLite locks for its transactions. The first two are for a writer that waits for readers and
// for marking a writer. Readers share the others, and a writer locks them exclusively.
constexpr LockRange kSqliteRegion = {std::int64_t{1} << 30, 512};
constexpr LockRange kSqliteSharedBytes = {kSqliteRegion.start + 2, kSqliteRegion.length - 2};

// Shared by processes that open a file on SMB (host/opening_apart.h).
constexpr LockRange kOpeningByte = {kSqliteRegion.start + kSqliteRegion.length + 1, 1};

// Readers and writers of a table lock this byte before SQLite's region, so that readers cannot starve a
// writer.
constexpr LockRange kGateByte = {kSqliteRegion.start + kSqliteRegion.length, 1};

}  // namespace tvl

#endif

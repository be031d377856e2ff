#ifndef TVL_STORE_LOCK_RANGES_H
#define TVL_STORE_LOCK_RANGES_H

#include <cstdint>

// The byte ranges of a file on which clients of a store take locks. Every client of a store must agree on
// them.
//
// All of them are beyond any data, because on SMB a lock also bars others from reading the range. Anyone who
// wants a hold, a try or the use byte takes the turn byte first, so a refusal on the hold's range always
// means that the file is held, whatever the lock query of a file system reports.

namespace tvl {

struct LockRange {
  std::int64_t start;
  std::int64_t length;  // 0 reaches to the end of any file
};

constexpr LockRange kWholeFile = {0, 0};

// Shared by everyone who has a table open; a try covers it too.
constexpr LockRange kUseByte = {std::int64_t{1} << 40, 1};

// Held exclusively by the owner of a marker, for as long as it lives.
constexpr LockRange kHoldRange = {std::int64_t{1} << 41, (std::int64_t{1} << 62) - (std::int64_t{1} << 41)};

// Taken exclusively, for a moment, by anyone who is about to delete or replace a file.
constexpr LockRange kTryRange = {std::int64_t{1} << 40, (std::int64_t{1} << 62) - (std::int64_t{1} << 40)};

// Taken exclusively while a lock on one of the ranges above is requested.
constexpr LockRange kTurnByte = {std::int64_t{1} << 62, 1};

// A try and the turn for it are one range, so an uncontended try needs one call.
constexpr LockRange kTryWithTurn = {kTryRange.start, kTryRange.length + kTurnByte.length};
static_assert(kTryRange.start + kTryRange.length == kTurnByte.start);

// Earlier releases, which know no turn, hold a whole file, and try for this range.
constexpr LockRange kEarlierTry = {0, std::int64_t{1} << 62};

// Of all locks only a hold by an earlier release covers this byte.
constexpr LockRange kBeyondTurn = {kTurnByte.start + kTurnByte.length, 1};

// Where SQLite takes the locks of its transactions: a byte for a writer that waits for readers and one that
// marks a writer come first; the others are those that readers share and a writer takes exclusively.
constexpr LockRange kSqliteRegion = {std::int64_t{1} << 30, 512};
constexpr LockRange kSqliteSharedBytes = {kSqliteRegion.start + 2, kSqliteRegion.length - 2};

// Readers and writers of a table pass this byte on their way to SQLite's region, so that readers cannot
// starve a writer.
constexpr LockRange kGateByte = {kSqliteRegion.start + kSqliteRegion.length, 1};

}  // namespace tvl

#endif

#include "engine/sqlite/held_files.h"

#include <sqlite3.h>

#include <cstring>
#include <mutex>
#include <new>
#include <string>
#include <string_view>

#include "engine/sqlite/journal_seal.h"
#include "engine/sqlite/library.h"
#include "engine/sqlite/passage.h"
#include "engine/sqlite/region.h"
#include "engine/system.h"

namespace tvl::engine {
namespace {

using std::string_view;

sqlite3_vfs* base = nullptr;

Region* RegionInUse() {
  return CurrentPassage().region;
}

struct Changes {
  decltype(sqlite3_io_methods::xRead) read;
  decltype(sqlite3_io_methods::xWrite) write;
  decltype(sqlite3_io_methods::xTruncate) truncate;
  decltype(sqlite3_io_methods::xSync) sync;
  decltype(sqlite3_io_methods::xFileSize) size;
};

// The operations of a kind of file: those of SQLite, known once it has opened one, and those with our
// changes.
struct Operations {
  Changes changes;
  std::once_flag once;
  sqlite3_io_methods base;
  sqlite3_io_methods ours;
};
extern Operations rows;
extern Operations journals;

// SQLite only writes whole pages, and ignores the bits of a length that no page can have.
constexpr std::size_t kMostAtOnce = std::size_t{64} << 10;

int Put(const Operations& operations, sqlite3_file* file, string_view bytes, sqlite3_int64 offset) {
  int result = SQLITE_OK;
  while (result == SQLITE_OK && !bytes.empty()) {
    const string_view piece = bytes.substr(0, kMostAtOnce);
    result = operations.base.xWrite(file, piece.data(), static_cast<int>(piece.size()), offset);
    offset += static_cast<sqlite3_int64>(piece.size());
    bytes.remove_prefix(piece.size());
  }
  return result;
}

// Writes what was gathered. After a failure nothing is left of it: SQLite then restores the old pages.
int WriteGathered(sqlite3_file* file) {
  GatheredWrites& gathered = RegionInUse()->Gathered();
  if (gathered.IsEmpty()) return SQLITE_OK;
  const int result = Put(rows, file, gathered.Bytes(), gathered.Start());
  gathered.Clear();
  return result;
}

int WriteRows(sqlite3_file* file, const void* bytes, int count, sqlite3_int64 offset) {
  if (offset == 0) RegionInUse()->Change().NoteWritten(bytes);
  const auto size = static_cast<std::size_t>(count);
  GatheredWrites& gathered = RegionInUse()->Gathered();
  if (gathered.Add(bytes, size, offset)) return SQLITE_OK;
  if (const int problem = WriteGathered(file)) return problem;
  return gathered.Add(bytes, size, offset) ? SQLITE_OK : rows.base.xWrite(file, bytes, count, offset);
}

int ReadRows(sqlite3_file* file, void* bytes, int count, sqlite3_int64 offset) {
  if (const int problem = WriteGathered(file)) return problem;
  KnownChange& change = RegionInUse()->Change();
  const bool is_change = offset == KnownChange::kStart && count == static_cast<int>(KnownChange::kLength);
  if (is_change && change.Copy(bytes)) return SQLITE_OK;
  const int result = rows.base.xRead(file, bytes, count, offset);
  if (is_change && result == SQLITE_OK) change.NoteRead(bytes);
  return result;
}

int TruncateRows(sqlite3_file* file, sqlite3_int64 size) {
  if (const int problem = WriteGathered(file)) return problem;
  return rows.base.xTruncate(file, size);
}

int SizeOfRows(sqlite3_file* file, sqlite3_int64* size) {
  if (const int problem = WriteGathered(file)) return problem;
  return rows.base.xFileSize(file, size);
}

int SyncRows(sqlite3_file* file, int flags) {
  if (const int problem = WriteGathered(file)) return problem;
  return rows.base.xSync(file, flags);
}

int WriteOutJournal(sqlite3_file* file, Region& region) {
  int result = SQLITE_OK;
  static_cast<void>(region.Journal().WriteOut([&](string_view bytes) {
    // An older journal that is not used any more may be longer.
    if (!region.Seen().WasJournalEmpty()) result = journals.base.xTruncate(file, 0);
    if (result == SQLITE_OK) result = Put(journals, file, bytes, 0);
    return result == SQLITE_OK;
  }));
  return result;
}

int WriteJournal(sqlite3_file* file, const void* bytes, int count, sqlite3_int64 offset) {
  Region& region = *RegionInUse();
  if (region.Journal().Write(bytes, static_cast<std::size_t>(count), offset)) return SQLITE_OK;
  const int problem = region.Journal().Holds() ? WriteOutJournal(file, region) : SQLITE_OK;
  return problem != SQLITE_OK ? problem : journals.base.xWrite(file, bytes, count, offset);
}

int ReadJournal(sqlite3_file* file, void* bytes, int count, sqlite3_int64 offset) {
  const HeldJournal& held = RegionInUse()->Journal();
  if (!held.Holds()) return journals.base.xRead(file, bytes, count, offset);
  const auto wanted = static_cast<std::size_t>(count);
  const std::size_t length = held.Read(bytes, wanted, offset);
  std::memset(static_cast<char*>(bytes) + length, 0, wanted - length);
  return length == wanted ? SQLITE_OK : SQLITE_IOERR_SHORT_READ;
}

// Another header makes a journal void too. On SMB it is synced as it is written, while a truncation takes two
// requests, and a third to sync it.
bool MakeJournalVoid(sqlite3_file* file, KnownChange& change) {
  const VoidHeader header = MakeVoidHeader();
  if (Put(journals, file, {header.data(), header.size()}, 0) != SQLITE_OK) return false;
  change.NoteVoid(header);
  return true;
}

// SQLite truncates a journal only to nothing.
int TruncateJournal(sqlite3_file* file, sqlite3_int64 size) {
  Region& region = *RegionInUse();
  const bool is_void =
      region.Seen().SyncsJournal() && region.Journal().IsWhole() && MakeJournalVoid(file, region.Change());
  return region.Journal().End(is_void) ? SQLITE_OK : journals.base.xTruncate(file, size);
}

int SyncJournal(sqlite3_file* file, int flags) {
  Region& region = *RegionInUse();
  if (region.Journal().HasEnded() || (region.Journal().Holds() && !region.Journal().IsDue()))
    return SQLITE_OK;
  if (region.Journal().Holds()) {
    if (const int problem = WriteOutJournal(file, region)) return problem;
    if (region.Seen().SyncsJournal() && region.Seen().IsJournalNamed()) return SQLITE_OK;
  }
  return journals.base.xSync(file, flags);
}

int SizeOfJournal(sqlite3_file* file, sqlite3_int64* size) {
  const HeldJournal& held = RegionInUse()->Journal();
  if (!held.Holds()) return journals.base.xFileSize(file, size);
  *size = static_cast<sqlite3_int64>(held.Size());
  return SQLITE_OK;
}

Operations rows = {{ReadRows, WriteRows, TruncateRows, SyncRows, SizeOfRows}, {}, {}, {}};
Operations journals = {{ReadJournal, WriteJournal, TruncateJournal, SyncJournal, SizeOfJournal}, {}, {}, {}};

void Use(Operations& operations, sqlite3_file* file) {
  std::call_once(operations.once, [&] {
    operations.base = *file->pMethods;
    sqlite3_io_methods& ours = operations.ours = operations.base;
    ours.xRead = operations.changes.read;
    ours.xWrite = operations.changes.write;
    ours.xTruncate = operations.changes.truncate;
    ours.xSync = operations.changes.sync;
    ours.xFileSize = operations.changes.size;
  });
  file->pMethods = &operations.ours;
}

int Open(sqlite3_vfs* /*unused*/, const char* name, sqlite3_file* file, int flags, int* flags_in_use) {
  const int result = base->xOpen(base, name, file, flags, flags_in_use);
  if (result != SQLITE_OK || RegionInUse() == nullptr) return result;
  if ((flags & SQLITE_OPEN_MAIN_JOURNAL) != 0) {
    RegionInUse()->Journal().Reset();
    Use(journals, file);
  }
  if ((flags & SQLITE_OPEN_MAIN_DB) != 0) Use(rows, file);
  return result;
}

// Returns whether a journal has no header, or whether its writer ended before the journal was complete, and
// so before it changed the table.
bool IsVoid(const char* journal) {
  const std::string path = PathFromSqlite(journal);
  std::string bytes;
  int problem = ReadStart(path, 1, bytes);
  if (problem == 0 && (bytes.empty() || bytes[0] == 0)) return true;
  if (problem == 0) problem = ReadStart(path, HeldJournal::kMost, bytes);
  if (problem != 0) RegionInUse()->NoteUnseenJournal();
  return problem == 0 && IsJournalTorn(bytes);
}

int FindFile(sqlite3_vfs* /*unused*/, const char* name, int flags, int* is_there) {
  const int result = base->xAccess(base, name, flags, is_there);
  const bool is_journal = flags == SQLITE_ACCESS_EXISTS && string_view(name).ends_with("-journal");
  if (result != SQLITE_OK || *is_there == 0 || !is_journal || RegionInUse() == nullptr) return result;
  try {
    if (IsVoid(name)) *is_there = 0;
  } catch (const std::bad_alloc&) {
    return SQLITE_IOERR_NOMEM;
  }
  return SQLITE_OK;
}

}  // namespace

bool RegisterHeldFiles() {
  base = sqlite3_vfs_find(nullptr);
  if (base == nullptr) return false;
  static sqlite3_vfs ours = *base;
  ours.zName = "tvl";
  ours.xOpen = Open;
  ours.xAccess = FindFile;
  return sqlite3_vfs_register(&ours, 1) == SQLITE_OK;
}

}  // namespace tvl::engine

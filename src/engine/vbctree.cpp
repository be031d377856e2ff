#include "engine/vbctree.h"

#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>

#include "engine/batch.h"
#include "engine/current_record.h"
#include "engine/guarded.h"
#include "engine/last_error.h"
#include "engine/permission.h"
#include "engine/registry.h"
#include "engine/storage.h"
#include "record/field.h"

namespace {

using tvl::engine::CurrentRecord;
using tvl::engine::Guarded;
using tvl::engine::Key;
using tvl::engine::Layout;
using tvl::engine::NoteError;
using tvl::engine::Opened;
using tvl::engine::OpenTable;
using tvl::engine::Patience;
using tvl::engine::Problem;
using tvl::engine::ReadMode;
using tvl::engine::Registry;
using tvl::engine::Table;
using tvl::engine::Turn;

// Runs `action` on the storage of an open table, while the calling thread has the turn. Returns 1 if it
// returns true.
template <typename Action>
int OnTable(int handle, bool changes, Action action) noexcept {
  return Guarded(0, [&] {
    const Opened opened = Registry::Get().Find(handle);
    if (opened.table == nullptr) return 0;
    if (changes && opened.read_only) {
      NoteError("the table is open for reading", Problem::kReadOnly);
      return 0;
    }
    Patience patience;
    const Turn turn(opened.table->turn, patience);
    return turn.Has() && action(*opened.table->storage, patience) ? 1 : 0;
  });
}

int Read(int handle, int keyNumber, ReadMode mode, char* key, void* record) noexcept {
  if (key == nullptr || record == nullptr || keyNumber < 1 || keyNumber > 2) {
    NoteError("there is no such key");
    return 0;
  }
  return OnTable(handle, false, [=](Table& table, Patience& patience) {
    Key wanted(key, keyNumber == 1 ? table.Lengths().key1 : table.Lengths().key2);
    if (!table.Read(keyNumber, mode, wanted, nullptr, record, patience)) return false;
    wanted.CopyTo(key);
    return true;
  });
}

bool Write(Table& table, const char* key1, const char* key2, const void* record, Patience& patience) {
  const Layout& lengths = table.Lengths();
  return table.Write(Key(key1, lengths.key1), Key(key2, lengths.key2), record, patience);
}

bool HasText(const char* key) {
  return key != nullptr && *key != 0;
}

// Runs `action` on the field of the current record that `find` returns. Returns 1 if it returns true.
template <typename Find, typename Action>
int OnField(Find find, Action action) noexcept {
  return Guarded(0, [&] {
    const CurrentRecord& record = CurrentRecord::OfThread();
    const _format_* field = record.Memory() == nullptr ? nullptr : find(record);
    if (field == nullptr) NoteError("the current record has no such field");
    return field != nullptr && action(*field, record.Memory()) ? 1 : 0;
  });
}

template <typename Find>
int GetValue(Find find, char* destination) noexcept {
  if (destination == nullptr) return 0;
  return OnField(find, [=](const _format_& field, unsigned char* record) {
    const auto capacity = static_cast<std::size_t>(std::max(field.length, 2 * field.size)) + 1;
    return tvl::GetField(field, record, destination, capacity);
  });
}

template <typename Find>
int SetValue(Find find, const char* value) noexcept {
  if (value == nullptr) return 0;
  return OnField(find, [=](const _format_& field, unsigned char* record) {
    return tvl::SetField(field, record, value);
  });
}

auto ByName(const char* name) {
  return [name](const CurrentRecord& record) { return name == nullptr ? nullptr : record.Find(name); };
}

auto ByIndex(int index) {
  return [index](const CurrentRecord& record) { return record.At(index); };
}

int Open(const char* path, bool read_only) noexcept {
  if (path == nullptr) return -1;
  return Guarded(-1, [=] { return Registry::Get().Open(path, read_only); });
}

}  // namespace

const char* GetLastErrorText() {
  return tvl::engine::LastErrorText();
}

int IOpen(const char* path) {
  return Open(path, false);
}

int IREOpen(const char* path) {
  return Open(path, true);
}

int IClose(int handle) {
  return Guarded(0, [=] { return Registry::Get().Close(handle) ? 1 : 0; });
}

int GetLength(int handle, int selector) {
  return Guarded(-1, [=] {
    const Opened opened = Registry::Get().Find(handle);
    if (opened.table == nullptr || selector < 0 || selector > 2) return -1;
    const Layout& lengths = opened.table->storage->Lengths();
    const std::array<int, 3> selected = {lengths.record, lengths.key1, lengths.key2};
    return selected[static_cast<std::size_t>(selector)];
  });
}

int SetCurrentRecord(const char* schema, void* record, int recordLength) {
  return Guarded(0, [=] {
    return CurrentRecord::OfThread().Set(schema == nullptr ? "" : schema, record, recordLength) ? 1 : 0;
  });
}

int GetFieldValueByIdx(int index, char* destination) {
  return GetValue(ByIndex(index), destination);
}

int GetFieldValueByName(const char* name, char* destination) {
  return GetValue(ByName(name), destination);
}

int SetFieldValueByIdx(int index, const char* value) {
  return SetValue(ByIndex(index), value);
}

int SetFieldValueByName(const char* name, const char* value) {
  return SetValue(ByName(name), value);
}

int WriteKeys(int handle, const char* key1, const char* key2) {
  return OnTable(handle, true, [=](Table& table, Patience& patience) {
    const CurrentRecord& current = CurrentRecord::OfThread();
    if (current.Memory() == nullptr || current.Length() < 0) {
      NoteError("there is no current record");
      return false;
    }
    // The program's record may be shorter than that of the table.
    char record[tvl::engine::kLongestRecord];
    const auto whole = static_cast<std::size_t>(table.Lengths().record);
    const std::size_t given = std::min(static_cast<std::size_t>(current.Length()), whole);
    std::memcpy(record, current.Memory(), given);
    std::memset(record + given, ' ', whole - given);
    return Write(table, key1, key2, record, patience);
  });
}

int WriteRawKeys(int handle, const char* key1, const char* key2, const void* record) {
  if (record == nullptr) return 0;
  return OnTable(handle, true, [=](Table& table, Patience& patience) {
    return Write(table, key1, key2, record, patience);
  });
}

int DeleteKeys(int handle, const char* key1, const char* key2) {
  return OnTable(handle, true, [=](Table& table, Patience& patience) {
    const Layout& lengths = table.Lengths();
    const Key first(key1, lengths.key1);
    const Key second(key2, lengths.key2);
    return table.Delete(HasText(key1) ? &first : nullptr,
                        lengths.key2 > 0 && HasText(key2) ? &second : nullptr, patience);
  });
}

int ReadKeyEq(int handle, int keyNumber, char* key, void* record) {
  return Read(handle, keyNumber, ReadMode::kEqual, key, record);
}

int ReadKeyGt(int handle, int keyNumber, char* key, void* record) {
  return Read(handle, keyNumber, ReadMode::kGreater, key, record);
}

int ReadKeyGtEq(int handle, int keyNumber, char* key, void* record) {
  return Read(handle, keyNumber, ReadMode::kGreaterOrEqual, key, record);
}

int ReadKeyLt(int handle, int keyNumber, char* key, void* record) {
  return Read(handle, keyNumber, ReadMode::kLess, key, record);
}

int ReadKeyLtEq(int handle, int keyNumber, char* key, void* record) {
  return Read(handle, keyNumber, ReadMode::kLessOrEqual, key, record);
}

int CreateArchive(const char* path, int recordLength, int key1_length, int key2_length) {
  constexpr int failed = 1;
  const Layout layout = {recordLength, key1_length, key2_length};
  if (path == nullptr || !layout.IsValid()) {
    NoteError("the lengths of the table are out of bounds");
    return failed;
  }
  return Guarded(failed, [=] {
    Registry::Get();  // sets SQLite up
    return tvl::engine::MakeTable(tvl::engine::DataFilePath(tvl::engine::NamedPath(path)), layout) ? 0
                                                                                                   : failed;
  });
}

int BeginBatch(int handle, int for_writing) {
  return Guarded(0, [=] {
    const Opened opened = Registry::Get().Find(handle);
    if (opened.table == nullptr) return 0;
    if (for_writing != 0 && opened.read_only) {
      NoteError("the table is open for reading", Problem::kReadOnly);
      return 0;
    }
    return tvl::engine::BeginBatch(*opened.table, handle, for_writing != 0) ? 1 : 0;
  });
}

int EndBatch(int handle) {
  return Guarded(0, [=] {
    const Opened opened = Registry::Get().Find(handle);
    return opened.table != nullptr && tvl::engine::EndBatch(*opened.table, handle) ? 1 : 0;
  });
}

int GetLastProblem() {
  return static_cast<int>(tvl::engine::LastProblem());
}

int IsStillNamed(int handle) {
  return Guarded(0, [=] {
    const Opened opened = Registry::Get().Find(handle);
    return opened.table != nullptr && opened.table->file.IsStill(*opened.path) ? 1 : 0;
  });
}

int PermitTables(const char* folder, const char* file) {
  if (folder == nullptr || file == nullptr) return 0;
  return Guarded(0, [=] {
    tvl::engine::PermitTables(folder, file);
    return 1;
  });
}

void CloseAll() {
  Guarded(0, [] {
    Registry::Get().CloseAll();
    return 1;
  });
}

const char* GetEngineVersion() {
  return TVL_VERSION " (SQLite " SQLITE_VERSION ")";
}

#include <cstring>
#include <new>
#include <string_view>
#include <utility>

#include "base/fixed_text.h"
#include "base/path_helpers.h"
#include "client/opened_tables.h"
#include "directory/state.h"
#include "directory/table_keys.h"
#include "table/ctree_file.h"
#include "table/engine_binding.h"
#include "transfer/core.h"

namespace {

using std::string_view;
using tvl::TableBatch;

constexpr int kReadEqual = 0;
constexpr int kReadGreater = 1;
constexpr int kReadGreaterOrEqual = 2;
constexpr unsigned int kSearchSize = 1024;
static_assert(kSearchSize > CCtreeFile::kLongestKey);

// The search key of a read: padded with blanks to the length of the key, and terminated with a NUL.
class SearchKey {
 public:
  explicit SearchKey(int length) : length_(length) {
    std::memset(text_, ' ', static_cast<std::size_t>(length));
    text_[length] = 0;
  }

  // Overwrites the beginning with a text and its NUL.
  void Start(string_view text) {
    std::memcpy(text_, text.data(), text.size());
    text_[text.size()] = 0;
  }
  [[nodiscard]] bool StartsWith(string_view text) const {
    return std::memcmp(text_, text.data(), text.size()) == 0;
  }
  [[nodiscard]] char* Text() { return text_; }

  // Appends the key and its NUL to `rows`. Returns false if memory ran out.
  [[nodiscard]] bool AppendTo(CCore& rows) const {
    const std::uint32_t end = rows.length + static_cast<std::uint32_t>(length_) + 1;
    return rows.Append(text_, length_ + 1) == end;
  }

 private:
  char text_[kSearchSize];
  int length_;
};

enum class Scan { kGoesOn, kEnded, kOutOfMemory };

// The search for one item of a read list.
class ItemScan {
 public:
  ItemScan(const ItemScan&) = delete;  // it refers to a part of itself
  ItemScan& operator=(const ItemScan&) = delete;
  ItemScan(CCtreeFile& file, string_view item, int key_number, bool is_prefix)
      : file_(file),
        item_(item),
        key_number_(key_number),
        mode_(is_prefix ? kReadGreaterOrEqual : kReadEqual),
        is_prefix_(is_prefix),
        key1_(file.key1Len),
        key2_(file.key2Len),
        searched_(key_number == 1 ? key1_ : key2_) {
    searched_.Start(item);
  }

  // Appends the next row to `rows`. The engine stores the key that it found in the search key, so the next
  // read continues from there.
  Scan Next(CCore& rows) {
    const char* record = file_.ReadRawRec(searched_.Text(), key_number_, std::exchange(mode_, kReadGreater));
    if (record == nullptr || !searched_.StartsWith(item_)) return Scan::kEnded;
    if (!key1_.AppendTo(rows) || !key2_.AppendTo(rows)) return Scan::kOutOfMemory;
    const std::uint32_t end = rows.length + static_cast<std::uint32_t>(file_.datLen);
    return rows.Append(record, file_.datLen) == end ? Scan::kGoesOn : Scan::kOutOfMemory;
  }

  [[nodiscard]] bool IsPrefix() const { return is_prefix_; }

 private:
  CCtreeFile& file_;
  string_view item_;
  int key_number_;
  int mode_;
  bool is_prefix_;
  SearchKey key1_;
  SearchKey key2_;
  SearchKey& searched_;
};

// Reads all rows of an item. Returns false if memory ran out.
bool ReadItem(ItemScan& scan, CCore& block, int& rows) {
  for (;;) {
    const Scan result = scan.Next(block);
    if (result != Scan::kGoesOn) return result == Scan::kEnded;
    ++rows;
    if (!scan.IsPrefix()) return true;
  }
}

// Reads a part of a row from the block. Returns null if the block ends too early.
const char* TakePart(CCore& block, int length) {
  std::uint32_t taken = 0;
  const auto* part = static_cast<const char*>(block.Take(static_cast<std::uint32_t>(length), &taken));
  return taken == static_cast<std::uint32_t>(length) ? part : nullptr;
}

// Writes the next row of the block. Returns false if the block ends inside the row.
bool WriteRow(const CCtreeFile& file, CCore& block) {
  const char* key1 = TakePart(block, file.key1Len + 1);
  const char* key2 = TakePart(block, file.key2Len + 1);
  const char* record = TakePart(block, file.datLen);
  return key1 != nullptr && key2 != nullptr && record != nullptr && file.WriteRawRec(key1, key2, record) != 0;
}

bool DeleteExact(const CCtreeFile& file, const tvl::DeleteEntry& entry) {
  char buffer1[kKeySize];
  char buffer2[kKeySize];
  const char* key2 = KeyStrcpy(buffer2, entry.key2, file.key2Len);
  const char* key1 = KeyStrcpy(buffer1, entry.key1, file.key1Len);
  return file.DeleteRawRec(key1, key2) != 0;
}

// Searches from the prefix again after each deletion, so that no position in a changing index must be kept.
// An empty prefix matches nothing.
bool DeletePrefix(CCtreeFile& file, const char* prefix) {
  const std::size_t length = std::strlen(prefix);
  char buffer[kKeySize];
  while (KeyStrcpy(buffer, prefix, file.key1Len) != nullptr) {
    if (file.ReadRawRec(buffer, 1, kReadGreaterOrEqual) == nullptr) return true;
    if (strnlen(buffer, sizeof buffer) < length || std::memcmp(buffer, prefix, length) != 0) return true;
    if (file.DeleteRawRec(buffer, nullptr) == 0) return false;
  }
  return true;
}

// Copies the numbers of an entry to the outputs.
void Describe(const CtOpenedFile& entry, int& handle, int& datLen, int& key1Len, int& key2Len) {
  handle = entry.handle;
  datLen = entry.datLen;
  key1Len = entry.key1Len;
  key2Len = entry.key2Len;
}

}  // namespace

int CTVLClientSmbOpr::CTFileInit(char* name, int& handle, int datLen, int key1Len, int key2Len) {
  return state->LowCTFileOpen(name, handle, datLen, key1Len, key2Len, 1);
}

int CTVLClientSmbOpr::CTFileOpen(char* name, int& handle, int& datLen, int& key1Len, int& key2Len) {
  return state->LowCTFileOpen(name, handle, datLen, key1Len, key2Len, 0);
}

int CTVLClientSmbOpr::State::LowCTFileOpen(char* name, int& handle, int& datLen, int& key1Len, int& key2Len,
                                           int create) try {
  const tvl::PathText path = tvl::JoinPath(serverRoot, name);
  if (!path.Fits()) return create != 0 ? TVL_ERR_DELETE_FILE : TVL_ERR_SERVER_FILE;
  int index = opr.FindCtOpenedFile(path.Text());
  int code = TVL_OK;
  if (index < 0) {
    code = OpenNewTable(path.Text(), datLen, key1Len, key2Len, create);
    index = opr.ctOpenedCount - 1;
  } else if (create != 0) {
    code = RecreateTable(index, datLen, key1Len, key2Len);
  }
  if (code != TVL_OK) return code;
  CtOpenedFile& entry = opr.ctOpenedFiles[index];
  ++entry.refs;
  Describe(entry, handle, datLen, key1Len, key2Len);
  return TVL_OK;
} catch (const std::bad_alloc&) {
  return TVL_ERR_SERVER_FILE;
}

// Opens a table that is not in the registry, and adds it with a reference count of 0.
int CTVLClientSmbOpr::State::OpenNewTable(const char* path, int datLen, int key1Len, int key2Len,
                                          int create) {
  CCtreeFile file;
  if (create != 0 && CCtreeFile::CreateFiles(path, datLen, key1Len, key2Len) == 0) return TVL_ERR_DELETE_FILE;
  if (file.Open(path) == 0) return TVL_ERR_SERVER_FILE;
  const int index = opr.PushCtOpenedFile(path);  // moves the array
  CtOpenedFile& entry = opr.ctOpenedFiles[index];
  tvl::CopyCut(entry.path, path);
  entry.handle = std::exchange(file.handle, -1);  // now owned by the registry
  entry.datLen = file.datLen;
  entry.key1Len = file.key1Len;
  entry.key2Len = file.key2Len;
  return TVL_OK;
}

// Replaces a table that is open. The old handle becomes invalid. Removes the entry if the new table cannot be
// opened.
int CTVLClientSmbOpr::State::RecreateTable(int index, int datLen, int key1Len, int key2Len) {
  CtOpenedFile& entry = opr.ctOpenedFiles[index];
  CCtreeFile file;
  CCtreeFile::CloseHandle(entry.handle);
  int code = TVL_OK;
  if (CCtreeFile::CreateFiles(entry.path, datLen, key1Len, key2Len) == 0) {
    code = TVL_ERR_DELETE_FILE;
  } else if (file.Open(entry.path) == 0) {
    code = TVL_ERR_SERVER_FILE;
  }
  if (code != TVL_OK) {
    opr.PopCtOpenedFile(index);
    return code;
  }
  entry.handle = std::exchange(file.handle, -1);
  entry.datLen = datLen;
  entry.key1Len = key1Len;
  entry.key2Len = key2Len;
  entry.refs = 0;
  return TVL_OK;
}

int CTVLClientSmbOpr::CTFileClose(int handle) try {
  const int index = FindCtOpenedFile(handle);
  if (index < 0) return TVL_ERR_SERVER_FILE;
  if (ctOpenedFiles[index].refs > 1) {
    --ctOpenedFiles[index].refs;
    return TVL_OK;
  }
  CCtreeFile().CloseHandle(handle);
  PopCtOpenedFile(index);
  return TVL_OK;
} catch (const std::bad_alloc&) {
  return TVL_ERR_SERVER_FILE;
}

int CTVLClientSmbOpr::CTFileRead(int handle, int prefix, int& rows, char* readList, int keyNumber,
                                 void* block) try {
  rows = 0;
  state->met_table_damage = false;
  const int index = FindCtOpenedFile(handle);
  if (index < 0) return TVL_ERR_SERVER_FILE;
  tvl::ReadList list(readList);
  string_view item = list.Next();
  if (item.empty()) return TVL_OK;
  const CtOpenedFile& entry = ctOpenedFiles[index];
  CCtreeFile file;
  file.AttachHandle(handle, entry.datLen, entry.key1Len, entry.key2Len);
  const TableBatch batch(handle, TableBatch::Kind::kRead);
  if (!batch.HasBegun()) return TVL_ERR_SERVER_FILE;
  bool whole = true;
  for (; whole && !item.empty(); item = list.Next()) {
    ItemScan scan(file, item, keyNumber, prefix != 0);
    whole = ReadItem(scan, *static_cast<CCore*>(block), rows);
  }
  state->met_table_damage = batch.MetDamage();
  return whole ? TVL_OK : TVL_ERR_SERVER_FILE;
} catch (const std::bad_alloc&) {
  return TVL_ERR_SERVER_FILE;
}

int CTVLClientSmbOpr::CTFileWrite(int handle, int /*several*/, int rows, void* block) try {
  const int index = FindCtOpenedFile(handle);
  if (index < 0) return TVL_ERR_SERVER_FILE;
  if (rows <= 0) return TVL_OK;
  const CtOpenedFile& entry = ctOpenedFiles[index];
  CCtreeFile file;
  file.AttachHandle(handle, entry.datLen, entry.key1Len, entry.key2Len);
  TableBatch batch(handle, TableBatch::Kind::kWrite);
  if (!batch.HasBegun()) return TVL_ERR_RS_WRITE;
  for (int row = 0; row < rows; ++row) {
    if (!WriteRow(file, *static_cast<CCore*>(block))) return TVL_ERR_RS_WRITE;
  }
  return batch.End() ? TVL_OK : TVL_ERR_RS_WRITE;
} catch (const std::bad_alloc&) {
  return TVL_ERR_RS_WRITE;
}

int CTVLClientSmbOpr::CTFileDelete(int handle, int prefix, char* deleteList) try {
  state->met_table_damage = false;
  const int index = FindCtOpenedFile(handle);
  if (index < 0) return TVL_ERR_SERVER_FILE;
  const CtOpenedFile& entry = ctOpenedFiles[index];
  if (entry.key1Len >= kKeySize || entry.key2Len >= kKeySize) return TVL_ERR_RS_DELETE;
  CCtreeFile file;
  file.AttachHandle(handle, entry.datLen, entry.key1Len, entry.key2Len);
  TableBatch batch(handle, TableBatch::Kind::kWrite);
  if (!batch.HasBegun()) return TVL_ERR_RS_DELETE;
  tvl::DeleteEntry item = {};
  bool done = true;
  while (done && tvl::TakeDeleteEntry(deleteList, item)) {
    done = prefix != 0 ? DeletePrefix(file, item.key1) : DeleteExact(file, item);
  }
  state->met_table_damage = batch.MetDamage();
  return batch.End() && done ? TVL_OK : TVL_ERR_RS_DELETE;
} catch (const std::bad_alloc&) {
  return TVL_ERR_RS_DELETE;
}

int CTVLClientSmbOpr::MetTableDamage() const {
  return state->met_table_damage ? 1 : 0;
}

// Closes the tables of this connection, since the engine may stay loaded for another one. The entries remain
// with invalid handles.
void CTVLClientSmbOpr::State::CloseTables() {
  for (int i = 0; i < opr.ctOpenedCount; ++i) CCtreeFile::CloseHandle(opr.ctOpenedFiles[i].handle);
}

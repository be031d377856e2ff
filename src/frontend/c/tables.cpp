#include <cerrno>
#include <cstring>
#include <limits>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/fixed_text.h"
#include "base/path_helpers.h"
#include "frontend/c/paths.h"
#include "frontend/c/structs.h"
#include "frontend/c/table_handles.h"
#include "platform/files.h"
#include "store/layout.h"
#include "transfer/core.h"

namespace {

using std::string;
using std::string_view;
using tvl::c::OnDirectory;
using tvl::c::OnHandle;
using tvl::c::ReadOnly;
using tvl::c::RowBlock;
using tvl::c::TableLengths;

constexpr std::size_t kLongestRecord = 6143;
constexpr std::size_t kLongestKey = 255;
constexpr std::size_t kLongestReadList = 1023;
constexpr char kItemEnd = '\x01';
constexpr char kEntryEnd = '\x02';

// Separators of key lists cannot be part of a key.
bool IsKey(const char* key, std::size_t longest) {
  if (key == nullptr) return false;
  const string_view text = key;
  return !text.empty() && text.size() <= longest && text.find(kItemEnd) == string_view::npos &&
         text.find(kEntryEnd) == string_view::npos;
}

bool AreKeys(const char* const* keys, std::size_t count, std::size_t longest) {
  if (keys == nullptr) return count == 0;
  for (std::size_t at = 0; at < count; ++at) {
    if (!IsKey(keys[at], longest)) return false;
  }
  return true;
}

// Returns read lists that together contain the keys.
std::vector<string> ReadLists(const char* const* keys, std::size_t count) {
  std::vector<string> lists(1);
  for (std::size_t at = 0; at < count; ++at) {
    const string_view key = keys[at];
    if (lists.back().size() + key.size() + 1 > kLongestReadList) lists.emplace_back();
    lists.back().append(key).push_back(kItemEnd);
  }
  return lists;
}

// Returns a list of all prefixes of one byte, except for the separator of this list. Together they match all
// rows, except for keys that begin with it.
string EveryPrefix() {
  string list;
  for (int byte = kItemEnd + 1; byte <= 0xFF; ++byte) list.append({static_cast<char>(byte), kItemEnd});
  return list;
}

// Appends the rows of a list to `bytes`.
int ReadList(CTVLClientSmbOpr& client, const tvlc_table& table, int key_number, bool by_prefix, string& list,
             std::vector<unsigned char>& bytes) {
  CCore rows;
  int found = 0;
  if (const int code =
          client.CTFileRead(table.handle, by_prefix ? 1 : 0, found, list.data(), key_number, &rows))
    return code;
  if (client.MetTableDamage() != 0) return TVL_ERR_RS_READ;
  bytes.insert(bytes.end(), rows.data, rows.data + rows.length);
  return TVL_OK;
}

int Write(CTVLClientSmbOpr& client, const tvlc_table& table, RowBlock& rows) {
  std::vector<unsigned char>& bytes = rows.Bytes();
  if (bytes.size() > std::numeric_limits<std::uint32_t>::max()) return TVL_ERR_ARGUMENT;
  for (std::size_t row = 0; row < rows.Count(); ++row) {
    if (rows.Key(row, 1).empty()) return TVL_ERR_ARGUMENT;
  }
  CCore block;
  block.Attach(bytes.data(), static_cast<std::uint32_t>(bytes.size()), 0);  // lent
  const int code = client.CTFileWrite(table.handle, 1, static_cast<int>(rows.Count()), &block);
  block.Attach(nullptr, 0, 0);
  return code;
}

int Delete(CTVLClientSmbOpr& client, const tvlc_table& table, bool by_prefix, const char* const* keys,
           std::size_t count) {
  string list;
  for (std::size_t at = 0; at < count; ++at) list.append(keys[at]).append({kItemEnd, kEntryEnd});
  const int code = client.CTFileDelete(table.handle, by_prefix ? 1 : 0, list.data());
  return code == TVL_OK && client.MetTableDamage() != 0 ? TVL_ERR_RS_READ : code;
}

bool ArePossible(const TableLengths& lengths) {
  return lengths.record >= 1 && lengths.record <= kLongestRecord && lengths.key1 >= 1 &&
         lengths.key1 <= kLongestKey && lengths.key2 <= kLongestKey;
}

// The file of a table always has the extension of tables, also if the name has another one.
bool Exists(CTVLClientSmbOpr& client, const char* name) {
  const string path = tvl::JoinPath(client.ServerRoot(), name).Text();
  const std::size_t end = path.find_last_of(".\\");
  const string stem = end != string::npos && path[end] == '.' ? path.substr(0, end) : path;
  return tvl::NameExists((stem + tvl::kTableExtension).c_str());
}

int Refuse(const char* path, int reason) {
  tvl::NoteError(path, reason);
  return TVL_ERR_DELETE_FILE;
}

// Creates the handle of a table that `open` opens.
template <typename Open>
int OpenTable(tvlc_store* store, tvlc_table** table, Open open) {
  auto opened = std::make_unique<tvlc_table>();
  opened->connection = store->connection;
  int record = 0;
  int key1 = 0;
  int key2 = 0;
  if (const int code = open(opened->handle, record, key1, key2)) return code;
  opened->lengths = {static_cast<std::size_t>(record), static_cast<std::size_t>(key1),
                     static_cast<std::size_t>(key2)};
  *table = opened.release();
  return TVL_OK;
}

}  // namespace

int tvlc_table_open(tvlc_store* store, const char* name, tvlc_table** table) {
  return OnDirectory(store, {name, table}, [&](CTVLClientSmbOpr& client) -> int {
    return OpenTable(store, table, [&](int& handle, int& record, int& key1, int& key2) -> int {
      return client.CTFileOpen(ReadOnly(name), handle, record, key1, key2);
    });
  });
}

int tvlc_table_make(tvlc_store* store, const char* name, size_t record_length, size_t key1_length,
                    size_t key2_length, int replace, tvlc_table** table) {
  return OnDirectory(store, {name, table}, [&](CTVLClientSmbOpr& client) -> int {
    if (!ArePossible({record_length, key1_length, key2_length})) return TVL_ERR_ARGUMENT;
    if (replace == 0 && Exists(client, name)) return Refuse(name, EEXIST);
    return OpenTable(store, table, [&](int& handle, int& record, int& key1, int& key2) -> int {
      record = static_cast<int>(record_length);
      key1 = static_cast<int>(key1_length);
      key2 = static_cast<int>(key2_length);
      return client.CTFileInit(ReadOnly(name), handle, record, key1, key2);
    });
  });
}

// The connection closes its tables with itself.
int tvlc_table_close(tvlc_table* table) {
  if (table == nullptr) return TVL_OK;
  const int code = OnHandle(table, {}, [&]() -> int {
    if (CTVLClientSmbOpr* client = table->connection->Directory()) client->CTFileClose(table->handle);
    return TVL_OK;
  });
  if (code == TVL_ERR_BUSY) return code;
  delete table;
  return TVL_OK;
}

int tvlc_table_describe(tvlc_table* table, tvlc_table_info* info) {
  return OnHandle(table, {info}, [&]() -> int {
    if (!tvl::c::HasSize(info)) return TVL_ERR_ARGUMENT;
    const TableLengths& lengths = table->lengths;
    tvl::c::CopyStruct(tvlc_table_info{sizeof *info, lengths.record, lengths.key1, lengths.key2}, info);
    return TVL_OK;
  });
}

int tvlc_table_read(tvlc_table* table, int key_number, int by_prefix, const char* const* keys, size_t count,
                    tvlc_records* records) {
  return OnDirectory(table, {records}, [&](CTVLClientSmbOpr& client) -> int {
    const bool has_key = key_number == 1 || (key_number == 2 && table->lengths.key2 > 0);
    if (!has_key || records->connection != table->connection || records->rows.Lengths() != table->lengths ||
        !AreKeys(keys, count, table->lengths.Key(key_number)))
      return TVL_ERR_ARGUMENT;
    std::vector<string> lists = keys != nullptr ? ReadLists(keys, count) : std::vector<string>{EveryPrefix()};
    std::vector<unsigned char> bytes;
    for (string& list : lists) {
      const bool prefixes = by_prefix != 0 || keys == nullptr;
      if (const int code = ReadList(client, *table, key_number, prefixes, list, bytes)) return code;
    }
    records->rows.Bytes() = std::move(bytes);
    return TVL_OK;
  });
}

int tvlc_table_write(tvlc_table* table, tvlc_records* records) {
  return OnDirectory(table, {records}, [&](CTVLClientSmbOpr& client) -> int {
    if (records->connection != table->connection || records->rows.Lengths() != table->lengths)
      return TVL_ERR_ARGUMENT;
    return Write(client, *table, records->rows);
  });
}

int tvlc_table_delete(tvlc_table* table, int by_prefix, const char* const* keys, size_t count) {
  return OnDirectory(table, {keys}, [&](CTVLClientSmbOpr& client) -> int {
    if (!AreKeys(keys, count, table->lengths.key1)) return TVL_ERR_ARGUMENT;
    return Delete(client, *table, by_prefix != 0, keys, count);
  });
}

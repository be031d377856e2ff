#include <cstring>
#include <limits>
#include <new>

#include <tvlclient/record_set.h>

#include "base/fixed_text.h"
#include "base/memory.h"
#include "transfer/core.h"

namespace {

constexpr int kNone = -1;
constexpr int kCurrentRow = -1;
constexpr int kFirstKey = 1;
char no_key[1] = {};  // the key of a row out of range

}  // namespace

CTVLCtreeRs::CTVLCtreeRs(CTVLClientOpr* owner) noexcept
    : fileName{},
      handle(kNone),
      isOpen(0),
      datLen(0),
      key1Len(0),
      key2Len(0),
      rowSize(0),
      block(nullptr),
      count(0),
      current(kNone),
      capacity(0),
      record(nullptr),
      connection(owner) {}

CTVLCtreeRs::CTVLCtreeRs(const CTVLCtreeRs& other) noexcept : CTVLCtreeRs(other.connection) {}

CTVLCtreeRs& CTVLCtreeRs::operator=(const CTVLCtreeRs& other) noexcept {
  if (this == &other) return *this;
  Close();
  record = nullptr;
  connection = other.connection;
  return *this;
}

CTVLCtreeRs::~CTVLCtreeRs() {
  Close();
}

int CTVLCtreeRs::InitAndOpen(char* name, int recordLength, int firstKeyLength, int secondKeyLength) noexcept {
  Close();
  const int code = connection->CTFileInit(name, handle, recordLength, firstKeyLength, secondKeyLength);
  if (code == TVL_OK) {
    datLen = recordLength;
    key1Len = firstKeyLength;
    key2Len = secondKeyLength;
  }
  return Opened(name, code);
}

int CTVLCtreeRs::Open(char* name) noexcept {
  Close();
  return Opened(name, connection->CTFileOpen(name, handle, datLen, key1Len, key2Len));
}

int CTVLCtreeRs::Opened(const char* name, int code) noexcept {
  if (code != TVL_OK) {
    handle = kNone;
    return code;
  }
  tvl::CopyCut(fileName, name);
  rowSize = datLen + key1Len + key2Len + 2;
  isOpen = 1;
  return TVL_OK;
}

void CTVLCtreeRs::Close() noexcept {
  MakeEmpty();
  rowSize = 0;
  fileName[0] = 0;
  if (isOpen != 0) connection->CTFileClose(handle);
  isOpen = 0;
  handle = kNone;
}

void CTVLCtreeRs::MakeEmpty() noexcept {
  block = static_cast<unsigned char*>(SafeFree(block));
  capacity = 0;
  count = 0;
  current = kNone;
}

// Resizes the block for `rows` rows. Returns 0 with an unchanged block if memory ran out.
int CTVLCtreeRs::Resize(int rows) noexcept try {
  block = static_cast<unsigned char*>(
      ResizeArray(block, static_cast<unsigned int>(capacity), rows, static_cast<unsigned int>(rowSize)));
  capacity = rows;
  return 1;
} catch (const std::bad_alloc&) {
  return 0;
}

int CTVLCtreeRs::Extend(int rows) noexcept {
  if (isOpen == 0) return 0;
  return capacity >= rows ? 1 : Resize(rows);
}

int CTVLCtreeRs::AddNew(const char* key1, const char* key2, const void* bytes) noexcept {
  if (isOpen == 0 || count == std::numeric_limits<int>::max()) return 0;
  if (count >= capacity && Resize(capacity + 1) == 0) return 0;
  current = count++;
  SetKey1(key1, 1, kCurrentRow);
  SetKey2(key2, 1, kCurrentRow);
  if (bytes != nullptr) std::memcpy(Rec(kCurrentRow), bytes, static_cast<std::size_t>(datLen));
  return 1;
}

// Returns the index of the row meant, or -1 if there is none.
int CTVLCtreeRs::RowIndex(int row) const noexcept {
  if (row == kCurrentRow) row = current;
  return isOpen != 0 && row >= 0 && row < count ? row : kNone;
}

// Returns the first byte of a row; null for a row out of range.
char* CTVLCtreeRs::RowAt(int row) const noexcept {
  const int index = RowIndex(row);
  if (index == kNone) return nullptr;
  return reinterpret_cast<char*>(block) + static_cast<std::size_t>(index) * static_cast<std::size_t>(rowSize);
}

char* CTVLCtreeRs::Key1(int row) noexcept {
  char* start = RowAt(row);
  return start == nullptr ? no_key : start;
}

char* CTVLCtreeRs::Key2(int row) noexcept {
  char* start = RowAt(row);
  return start == nullptr ? no_key : start + key1Len + 1;
}

void* CTVLCtreeRs::Rec(int row) noexcept {
  char* start = RowAt(row);
  return start == nullptr ? nullptr : start + key1Len + key2Len + 2;
}

int CTVLCtreeRs::SetKey(const char* text, int fill, int row, int offset, int length) noexcept {
  char* key = RowAt(row);
  if (key == nullptr) return 0;
  key += offset;
  const auto width = static_cast<std::size_t>(length);
  std::memset(key, fill == 1 ? ' ' : 0, width);
  if (text != nullptr) std::memcpy(key, text, strnlen(text, width));
  key[length] = 0;
  return 1;
}

int CTVLCtreeRs::SetKey1(const char* text, int fill, int row) noexcept {
  return SetKey(text, fill, row, 0, key1Len);
}

int CTVLCtreeRs::SetKey2(const char* text, int fill, int row) noexcept {
  return SetKey(text, fill, row, key1Len + 1, key2Len);
}

int CTVLCtreeRs::Attach(CTVLCtreeRecord* attached, int row) noexcept {
  record = attached;
  void* bytes = Rec(row);
  if (bytes == nullptr) return 0;
  if (record != nullptr && record->IsValid() != 0) record->SetWrkRec(bytes);
  return 1;
}

int CTVLCtreeRs::MoveAt(int row) noexcept {
  if (isOpen == 0 || row < 0 || row >= count) return 0;
  current = row;
  return 1;
}

int CTVLCtreeRs::Rewind() noexcept {
  current = kNone;
  return isOpen;
}

int CTVLCtreeRs::ReadKeyPrefiz(char* prefixes) noexcept {
  if (isOpen == 0) return 0;
  CCore rows;
  int found = 0;
  if (connection->CTFileRead(handle, 1, found, prefixes, kFirstKey, &rows) != TVL_OK) return 0;
  const auto size = static_cast<std::uint32_t>(rowSize);
  if (rows.length % size != 0) return 0;
  MakeEmpty();
  block = rows.data;  // taken over as it is, not copied
  count = capacity = static_cast<int>(rows.length / size);
  rows.Attach(nullptr, 0, 0);
  return 1;
}

int CTVLCtreeRs::WriteTheBlock() noexcept {
  if (isOpen == 0) return TVL_ERR_RS_OPEN;
  const std::uint64_t bytes = static_cast<std::uint64_t>(rowSize) * static_cast<std::uint64_t>(count);
  if (bytes > std::numeric_limits<std::uint32_t>::max()) return TVL_ERR_RS_WRITE;
  CCore rows;
  rows.Attach(block, static_cast<std::uint32_t>(bytes), 0);  // lent
  const int code = connection->CTFileWrite(handle, count > 1 ? 1 : 0, count, &rows);
  rows.Attach(nullptr, 0, 0);
  return code;
}

int CTVLCtreeRs::DeleteKeys(char* keys) noexcept {
  return isOpen == 0 ? TVL_ERR_RS_OPEN : connection->CTFileDelete(handle, 0, keys);
}

int CTVLCtreeRs::DeleteKeyPrefiz(char* keys) noexcept {
  return isOpen == 0 ? TVL_ERR_RS_OPEN : connection->CTFileDelete(handle, 1, keys);
}

int CTVLCtreeRs::GetFieldValueByName(const char* name, char* destination) noexcept {
  return HasRecord() ? record->GetFieldValueByName(name, destination) : 0;
}

int CTVLCtreeRs::GetIntFieldValueByName(const char* name) noexcept {
  return HasRecord() ? record->GetIntFieldValueByName(name) : 0;
}

int CTVLCtreeRs::GetFieldValueByIdx(int index, char* destination) noexcept {
  return HasRecord() ? record->GetFieldValueByIdx(index, destination) : 0;
}

int CTVLCtreeRs::SetFieldValueByName(const char* name, const char* text) noexcept {
  return HasRecord() ? record->SetFieldValueByName(name, text) : 0;
}

int CTVLCtreeRs::SetIntFieldValueByName(const char* name, int value) noexcept {
  return HasRecord() ? record->SetIntFieldValueByName(name, value) : 0;
}

int CTVLCtreeRs::SetFieldValueByIdx(int index, const char* text) noexcept {
  return HasRecord() ? record->SetFieldValueByIdx(index, text) : 0;
}

int CTVLCtreeRs::SetIntFieldValueByIdx(int index, int value) noexcept {
  return HasRecord() ? record->SetIntFieldValueByIdx(index, value) : 0;
}

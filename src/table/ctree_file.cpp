#include "table/ctree_file.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <string_view>

#include "base/fixed_text.h"
#include "base/memory.h"
#include "base/path_helpers.h"
#include "base/text.h"
#include "platform/last_error.h"
#include "table/engine_binding.h"

namespace {

using tvl::engine::ReadMode;

constexpr std::size_t kBlanked = 4096;  // a new record starts with this many blanks
constexpr int kModes = 5;

bool AreLengthsInBounds(int record, int key1, int key2) {
  return record > 0 && record < CCtreeFile::kRecordSize && key1 >= 0 && key1 <= CCtreeFile::kLongestKey &&
         key2 >= 0 && key2 <= CCtreeFile::kLongestKey;
}

const char* SecondKey(const char* key_pair) {
  return key_pair + std::strlen(key_pair) + 1;
}

// Replaces the extension in the path. Returns false if the result does not fit.
bool ReplaceExtension(const char* path, std::string_view extension, tvl::PathText& result) {
  const char* name = LastPathComponent(path);
  if (name == nullptr) name = path;
  const char* point = std::strrchr(name, '.');
  const std::string_view stem(path,
                              point == nullptr ? std::strlen(path) : static_cast<std::size_t>(point - path));
  result.Append(stem).Append(extension);
  return result.Fits();
}

// A file that does not exist is no failure to report.
void DeleteIfPresent(const char* path) {
  const tvl::LastError before = tvl::TakeLastError();
  if (DeleteFileA(path) != 0 || tvl::LastErrorCode() == ENOENT) tvl::RestoreLastError(before);
}

// Deletes the index file of one key. Its name is that of the table with the first two characters replaced.
void DeleteIndex(const char* path, const char* start) {
  tvl::PathText index;
  if (!ReplaceExtension(path, ".idx", index)) return;
  char* name = LastPathComponent(index.Data());
  if (name == nullptr) name = index.Data();
  std::memcpy(name, start, 2);
  DeleteIfPresent(index.Text());
}

void DeleteData(const char* path) {
  tvl::PathText data;
  if (ReplaceExtension(path, ".dat", data)) DeleteIfPresent(data.Text());
}

bool StartsAlike(const KeyPrefix& prefix, const char* key) {
  const std::size_t length = std::min(std::strlen(key), static_cast<std::size_t>(prefix.length));
  for (std::size_t i = 0; i < length; ++i) {
    const char a[2] = {prefix.text[i], 0};
    const char b[2] = {key[i], 0};
    if (!tvl::EqualNoCase(a, b)) return false;
  }
  return true;
}

void FreePrefixes(RecType& type) {
  for (int i = 0; i < type.prefixCount; ++i) SafeFree(type.prefixes[i].text);
  type.prefixes = static_cast<KeyPrefix*>(SafeFree(type.prefixes));
  type.prefixCount = 0;
}

int CountTexts(const char* list) {
  int count = 0;
  for (; *list != 0; list += std::strlen(list) + 1) ++count;
  return count;
}

void FillPrefixes(RecType& type, const char* list) {
  const int count = CountTexts(list);
  type.prefixes = static_cast<KeyPrefix*>(ResizeArray(nullptr, 0, count, sizeof(KeyPrefix)));
  for (; type.prefixCount < count; ++type.prefixCount) {
    KeyPrefix& prefix = type.prefixes[type.prefixCount];
    prefix.text = StrDup(list);
    prefix.length = static_cast<int>(std::strlen(list));
    list += prefix.length + 1;
  }
}

}  // namespace

CCtreeFile::CCtreeFile(const char* path)
    : recTypes(nullptr),
      recTypeCount(0),
      currentRecType(-1),
      handle(-1),
      datLen(0),
      key1Len(0),
      key2Len(0),
      recordBuffer{},
      borrowedHandle(0) {
  LoadTableEngine();
  if (path != nullptr) Open(path);
}

CCtreeFile::~CCtreeFile() {
  Close();
}

int CCtreeFile::Open(const char* path) {
  if (IsOpen()) Close();
  handle = tvl::engine::Open(path);
  if (!IsOpen()) return 0;
  borrowedHandle = 0;
  datLen = tvl::engine::GetLength(handle, 0);
  key1Len = tvl::engine::GetLength(handle, 1);
  key2Len = tvl::engine::GetLength(handle, 2);
  recordBuffer[0] = 0;
  if (AreLengthsInBounds(datLen, key1Len, key2Len)) return 1;
  Close();
  return 0;
}

int CCtreeFile::AttachHandle(int borrowed, int recordLength, int firstKeyLength, int secondKeyLength) {
  if (IsOpen()) Close();
  handle = borrowed;
  if (!IsOpen()) return 0;
  datLen = recordLength;
  key1Len = firstKeyLength;
  key2Len = secondKeyLength;
  borrowedHandle = 1;
  recordBuffer[0] = 0;
  return 1;
}

int CCtreeFile::Close() {
  const int was_open = IsOpen() ? 1 : 0;
  if (was_open != 0) {
    if (borrowedHandle == 0) tvl::engine::Close(handle);
    handle = -1;
    recordBuffer[0] = 0;
  }
  datLen = 0;
  key1Len = 0;
  key2Len = 0;
  FreeRecTypes();
  currentRecType = -1;
  borrowedHandle = 0;
  return was_open;
}

void CCtreeFile::FreeRecTypes() {
  for (int i = 0; i < recTypeCount; ++i) {
    SafeFree(recTypes[i].schema);
    FreePrefixes(recTypes[i]);
  }
  recTypes = static_cast<RecType*>(SafeFree(recTypes));
  recTypeCount = 0;
}

void CCtreeFile::CloseHandle(int engine_handle) {
  if (engine_handle >= 0) tvl::engine::Close(engine_handle);
}

int CCtreeFile::CreateFiles(const char* path, int recordLength, int firstKeyLength, int secondKeyLength) {
  if (!AreLengthsInBounds(recordLength, firstKeyLength, secondKeyLength)) return 0;
  LoadTableEngine();  // perhaps no object has loaded it yet
  DeleteIndex(path, "k1");
  DeleteIndex(path, "k2");
  DeleteData(path);
  return tvl::engine::CreateArchive(path, recordLength, firstKeyLength, secondKeyLength) == 0 ? 1 : 0;
}

int CCtreeFile::AddRecType(const char* schema, const char* prefixes) {
  if (!IsOpen() || *prefixes == 0) return -1;
  int index = FindRecTypeByName(schema);
  if (index >= 0) {
    FreePrefixes(recTypes[index]);
  } else {
    index = recTypeCount;
    recTypes = static_cast<RecType*>(
        ResizeArray(recTypes, static_cast<unsigned int>(recTypeCount), recTypeCount + 1, sizeof *recTypes));
    ++recTypeCount;
  }
  recTypes[index].schema = StrReplace(recTypes[index].schema, schema);
  FillPrefixes(recTypes[index], prefixes);
  return index;
}

int CCtreeFile::FindRecTypeByName(const char* schema) const {
  for (int i = 0; i < recTypeCount; ++i) {
    if (tvl::EqualNoCase(recTypes[i].schema, schema)) return i;
  }
  return -1;
}

int CCtreeFile::FindRecTypeByKey(int keyNumber, const char* key) const {
  for (int i = 0; i < recTypeCount; ++i) {
    const RecType& type = recTypes[i];
    const int first = keyNumber == 1 ? 0 : 1;
    const int end = keyNumber == 1 ? std::min(type.prefixCount, 1) : type.prefixCount;
    for (int p = first; p < end; ++p) {
      if (StartsAlike(type.prefixes[p], key)) return i;
    }
  }
  return -1;
}

int CCtreeFile::WriteRec(const char* key_pair, char* assignments) {
  if (!IsWritable()) return 0;
  const int type = FindRecTypeByKey(1, key_pair);
  if (type < 0) return 0;
  std::memset(recordBuffer, ' ', kBlanked);
  tvl::engine::SetCurrentRecord(recTypes[type].schema, recordBuffer, datLen);
  for (char* text = assignments; *text != 0;) {
    char* next = text + std::strlen(text) + 1;
    if (char* equals = std::strchr(text, '=')) {
      *equals = 0;
      tvl::engine::SetFieldValueByName(text, equals + 1);
    }
    text = next;
  }
  return tvl::engine::WriteKeys(handle, key_pair, SecondKey(key_pair)) == 1 ? 1 : 0;
}

int CCtreeFile::WriteRawRec(const char* key1, const char* key2, const void* record) const {
  if (!IsWritable()) return 0;
  return tvl::engine::WriteRawKeys(handle, key1, key2, record) == 1 ? 1 : 0;
}

char* CCtreeFile::ReadFromEngine(char* key, int keyNumber, int mode) {
  std::memset(recordBuffer, ' ', static_cast<std::size_t>(datLen));
  recordBuffer[datLen] = 0;
  if (mode < 0 || mode >= kModes) return nullptr;
  return tvl::engine::Read(static_cast<ReadMode>(mode), handle, keyNumber, key, recordBuffer) == 1
             ? recordBuffer
             : nullptr;
}

char* CCtreeFile::ReadRec(char* key, int keyNumber, int mode) {
  if (!IsOpen()) return nullptr;
  const int type = FindRecTypeByKey(keyNumber, key);
  if (type < 0 || ReadFromEngine(key, keyNumber, mode) == nullptr) return nullptr;
  tvl::engine::SetCurrentRecord(recTypes[type].schema, recordBuffer, datLen);
  currentRecType = type;
  return recordBuffer;
}

char* CCtreeFile::ReadRawRec(char* key, int keyNumber, int mode) {
  return IsOpen() ? ReadFromEngine(key, keyNumber, mode) : nullptr;
}

char* CCtreeFile::FieldText(const char* name) {
  if (!IsOpen() || tvl::engine::GetFieldValueByName(name, recordBuffer) != 1) recordBuffer[0] = 0;
  TrimRight(recordBuffer);
  return recordBuffer;
}

unsigned int CCtreeFile::FieldHex(const char* name) {
  if (!IsOpen() || tvl::engine::GetFieldValueByName(name, recordBuffer) != 1) return 0;
  std::string_view text = recordBuffer;
  text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
  unsigned int value = 0;
  std::from_chars(text.data(), text.data() + text.size(), value, 16);
  return value;
}

int CCtreeFile::DeleteRec(const char* key_pair) const {
  if (!IsOpen() || FindRecTypeByKey(1, key_pair) < 0) return 0;
  return DeleteRawRec(key_pair, SecondKey(key_pair));
}

int CCtreeFile::DeleteRawRec(const char* key1, const char* key2) const {
  return IsOpen() && tvl::engine::DeleteKeys(handle, key1, key2) == 1 ? 1 : 0;
}

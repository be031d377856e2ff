#include <charconv>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <new>
#include <span>
#include <utility>

#include <tvlclient/record.h>

#include "record/field.h"
#include "record/packed_number.h"
#include "record/schema.h"

namespace {

constexpr std::size_t kNoBound = PTRDIFF_MAX;  // callers' buffers are sized by the field

// Returns the integer at the start of a text, limited to the range of int.
int WholePart(const char* text) {
  while (*text == ' ') ++text;
  const bool negative = *text == '-';
  if (negative || *text == '+') ++text;
  constexpr std::int64_t most = std::numeric_limits<int>::max();
  std::int64_t value = 0;
  for (; *text >= '0' && *text <= '9' && value <= most; ++text) value = value * 10 + (*text - '0');
  if (negative) return static_cast<int>(value > most ? -most - 1 : -value);
  return static_cast<int>(value > most ? most : value);
}

}  // namespace

CTVLCtreeRecord::CTVLCtreeRecord(const CTVLCtreeRecord& other) noexcept {
  *this = other;
}

CTVLCtreeRecord& CTVLCtreeRecord::operator=(const CTVLCtreeRecord& other) noexcept {
  if (this == &other) return *this;
  Detach();
  if (other.fieldCount == 0) return *this;
  fields = new (std::nothrow) _format_[static_cast<std::size_t>(other.fieldCount)];
  if (fields == nullptr) return *this;
  fieldCount = other.fieldCount;
  recLen = other.recLen;
  for (int i = 0; i < fieldCount; ++i) fields[i] = other.fields[i];
  return *this;
}

CTVLCtreeRecord::~CTVLCtreeRecord() {
  Detach();
}

int CTVLCtreeRecord::Attach(const char* schema, int recordLength) noexcept {
  Detach();
  recLen = recordLength;
  if (SetCurrentRecord(schema, recordLength) != 0) return 1;
  Detach();
  return 0;
}

void CTVLCtreeRecord::Detach() noexcept {
  delete[] std::exchange(fields, nullptr);
  fieldCount = 0;
  wrkRec = nullptr;
  recLen = 0;
}

int CTVLCtreeRecord::SetCurrentRecord(const char* schema, int recordLength) noexcept {
  const std::size_t count = schema == nullptr ? 0 : tvl::CountFields(schema);
  if (count == 0 || count > std::numeric_limits<int>::max()) return 0;
  fields = new (std::nothrow) _format_[count];
  if (fields == nullptr) return 0;
  fieldCount = static_cast<int>(count);
  return tvl::ParseSchema(schema, recordLength, {fields, count}) ? 1 : 0;
}

int CTVLCtreeRecord::SetWrkRec(void* record) noexcept {
  if (fieldCount == 0) return 0;
  wrkRec = static_cast<unsigned char*>(record);
  return wrkRec != nullptr ? 1 : 0;
}

const _format_* CTVLCtreeRecord::FldByName(const char* name) const noexcept {
  if (name == nullptr) return nullptr;
  return tvl::FindField({fields, static_cast<std::size_t>(fieldCount)}, name);
}

const _format_* CTVLCtreeRecord::FldByIdx(int index) const noexcept {
  return index >= 0 && index < fieldCount ? fields + index : nullptr;
}

int CTVLCtreeRecord::GetFieldValue(const _format_* field, char* destination) noexcept {
  if (field == nullptr || destination == nullptr) return 0;
  if (wrkRec == nullptr) {
    *destination = 0;
    return 0;
  }
  return tvl::GetField(*field, wrkRec, destination, kNoBound) ? 1 : 0;
}

int CTVLCtreeRecord::SetFieldValue(const _format_* field, const char* text) noexcept {
  if (field == nullptr || text == nullptr || wrkRec == nullptr) return 0;
  return tvl::SetField(*field, wrkRec, text) ? 1 : 0;
}

int CTVLCtreeRecord::SetIntFieldValue(const _format_* field, int value) noexcept {
  char text[16];
  *std::to_chars(text, text + sizeof text - 1, value).ptr = 0;
  return SetFieldValue(field, text);
}

int CTVLCtreeRecord::GetFieldValueByName(const char* name, char* destination) noexcept {
  return GetFieldValue(FldByName(name), destination);
}

int CTVLCtreeRecord::GetFieldValueByIdx(int index, char* destination) noexcept {
  return GetFieldValue(FldByIdx(index), destination);
}

int CTVLCtreeRecord::GetIntFieldValueByName(const char* name) noexcept {
  const _format_* field = FldByName(name);
  char text[tvl::kNumberText];
  if (field == nullptr || wrkRec == nullptr || !tvl::GetField(*field, wrkRec, text, sizeof text)) return 0;
  return WholePart(text);
}

int CTVLCtreeRecord::SetFieldValueByName(const char* name, const char* text) noexcept {
  return SetFieldValue(FldByName(name), text);
}

int CTVLCtreeRecord::SetFieldValueByIdx(int index, const char* text) noexcept {
  return SetFieldValue(FldByIdx(index), text);
}

int CTVLCtreeRecord::SetIntFieldValueByName(const char* name, int value) noexcept {
  return SetIntFieldValue(FldByName(name), value);
}

int CTVLCtreeRecord::SetIntFieldValueByIdx(int index, int value) noexcept {
  return SetIntFieldValue(FldByIdx(index), value);
}

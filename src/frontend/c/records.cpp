#include <algorithm>
#include <charconv>
#include <cstring>
#include <limits>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "base/fixed_text.h"
#include "frontend/c/structs.h"
#include "frontend/c/table_handles.h"
#include "record/field.h"
#include "record/packed_number.h"
#include "record/schema.h"

namespace {

using std::string_view;
using tvl::c::OnHandle;

constexpr int kLongestRecord = 6143;
constexpr char kNumberType = 'F';

// Parses a schema for records of `length` bytes. Returns false if it is invalid or empty.
bool Parse(const char* schema, int length, std::vector<_format_>& fields) {
  fields.resize(tvl::CountFields(schema));
  return !fields.empty() && tvl::ParseSchema(schema, length, fields);
}

// Copies a text and its NUL to a caller's buffer. A cut text would be another one.
int CopyText(string_view text, char* buffer, std::size_t size) {
  if (text.size() >= size) return TVL_ERR_ARGUMENT;
  std::memcpy(buffer, text.data(), text.size());
  buffer[text.size()] = 0;
  return TVL_OK;
}

// Runs an operation on a row that exists.
template <typename Operation>
int OnRow(tvlc_records* records, std::size_t row, std::initializer_list<const void*> required,
          Operation operation) {
  return OnHandle(records, required, [&]() -> int {
    return row < records->rows.Count() ? operation(records->rows) : TVL_ERR_ARGUMENT;
  });
}

// Runs an operation on a field of a row, and its record.
template <typename Operation>
int OnField(tvlc_records* records, std::size_t row, const char* name, const void* argument,
            Operation operation) {
  return OnRow(records, row, {name, argument}, [&](tvl::c::RowBlock& rows) -> int {
    const _format_* field = tvl::FindField(records->fields, name);
    return field != nullptr ? operation(*field, rows.Record(row)) : TVL_ERR_ARGUMENT;
  });
}

// Reads the value of a field as a text.
int Read(const _format_& field, unsigned char* record, std::string& text) {
  text.resize(std::max(static_cast<std::size_t>(field.size) + 1, tvl::kNumberText));
  if (!tvl::GetField(field, record, text.data(), text.size())) return TVL_ERR_RS_FORMAT;
  text.resize(std::strlen(text.c_str()));
  return TVL_OK;
}

// Removes leading digits from `text` and returns how many there were, leading zeros not counted.
int TakeDigits(string_view& text) {
  const std::size_t zeros = std::min(text.find_first_not_of('0'), text.size());
  const std::size_t digits = std::min(text.find_first_not_of("0123456789"), text.size());
  text.remove_prefix(digits);
  return static_cast<int>(digits - zeros);
}

// Returns true for a number that the field stores unchanged.
bool IsNumberFor(const _format_& field, string_view text) {
  if (text.starts_with('-')) text.remove_prefix(1);
  if (text.empty() || text.front() < '0' || text.front() > '9') return false;
  if (TakeDigits(text) > field.length) return false;
  if (text.empty()) return true;
  if (!text.starts_with('.') || text.size() == 1) return false;
  const std::size_t decimals = text.size() - 1;
  text.remove_prefix(1);
  TakeDigits(text);
  return text.empty() && decimals <= static_cast<std::size_t>(field.decimals);
}

int Write(const _format_& field, unsigned char* record, const char* value) {
  const bool fits = field.type == kNumberType ? IsNumberFor(field, value)
                                              : std::strlen(value) <= static_cast<std::size_t>(field.size);
  return fits && tvl::SetField(field, record, value) ? TVL_OK : TVL_ERR_RS_FORMAT;
}

// Stores the integer part of a number.
int ParseInteger(string_view text, std::int64_t& value) {
  const string_view whole = text.substr(0, text.find('.'));
  if (text.find_first_of("0123456789") == string_view::npos) return TVL_ERR_RS_FORMAT;
  if (whole.empty() || whole == "-") {
    value = 0;
    return TVL_OK;
  }
  std::int64_t number = 0;
  const auto [end, problem] = std::from_chars(whole.data(), whole.data() + whole.size(), number);
  if (problem != std::errc() || end != whole.data() + whole.size()) return TVL_ERR_RS_FORMAT;
  value = number;
  return TVL_OK;
}

bool IsKeyFor(const char* key, std::size_t length) {
  return std::strlen(key) <= length;
}

}  // namespace

int tvlc_schema_length(const char* schema, size_t* length) {
  return tvl::c::WithoutHandle(nullptr, [&]() -> tvl::c::Failure {
    if (schema == nullptr || length == nullptr) return {TVL_ERR_ARGUMENT, {}, nullptr};
    std::vector<_format_> fields;
    if (!Parse(schema, kLongestRecord, fields)) return {TVL_ERR_RS_FORMAT, {}, nullptr};
    *length = static_cast<std::size_t>(fields.back().offset + fields.back().size);
    return {};
  });
}

int tvlc_records_new(tvlc_table* table, const char* schema, tvlc_records** records) {
  return OnHandle(table, {records}, [&]() -> int {
    auto made =
        std::make_unique<tvlc_records>(tvlc_records{table->connection, tvl::c::RowBlock(table->lengths), {}});
    if (schema != nullptr && !Parse(schema, static_cast<int>(table->lengths.record), made->fields))
      return TVL_ERR_RS_FORMAT;
    *records = made.release();
    return TVL_OK;
  });
}

int tvlc_records_close(tvlc_records* records) {
  if (records == nullptr) return TVL_OK;
  const int code = OnHandle(records, {}, []() -> int { return TVL_OK; });
  if (code == TVL_ERR_BUSY) return code;
  delete records;
  return TVL_OK;
}

int tvlc_records_count(tvlc_records* records, size_t* count) {
  return OnHandle(records, {count}, [&]() -> int {
    *count = records->rows.Count();
    return TVL_OK;
  });
}

int tvlc_records_clear(tvlc_records* records) {
  return OnHandle(records, {}, [&]() -> int {
    records->rows.Bytes().clear();
    return TVL_OK;
  });
}

int tvlc_records_add(tvlc_records* records, const char* key1, const char* key2, const void* record,
                     size_t record_size, size_t* row) {
  return OnHandle(records, {key1}, [&]() -> int {
    const tvl::c::TableLengths& lengths = records->rows.Lengths();
    const char* second = key2 != nullptr ? key2 : "";
    if (*key1 == 0 || !IsKeyFor(key1, lengths.key1) || !IsKeyFor(second, lengths.key2) ||
        (record != nullptr && record_size != lengths.record))
      return TVL_ERR_ARGUMENT;
    records->rows.Add(key1, second, record);
    if (row != nullptr) *row = records->rows.Count() - 1;
    return TVL_OK;
  });
}

int tvlc_records_key(tvlc_records* records, size_t row, int key_number, char* buffer, size_t size) {
  return OnRow(records, row, {buffer}, [&](const tvl::c::RowBlock& rows) -> int {
    if (key_number != 1 && key_number != 2) return TVL_ERR_ARGUMENT;
    return CopyText(rows.Key(row, key_number), buffer, size);
  });
}

int tvlc_records_bytes(tvlc_records* records, size_t row, void* buffer, size_t size) {
  return OnRow(records, row, {buffer}, [&](tvl::c::RowBlock& rows) -> int {
    if (size < rows.Lengths().record) return TVL_ERR_ARGUMENT;
    std::memcpy(buffer, rows.Record(row), rows.Lengths().record);
    return TVL_OK;
  });
}

int tvlc_records_field_count(tvlc_records* records, size_t* count) {
  return OnHandle(records, {count}, [&]() -> int {
    *count = records->fields.size();
    return TVL_OK;
  });
}

int tvlc_records_field(tvlc_records* records, size_t index, tvlc_field* field) {
  return OnHandle(records, {field}, [&]() -> int {
    if (index >= records->fields.size() || !tvl::c::HasSize(field)) return TVL_ERR_ARGUMENT;
    const _format_& found = records->fields[index];
    tvlc_field result = {};
    tvl::CopyCut(result.name, found.name);
    result.type = found.type;
    result.length = found.length;
    result.decimals = found.decimals;
    result.offset = static_cast<std::size_t>(found.offset);
    result.bytes = static_cast<std::size_t>(found.size);
    tvl::c::CopyStruct(result, field);
    return TVL_OK;
  });
}

int tvlc_records_get_text(tvlc_records* records, size_t row, const char* field, char* buffer, size_t size) {
  return OnField(records, row, field, buffer, [&](const _format_& found, unsigned char* record) -> int {
    std::string text;
    if (const int code = Read(found, record, text)) return code;
    return CopyText(text, buffer, size);
  });
}

int tvlc_records_get_integer(tvlc_records* records, size_t row, const char* field, int64_t* value) {
  return OnField(records, row, field, value, [&](const _format_& found, unsigned char* record) -> int {
    std::string text;
    if (const int code = Read(found, record, text)) return code;
    return ParseInteger(text, *value);
  });
}

int tvlc_records_set_text(tvlc_records* records, size_t row, const char* field, const char* value) {
  return OnField(records, row, field, value, [&](const _format_& found, unsigned char* record) -> int {
    return Write(found, record, value);
  });
}

int tvlc_records_set_integer(tvlc_records* records, size_t row, const char* field, int64_t value) {
  return OnField(records, row, field, field, [&](const _format_& found, unsigned char* record) -> int {
    return Write(found, record, std::to_string(value).c_str());
  });
}

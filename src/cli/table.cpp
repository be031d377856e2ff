#include "cli/table.h"

#include <cctype>
#include <sstream>

#include <tvlclient/errors.h>

namespace tvl::cli {
namespace {

constexpr int kLongestRecord = 6143;
constexpr std::size_t kLongestText = 6144;
constexpr char kItemEnd = '\x01';
constexpr char kEntryEnd = '\x02';
constexpr std::size_t kLongestReadList = 1023;

std::string Lowered(std::string text) {
  for (char& character : text)
    character = static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
  return text;
}

// The least record that a schema fits in. The record class tells only whether one does.
int LengthOf(const std::string& text) {
  CTVLCtreeRecord record;
  int low = 1;
  int high = kLongestRecord;
  if (record.Attach(text.c_str(), high) == 0) throw Stop("this is no schema: " + text);
  while (low < high) {
    const int middle = low + (high - low) / 2;
    if (record.Attach(text.c_str(), middle) != 0) {
      high = middle;
    } else {
      low = middle + 1;
    }
  }
  return low;
}

// Every prefix of one byte that a key may begin with: together they are all rows, but for keys that begin
// with the two bytes that lists keep for themselves.
std::vector<std::string> AllPrefixes() {
  std::vector<std::string> prefixes;
  for (int byte = kEntryEnd; byte <= 0xFF; ++byte) prefixes.emplace_back(1, static_cast<char>(byte));
  return prefixes;
}

std::string JoinedList(const std::vector<std::string>& items) {
  std::string list;
  for (const std::string& item : items) list += item + kItemEnd;
  if (list.size() > kLongestReadList) throw Stop("the prefixes have more than 1023 bytes in all");
  return list;
}

}  // namespace

Schema::Schema(const std::string& text) : text_(text), length_(LengthOf(text)) {
  std::istringstream tokens(text);
  for (std::string token; std::getline(tokens, token, ' ');) {
    if (!token.empty()) names_.push_back(Lowered(token.substr(0, token.find('-'))));
  }
}

Table::Table(Store& store, const std::string& name) : name_(name), rows_(&store.Client()) {}

void Table::Fail(int code) const {
  throw Stop(name_, LibraryFailure(code));
}

void Table::Create(int record_length, int key1_length, int key2_length) {
  ForgetFileErrors();
  if (const int code = rows_.InitAndOpen(name_.data(), record_length, key1_length, key2_length)) Fail(code);
}

void Table::Open() {
  ForgetFileErrors();
  if (const int code = rows_.Open(name_.data())) Fail(code);
}

void Table::Use(const Schema& schema) {
  fields_ = static_cast<int>(schema.Names().size());
  if (record_.Attach(schema.Text().c_str(), rows_.DatLen()) != 0) return;
  throw Stop("the schema needs " + std::to_string(schema.Length()) + " bytes, a record has " +
             std::to_string(rows_.DatLen()));
}

void Table::Read(const std::vector<std::string>& prefixes) {
  std::string list = JoinedList(prefixes.empty() ? AllPrefixes() : prefixes);
  if (rows_.ReadKeyPrefiz(list.data()) == 0) Fail(TVL_ERR_RS_READ);
}

TextRow Table::RowAt(int row) {
  TextRow text;
  text.key1 = rows_.Key1(row);
  text.key1.resize(text.key1.find_last_not_of(' ') + 1);
  rows_.Attach(&record_, row);
  for (int field = 0; field < fields_; ++field) {
    char value[kLongestText] = {};
    rows_.GetFieldValueByIdx(field, value);  // bytes that are no number read as "0"
    text.fields.emplace_back(value);
  }
  return text;
}

void Table::Add(const TextRow& row, const Schema& schema) {
  const std::string blank(static_cast<std::size_t>(rows_.DatLen()), ' ');
  if (row.key1.size() > static_cast<std::size_t>(rows_.Key1Len()) ||
      row.key2.size() > static_cast<std::size_t>(rows_.Key2Len()))
    throw Stop("the key is longer than the table's: " + row.key1);
  if (rows_.AddNew(row.key1.c_str(), row.key2.c_str(), blank.c_str()) == 0) Fail(TVL_ERR_RS_WRITE);
  rows_.Attach(&record_, -1);
  for (std::size_t field = 0; field < row.fields.size(); ++field) {
    if (rows_.SetFieldValueByIdx(static_cast<int>(field), row.fields[field].c_str()) == 0)
      throw Stop("field " + schema.Names()[field] + " has no room for: " + row.fields[field]);
  }
}

void Table::Write() {
  ForgetFileErrors();
  if (const int code = rows_.WriteTheBlock()) Fail(code);
}

void Table::Delete(const std::vector<std::string>& keys, bool are_prefixes) {
  std::string list;
  for (const std::string& key : keys) list += key + kItemEnd + kEntryEnd;
  ForgetFileErrors();
  const int code = are_prefixes ? rows_.DeleteKeyPrefiz(list.data()) : rows_.DeleteKeys(list.data());
  if (code != TVL_OK) Fail(code);
}

}  // namespace tvl::cli

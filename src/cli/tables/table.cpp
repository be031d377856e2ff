#include "cli/tables/table.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <sstream>
#include <string_view>

#include <tvlclient/errors.h>
#include <tvlclient/tvl.h>

#include "cli/file_access.h"
#include "cli/file_status.h"
#include "cli/held_files.h"
#include "cli/output/text.h"
#include "cli/own_files.h"

namespace tvl::cli {
namespace {

constexpr int kLongestRecord = 6143;
constexpr int kLongestKey = 1023;
constexpr std::size_t kLongestText = 6144;
constexpr char kItemEnd = '\x01';
constexpr char kEntryEnd = '\x02';
constexpr std::size_t kLongestReadList = 1023;
constexpr char kCannotCreate[] = "the table cannot be created";
constexpr std::string_view kDigits = "0123456789";

[[noreturn]] void RefuseSchema(const std::string& text) {
  throw Stop("not a valid schema: " + text);
}

std::string Lowered(std::string text) {
  for (char& character : text)
    character = static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
  return text;
}

// Finds the shortest record that the schema fits in. The record class reports only whether a length fits.
int LengthOf(const std::string& text) {
  CTVLCtreeRecord record;
  int low = 1;
  int high = kLongestRecord;
  if (record.Attach(text.c_str(), high) == 0) RefuseSchema(text);
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

std::size_t NumberIn(std::string_view text, const std::string& schema) {
  std::size_t number = 0;
  const auto [end, problem] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (problem != std::errc() || end != text.data() + text.size()) RefuseSchema(schema);
  return number;
}

// Parses "name-D8" or "name-F7.2".
Field FieldFrom(const std::string& token, const std::string& schema) {
  const std::size_t dash = token.find('-');
  Field field = {Lowered(token.substr(0, dash)), std::toupper(token[dash + 1]) == 'F'};
  const std::string_view numbers = std::string_view(token).substr(dash + 2);
  const std::size_t point = numbers.find('.');
  field.length = NumberIn(numbers.substr(0, point), schema);
  if (point != std::string_view::npos) field.decimals = NumberIn(numbers.substr(point + 1), schema);
  return field;
}

// Removes leading digits from `text` and returns their number.
std::size_t TakeDigits(std::string_view& text) {
  const std::size_t count = std::min(text.find_first_not_of(kDigits), text.size());
  text.remove_prefix(count);
  return count;
}

// Returns all one-byte prefixes. Together they match all rows, except keys that begin with one of the two
// bytes that lists use as separators.
std::vector<std::string> AllPrefixes() {
  std::vector<std::string> prefixes;
  for (int byte = kEntryEnd; byte <= 0xFF; ++byte) prefixes.emplace_back(1, static_cast<char>(byte));
  return prefixes;
}

std::string JoinedList(const std::vector<std::string>& items) {
  std::string list;
  for (const std::string& item : items) list += item + kItemEnd;
  if (list.size() > kLongestReadList) throw Stop("the prefixes are longer than 1023 bytes in total");
  return list;
}

void CheckLength(const char* what, int length, int least, int most) {
  if (length >= least && length <= most) return;
  throw Stop(std::string("the length of ") + what + " must be from " + std::to_string(least) + " to " +
             std::to_string(most) + " bytes, not " + std::to_string(length));
}

// Separators of key lists and NUL cannot be part of a key.
void CheckKey(const char* name, const std::string& key, int length) {
  if (key.size() > static_cast<std::size_t>(length))
    throw Stop(std::string(name) + ": '" + key + "' is longer than the table's " + std::to_string(length) +
               " bytes");
  if (key.find_first_of(std::string_view("\0\x01\x02", 3)) != std::string::npos)
    throw Stop(std::string(name) + ": '" + key + "' contains a control character");
}

}  // namespace

void AddTableReason(Failure& failure) {
  const std::string reason = TVLLastTableFailure();
  if (!reason.empty()) failure.what += "; " + reason;
}

std::string DataFileName(std::string path) {
  const std::size_t point = path.find_last_of("./");
  if (point != std::string::npos && path[point] == '.') path.resize(point);
  return path + ".dat";
}

std::string Field::WhyRefused(const std::string& value) const {
  if (!is_number) {
    if (value.find('\0') != std::string::npos) return "contains a NUL";
    return value.size() <= length ? "" : "is longer than " + std::to_string(length) + " bytes";
  }
  if (value.empty()) return {};  // a blank field
  std::string_view rest = value;
  if (rest.starts_with('-')) rest.remove_prefix(1);
  const std::size_t whole = TakeDigits(rest);
  const bool has_point = rest.starts_with('.');
  if (has_point) rest.remove_prefix(1);
  const std::size_t places = TakeDigits(rest);
  if (whole == 0 || !rest.empty() || (has_point && places == 0)) return "is not a number";
  if (whole > length) return "has more than " + std::to_string(length) + " digits";
  return places <= decimals ? "" : "has more than " + std::to_string(decimals) + " decimals";
}

Schema::Schema(const std::string& text) : text_(text), length_(LengthOf(text)) {
  std::istringstream tokens(text);
  for (std::string token; std::getline(tokens, token, ' ');) {
    if (!token.empty()) fields_.push_back(FieldFrom(token, text));
  }
}

std::optional<std::size_t> Schema::Find(const std::string& name) const {
  const auto found =
      std::find_if(fields_.begin(), fields_.end(), [&](const Field& field) { return field.name == name; });
  if (found == fields_.end()) return std::nullopt;
  return static_cast<std::size_t>(found - fields_.begin());
}

Table::Table(Store& store, const std::string& name) : store_(store), name_(name), rows_(&store.Client()) {}

void Table::Fail(int code) const {
  Failure failure = LibraryFailure(code);
  AddTableReason(failure);
  throw Stop(name_, failure);
}

// A read that meets a damaged row ends like a read without results.
void Table::CheckForDamage() const {
  if (!store_.IsDirectory() || store_.Directory()->MetTableDamage() == 0) return;
  Failure failure;
  failure.what = "the table is damaged or cannot be read completely, so rows are missing";
  failure.hint = "restore it from a backup";
  throw Stop(name_, failure);
}

std::string Table::HostPath() const {
  return DataFileName(store_.StorePath(Slashed(name_)));
}

void Table::CheckMayChange() const {
  if (store_.IsDirectory() && OwnFiles(store_).Include(HostPath()))
    throw Stop(name_, {kSkipped, 0, kOwnFile, 0, {}});
}

// Makes sure that a table never replaces a document or a folder.
void Table::CheckReplaceable(bool replace) {
  const std::string path = HostPath();
  if (!Exists(path)) return;
  if (!replace)
    throw Stop(name_, {kFailed, 0, "already exists", 0, {}, "use --replace to delete it with its rows"});
  if (rows_.Open(name_.data()) != TVL_OK) {
    Failure failure = {kFailed, 0, "exists and cannot be opened as a table", 0, {}};
    AddTableReason(failure);
    throw Stop(name_, failure);
  }
  rows_.Close();
  if (const std::vector<HeldFile> held = HeldFilesAt(path); !held.empty())
    throw Stop(name_, {kFailed, TVL_ERR_DELETE_FILE, "is in use: " + DescribeHeldFiles(held), 0, {}});
}

void Table::Create(const TableLengths& lengths, bool replace, bool dry_run) {
  CheckLength("a record", lengths.record, 1, kLongestRecord);
  CheckLength("key 1", lengths.key1, 1, kLongestKey);
  CheckLength("key 2", lengths.key2, 0, kLongestKey);
  if (!store_.IsDirectory()) Fail(TVL_ERR_NOT_SUPPORTED);
  CheckMayChange();
  CheckReplaceable(replace);
  if (const int problem = FolderProblem(HostPath(), false); problem != 0 && dry_run)
    throw Stop(name_, SystemFailure(kCannotCreate, problem, HostPath()));
  if (dry_run) return;
  ForgetFileErrors();
  const int code = rows_.InitAndOpen(name_.data(), lengths.record, lengths.key1, lengths.key2);
  if (code == TVL_OK) return;
  Failure failure = LibraryFailure(code);
  if (code == TVL_ERR_DELETE_FILE) failure.what = kCannotCreate;
  AddTableReason(failure);
  throw Stop(name_, failure);
}

void Table::Open() {
  ForgetFileErrors();
  if (const int code = rows_.Open(name_.data())) Fail(code);
}

void Table::OpenToChange() {
  CheckMayChange();
  Open();
}

void Table::Use(const Schema& schema) {
  fields_ = static_cast<int>(schema.Fields().size());
  if (record_.Attach(schema.Text().c_str(), rows_.DatLen()) != 0) return;
  throw Stop("the schema needs " + std::to_string(schema.Length()) + " bytes, a record has " +
             std::to_string(rows_.DatLen()));
}

void Table::Read(const std::vector<std::string>& prefixes) {
  std::string list = JoinedList(prefixes.empty() ? AllPrefixes() : prefixes);
  if (rows_.ReadKeyPrefiz(list.data()) == 0) Fail(TVL_ERR_RS_READ);
  CheckForDamage();
}

TextRow Table::RowAt(int row) {
  TextRow text;
  text.key1 = rows_.Key1(row);
  text.key1.resize(text.key1.find_last_not_of(' ') + 1);
  rows_.Attach(&record_, row);
  for (int field = 0; field < fields_; ++field) {
    char value[kLongestText] = {};
    rows_.GetFieldValueByIdx(field, value);  // bytes that are not a number read as "0"
    text.fields.emplace_back(value);
  }
  return text;
}

void Table::Add(const TextRow& row, const Schema& schema) {
  const std::string blank(static_cast<std::size_t>(rows_.DatLen()), ' ');
  CheckKey("key1", row.key1, rows_.Key1Len());
  CheckKey("key2", row.key2, rows_.Key2Len());
  if (rows_.AddNew(row.key1.c_str(), row.key2.c_str(), blank.c_str()) == 0) Fail(TVL_ERR_RS_WRITE);
  rows_.Attach(&record_, -1);
  for (std::size_t index = 0; index < row.fields.size(); ++index) {
    const Field& field = schema.Fields()[index];
    const std::string& value = row.fields[index];
    std::string why = field.WhyRefused(value);
    if (why.empty() && rows_.SetFieldValueByIdx(static_cast<int>(index), value.c_str()) == 0)
      why = "needs more bytes than the field has";
    if (!why.empty()) throw Stop("field " + field.name + ": '" + value + "' " + why);
  }
}

void Table::Write() {
  ForgetFileErrors();
  if (const int code = rows_.WriteTheBlock()) Fail(code);
}

void Table::CheckExists(const std::string& key) {
  Read({key});
  for (int row = 0; row < rows_.Count(); ++row) {
    if (RowAt(row).key1 == key) return;
  }
  throw Stop(key, {kFailed, TVL_ERR_RS_DELETE, MeaningOf(TVL_ERR_RS_DELETE).what, 0, {}});
}

void Table::Delete(const std::vector<std::string>& keys, bool are_prefixes, bool dry_run) {
  std::string list;
  for (const std::string& key : keys) {
    if (dry_run && !are_prefixes) CheckExists(key);
    list += key + kItemEnd + kEntryEnd;
  }
  if (dry_run) return;
  ForgetFileErrors();
  const int code = are_prefixes ? rows_.DeleteKeyPrefiz(list.data()) : rows_.DeleteKeys(list.data());
  if (code != TVL_OK) Fail(code);
  CheckForDamage();
}

}  // namespace tvl::cli

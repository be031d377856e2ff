#include "cli/tables/table_import.h"

#include <limits>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>

#include "cli/local_file.h"
#include "cli/output/text.h"
#include "cli/tables/csv.h"

namespace tvl::cli {
namespace {

using nlohmann::json;

[[noreturn]] void Refuse(int line, const std::string& why) {
  throw Stop({}, {kFailed, 0, "line " + std::to_string(line) + ": " + why, 0, {}});
}

// Builds a row value by value.
class RowBuilder {
 public:
  RowBuilder(const Schema& schema, int line)
      : schema_(schema), line_(line), row_{{}, {}, std::vector<std::string>(schema.Fields().size())} {}

  void Set(const std::string& name, const std::string& value) {
    if (!names_.insert(name).second) Refuse(line_, "two values for " + name);
    if (name == kKey1Name) {
      row_.key1 = value;
    } else if (name == kKey2Name) {
      row_.key2 = value;
    } else {
      row_.fields[FieldAt(name)] = value;
    }
  }

  void AddTo(Table& table) const try {
    if (row_.key1.empty()) Refuse(line_, "no value for key1");
    table.Add(row_, schema_);
  } catch (const Stop& stop) {
    if (stop.Reason().exit != kUsage) throw;
    Refuse(line_, stop.Reason().what);
  }

 private:
  [[nodiscard]] std::size_t FieldAt(const std::string& name) const {
    const std::optional<std::size_t> field = schema_.Find(name);
    if (!field) Refuse(line_, "the schema has no field " + name);
    return *field;
  }

  const Schema& schema_;
  int line_;
  TextRow row_;
  std::set<std::string> names_;
};

// Fills a row from one JSON object. Takes numbers as they are written, because a conversion could change
// them.
class RowReader : public nlohmann::json_sax<json> {
 public:
  RowReader(RowBuilder& row, int line) : row_(row), line_(line) {}

  bool start_object(std::size_t /*size*/) override { return depth_++ == 0 || Fail("an object"); }
  bool end_object() override { return true; }
  bool key(std::string& name) override {
    name_ = name;
    return true;
  }
  bool string(std::string& text) override { return Take(text); }
  bool number_integer(json::number_integer_t number) override { return Take(std::to_string(number)); }
  bool number_unsigned(json::number_unsigned_t number) override { return Take(std::to_string(number)); }
  bool number_float(json::number_float_t /*number*/, const std::string& digits) override {
    return Take(digits);
  }
  bool null() override { return Fail("null"); }
  bool boolean(bool value) override { return Fail(value ? "true" : "false"); }
  bool binary(json::binary_t& /*bytes*/) override { return Fail("binary"); }
  bool start_array(std::size_t /*size*/) override { return Fail("an array"); }
  bool end_array() override { return true; }
  bool parse_error(std::size_t /*at*/, const std::string& /*token*/,
                   const nlohmann::detail::exception& /*problem*/) override {
    Refuse(line_, "not a JSON object");
  }

 private:
  bool Take(const std::string& value) {
    if (depth_ == 0) Refuse(line_, "not a JSON object");
    row_.Set(name_, value);
    return true;
  }
  bool Fail(const std::string& what) const {
    if (depth_ == 0) Refuse(line_, "not a JSON object");
    Refuse(line_, "field " + name_ + ": " + what + " is neither a string nor a number");
  }

  RowBuilder& row_;
  int line_;
  int depth_ = 0;
  std::string name_;
};

}  // namespace

ImportText ReadImport(const std::string& name) {
  constexpr std::size_t kNoLimit = std::numeric_limits<std::size_t>::max();
  const bool is_file = name != "-";
  LoadedFile file;
  const int problem =
      is_file ? LoadFile(name, Pipe::kWait, kNoLimit, file) : LoadStandardInput(kNoLimit, file);
  if (problem != 0)
    throw Stop({}, SystemFailure("cannot be read", problem, is_file ? name : "standard input"));
  return {std::move(file.text), !file.is_regular};
}

int ImportCsv(const ImportText& input, const Schema& schema, Table& table) {
  std::istringstream text(input.text);
  CsvReader reader(text);
  std::vector<std::string> names;
  if (!reader.Read(names)) Refuse(1, "no column names");
  RowBuilder head(schema, 1);
  for (const std::string& name : names) head.Set(name, {});
  int rows = 0;
  for (std::vector<std::string> values; reader.Read(values); ++rows) {
    if (reader.EndedInQuotes()) Refuse(reader.Line(), "a quoted value is not closed");
    if (values.size() != names.size())
      Refuse(reader.Line(), Counted(values.size(), "value") + " for " + Counted(names.size(), "column"));
    RowBuilder row(schema, reader.Line());
    for (std::size_t i = 0; i < names.size(); ++i) row.Set(names[i], values[i]);
    row.AddTo(table);
  }
  if (reader.EndedInLine() && input.may_be_cut)
    Refuse(reader.Line(), "the last line has no line end, so the input may have been cut short");
  return rows;
}

int ImportJson(const ImportText& input, const Schema& schema, Table& table) {
  std::istringstream text(input.text);
  int line = 0;
  for (std::string object; std::getline(text, object);) {
    RowBuilder row(schema, ++line);
    RowReader reader(row, line);
    static_cast<void>(json::sax_parse(object, &reader));
    row.AddTo(table);
  }
  return line;
}

}  // namespace tvl::cli

#include "cli/table_import.h"

#include <algorithm>
#include <istream>
#include <nlohmann/json.hpp>

#include "cli/csv.h"

namespace tvl::cli {
namespace {

[[noreturn]] void Refuse(int line, const std::string& why) {
  throw Stop({}, {kFailed, 0, "line " + std::to_string(line) + ": " + why, 0, {}});
}

// A row that is filled value by value.
class RowBuilder {
 public:
  explicit RowBuilder(const Schema& schema)
      : schema_(schema), row_{{}, {}, std::vector<std::string>(schema.Names().size())} {}

  // False if there is no such name.
  [[nodiscard]] bool Set(const std::string& name, const std::string& value) {
    if (name == kKey1Name) {
      row_.key1 = value;
    } else if (name == kKey2Name) {
      row_.key2 = value;
    } else {
      const auto& names = schema_.Names();
      const auto found = std::find(names.begin(), names.end(), name);
      if (found == names.end()) return false;
      row_.fields[static_cast<std::size_t>(found - names.begin())] = value;
    }
    return true;
  }

  void AddTo(Table& table, int line) const try {
    if (row_.key1.empty()) Refuse(line, "there is no key1");
    table.Add(row_, schema_);
  } catch (const Stop& stop) {
    if (stop.Reason().exit != kUsage) throw;
    Refuse(line, stop.Reason().what);
  }

 private:
  const Schema& schema_;
  TextRow row_;
};

std::string TextOf(const nlohmann::json& value) {
  return value.is_string() ? value.get<std::string>() : value.dump();
}

}  // namespace

int ImportCsv(std::istream& input, const Schema& schema, Table& table) {
  std::vector<std::string> names;
  std::vector<std::string> values;
  if (!ReadCsvRecord(input, names)) return 0;
  int line = 1;
  while (ReadCsvRecord(input, values)) {
    ++line;
    if (values.size() != names.size())
      Refuse(line, "it has another number of values than the first line has names");
    RowBuilder row(schema);
    for (std::size_t i = 0; i < names.size(); ++i) {
      if (!row.Set(names[i], values[i])) Refuse(1, "the schema has no field " + names[i]);
    }
    row.AddTo(table, line);
  }
  return line - 1;
}

int ImportJson(std::istream& input, const Schema& schema, Table& table) {
  int line = 0;
  for (std::string text; std::getline(input, text);) {
    ++line;
    const nlohmann::json document = nlohmann::json::parse(text, nullptr, false);
    if (!document.is_object()) Refuse(line, "this is no JSON object");
    RowBuilder row(schema);
    for (const auto& [name, value] : document.items()) {
      if (!row.Set(name, TextOf(value))) Refuse(line, "the schema has no field " + name);
    }
    row.AddTo(table, line);
  }
  return line;
}

}  // namespace tvl::cli

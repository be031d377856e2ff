#include <CLI/CLI.hpp>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cli/command_line.h"
#include "cli/output/reporter.h"
#include "cli/output/text.h"
#include "cli/store.h"
#include "cli/tables/csv.h"
#include "cli/tables/table.h"
#include "cli/tables/table_import.h"
#include "cli/tables/table_places.h"

namespace tvl::cli {
namespace {

// The arguments of all table commands.
struct TableRequest {
  std::string name;
  std::string schema;
  TableLengths lengths;
  bool replace = false;
  std::string key1;
  std::string key2;
  std::string file;
  std::vector<std::string> items;
  bool prefixes = false;
};

using TableRun = ExitStatus (*)(const Options&, Reporter&, const TableRequest&);

Store OpenStore(const Options& options) {
  return {options, {}, UseOf(options)};
}

// `would` is the text of a dry run.
void ReportRows(const Options& options, Reporter& reporter, const TableRequest& request, int rows,
                const char* would) {
  if (reporter.PrintsJson()) {
    JsonObject document = reporter.Document().Text("table", request.name).Number("rows", rows);
    reporter.Print(document.Flag("dry_run", options.dry_run));
  } else {
    reporter.PrintDone(request.name + ": " + Counted(static_cast<std::uint64_t>(rows), "row") +
                       (options.dry_run ? std::string(" ") + would : ""));
  }
}

// Returns the requested schema, or a schema with one field for the whole record.
Schema SchemaOf(const TableRequest& request, int record_length) {
  return Schema(request.schema.empty() ? "record-D" + std::to_string(record_length) : request.schema);
}

ExitStatus Create(const Options& options, Reporter& reporter, const TableRequest& request) {
  TableLengths lengths = request.lengths;
  const int needed = SchemaOf(request, 1).Length();
  if (lengths.record == 0) lengths.record = needed;
  if (lengths.record < needed)
    throw Stop("the schema needs " + std::to_string(needed) + " bytes, --record allows " +
               std::to_string(lengths.record));
  Store store = OpenStore(options);
  Table table(store, request.name);
  table.Create(lengths, request.replace, options.dry_run);
  ReportRows(options, reporter, request, 0, "would be in the new table");
  return kDone;
}

ExitStatus Info(const Options& options, Reporter& reporter, const TableRequest& request) {
  Store store = OpenStore(options);
  Table table(store, request.name);
  table.Open();
  table.Read({});
  CTVLCtreeRs& rows = table.Rows();
  if (reporter.PrintsJson()) {
    JsonObject document = reporter.Document().Text("table", request.name).Number("record", rows.DatLen());
    document.Number("key1", rows.Key1Len()).Number("key2", rows.Key2Len());
    reporter.Print(document.Number("rows", rows.Count()));
  } else {
    reporter.PrintColumns({{"Record:", std::to_string(rows.DatLen())},
                           {"Key 1:", std::to_string(rows.Key1Len())},
                           {"Key 2:", std::to_string(rows.Key2Len())},
                           {"Rows:", std::to_string(rows.Count())}});
  }
  return kDone;
}

std::vector<std::string> CellsOf(const TextRow& row) {
  std::vector<std::string> cells = {row.key1};
  cells.insert(cells.end(), row.fields.begin(), row.fields.end());
  return cells;
}

std::vector<std::string> HeadOf(const Schema& schema) {
  std::vector<std::string> head = {kKey1Name};
  for (const Field& field : schema.Fields()) head.push_back(field.name);
  return head;
}

JsonObject RowDocument(const TextRow& row, const Schema& schema) {
  JsonObject document;
  document.Text(kKey1Name, row.key1);
  for (std::size_t field = 0; field < row.fields.size(); ++field)
    document.Text(schema.Fields()[field].name, row.fields[field]);
  return document;
}

// Reads the requested rows and calls `print` with the schema and the table.
template <typename Print>
void PrintRows(const Options& options, const TableRequest& request, Print print) {
  Store store = OpenStore(options);
  Table table(store, request.name);
  table.Open();
  const Schema schema = SchemaOf(request, table.Rows().DatLen());
  table.Use(schema);
  table.Read(request.items);
  print(schema, table);
}

void PrintRowDocuments(Reporter& reporter, const Schema& schema, Table& table) {
  for (int row = 0; row < table.Rows().Count(); ++row) reporter.Print(RowDocument(table.RowAt(row), schema));
}

ExitStatus Read(const Options& options, Reporter& reporter, const TableRequest& request) {
  PrintRows(options, request, [&reporter](const Schema& schema, Table& table) {
    if (reporter.PrintsJson()) return PrintRowDocuments(reporter, schema, table);
    std::vector<std::vector<std::string>> rows = {HeadOf(schema)};
    for (int row = 0; row < table.Rows().Count(); ++row) rows.push_back(CellsOf(table.RowAt(row)));
    reporter.PrintColumns(rows);
  });
  return kDone;
}

ExitStatus Export(const Options& options, Reporter& reporter, const TableRequest& request) {
  PrintRows(options, request, [&reporter](const Schema& schema, Table& table) {
    if (reporter.PrintsJson()) return PrintRowDocuments(reporter, schema, table);
    reporter.PrintLine(CsvLine(HeadOf(schema)));
    for (int row = 0; row < table.Rows().Count(); ++row)
      reporter.PrintLine(CsvLine(CellsOf(table.RowAt(row))));
  });
  return kDone;
}

// Converts "name=value" arguments to the fields of a row.
TextRow RowFrom(const TableRequest& request, const Schema& schema) {
  TextRow row = {request.key1, request.key2, std::vector<std::string>(schema.Fields().size())};
  for (const std::string& item : request.items) {
    const std::size_t equals = item.find('=');
    const std::optional<std::size_t> field = schema.Find(item.substr(0, equals));
    if (equals == std::string::npos || !field)
      throw Stop("not FIELD=VALUE with a field of the schema: " + item);
    row.fields[*field] = item.substr(equals + 1);
  }
  return row;
}

ExitStatus Write(const Options& options, Reporter& reporter, const TableRequest& request) {
  const Schema schema(request.schema);
  const TextRow row = RowFrom(request, schema);
  Store store = OpenStore(options);
  Table table(store, request.name);
  table.OpenToChange();
  table.Use(schema);
  table.Add(row, schema);
  if (!options.dry_run) table.Write();
  ReportRows(options, reporter, request, 1, "would be written");
  return kDone;
}

ExitStatus Delete(const Options& options, Reporter& reporter, const TableRequest& request) {
  Store store = OpenStore(options);
  Table table(store, request.name);
  table.OpenToChange();
  table.Delete(request.items, request.prefixes, options.dry_run);
  if (reporter.PrintsJson())
    reporter.Print(reporter.Document().Text("table", request.name).Flag("dry_run", options.dry_run));
  return kDone;
}

ExitStatus Import(const Options& options, Reporter& reporter, const TableRequest& request) {
  const Schema schema(request.schema);
  const ImportText input = ReadImport(request.file);
  Store store = OpenStore(options);
  Table table(store, request.name);
  table.OpenToChange();
  table.Use(schema);
  const int rows = options.json ? ImportJson(input, schema, table) : ImportCsv(input, schema, table);
  if (!options.dry_run) table.Write();
  ReportRows(options, reporter, request, rows, "would be written");
  return kDone;
}

// --- Command line ---

struct TableCommand {
  const char* name;
  const char* description;
  TableRun run;
  bool needs_schema;
  const char* items;  // arguments after the table's name; null for none
  const char* items_help;
  bool needs_items;
  const char* examples;
};

constexpr char kSchemaExample[] =
    "Fields separated by blanks: name-Dlength for a text, name-Flength.decimals for a number";

constexpr TableCommand kCommands[] = {
    {"create", "Create a table", Create, false, nullptr, nullptr, false,
     "The folder of the table must exist; 'tvl mkdir' creates it. An existing table is\nreplaced only with "
     "--replace, and only if no client has it open.\n\nExamples:\n"
     "  tvl table create data/orders.dat --key1 8 --schema 'number-D8 total-F7.2'"},
    {"info", "Show a table's lengths and number of rows", Info, false, nullptr, nullptr, false,
     "Examples:\n  tvl table info data/orders.dat"},
    {"read", "Print rows in columns", Read, false, "PREFIX", "Prefixes of key 1 (default: all rows)", false,
     "Examples:\n  tvl table read data/orders.dat --schema 'number-D8 total-F7.2' A B\n"
     "  tvl --json table read data/orders.dat"},
    {"write", "Write a row, replacing the row with the same key 1", Write, true, "FIELD=VALUE",
     "Values of fields; the other fields become blank", true,
     "Examples:\n  tvl table write data/orders.dat --schema 'number-D8 total-F7.2' \\\n"
     "      --key1 A1 number=A1 total=12.50"},
    {"delete", "Delete rows", Delete, false, "KEY", "Values of key 1, or prefixes with --prefix", true,
     "Examples:\n  tvl table delete data/orders.dat A1\n  tvl table delete --prefix data/orders.dat A"},
    {"import", "Write the rows of a file: all of them, or none if one is invalid", Import, true, nullptr,
     nullptr, true,
     "The columns are key1, key2 and the fields of the schema. Numbers look like\n-12.50. If a value does "
     "not fit "
     "its field, its line is reported and nothing is\nwritten.\n\nExamples:\n"
     "  tvl table import data/orders.dat orders.csv --schema 'number-D8 total-F7.2'"},
    {"export", "Print rows as comma-separated values, or with --json as JSON lines", Export, false, "PREFIX",
     "Prefixes of key 1 (default: all rows)", false,
     "Key 2 cannot be read back, so it is not exported.\n\nExamples:\n"
     "  tvl table export data/orders.dat --schema 'number-D8 total-F7.2' > orders.csv"},
};

void AddLengths(CLI::App& command, TableRequest& request) {
  const auto add = [&command](const char* name, int& value, const char* help) {
    return command.add_option(name, value, help)
        ->type_name("BYTES")
        ->check(CLI::NonNegativeNumber.description(""));
  };
  add("--key1", request.lengths.key1, "Length of key 1")->required();
  add("--key2", request.lengths.key2, "Length of key 2 (default: 0, none)");
  add("--record", request.lengths.record, "Length of a record (default: as the schema needs)");
  command.add_flag("--replace", request.replace, "Delete an existing table of this name with its rows");
}

void AddTableCommand(const TableCommand& about, CLI::App& group, Invocation& invocation) {
  auto request = std::make_shared<TableRequest>();
  CLI::App& command = AddCommand(group, about, std::string("table ") + about.name, invocation, request);
  AddText(command, "TABLE", request->name, "Table in the store, such as data/orders.dat", "").required();
  if (about.items != nullptr)
    AddNames(command, request->items, about.items_help, about.items).required(about.needs_items);
  if (about.run == Import)
    AddText(command, "FILE", request->file,
            "Comma-separated values with a header line, or with --json one JSON object per line; - for "
            "standard input",
            "")
        .required();
  AddText(command, "--schema", request->schema, kSchemaExample, "SCHEMA").required(about.needs_schema);
  if (about.run == Create) AddLengths(command, *request);
  if (about.run == Write) {
    AddText(command, "--key1", request->key1, "Key 1 of the row", "KEY").required();
    AddText(command, "--key2", request->key2, "Key 2 of the row", "KEY");
  }
  if (about.run == Delete)
    command.add_flag("--prefix", request->prefixes, "Delete all rows whose key 1 begins with a KEY");
  command.footer(about.examples);
}

}  // namespace

void AddTableCommands(CLI::App& app, Invocation& invocation) {
  CLI::App* group = app.add_subcommand("table", "Work with the keyed tables of the store");
  group->require_subcommand(1);
  group->footer(
      "Examples:\n  tvl table info data/orders.dat\n  tvl table export data/orders.dat > orders.csv");
  for (const TableCommand& command : kCommands) AddTableCommand(command, *group, invocation);
  AddTablePlaceCommands(*group, invocation);
}

}  // namespace tvl::cli

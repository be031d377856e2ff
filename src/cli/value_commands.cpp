#include <CLI/CLI.hpp>
#include <memory>
#include <string>
#include <vector>

#include <tvlclient/errors.h>

#include "cli/command_line.h"
#include "cli/output/reporter.h"
#include "cli/output/text.h"
#include "cli/store.h"

namespace tvl::cli {
namespace {

constexpr std::size_t kLongestValue = 2047;

// Clients find the store by these values. A wrong value would make it unusable for everyone.
constexpr const char* kStoresOwn[] = {"DocumentRoot", "TmpDir"};

struct Value {
  std::string name;
  std::string text;
};

// Only a directory store has these values, and the commands touch no local files.
Store OpenStore(const Options& options) {
  if (!options.tcp.empty()) throw Stop(options.tcp, LibraryFailure(TVL_ERR_NOT_SUPPORTED));
  return {options, {}, UseOf(options)};
}

bool HasControls(const std::string& text) {
  for (const char character : text) {
    if (static_cast<unsigned char>(character) < 0x20) return true;
  }
  return false;
}

void CheckName(const std::string& name) {
  const bool bad = name.empty() || HasControls(name) || name.find('=') != std::string::npos ||
                   name.front() == ';' || name.front() == '[' || name.front() == ' ' || name.back() == ' ';
  if (bad) throw Stop("'" + Printable(name) + "' cannot be the name of a value in a configuration");
}

void CheckMayChange(const std::string& name) {
  CheckName(name);
  for (const char* own : kStoresOwn) {
    if (EqualsIgnoringCase(own, name))
      throw Stop(
          name,
          {kNotAllowed, 0, "clients find the store by this value", 0, {}, "edit its configuration instead"});
  }
}

std::string ReadValue(Store& store, const std::string& name, const char* otherwise) {
  CString value;
  ForgetFileErrors();
  if (const int code = store.Client().GetEnviron(name.c_str(), otherwise, value))
    throw Stop(name, LibraryFailure(code));
  return value.GetString();
}

// Reads the value with two different defaults. If both come back, the value is missing.
bool HasValue(Store& store, const std::string& name) {
  return ReadValue(store, name, "1") != "1" || ReadValue(store, name, "2") != "2";
}

// Writes a value, or deletes it if `text` is null. The library always returns 0, so the result is read back.
void Write(Store& store, const std::string& name, const std::string* text) {
  ForgetFileErrors();
  if (const int code = store.Client().PutEnviron(name.c_str(), text == nullptr ? nullptr : text->c_str()))
    throw Stop(name, LibraryFailure(code));
  Failure failure = LibraryFailure(TVL_OK);
  const bool exists = HasValue(store, name);
  if (text == nullptr ? !exists : exists && ReadValue(store, name, "") == *text) return;
  if (failure.path.empty()) failure.path = store.Configuration();
  throw Stop(name, {kFailed, 0, text == nullptr ? "could not be deleted" : "could not be set", failure.error,
                    failure.path});
}

void ReportValue(Reporter& reporter, const Value& value) {
  if (reporter.PrintsJson())
    reporter.Print(reporter.Document().Text("name", value.name).Text("value", value.text));
  else
    reporter.PrintLine(Printable(value.text));
}

void ReportChange(Reporter& reporter, JsonObject document, const std::string& name, const char* result) {
  if (reporter.PrintsJson())
    reporter.Print(document.Text("result", result));
  else
    reporter.PrintDone(name + ": " + result);
}

ExitStatus RunGet(const Options& options, Reporter& reporter, const Value& value) {
  CheckName(value.name);
  Store store = OpenStore(options);
  if (!HasValue(store, value.name)) throw Stop(value.name, {kNotFound, 0, "has no value", 0, {}});
  ReportValue(reporter, {value.name, ReadValue(store, value.name, "")});
  return kDone;
}

ExitStatus RunSet(const Options& options, Reporter& reporter, const Value& value) {
  CheckMayChange(value.name);
  if (HasControls(value.text) || value.text.size() > kLongestValue)
    throw Stop("a value must be one line of at most " + std::to_string(kLongestValue) + " bytes");
  Store store = OpenStore(options);
  if (!options.dry_run) Write(store, value.name, &value.text);
  ReportChange(reporter, reporter.Document().Text("name", value.name).Text("value", value.text), value.name,
               options.dry_run ? "would be set" : "set");
  return kDone;
}

ExitStatus RunUnset(const Options& options, Reporter& reporter, const Value& value) {
  CheckMayChange(value.name);
  Store store = OpenStore(options);
  if (!HasValue(store, value.name)) throw Stop(value.name, {kNotFound, 0, "has no value", 0, {}});
  if (!options.dry_run) Write(store, value.name, nullptr);
  ReportChange(reporter, reporter.Document().Text("name", value.name), value.name,
               options.dry_run ? "would be deleted" : "deleted");
  return kDone;
}

void AddToValues(const char* name, const char* text, void* values) {
  static_cast<std::vector<Value>*>(values)->push_back({name, text});
}

ExitStatus RunList(const Options& options, Reporter& reporter, const Value& /*unused*/) {
  Store store = OpenStore(options);
  std::vector<Value> values;
  ForgetFileErrors();
  if (const int code = store.Directory()->ListEnviron(AddToValues, &values))
    throw Stop({}, LibraryFailure(code));
  std::vector<std::vector<std::string>> rows;
  std::vector<JsonObject> documents;
  for (const Value& value : values) {
    rows.push_back({value.name, value.text});
    documents.emplace_back().Text("name", value.name).Text("value", value.text);
  }
  if (reporter.PrintsJson())
    reporter.Print(reporter.Document().Array("values", documents));
  else
    reporter.PrintColumns(rows);
  return kDone;
}

struct ValueCommand {
  const char* name;
  const char* path;
  const char* description;
  ExitStatus (*run)(const Options&, Reporter&, const Value&);
  bool has_name;
  bool has_value;
  const char* footer;
};

constexpr ValueCommand kCommands[] = {
    {"get", "env get", "Print a value as it is in the file", RunGet, true, false,
     "Exit 6: the value does not exist.\n\nExamples:\n  tvl env get ReportFolder"},
    {"set", "env set", "Write a value to the file", RunSet, true, true,
     "Keeps all other lines of the file. Reads the value back afterwards.\n"
     "Exit 7: the value is DocumentRoot or TmpDir, which locate the store.\n\nExamples:\n"
     "  tvl env set ReportFolder '$DocumentRoot/reports'"},
    {"unset", "env unset", "Delete a value from the file", RunUnset, true, false,
     "Exit 6: the value does not exist.\n\nExamples:\n  tvl env unset ReportFolder"},
    {"list", "env list", "Print all values as they are in the file", RunList, false, false,
     "Examples:\n  tvl env list\n  tvl --json env list"},
};

}  // namespace

void AddValueCommands(CLI::App& app, Invocation& invocation) {
  CLI::App* group = app.add_subcommand("env", "Work with the values of [Environments] in the configuration");
  group->require_subcommand(1);
  group->footer("Examples:\n  tvl env list\n  tvl env get ReportFolder");
  for (const ValueCommand& command : kCommands) {
    auto value = std::make_shared<Value>();
    CLI::App& added = AddCommand(*group, command.name, command.description, command.path, invocation,
                                 [run = command.run, value](const Options& options, Reporter& reporter) {
                                   return run(options, reporter, *value);
                                 });
    if (command.has_name) AddText(added, "NAME", value->name, "Name of the value", "").required();
    if (command.has_value) AddText(added, "VALUE", value->text, "The value, one line", "").required();
    added.footer(command.footer);
  }
}

}  // namespace tvl::cli

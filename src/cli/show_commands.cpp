#include <CLI/CLI.hpp>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <tvlclient/errors.h>
#include <tvlclient/smb_opr.h>

#include "cli/command_line.h"
#include "cli/configuration.h"
#include "cli/output/reporter.h"
#include "cli/output/text.h"
#include "cli/store.h"

namespace tvl::cli {
namespace {

std::string YesNo(bool value) {
  return value ? "yes" : "no";
}

// A value with its label in text output and its key in JSON output.
struct Fact {
  const char* label;
  const char* key;
  std::string text;
  std::optional<std::int64_t> number = {};
  std::optional<bool> flag = {};
};

std::string StoreVersion(const CTVLClientOpr& client) {
  unsigned int major = 0;
  int minor = 0;
  if (client.VersionNumber(&major, &minor) == 0) return {};
  return std::to_string(major) + "." + std::to_string(minor);
}

std::vector<Fact> FactsOf(Store& store, const Options& options) {
  CTVLClientOpr& client = store.Client();
  std::vector<Fact> facts = {
      {"Short name", "short_name", client.ShortName()},
      {"Long name", "long_name", client.LongName()},
      {"Instance", "instance", std::to_string(client.InstanceId()), client.InstanceId()},
      {"Server id", "server_id", client.ServerID()},
      {"Working directory", "working_directory", HostFolder(client.WorkingDirectory())},
      {"Used in place", "dumb_mode", YesNo(client.DumbMode() != 0), {}, client.DumbMode() != 0},
      {"Compared by", "file_compare", PolicyName(client.FileCmp())},
      {"Compressed",
       "zip_on_transfert",
       YesNo(client.ZipOnTransfert() != 0),
       {},
       client.ZipOnTransfert() != 0},
  };
  if (store.Directory() == nullptr) {
    facts.push_back({"Server", "server", options.tcp});
    return facts;
  }
  facts.push_back({"Root", "root", HostFolder(store.Directory()->ServerRoot())});
  facts.push_back({"Configuration", "configuration", store.Configuration()});
  facts.push_back({"User", "user", client.User()});
  facts.push_back({"Computer", "computer", client.ComputerName()});
  facts.push_back({"Store version", "store_version", StoreVersion(client)});
  return facts;
}

void PrintFacts(Reporter& reporter, const std::vector<Fact>& facts) {
  constexpr std::size_t kLabelColumn = 20;
  for (const Fact& fact : facts) {
    std::string line = std::string(fact.label) + ":";
    line.resize(kLabelColumn, ' ');
    reporter.PrintLine(line + (fact.text.empty() ? "-" : Printable(fact.text)));
  }
}

JsonObject FactsDocument(const Reporter& reporter, const std::vector<Fact>& facts) {
  JsonObject document = reporter.Document();
  for (const Fact& fact : facts) {
    if (fact.number)
      document.Number(fact.key, *fact.number);
    else if (fact.flag)
      document.Flag(fact.key, *fact.flag);
    else
      document.Text(fact.key, fact.text);
  }
  return document;
}

ExitStatus RunInfo(const Options& options, Reporter& reporter) {
  Store store(options, FindWorkingDirectory(options), UseOf(options));
  const std::vector<Fact> facts = FactsOf(store, options);
  if (reporter.PrintsJson())
    reporter.Print(FactsDocument(reporter, facts));
  else
    PrintFacts(reporter, facts);
  return kDone;
}

// Returns the origin of a value: "[Section]", or "default".
std::string OriginText(const CTVLClientSmbOpr& reader, int index) {
  const std::string section = reader.ConfigOrigin(index);
  return section.empty() ? "default" : "[" + section + "]";
}

void PrintConfiguration(Reporter& reporter, const std::vector<Fact>& facts, const CTVLClientSmbOpr& reader,
                        bool origins) {
  PrintFacts(reporter, facts);
  reporter.PrintLine("");
  for (int index = 0; index < reader.ConfigCount(); ++index) {
    const std::string origin = origins ? "  (" + OriginText(reader, index) + ")" : "";
    reporter.PrintLine(
        Printable(std::string(reader.ConfigName(index)) + " = " + reader.ConfigValue(index) + origin));
  }
}

std::vector<JsonObject> VariableDocuments(const CTVLClientSmbOpr& reader) {
  std::vector<JsonObject> variables(static_cast<std::size_t>(reader.ConfigCount()));
  for (int index = 0; index < reader.ConfigCount(); ++index) {
    variables[static_cast<std::size_t>(index)]
        .Text("name", reader.ConfigName(index))
        .Text("value", reader.ConfigValue(index))
        .Text("origin", reader.ConfigOrigin(index));
  }
  return variables;
}

ExitStatus RunConfigShow(const Options& options, Reporter& reporter, bool origins) {
  const std::string file = FindConfiguration(options);
  CTVLClientSmbOpr reader;
  ForgetFileErrors();
  if (const int code = reader.ReadConfig(file.c_str())) throw Stop(file, ConfigurationFailure(code));
  const bool zip = reader.ConfigZipOnTransfert() != 0;
  const int safety = reader.ConfigSafeOnTransfert();
  const std::vector<Fact> facts = {
      {"File", "file", file},
      {"FileCompare", "file_compare", PolicyName(reader.ConfigFileCompare())},
      {"ZipOnTransfert", "zip_on_transfert", YesNo(zip), {}, zip},
      {"SafeOnTransfert", "safe_on_transfert", SafetyText(safety), safety},
  };
  if (reporter.PrintsJson())
    reporter.Print(FactsDocument(reporter, facts).Array("variables", VariableDocuments(reader)));
  else
    PrintConfiguration(reporter, facts, reader, origins);
  return kDone;
}

struct ProblemText {
  const char* key;      // in JSON output
  const char* message;  // follows the name of the key and a colon; the value or name comes last
};
constexpr ProblemText kProblems[] = {
    {"unknown_key", "unknown key in [TavolisFileSystem]"},
    {"useless_value", "unknown value"},
    {"undefined_name", "undefined variable"},
    {"circular_name", "circular reference to"},
};

struct ConfigProblem {
  TVL_CONFIG_PROBLEM problem;
  std::string key;
  std::string text;
};

const ProblemText& TextOf(const ConfigProblem& found) {
  return kProblems[found.problem - TVL_CONFIG_UNKNOWN_KEY];
}

std::string Message(const ConfigProblem& found) {
  const std::string message = found.key + ": " + TextOf(found).message;
  return found.problem == TVL_CONFIG_UNKNOWN_KEY ? message : message + " '" + found.text + "'";
}

void PrintProblems(Reporter& reporter, const std::string& file, const std::vector<ConfigProblem>& problems) {
  for (const ConfigProblem& found : problems) reporter.PrintLine(Printable(Message(found)));
  if (problems.empty()) reporter.PrintLine(Printable(file + ": no problems found"));
}

std::vector<JsonObject> ProblemDocuments(const std::vector<ConfigProblem>& problems) {
  std::vector<JsonObject> documents(problems.size());
  for (std::size_t i = 0; i < problems.size(); ++i) {
    documents[i]
        .Text("problem", TextOf(problems[i]).key)
        .Text("key", problems[i].key)
        .Text("text", problems[i].text);
  }
  return documents;
}

ExitStatus RunConfigCheck(const Options& options, Reporter& reporter) {
  const std::string file = FindConfiguration(options);
  std::vector<ConfigProblem> problems;
  CTVLClientSmbOpr reader;
  ForgetFileErrors();
  const int code = reader.CheckConfig(
      file.c_str(),
      [](TVL_CONFIG_PROBLEM problem, const char* key, const char* text, void* list) {
        static_cast<std::vector<ConfigProblem>*>(list)->push_back({problem, key, text});
      },
      &problems);
  if (code != TVL_OK) throw Stop(file, ConfigurationFailure(code));
  if (reporter.PrintsJson())
    reporter.Print(reporter.Document().Text("file", file).Array("problems", ProblemDocuments(problems)));
  else
    PrintProblems(reporter, file, problems);
  return problems.empty() ? kDone : kSkipped;
}

}  // namespace

void AddShowCommands(CLI::App& app, Invocation& invocation) {
  AddCommand(app, "info", "Show the connection to the store", "info", invocation, RunInfo)
      .footer("Examples:\n  tvl info\n  tvl --json info\n  tvl --tcp store.example:4000 info");
  CLI::App* config = app.add_subcommand("config", "Show and check the configuration");
  config->require_subcommand(1);
  config->footer("Examples:\n  tvl config show\n  tvl config check");
  const auto origins = std::make_shared<bool>(false);
  CLI::App& show =
      AddCommand(*config, "show", "Show the values of the configuration and its file", "config show",
                 invocation, [origins](const Options& options, Reporter& reporter) {
                   return RunConfigShow(options, reporter, *origins);
                 });
  show.add_flag("--origin", *origins, "Show the section of each value too, or that it is a default");
  show.footer(
      "Creates no folders and does not access the store.\n\nExamples:\n  tvl config show\n"
      "  tvl --config other.ini config show --origin");
  AddCommand(*config, "check", "Find keys, values and references without effect", "config check", invocation,
             RunConfigCheck)
      .footer(
          "Creates no folders and does not access the store. Exit 3: it found some.\n\nExamples:\n"
          "  tvl config check");
}

}  // namespace tvl::cli

#ifndef TVL_CLI_OPTIONS_H
#define TVL_CLI_OPTIONS_H

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "cli/exit_status.h"

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace tvl::cli {

// What may be given before or after any command.
struct Options {
  std::string config;
  std::string tcp;
  std::optional<std::string> work;
  std::string class_name = "tvlc";
  std::string tag_file;
  std::optional<int> timeout;  // seconds
  bool json = false;
  bool quiet = false;
  bool verbose = false;
  bool dry_run = false;
};

// The program's command line: the options, and what the command that was named does.
struct Invocation {
  Options options;
  std::string command;
  std::function<ExitStatus()> run;
};

// The parser takes "[a,b]" for a list of two values, and "--" for the end of a list of names. On this line
// "[a,b]" is a name like any other, and what follows "--" continues the names before it. So such arguments
// are marked before the parser sees them, and AddText and AddNames, which add every option with a value, take
// the mark off. In reverse order, as the parser wants them.
[[nodiscard]] std::vector<std::string> MarkedArguments(int count, const char* const* arguments);
CLI::Option& AddText(CLI::App& app, const std::string& name, std::string& value, const std::string& help,
                     const std::string& type);
CLI::Option& AddNames(CLI::App& app, std::vector<std::string>& values, const std::string& help,
                      const std::string& type);

void AddOptions(CLI::App& app, Options& options);

// Adds a command that runs `run` when it is named. `path` is its name in messages, "config show".
CLI::App& AddCommand(CLI::App& parent, const std::string& name, const std::string& description,
                     const std::string& path, Invocation& invocation, std::function<ExitStatus()> run);

// Adds a command that takes one optional text.
CLI::App& AddNamed(CLI::App& app, Invocation& invocation, const char* name, const char* description,
                   const char* argument, const char* help,
                   std::function<ExitStatus(const Options&, const std::string&)> run);

// One function a group of commands.
void AddStoreCommands(CLI::App& app, Invocation& invocation);
void AddShowCommands(CLI::App& app, Invocation& invocation);
void AddTransferCommands(CLI::App& app, Invocation& invocation);
void AddHashCommand(CLI::App& app, Invocation& invocation);
void AddLockCommands(CLI::App& app, Invocation& invocation);
void AddLockListings(CLI::App& app, Invocation& invocation);
void AddTableCommands(CLI::App& app, Invocation& invocation);
void AddTreeCommands(CLI::App& app, Invocation& invocation);
void AddListCommand(CLI::App& app, Invocation& invocation);
void AddSyncCommands(CLI::App& app, Invocation& invocation);
void AddValueCommands(CLI::App& app, Invocation& invocation);
void AddServiceCommands(CLI::App& app, Invocation& invocation);
void AddDoctorCommand(CLI::App& app, Invocation& invocation);

}  // namespace tvl::cli

#endif

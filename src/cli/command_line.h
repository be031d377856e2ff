#ifndef TVL_CLI_COMMAND_LINE_H
#define TVL_CLI_COMMAND_LINE_H

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "cli/options.h"
#include "cli/output/exit_status.h"

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace tvl::cli {

class Reporter;

using CommandRun = std::function<ExitStatus(const Options&, Reporter&)>;

// The parsed command line: the global options and the command to run.
struct Invocation {
  Options options;
  std::string command;
  CommandRun run;
};

// Returns the arguments in reverse order, as the parser expects them. The parser treats "[a,b]" as a list of
// two values and "--" as the end of a list of names. For tvl "[a,b]" is an ordinary name, and the names after
// "--" continue those before it. So MarkedArguments marks such arguments, and AddText and AddNames, which add
// all options with a value, remove the mark.
[[nodiscard]] std::vector<std::string> MarkedArguments(const std::vector<std::string>& arguments);
CLI::Option& AddText(CLI::App& app, const std::string& name, std::string& value, const std::string& help,
                     const std::string& type);
CLI::Option& AddNames(CLI::App& app, std::vector<std::string>& values, const std::string& help,
                      const std::string& type);

void AddOptions(CLI::App& app, Options& options);

// Adds a command that runs `run`. `path` is its full name for messages, such as "config show".
CLI::App& AddCommand(CLI::App& parent, const std::string& name, const std::string& description,
                     const std::string& path, Invocation& invocation, CommandRun run);

// The same for one of a list of commands, whose `run` also gets the request that its options fill.
template <typename About, typename Request>
CLI::App& AddCommand(CLI::App& parent, const About& about, const std::string& path, Invocation& invocation,
                     std::shared_ptr<Request> request) {
  return AddCommand(parent, about.name, about.description, path, invocation,
                    [run = about.run, request](const Options& options, Reporter& reporter) {
                      return run(options, reporter, *request);
                    });
}

// Adds a command that waits 10 s at most, unless --timeout says otherwise: a stopped server must not hold up
// what monitors it.
CLI::App& AddMonitor(CLI::App& app, const std::string& name, const std::string& description,
                     Invocation& invocation, CommandRun run);

// Adds a command with one optional argument.
CLI::App& AddNamed(CLI::App& app, Invocation& invocation, const char* name, const char* description,
                   const char* argument, const char* help,
                   ExitStatus (*run)(const Options&, Reporter&, const std::string&));

// Each of these functions adds a group of commands.
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
void AddPingCommand(CLI::App& app, Invocation& invocation);
void AddStatusCommand(CLI::App& app, Invocation& invocation);
void AddBackupCommands(CLI::App& app, Invocation& invocation);
void AddDoctorCommand(CLI::App& app, Invocation& invocation);
void AddCompletionCommands(CLI::App& app, Invocation& invocation);

// Describes the whole program: its options and all commands.
void DescribeProgram(CLI::App& app, Invocation& invocation);

}  // namespace tvl::cli

#endif

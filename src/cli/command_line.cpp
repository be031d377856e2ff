#include "cli/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cctype>
#include <memory>
#include <utility>

namespace tvl::cli {

namespace {

constexpr char kMark = '\x01';
constexpr int kLongestTimeout = 1000000;
constexpr int kMonitorTimeout = 10;  // seconds

std::string WithoutMark(std::string text) {
  if (!text.empty() && text.front() == kMark) text.erase(0, 1);
  return text;
}

// Checks a class, which becomes part of a marker's file name. Returns an error message; empty if it is valid.
std::string CheckClass(const std::string& text) {
  const auto fits = [](unsigned char byte) {
    return byte == '_' || byte == ' ' || (byte < 0x80 && std::isalnum(byte) != 0);
  };
  return std::all_of(text.begin(), text.end(), fits) ? ""
                                                     : "a class contains only letters, digits, _ and blanks";
}

}  // namespace

std::vector<std::string> MarkedArguments(const std::vector<std::string>& arguments) {
  std::vector<std::string> marked;
  bool only_names = false;
  for (std::string text : arguments) {
    if (!only_names && text == "--") {
      only_names = true;
      continue;
    }
    const bool list = text.starts_with('[') && text.ends_with(']');
    if (only_names || list || text.starts_with(kMark)) text.insert(0, 1, kMark);
    marked.push_back(text);
  }
  std::reverse(marked.begin(), marked.end());
  return marked;
}

CLI::Option& AddText(CLI::App& app, const std::string& name, std::string& value, const std::string& help,
                     const std::string& type) {
  return *app.add_option(name, value, help)->type_name(type)->transform(WithoutMark);
}

CLI::Option& AddNames(CLI::App& app, std::vector<std::string>& values, const std::string& help,
                      const std::string& type) {
  return *app.add_option(type, values, help)->required()->type_name("")->transform(WithoutMark);
}

void AddOptions(CLI::App& app, Options& options) {
  CLI::Option& config = AddText(app, "--config", options.config,
                                "Configuration of the store (default: $TVL_CONFIG, ./tvl.ini, "
                                "$XDG_CONFIG_HOME/tvl/tvl.ini, /etc/tvl/tvl.ini)",
                                "FILE");
  AddText(app, "--tcp", options.tcp,
          "Connect to a server instead of a folder; write an IPv6 address in brackets", "HOST:PORT")
      .excludes(&config);
  app.add_option("--work", options.work,
                 "Working directory for relative local names (default: $TVL_WORK, the current folder)")
      ->type_name("DIR")
      ->transform(WithoutMark);
  AddText(app, "--class", options.class_name,
          "Client class of 4 letters, digits, _ or blanks (default: tvlc); a longer one is cut, a shorter "
          "one is padded with x",
          "CCCC")
      .check(CheckClass, "");
  AddText(app, "--tag-file", options.tag_file,
          "File that contains the client tag for a server (default: the tag in $TVL_TAG)", "FILE");
  app.add_option("--timeout", options.timeout,
                 "Give up if the store or server does not answer within this time (default: no limit)")
      ->type_name("SECONDS")
      ->check(CLI::Range(1, kLongestTimeout).description(""));
  app.add_flag("--json", options.json, "Print results as JSON");
  CLI::Option* quiet = app.add_flag("-q,--quiet", options.quiet, "Print only requested results and errors");
  app.add_flag("-v,--verbose", options.verbose, "Report every file")->excludes(quiet);
  app.add_flag("-n,--dry-run", options.dry_run, "Show what would be done, but change nothing");
}

CLI::App& AddCommand(CLI::App& parent, const std::string& name, const std::string& description,
                     const std::string& path, Invocation& invocation, CommandRun run) {
  CLI::App* command = parent.add_subcommand(name, description);
  command->callback([&invocation, path, run = std::move(run)] {
    invocation.command = path;
    invocation.run = run;
  });
  return *command;
}

CLI::App& AddMonitor(CLI::App& app, const std::string& name, const std::string& description,
                     Invocation& invocation, CommandRun run) {
  CLI::App* command = app.add_subcommand(name, description);
  command->callback([&invocation, name, run = std::move(run)] {
    if (!invocation.options.timeout) invocation.options.timeout = kMonitorTimeout;
    invocation.command = name;
    invocation.run = run;
  });
  return *command;
}

CLI::App& AddNamed(CLI::App& app, Invocation& invocation, const char* name, const char* description,
                   const char* argument, const char* help,
                   ExitStatus (*run)(const Options&, Reporter&, const std::string&)) {
  auto value = std::make_shared<std::string>();
  CLI::App& command = AddCommand(
      app, name, description, name, invocation,
      [value, run](const Options& options, Reporter& reporter) { return run(options, reporter, *value); });
  AddText(command, argument, *value, help, "");
  return command;
}

}  // namespace tvl::cli

#include <CLI/CLI.hpp>
#include <memory>
#include <string>

#include "cli/command_line.h"
#include "cli/transfer/transfer.h"

namespace tvl::cli {
namespace {

struct TransferCommand {
  Direction direction;
  const char* name;
  const char* description;
  const char* names_help;
  const char* examples;
};

constexpr TransferCommand kCommands[] = {
    {Direction::kGet, "get", "Fetch files from the store into the working directory", "Files in the store",
     R"(Skips files that are the same on both sides, unless -f is given.

Examples:
  tvl get docs/a.doc                      to docs/a.doc in the working directory
  tvl get docs/a.doc --as /home/me/b.doc  under another name
  tvl get -t inbox docs/a.doc docs/b.doc  into the folder inbox
  tvl get -r docs                         a whole tree
  tvl -n get -r docs                      show what would be fetched)"},
    {Direction::kPut, "put", "Store files from the working directory", "Local files",
     R"(Skips files that are the same on both sides, unless -f is given.

Examples:
  tvl put docs/a.doc                      to docs/a.doc in the store
  tvl put /home/me/a.doc --as docs/b.doc  under another name
  tvl put -t docs *.doc                   into the folder docs of the store
  tvl put -r docs                         a whole tree
  tvl -n put -r docs                      show what would be stored)"},
};

void AddTransferCommand(const TransferCommand& about, CLI::App& app, Invocation& invocation) {
  auto request = std::make_shared<TransferRequest>();
  CLI::App& command =
      AddCommand(app, about.name, about.description, about.name, invocation,
                 [direction = about.direction, request](const Options& options, Reporter& reporter) {
                   return RunTransfer(direction, options, reporter, *request);
                 });
  AddNames(command, request->names, about.names_help, "NAME");
  const bool puts = about.direction == Direction::kPut;
  CLI::Option& to = AddText(command, "-t,--to", request->other.folder,
                            puts ? "Store in this folder of the store" : "Write to this local folder", "DIR");
  AddText(command, "--as", request->other.name,
          puts ? "Name in the store (for a single NAME)" : "Local name (for a single NAME)", "NAME")
      .excludes(&to);
  command.add_flag("-r,--recursive", request->recursive, "Transfer whole trees");
  command.add_flag("-f,--force", request->force, "Transfer even files that are the same on both sides");
  if (puts) command.add_flag("--follow", request->follow, "Write through links that lead out of the store");
  command.footer(about.examples);
}

}  // namespace

void AddTransferCommands(CLI::App& app, Invocation& invocation) {
  for (const TransferCommand& command : kCommands) AddTransferCommand(command, app, invocation);
}

}  // namespace tvl::cli

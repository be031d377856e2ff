#include <CLI/CLI.hpp>
#include <memory>
#include <string>

#include "cli/options.h"
#include "cli/transfer.h"

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
    {Direction::kGet, "get", "Fetch files of the store into the working directory",
     "REMOTE, REMOTE LOCAL, or three names or more:\nnames on the store, each fetched under its own name",
     R"(A file that is the same on both sides stays as it is, unless -f is given.

Examples:
  tvl get docs/a.doc                      to docs/a.doc in the working directory
  tvl get docs/a.doc /home/me/copy.doc    under another name
  tvl get -t inbox docs/a.doc docs/b.doc  into the folder inbox
  tvl get -r docs                         a whole tree
  tvl -n get -r docs                      what would come)"},
    {Direction::kPut, "put", "Store files of the working directory",
     "LOCAL, LOCAL REMOTE, or three names or more:\nlocal names, each stored under its own name",
     R"(A file that is the same on both sides stays as it is, unless -f is given.

Examples:
  tvl put docs/a.doc                      to docs/a.doc on the store
  tvl put /home/me/a.doc docs/a.doc       under another name
  tvl put -t docs *.doc                   into the folder docs of the store
  tvl put -r docs                         a whole tree
  tvl -n put -r docs                      what would go)"},
};

void AddTransferCommand(const TransferCommand& about, CLI::App& app, Invocation& invocation) {
  auto request = std::make_shared<TransferRequest>();
  CLI::App& command = AddCommand(app, about.name, about.description, about.name, invocation,
                                 [direction = about.direction, request, &options = invocation.options] {
                                   return RunTransfer(direction, options, *request);
                                 });
  AddNames(command, request->names, about.names_help, "NAME");
  AddText(command, "-t,--to", request->to, "Folder of the other side that every name goes into", "DIR");
  command.add_flag("-r,--recursive", request->recursive, "Take whole trees");
  command.add_flag("-f,--force", request->force, "Transfer also what is the same on both sides");
  command.footer(about.examples);
}

}  // namespace

void AddTransferCommands(CLI::App& app, Invocation& invocation) {
  for (const TransferCommand& command : kCommands) AddTransferCommand(command, app, invocation);
}

}  // namespace tvl::cli

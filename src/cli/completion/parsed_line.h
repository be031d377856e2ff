#ifndef TVL_CLI_COMPLETION_PARSED_LINE_H
#define TVL_CLI_COMPLETION_PARSED_LINE_H

#include <string>
#include <vector>

#include "cli/completion/argument_kind.h"

namespace CLI {
class App;
}  // namespace CLI

namespace tvl::cli {

// An unfinished command line: how far it has come in the command tree, and what the last word may be.
struct ParsedLine {
  const CLI::App* command = nullptr;  // the innermost command, or the program
  std::string path;                   // the full name of the command, such as "env get"
  std::vector<std::string> globals;   // the options of the program, with their values
  std::string prefix;                 // what precedes the part to complete in the last word: "--config="
  std::string word;                   // the part to complete
  ArgumentKind kind = ArgumentKind::kOther;
  bool takes_command = false;  // the word may be a subcommand
  bool takes_option = false;   // the word may be an option
};

// `words` are those that follow the name of the program; at least one.
[[nodiscard]] ParsedLine ParseUnfinished(const CLI::App& program, const std::vector<std::string>& words);

}  // namespace tvl::cli

#endif

#include <CLI/CLI.hpp>

#include "cli/completion/candidates.h"

namespace tvl::cli {
namespace {

void AddCommands(const CLI::App& command, std::vector<Candidate>& candidates) {
  for (const CLI::App* below : command.get_subcommands([](const CLI::App*) { return true; })) {
    const bool is_hidden = below->get_group().empty();
    if (!is_hidden) candidates.push_back({below->get_name(), below->get_description()});
  }
}

void AddOptionsOf(const CLI::App& command, std::vector<Candidate>& candidates) {
  for (const CLI::Option* option : command.get_options()) {
    for (const std::string& name : option->get_lnames())
      candidates.push_back({"--" + name, option->get_description()});
  }
}

std::vector<Candidate> WordsOf(ArgumentKind kind) {
  if (kind == ArgumentKind::kKindOfFile) return {{"database", ""}, {"document", ""}, {"pdf", ""}};
  if (kind == ArgumentKind::kShell) return {{"bash", ""}, {"fish", ""}, {"zsh", ""}};
  return {};
}

}  // namespace

std::vector<Candidate> ProgramCandidates(const CLI::App& program, const ParsedLine& line) {
  std::vector<Candidate> candidates = WordsOf(line.kind);
  if (line.takes_command) AddCommands(*line.command, candidates);
  if (line.takes_option) {
    AddOptionsOf(*line.command, candidates);
    if (line.command != &program) AddOptionsOf(program, candidates);
  }
  return candidates;
}

}  // namespace tvl::cli

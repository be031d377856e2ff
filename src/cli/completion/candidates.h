#ifndef TVL_CLI_COMPLETION_CANDIDATES_H
#define TVL_CLI_COMPLETION_CANDIDATES_H

#include <string>
#include <vector>

#include "cli/completion/parsed_line.h"
#include "cli/options.h"

namespace tvl::cli {

struct Candidate {
  std::string text;
  std::string description;  // may be empty
};

// Subcommands, options and words that the program knows.
[[nodiscard]] std::vector<Candidate> ProgramCandidates(const CLI::App& program, const ParsedLine& line);

// Names from the store. Throws Stop if the store cannot be read.
[[nodiscard]] std::vector<Candidate> StoreCandidates(const Options& options, const ParsedLine& line);

}  // namespace tvl::cli

#endif

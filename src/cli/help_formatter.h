#ifndef TVL_CLI_HELP_FORMATTER_H
#define TVL_CLI_HELP_FORMATTER_H

#include <CLI/CLI.hpp>
#include <string>

namespace tvl::cli {

// Formats help texts for terminals of 80 columns.
class HelpFormatter : public CLI::Formatter {
 public:
  HelpFormatter();

  std::string make_option_opts(const CLI::Option* option) const override;
  std::string make_option_desc(const CLI::Option* option) const override;
  std::string make_subcommands(const CLI::App* app, CLI::AppFormatMode mode) const override;
  std::string make_subcommand(const CLI::App* command) const override;
};

}  // namespace tvl::cli

#endif

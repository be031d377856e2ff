#include "cli/help_formatter.h"

#include <sstream>

namespace tvl::cli {
namespace {

constexpr std::size_t kColumns = 80;
constexpr std::size_t kNameColumns = 26;

// Breaks `text` into lines that fit next to the names.
std::string Wrapped(const std::string& text) {
  std::istringstream words(text);
  std::string wrapped;
  std::size_t column = 0;
  for (std::string word; words >> word;) {
    const bool fits = column + 1 + word.size() <= kColumns - kNameColumns;
    if (column > 0) wrapped += fits ? ' ' : '\n';
    column = column > 0 && fits ? column + 1 + word.size() : word.size();
    wrapped += word;
  }
  return wrapped;
}

}  // namespace

HelpFormatter::HelpFormatter() {
  column_width(kNameColumns);
  label("SUBCOMMAND", "COMMAND ...");
  label("Positionals", "Arguments");
}

// The usage line already shows which arguments are required.
std::string HelpFormatter::make_option_opts(const CLI::Option* option) const {
  if (option->get_type_size() == 0) return {};
  std::string text;
  if (!option->get_type_name().empty()) text += " " + option->get_type_name();
  if (option->get_required() && option->nonpositional()) text += " (required)";
  return text;
}

std::string HelpFormatter::make_option_desc(const CLI::Option* option) const {
  return Wrapped(CLI::Formatter::make_option_desc(option));
}

std::string HelpFormatter::make_subcommands(const CLI::App* app, CLI::AppFormatMode mode) const {
  return CLI::detail::find_and_replace(CLI::Formatter::make_subcommands(app, mode), "\nSubcommands:\n",
                                       "\nCommands:\n");
}

std::string HelpFormatter::make_subcommand(const CLI::App* command) const {
  std::ostringstream text;
  CLI::detail::format_help(text, command->get_name(), Wrapped(command->get_description()), kNameColumns);
  return text.str();
}

}  // namespace tvl::cli

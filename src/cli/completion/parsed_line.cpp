#include "cli/completion/parsed_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>

namespace tvl::cli {
namespace {

std::vector<const CLI::Option*> PositionalsOf(const CLI::App& command) {
  return command.get_options([](const CLI::Option* option) { return option->get_positional(); });
}

// The label of an argument in the help.
std::string TypeOf(const CLI::Option& option) {
  return option.get_positional() ? option.get_name(true) : option.get_type_name();
}

// Returns the subcommand of this name, or null.
const CLI::App* CommandIn(const CLI::App& command, const std::string& name) {
  const auto found =
      command.get_subcommands([&](const CLI::App* below) { return below->get_name() == name; });
  return found.empty() ? nullptr : found.front();
}

class Walk {
 public:
  explicit Walk(const CLI::App& program) : program_(program) { line_.command = &program; }

  void Pass(const std::string& word) {
    if (pending_ != nullptr) {
      KeepGlobal(*pending_, word);
      pending_ = nullptr;
    } else if (only_names_) {
      ++positionals_;
    } else if (word == "--") {
      only_names_ = true;
    } else if (word.starts_with('-') && word.size() > 1) {
      PassOption(word);
    } else if (const CLI::App* command = CommandIn(*line_.command, word)) {
      Enter(*command, word);
    } else {
      ++positionals_;
    }
  }

  ParsedLine End(const std::string& word) {
    line_.word = word;
    const std::size_t equals = word.find('=');
    if (pending_ != nullptr) {
      line_.kind = KindOfArgument(line_.path, TypeOf(*pending_));
    } else if (!only_names_ && word.starts_with("--") && equals != std::string::npos) {
      EndInValue(equals);
    } else if (!only_names_ && word.starts_with('-')) {
      line_.takes_option = true;
    } else {
      EndInArgument();
    }
    return line_;
  }

 private:
  // Options of the program may follow the command.
  [[nodiscard]] const CLI::Option* Find(const std::string& name) const {
    const CLI::Option* option = line_.command->get_option_no_throw(name);
    return option != nullptr ? option : program_.get_option_no_throw(name);
  }

  void PassOption(const std::string& word) {
    const std::size_t equals = word.find('=');
    const bool has_value = word.starts_with("--") && equals != std::string::npos;
    const CLI::Option* option = Find(has_value ? word.substr(0, equals) : word);
    if (option == nullptr || option->get_type_size() == 0) return;
    if (has_value)
      KeepGlobal(*option, word.substr(equals + 1));
    else
      pending_ = option;
  }

  void KeepGlobal(const CLI::Option& option, const std::string& value) {
    if (program_.get_option_no_throw(option.get_name()) == &option)
      line_.globals.push_back(option.get_name() + "=" + value);
  }

  void Enter(const CLI::App& command, const std::string& name) {
    line_.command = &command;
    line_.path += (line_.path.empty() ? "" : " ") + name;
    positionals_ = 0;
  }

  void EndInValue(std::size_t equals) {
    const CLI::Option* option = Find(line_.word.substr(0, equals));
    line_.prefix = line_.word.substr(0, equals + 1);
    line_.word.erase(0, equals + 1);
    if (option != nullptr) line_.kind = KindOfArgument(line_.path, TypeOf(*option));
  }

  void EndInArgument() {
    const auto positionals = PositionalsOf(*line_.command);
    line_.takes_command = !only_names_ && positionals.empty();
    if (positionals.empty()) return;
    const std::size_t last = positionals.size() - 1;
    if (positionals_ > last && positionals[last]->get_items_expected_max() <= 1) return;
    line_.kind = KindOfArgument(line_.path, TypeOf(*positionals[std::min(positionals_, last)]));
  }

  const CLI::App& program_;
  ParsedLine line_;
  const CLI::Option* pending_ = nullptr;  // the option whose value comes next
  std::size_t positionals_ = 0;
  bool only_names_ = false;
};

}  // namespace

ParsedLine ParseUnfinished(const CLI::App& program, const std::vector<std::string>& words) {
  Walk walk(program);
  for (std::size_t i = 0; i + 1 < words.size(); ++i) walk.Pass(words[i]);
  return walk.End(words.back());
}

}  // namespace tvl::cli

#include "cli/unknown_command.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <numeric>
#include <string_view>
#include <vector>

#include "cli/output/text.h"

namespace tvl::cli {
namespace {

constexpr std::size_t kMostChanges = 2;

// Returns the number of characters to insert, delete or replace to turn one word into the other.
std::size_t Distance(std::string_view from, std::string_view to) {
  std::vector<std::size_t> row(to.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (std::size_t i = 0; i < from.size(); ++i) {
    std::size_t diagonal = row[0];
    row[0] = i + 1;
    for (std::size_t j = 0; j < to.size(); ++j) {
      const std::size_t replaced = diagonal + (from[i] == to[j] ? 0 : 1);
      diagonal = row[j + 1];
      row[j + 1] = std::min({replaced, row[j] + 1, row[j + 1] + 1});
    }
  }
  return row.back();
}

// Returns the command closest to `name`, or an empty text if none is similar.
std::string Similar(const CLI::App& app, const std::string& name) {
  std::string best;
  std::size_t least = std::min(kMostChanges, name.size() - 1) + 1;
  for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; })) {
    const std::size_t distance = Distance(name, command->get_name());
    if (distance >= least) continue;
    least = distance;
    best = command->get_name();
  }
  return best;
}

}  // namespace

std::string CommandPath(const CLI::App& app) {
  std::string path;
  for (const CLI::App* command = &app; !command->get_subcommands().empty();) {
    command = command->get_subcommands().front();
    path += (path.empty() ? "" : " ") + command->get_name();
  }
  return path;
}

std::optional<std::string> UnknownCommand(const CLI::App& app) {
  const CLI::App* group = &app;
  while (!group->get_subcommands().empty()) group = group->get_subcommands().front();
  const bool has_commands = !group->get_subcommands([](const CLI::App*) { return true; }).empty();
  const std::vector<std::string> rest = app.remaining(true);
  if (!has_commands || rest.empty() || rest.front().empty() || rest.front().front() == '-') return {};
  const std::string similar = Similar(*group, rest.front());
  return "unknown command '" + Printable(rest.front()) + "'" +
         (similar.empty() ? "" : " (did you mean '" + similar + "'?)");
}

}  // namespace tvl::cli

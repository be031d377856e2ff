#ifndef TVL_CLI_TABLES_TABLE_PLACES_H
#define TVL_CLI_TABLES_TABLE_PLACES_H

namespace CLI {
class App;
}

namespace tvl::cli {

struct Invocation;

// Adds the commands that concern where tables are: move, adopt, fork and gc.
void AddTablePlaceCommands(CLI::App& group, Invocation& invocation);

}  // namespace tvl::cli

#endif

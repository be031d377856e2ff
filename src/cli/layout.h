#ifndef TVL_CLI_LAYOUT_H
#define TVL_CLI_LAYOUT_H

#include <optional>
#include <string>
#include <vector>

#include <tvlclient/store.h>

namespace tvl::cli {

// These throw Stop for a failure.

// The layout of a store to be created in `folder`, where no configuration exists.
[[nodiscard]] TVLStoreLayout NewLayout(const std::string& folder);

// The layout that a configuration describes.
[[nodiscard]] TVLStoreLayout LayoutOf(const std::string& configuration);

// The configuration in `folder`, or the layout of a store to be created there if there is none.
[[nodiscard]] TVLStoreLayout LayoutAt(const std::string& folder);

// The configuration in `folder`, if there is one.
[[nodiscard]] std::optional<std::string> ConfigurationIn(const std::string& folder);

// What does not exist, in the order of creation.
[[nodiscard]] std::vector<std::string> MissingParts(const TVLStoreLayout& layout);

// Creates what does not exist. `group`, unless empty: the root gets this group, a name or a number.
void CreateMissingParts(const TVLStoreLayout& layout, const std::string& group);

// The same for a new store, with its lock table in a database server.
void CreateInDatabase(const TVLStoreLayout& layout, const std::string& group, const TVLDatabase& database);

}  // namespace tvl::cli

#endif

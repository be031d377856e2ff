#ifndef TVL_ENGINE_ARCHIVE_H
#define TVL_ENGINE_ARCHIVE_H

#include <string>

#include "engine/layout.h"

namespace tvl::engine {

// Makes an empty table at `path`. False, and a noted error, if that fails: a table that somebody uses is
// whole then, any other is gone.
[[nodiscard]] bool MakeArchive(const std::string& path, const Layout& layout);

}  // namespace tvl::engine

#endif

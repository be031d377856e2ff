#ifndef TVL_ENGINE_SQLITE_PASSAGE_H
#define TVL_ENGINE_SQLITE_PASSAGE_H

#include <string>

#include "engine/system.h"

// Used by the system calls that are made for SQLite, of which each system has its own.

namespace tvl::engine {

class Region;

// What a thread does inside SQLite.
struct Passage {
  Region* region = nullptr;          // answers its lock requests
  FileNumber last_opened = kNoFile;  // the last file other than a journal
};

// Returns the passage of the calling thread; one without a region outside of SQLite.
[[nodiscard]] Passage& CurrentPassage();

// Returns the number of forks between this process and the one that loaded the module.
[[nodiscard]] unsigned int Generation();

// Makes SQLite call these functions instead of the system's. Returns false if SQLite refuses.
[[nodiscard]] bool ReplaceSystemCalls();

}  // namespace tvl::engine

#endif

#ifndef TVL_CLI_TREES_SAVED_SYNC_PLAN_H
#define TVL_CLI_TREES_SAVED_SYNC_PLAN_H

#include <cstdint>
#include <string>
#include <vector>

#include "cli/trees/sync_plan.h"
#include "cli/trees/sync_scope.h"

namespace tvl::cli {

// What a plan relies on: a file of an entry as it was found, or its absence.
struct PlannedFile {
  std::string path;  // relative to the entry; empty for the entry itself
  bool in_source;
  std::string kind;  // "missing", "file", "folder", "link" or "other"
  std::uint64_t size = 0;
  std::int64_t seconds = 0;  // the time of the last change; 0 for a folder
  std::int64_t nanoseconds = 0;

  bool operator==(const PlannedFile&) const = default;
};

struct PlannedEntry {
  SyncAction action;  // kCopy, kMakeFolder or kDelete
  std::string name;
  std::vector<PlannedFile> files;

  bool operator==(const PlannedEntry&) const = default;
};

// A plan in a file, to be read by people and carried out later.
struct SavedSyncPlan {
  std::string store;  // the document root
  SyncScope scope;    // with the full path of the local folder
  std::vector<PlannedEntry> entries;
};

// Examines the files of an entry now. A folder to be deleted is walked without following links.
[[nodiscard]] PlannedEntry LookAt(const SyncEntry& entry);

// Write and read a plan as JSON. Throw Stop on failure; a failed write leaves an existing file as it was.
void WritePlan(const SavedSyncPlan& plan, const std::string& file);
[[nodiscard]] SavedSyncPlan ReadPlan(const std::string& file);

}  // namespace tvl::cli

#endif
